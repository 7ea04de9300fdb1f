// The capture shortcut through KDE's global shortcut daemon: the real kglobalaccel5 on a private session bus and a
// private X server, real key presses through XTEST (xdotool), and a second program holding the key first.

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include "platform/hotkey/HotKeyBackend.h"
#include "platform/hotkey/HotKeyKGlobalAccel.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::runProcess;

namespace {

const QString daemonName = u"org.kde.kglobalaccel"_s;
// Ctrl+Shift+Super+2 as the application translates its default shortcut, and the two key forms sent for it.
const HotKeyCombination defaultCombination {11, (1 << 2) | (1 << 0) | (1 << 6), Qt::Key_2, false, u"2"_s};
constexpr int ctrlShiftMeta2 = 0x16000032;
constexpr int ctrlMetaAt = 0x14000040;

/** What the daemon has stored for an action. */
QList<int> storedKeys(const QString &component, const QString &action)
{
    QDBusMessage message = QDBusMessage::createMethodCall(daemonName, u"/kglobalaccel"_s, u"org.kde.KGlobalAccel"_s,
                                                          u"shortcut"_s);
    message << QStringList {component, action, QString(), QString()};
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return {};
    }
    return qdbus_cast<QList<int>>(reply.arguments().constFirst().value<QDBusArgument>());
}

/** Another program takes keys for an action of its own, through the daemon's command-line client. */
void holdKeys(const QString &component, const QList<int> &keys)
{
    const QString actionId = u"['%1', 'grab', 'Other program', 'Grab']"_s.arg(component);
    QStringList keyList;
    for (int key : keys) {
        keyList.append(QString::number(key));
    }
    const QStringList call {u"call"_s, u"--session"_s, u"--dest"_s, daemonName, u"--object-path"_s, u"/kglobalaccel"_s,
                            u"--method"_s};
    ASSERT_EQ(runProcess(u"gdbus"_s, call + QStringList {u"org.kde.KGlobalAccel.doRegister"_s, actionId}).exitCode, 0);
    ASSERT_EQ(runProcess(u"gdbus"_s, call + QStringList {u"org.kde.KGlobalAccel.setShortcut"_s, actionId,
                                                         u"@ai [%1]"_s.arg(keyList.join(u", "_s)), u"6"_s})
                  .exitCode,
              0);
}

class HotKeyKGlobalAccelTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { qDBusRegisterMetaType<QList<int>>(); }

    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DISPLAY") || qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
            GTEST_SKIP() << "needs an X server and a private session bus (runs under with-xvfb with-session-bus)";
        }
        ASSERT_EQ(detectHotKeyBackend(SessionType::X11), HotKeyBackendKind::X11) << "no daemon yet: X11 grabs";
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
        m_daemon.setProcessEnvironment(environment);
        m_daemon.setProcessChannelMode(QProcess::ForwardedChannels);
        m_daemon.start(u"kglobalaccel5"_s, {});
        ASSERT_TRUE(m_daemon.waitForStarted(10000));
        ASSERT_TRUE(QTest::qWaitFor(
            [] { return QDBusConnection::sessionBus().interface()->isServiceRegistered(daemonName).value(); }, 30000));
    }

    void TearDown() override
    {
        m_daemon.terminate();
        if (!m_daemon.waitForFinished(10000)) {
            m_daemon.kill();
            m_daemon.waitForFinished(5000);
        }
    }

    static void press(const QString &chord) { runProcess(u"xdotool"_s, {u"key"_s, chord}); }

    QProcess m_daemon;
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
    EXPECT_EQ(storedKeys(u"md.velmor.tessary"_s, u"capture"_s), (QList<int> {ctrlShiftMeta2, ctrlMetaAt}));

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
    EXPECT_EQ(storedKeys(u"md.velmor.tessary"_s, u"capture"_s), (QList<int> {(Qt::CTRL | Qt::ALT | Qt::Key_T).toCombined()}));
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
    EXPECT_EQ(storedKeys(u"other.program"_s, u"grab"_s), QList<int> {ctrlShiftMeta2});

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
