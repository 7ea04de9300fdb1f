// The real tessary executable on a private X server and session bus, as a user starts it: the tray menu, Quit,
// reopening by a second launch, the termination signal, a hidden icon, tray hosts (StatusNotifierItem and XEmbed)
// that appear after Tessary, and launch options handed to the running instance.

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QMainWindow>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/instance/SingleInstance.h"
#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString settingsTitle = u"Tessary Settings"_s;

class ShellProcessTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb with-keyring";
        m_home.writeDefaults("language=en\n");
    }

    void TearDown() override
    {
        for (QProcess *process : {&m_host, &m_second, &m_app}) {
            process->kill();
            process->waitForFinished();
        }
    }

    void start(QProcess &process, const QStringList &arguments = {})
    {
        process.setProcessEnvironment(m_home.environment());
        process.start(buildPath(u"bin/tessary"_s), arguments);
        ASSERT_TRUE(process.waitForStarted());
    }

    /** A second launch ends at once and brings the first one's settings window up. */
    void launchAgain()
    {
        start(m_second);
        ASSERT_TRUE(m_second.waitForFinished(30000));
        EXPECT_EQ(m_second.exitCode(), 0);
        EXPECT_TRUE(waitForWindow(settingsTitle));
        EXPECT_EQ(m_app.state(), QProcess::Running);
    }

    static void expectEndedWell(QProcess &app)
    {
        ASSERT_TRUE(app.waitForFinished(30000));
        EXPECT_EQ(app.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(app.exitCode(), 0);
    }

    PrivateHome m_home;
    QProcess m_app;
    QProcess m_second;
    QProcess m_host;
};

TEST_F(ShellProcessTest, TrayHostShowsTheMenuAndQuitEndsTheApplication)
{
    TrayHost tray;
    ASSERT_TRUE(tray.start());
    start(m_app);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !tray.item().isEmpty(); }, 30000)) << "no tray item registered";
    const QJsonObject item = tray.item();
    const QJsonArray rows = item.value(u"rows"_s).toArray();
    ASSERT_EQ(rows.size(), 12);
    // Every row's title in each language is TessaryAppTest's; here the menu as the tray host shows it, which Quit is
    // clicked by. Rows 2 and 3 are information; row 5 waits for an image on the clipboard; row 10, the capture
    // permission, is hidden on X11.
    for (int i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].toObject().value(u"enabled"_s).toBool(), i != 2 && i != 3 && i != 5 && i != 10) << i;
    }
    EXPECT_FALSE(rows[10].toObject().value(u"visible"_s).toBool()) << "X11 has no capture permission to reset";
    EXPECT_EQ(item.value(u"tooltip"_s).toArray().at(2).toString(), translated(u"en"_s, u"就绪"_s));

    // No window at launch; a second launch shows it, and an open window does not hold up Quit.
    EXPECT_TRUE(waitForWindow(settingsTitle, false, 0));
    launchAgain();
    EXPECT_EQ(tray.itemCount(), 1);
    tray.click(translated(u"en"_s, u"退出 Tessary"_s));
    expectEndedWell(m_app);
}

TEST_F(ShellProcessTest, HiddenIconRelaunchOpensSettingsAndTheTerminationSignalEndsIt)
{
    TrayHost tray;
    ASSERT_TRUE(tray.start());
    m_home.writeDefaults("language=en\nhideMenuBarIcon=true\n");
    start(m_app, {u"--open-settings-updates"_s});
    ASSERT_TRUE(waitForWindow(settingsTitle));
    EXPECT_EQ(tray.itemCount(), 0);

    // Closing the window leaves a running application without a window or an icon; launching again reaches it.
    xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, settingsTitle, u"windowfocus"_s, u"--sync"_s});
    xdotool({u"key"_s, u"ctrl+w"_s});
    ASSERT_TRUE(waitForWindow(settingsTitle, false)) << "Ctrl+W hides the settings window";
    launchAgain();
    EXPECT_EQ(tray.itemCount(), 0);
    m_app.terminate();
    expectEndedWell(m_app);
}

// A tray host that starts after Tessary, as a panel often does at login: the settings window stands in for the icon,
// which docks as soon as a host appears, and again when the host is restarted.
TEST_F(ShellProcessTest, StatusNotifierHostStartedLaterGetsTheIcon)
{
    start(m_app);
    ASSERT_TRUE(waitForWindow(settingsTitle)) << "launched without a tray";
    for (int start = 1; start <= 2; ++start) {
        TrayHost tray;
        ASSERT_TRUE(tray.start());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !tray.item().isEmpty(); }, 30000)) << "no item after start " << start;
        EXPECT_EQ(tray.item().value(u"rows"_s).toArray().at(3).toObject().value(u"label"_s).toString(),
                  u"Shortcut: Ctrl+Shift+Super+2"_s);
    }
    EXPECT_EQ(m_app.state(), QProcess::Running);
}

