// The application's capture shortcut on desktops where the session bus decides: KDE's daemon (the real
// kglobalaccel5), the desktop portal (a stand-in implementing its documented GlobalShortcuts interface, since Debian
// 12 has no such portal outside KDE), and a Wayland session with neither. The application runs in this process.

#include <gtest/gtest.h>

#include <QJsonObject>
#include <QLabel>
#include <QMainWindow>
#include <QTemporaryDir>
#include <QTest>

#include "app/CapturedShortcut.h"
#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/KGlobalAccelDaemon.h"
#include "tests/support/PortalStandIn.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::KGlobalAccelDaemon;
using Tessary::Test::PortalStandIn;

namespace {

const QString taken = u"快捷键已被占用，请重新录制。"_s;
const QString noShortcutTooltip = u"Tessary 快捷键注册失败，可从菜单启动"_s;
constexpr int ctrlShiftMeta2 = 0x16000032;
constexpr int ctrlMetaAt = 0x14000040;

class DesktopShortcutTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            << "runs under with-xvfb with-session-bus";
        // Status texts as their keys.
        m_defaults.setString(u"language"_s, u"zh-Hans"_s);
    }

    void TearDown() override
    {
        qunsetenv("XDG_SESSION_TYPE");
        qunsetenv("WAYLAND_DISPLAY");
    }

    /** The session as a Wayland desktop's: the application still draws through the X server (XWayland). */
    static void pretendWaylandSession()
    {
        qputenv("XDG_SESSION_TYPE", "wayland");
        qputenv("WAYLAND_DISPLAY", "wayland-stand-in");
    }

    std::unique_ptr<TessaryApp> launch()
    {
        auto app = std::make_unique<TessaryApp>(QStringList{u"tessary"_s}, m_defaults);
        app->applicationDidFinishLaunching();
        return app;
    }

    static QLabel *captureCommand(TessaryApp &app)
    {
        app.settingsWindow()->show(TessarySettingsWindow::General);
        return app.settingsWindow()->window()->findChild<QLabel *>(u"captureCommand"_s);
    }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
};

TEST_F(DesktopShortcutTest, WaylandWithoutShortcutServiceOffersTheCommandToBind)
{
    pretendWaylandSession();
    // A portal, but one without global shortcuts.
    PortalStandIn portal;
    ASSERT_TRUE(portal.start(PortalStandIn::Screenshot));
    const auto app = launch();
    EXPECT_TRUE(app->preferences().shortcutError().isEmpty()) << "no other shortcut would do better";
    const QLabel *command = captureCommand(*app);
    ASSERT_NE(command, nullptr);
    EXPECT_TRUE(command->text().endsWith(u" --capture"_s)) << command->text().toStdString();
}

TEST_F(DesktopShortcutTest, PortalRefusalLeavesTheMenuAndRecordingAgainAsksAgain)
{
    pretendWaylandSession();
    PortalStandIn portal;
    ASSERT_TRUE(portal.start(PortalStandIn::GlobalShortcuts));
    // The user declines the desktop's confirmation.
    portal.setAnswers({{u"BindShortcuts"_s, QJsonObject{{u"response"_s, 1}}}});
    const auto app = launch();
    EXPECT_EQ(captureCommand(*app), nullptr) << "this desktop has global shortcuts";
    ASSERT_TRUE(QTest::qWaitFor([&] { return app->preferences().shortcutError() == taken; }, 20000));
    EXPECT_EQ(app->statusToolTip(), noShortcutTooltip);
    EXPECT_TRUE(portal.sessions().isEmpty());

    // Recording the same shortcut again asks again; this time the user accepts and later presses it.
    portal.setAnswers({});
    app->preferences().setShortcut(app->preferences().shortcut());
    EXPECT_TRUE(app->preferences().shortcutError().isEmpty());
    ASSERT_TRUE(QTest::qWaitFor([&] { return portal.calls(u"BindShortcuts"_s).size() == 2; }, 20000));
    EXPECT_EQ(portal.sessions().size(), 1);
    // Presses before the desktop has confirmed do not count, so press until one does. The capture tool is not next
    // to this test program: the capture then ends at once with its launch failure.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            portal.activate(portal.sessions().value(0), u"capture"_s);
            return app->currentStatus().startsWith(u"截图启动失败："_s);
        },
        20000))
        << app->currentStatus().toStdString();
    EXPECT_TRUE(app->preferences().shortcutError().isEmpty());

    // At the end the session goes.
    app->applicationWillTerminate();
    EXPECT_TRUE(QTest::qWaitFor([&] { return portal.sessions().isEmpty(); }, 10000));
}

TEST_F(DesktopShortcutTest, KdeTakenShortcutKeepsThePreviousOneRegistered)
{
    // The previous keys are held again in KDE's daemon, which owns the shortcuts in a Wayland session too.
    pretendWaylandSession();
    KGlobalAccelDaemon daemon;
    ASSERT_TRUE(daemon.start());
    const auto app = launch();
    EXPECT_EQ(captureCommand(*app), nullptr);
    const QList<int> standard{ctrlShiftMeta2, ctrlMetaAt};
    // The chord itself and the shifted-symbol form the daemon reports it in on X11; nothing else (not Ctrl+Super+2).
    EXPECT_EQ(KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s), standard);
    const int ctrlAltK = (Qt::CTRL | Qt::ALT | Qt::Key_K).toCombined();
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"other.program"_s, {ctrlAltK}));
    app->preferences().setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Option, u"K"_s});
    EXPECT_EQ(app->preferences().shortcutError(), taken);
    EXPECT_EQ(KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s), standard);
    EXPECT_EQ(KGlobalAccelDaemon::storedKeys(u"other.program"_s, u"grab"_s), QList<int>{ctrlAltK}) << "keeps its key";
    const QList<int> ctrlShiftK{(Qt::CTRL | Qt::SHIFT | Qt::Key_K).toCombined()};
    app->preferences().setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Shift, u"K"_s});
    EXPECT_EQ(KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s), ctrlShiftK);

    // Half of a shortcut is not enough either: the held form may be the one the desktop reports.
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"third.program"_s, {ctrlMetaAt}));
    app->preferences().setShortcut(CapturedShortcut::defaultShortcut());
    EXPECT_EQ(app->preferences().shortcutError(), taken);
    EXPECT_EQ(KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s), ctrlShiftK);
}

} // namespace
