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

namespace {

// Ctrl+Shift+Super+2 as the application translates its default shortcut, and the two key forms sent for it.
const HotKeyCombination defaultCombination{11, (1 << 2) | (1 << 0) | (1 << 6), Qt::Key_2, false, u"2"_s};
constexpr int ctrlShiftMeta2 = 0x16000032;
constexpr int ctrlMetaAt = 0x14000040;

const auto storedKeys = &KGlobalAccelDaemon::storedKeys;

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

    static void press(const QString &chord) { Tessary::Test::xdotool({u"key"_s, chord}); }

    KGlobalAccelDaemon m_daemon;
};

TEST_F(HotKeyKGlobalAccelTest, ShiftedDigitFiresThroughBothKeyFormsAndANewShortcutReplacesIt)
{
    EXPECT_EQ(detectHotKeyBackend(SessionType::Wayland), HotKeyBackendKind::KGlobalAccel);
    EXPECT_EQ(detectHotKeyBackend(SessionType::X11), HotKeyBackendKind::KGlobalAccel);
    HotKeyKGlobalAccel hotKey;
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);
    ASSERT_TRUE(hotKey.registerShortcut(defaultCombination));
    // The chord itself and the shifted-symbol form the daemon reports it in on X11; nothing else (not Ctrl+Super+2).
    EXPECT_EQ(storedKeys(u"md.velmor.tessary"_s, u"capture"_s), (QList<int>{ctrlShiftMeta2, ctrlMetaAt}));
    press(u"ctrl+shift+super+2"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 1; }, 10000));

    ASSERT_TRUE(hotKey.registerShortcut({28, (1 << 2) | (1 << 3), Qt::Key_T, false, u"t"_s}));
    EXPECT_EQ(storedKeys(u"md.velmor.tessary"_s, u"capture"_s),
              (QList<int>{(Qt::CTRL | Qt::ALT | Qt::Key_T).toCombined()}));
    press(u"ctrl+alt+t"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 2; }, 10000));

    // Let go: the daemon forgets the action, so no press reaches us any more.
    hotKey.unregisterShortcut();
    EXPECT_TRUE(storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty());
}

TEST_F(HotKeyKGlobalAccelTest, KeyHeldByAnotherProgramIsTaken)
{
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"other.program"_s, {ctrlShiftMeta2}));
    HotKeyKGlobalAccel hotKey;
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);
    EXPECT_FALSE(hotKey.registerShortcut(defaultCombination));
    // Nothing of ours is left holding keys, and the other program keeps its key.
    EXPECT_TRUE(storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty());
    EXPECT_EQ(storedKeys(u"other.program"_s, u"grab"_s), QList<int>{ctrlShiftMeta2});

    // Half of the shortcut is not enough either: the held form may be the one the desktop reports.
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"third.program"_s, {ctrlMetaAt}));
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"other.program"_s, {}));
    EXPECT_FALSE(hotKey.registerShortcut(defaultCombination));

    // A free key still works.
    ASSERT_TRUE(hotKey.registerShortcut({28, (1 << 2) | (1 << 3), Qt::Key_T, false, u"t"_s}));
    press(u"ctrl+alt+t"_s);
    EXPECT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 1; }, 10000));
}

} // namespace