/** Whether a window of the tessary process sits in trayer's panel. */
bool dockedInTrayer()
{
    const QStringList tree =
        QString::fromUtf8(runProcess(u"xwininfo"_s, {u"-root"_s, u"-tree"_s}).standardOutput).split(u'\n');
    const auto indent = [](const QString &line) { return line.size() - QString(line).trimmed().size(); };
    const auto panel = std::ranges::find_if(tree, [](const QString &line) { return line.contains(u"\"panel\""_s); });
    // The lines below the panel's that are indented deeper are its descendants.
    for (auto line = panel; line != tree.end() && std::next(line) != tree.end(); ++line) {
        const QString &child = *std::next(line);
        if (indent(child) <= indent(*panel) && !child.trimmed().isEmpty()) {
            return false;
        }
        if (child.contains(u"(\"tessary\" "_s)) {
            return true;
        }
    }
    return false;
}

TEST_F(ShellProcessTest, XEmbedTrayStartedLaterGetsTheIcon)
{
    const QString trayer = QStandardPaths::findExecutable(u"trayer"_s);
    if (trayer.isEmpty()) {
        GTEST_SKIP() << "trayer is not installed";
    }
    start(m_app);
    ASSERT_TRUE(waitForWindow(settingsTitle)) << "launched without a tray";
    EXPECT_FALSE(dockedInTrayer());
    for (int start = 1; start <= 2; ++start) {
        m_host.start(trayer, {u"--edge"_s, u"top"_s, u"--align"_s, u"right"_s, u"--widthtype"_s, u"pixel"_s,
                              u"--width"_s, u"100"_s, u"--height"_s, u"24"_s});
        ASSERT_TRUE(m_host.waitForStarted());
        EXPECT_TRUE(QTest::qWaitFor(dockedInTrayer, 30000)) << "not docked in tray " << start;
        // The panel goes and comes back: the icon follows.
        m_host.kill();
        m_host.waitForFinished();
        EXPECT_TRUE(QTest::qWaitFor([] { return !dockedInTrayer(); }, 30000));
    }
    EXPECT_EQ(m_app.state(), QProcess::Running);
}

// Launch options given to a later launch act in the running instance (this process, which listens as the first
// launch does); --help and --version only print.
TEST(LaunchOptionsTest, ALaterLaunchHandsItsOptionsToTheRunningInstance)
{
    QTemporaryDir dir;
    Tessary::UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, u"en"_s);
    Tessary::TessaryApp app({u"tessary"_s}, defaults);
    Tessary::SingleInstance instance;
    ASSERT_TRUE(instance.listen());
    QObject::connect(&instance, &Tessary::SingleInstance::messageReceived, &app,
                     &Tessary::TessaryApp::handleInstanceMessage);
    QSignalSpy requests(&instance, &Tessary::SingleInstance::messageReceived);
    app.applicationDidFinishLaunching();
    Tessary::TessarySettingsWindow *settings = app.settingsWindow();
    // Runs to its end while this process goes on answering, as the running instance does; its output if it ended well.
    const auto launch = [](const QStringList &arguments) {
        return runServingEvents(buildPath(u"bin/tessary"_s), arguments, {}, 30000);
    };

    for (const auto &[option, tab] : {std::pair{u"--open-settings-updates"_s, 3}, {u"--open-settings"_s, 0}}) {
        settings->window()->hide();
        EXPECT_TRUE(launch({option}));
        EXPECT_TRUE(QTest::qWaitFor([&] { return settings->isVisible(); }, 30000)) << option.toStdString();
        EXPECT_EQ(settings->selectedTab(), tab) << option.toStdString();
    }
    settings->window()->hide();
    EXPECT_TRUE(launch({u"--preview-toast"_s}));
    EXPECT_TRUE(waitForWindow(u"^Tessary Toast$"_s));
    EXPECT_FALSE(settings->isVisible()) << "the toast alone";
    EXPECT_EQ(requests.count(), 3);

    // Neither starts an application nor asks the running one for anything.
    const QByteArray help = launch({u"--help"_s}).value_or("failed");
    EXPECT_TRUE(help.startsWith("Usage: tessary") && help.contains("Ctrl+Shift+Super+2")) << help.toStdString();
    EXPECT_EQ(launch({u"--version"_s}), "Tessary " TESSARY_TEST_VERSION " (build " TESSARY_TEST_BUILD ")\n");
    EXPECT_FALSE(settings->isVisible());
    // A later request comes after anything they might have sent.
    EXPECT_TRUE(launch({u"--open-settings"_s}));
    EXPECT_TRUE(QTest::qWaitFor([&] { return settings->isVisible(); }, 30000));
    EXPECT_EQ(requests.count(), 4);
}

} // namespace
