// Launch options given to a later launch of the real executable act in the running instance (this process, which
// listens as the first launch does); --help and --version only print.

#include <gtest/gtest.h>

#include <QApplication>
#include <QMainWindow>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/instance/SingleInstance.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

struct Launch
{
    int exitCode = -1;
    QByteArray output;
};

/** Runs the executable to its end while this process goes on answering, as the running instance does. */
Launch launch(const QStringList &arguments)
{
    QProcess process;
    process.start(Tessary::Test::buildPath(u"bin/tessary"_s), arguments);
    EXPECT_TRUE(process.waitForStarted());
    EXPECT_TRUE(QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 30000));
    return {process.exitCode(), process.readAllStandardOutput()};
}

bool toastShown()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::ranges::any_of(windows, [](const QWidget *window) {
        return window->isVisible() && window->windowTitle() == u"Tessary Toast"_s;
    });
}

TEST(LaunchOptionsTest, ALaterLaunchHandsItsOptionsToTheRunningInstance)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, u"en"_s);
    TessaryApp app({u"tessary"_s}, defaults);
    SingleInstance instance;
    ASSERT_TRUE(instance.listen());
    QObject::connect(&instance, &SingleInstance::messageReceived, &app, &TessaryApp::handleInstanceMessage);
    QSignalSpy requests(&instance, &SingleInstance::messageReceived);
    app.applicationDidFinishLaunching();
    TessarySettingsWindow *settings = app.settingsWindow();
    settings->window()->hide();

    for (const auto &[option, tab] : {std::pair{u"--open-settings-updates"_s, 3},
                                      {u"--open-settings-ai"_s, 1},
                                      {u"--open-settings-appearance"_s, 2},
                                      {u"--open-settings"_s, 0}}) {
        settings->window()->hide();
        EXPECT_EQ(launch({option}).exitCode, 0);
        EXPECT_TRUE(QTest::qWaitFor([&] { return settings->isVisible(); }, 5000)) << option.toStdString();
        EXPECT_EQ(settings->selectedTab(), tab) << option.toStdString();
    }
    settings->window()->hide();
    EXPECT_EQ(launch({u"--preview-toast"_s}).exitCode, 0);
    EXPECT_TRUE(QTest::qWaitFor(toastShown, 5000));
    EXPECT_FALSE(settings->isVisible()) << "the toast alone";
    EXPECT_EQ(requests.count(), 5);

    // Neither starts an application nor asks the running one for anything.
    const Launch help = launch({u"--help"_s});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.output.startsWith("Usage: tessary")) << help.output.toStdString();
    EXPECT_TRUE(help.output.contains("Ctrl+Shift+Super+2"));
    const Launch version = launch({u"--version"_s});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.output, "Tessary " TESSARY_TEST_VERSION " (build " TESSARY_TEST_BUILD ")\n");
    QTest::qWait(200);
    EXPECT_EQ(requests.count(), 5);
    EXPECT_FALSE(settings->isVisible());
}

} // namespace
