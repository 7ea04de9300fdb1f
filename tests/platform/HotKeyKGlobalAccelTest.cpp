// The capture shortcut through KDE's global shortcut daemon: the real kglobalaccel5 on a private session bus and a
// private X server, real key presses through XTEST (xdotool), and a second program holding the key first.

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>

#include "platform/hotkey/HotKeyBackend.h"
#include "platform/hotkey/HotKeyKGlobalAccel.h"
#include "tests/support/KGlobalAccelDaemon.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::KGlobalAccelDaemon;
using Tessary::Test::runProcess;

namespace {

// Ctrl+Shift+Super+2 as the application translates its default shortcut, and the two key forms sent for it.
const HotKeyCombination defaultCombination{11, (1 << 2) | (1 << 0) | (1 << 6), Qt::Key_2, false, u"2"_s};
constexpr int ctrlShiftMeta2 = 0x16000032;
constexpr int ctrlMetaAt = 0x14000040;

QList<int> storedKeys(const QString &component, const QString &action)
{
    return KGlobalAccelDaemon::storedKeys(component, action);
}

void holdKeys(const QString &component, const QList<int> &keys)
{
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(component, keys));
}

class HotKeyKGlobalAccelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DISPLAY") || qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
            GTEST_SKIP() << "needs an X server and a private session bus (runs under with-xvfb with-session-bus)";
        }
        ASSERT_EQ(detectHotKeyBackend(SessionType::X11), HotKeyBackendKind::X11) << "no daemon yet: X11 grabs";
        ASSERT_TRUE(m_daemon.start());
    }

    static void press(const QString &chord) { runProcess(u"xdotool"_s, {u"key"_s, chord}); }

    KGlobalAccelDaemon m_daemon;
};

TEST_F(HotKeyKGlobalAccelTest, ChosenWhereverTheDaemonRuns)
{
    EXPECT_EQ(detectHotKeyBackend(SessionType::X11), HotKeyBackendKind::KGlobalAccel);
    EXPECT_EQ(detectHotKeyBackend(SessionType::Wayland), HotKeyBackendKind::KGlobalAccel);
}

TEST_F(HotKeyKGlobalAccelTest, ShiftedDigitFiresThroughBothKeyForms)
{
    HotKeyKGlobalAccel hotKey;
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);
    ASSERT_TRUE(hotKey.registerShortcut(defaultCombination));
    // The chord itself and the shifted-symbol form the daemon reports it in on X11.
    EXPECT_EQ(storedKeys(u"md.velmor.tessary"_s, u"capture"_s), (QList<int>{ctrlShiftMeta2, ctrlMetaAt}));

    press(u"ctrl+shift+super+2"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 1; }, 10000));
    // Without Shift it is another chord.
    press(u"ctrl+super+2"_s);
    press(u"ctrl+shift+super+2"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() >= 2; }, 10000));
    QTest::qWait(300);
    EXPECT_EQ(pressed.count(), 2);

    // A new shortcut replaces the old one.
    ASSERT_TRUE(hotKey.registerShortcut({28, (1 << 2) | (1 << 3), Qt::Key_T, false, u"t"_s}));
    EXPECT_EQ(storedKeys(u"md.velmor.tessary"_s, u"capture"_s),
              (QList<int>{(Qt::CTRL | Qt::ALT | Qt::Key_T).toCombined()}));
    press(u"ctrl+alt+t"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 3; }, 10000));
    press(u"ctrl+shift+super+2"_s);

    // Let go: the daemon forgets the action, and presses reach nobody.
    hotKey.unregisterShortcut();
    EXPECT_TRUE(storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty());
    press(u"ctrl+alt+t"_s);
    QTest::qWait(500);
    EXPECT_EQ(pressed.count(), 3);
}

TEST_F(HotKeyKGlobalAccelTest, KeyHeldByAnotherProgramIsTaken)
{
    holdKeys(u"other.program"_s, {ctrlShiftMeta2});
    HotKeyKGlobalAccel hotKey;
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);
    EXPECT_FALSE(hotKey.registerShortcut(defaultCombination));
    // Nothing of ours is left holding keys, and the other program keeps its key.
    EXPECT_TRUE(storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty());
    EXPECT_EQ(storedKeys(u"other.program"_s, u"grab"_s), QList<int>{ctrlShiftMeta2});

    // Half of the shortcut is not enough either: the held form may be the one the desktop reports.
    holdKeys(u"third.program"_s, {ctrlMetaAt});
    holdKeys(u"other.program"_s, {});
    EXPECT_FALSE(hotKey.registerShortcut(defaultCombination));

    // A free key still works.
    ASSERT_TRUE(hotKey.registerShortcut({28, (1 << 2) | (1 << 3), Qt::Key_T, false, u"t"_s}));
    press(u"ctrl+alt+t"_s);
    EXPECT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 1; }, 10000));
}

} // namespace
