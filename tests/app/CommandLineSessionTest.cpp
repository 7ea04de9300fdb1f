#include <gtest/gtest.h>

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using Tessary::Test::buildPath;
using Tessary::Test::ProcessResult;
using Tessary::Test::runProcess;
using Tessary::Test::sourcePath;

namespace {

/** The process environment with a home and configuration of its own (English) and the given changes. */
QProcessEnvironment session(const QTemporaryDir &home, const QMap<QString, QString> &changes)
{
    QSettings(home.filePath(u".config/md.velmor.tessary/defaults.ini"_s), QSettings::IniFormat)
        .setValue(u"language"_s, u"en"_s);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home.path());
    environment.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u".config"_s));
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        if (it.value().isNull()) {
            environment.remove(it.key());
        } else {
            environment.insert(it.key(), it.value());
        }
    }
    return environment;
}

struct DisplayCase
{
    const char *name;
    QMap<QString, QString> environment;
    const char *message;
};

class UnreachableDisplayTest : public ::testing::TestWithParam<DisplayCase>
{
};

// Qt aborts when its platform plugin cannot connect; the application looks first and says which display it was.
// Wayland is never tried without WAYLAND_DISPLAY.
TEST_P(UnreachableDisplayTest, EndsWithTheApplicationsOwnMessage)
{
    QTemporaryDir home;
    const QProcessEnvironment environment = session(home, GetParam().environment);
    for (const QStringList &arguments : {QStringList(), QStringList{u"--help"_s}}) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(buildPath(u"bin/tessary"_s), arguments);
        ASSERT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 1);
        EXPECT_EQ(process.readAllStandardError(), QByteArray(GetParam().message) + '\n');
    }
}

const QString unset;

INSTANTIATE_TEST_SUITE_P(Sessions, UnreachableDisplayTest,
                         ::testing::Values(DisplayCase{"deadX11",
                                                       {{u"DISPLAY"_s, u":4242"_s},
                                                        {u"WAYLAND_DISPLAY"_s, unset},
                                                        {u"XDG_SESSION_TYPE"_s, u"x11"_s},
                                                        {u"QT_QPA_PLATFORM"_s, unset}},
                                                       "Cannot open display “:4242”."},
                                           DisplayCase{"deadX11ChosenByTheUser",
                                                       {{u"DISPLAY"_s, u":4242"_s}, {u"QT_QPA_PLATFORM"_s, u"xcb"_s}},
                                                       "Cannot open display “:4242”."},
                                           DisplayCase{"waylandWithoutCompositor",
                                                       {{u"DISPLAY"_s, unset},
                                                        {u"WAYLAND_DISPLAY"_s, u"wayland-gone"_s},
                                                        {u"XDG_SESSION_TYPE"_s, u"wayland"_s},
                                                        {u"QT_QPA_PLATFORM"_s, unset}},
                                                       "Cannot open display “wayland-gone”."}),
                         [](const auto &info) { return std::string(info.param.name); });

// Runs on a private X server without a session bus: D-Bus libraries would start one of their own for the display
// ("dbus-launch --autolaunch", which records it under ~/.dbus) and leave it running after the mode has ended.
TEST(CommandLineSessionTest, ModesStartNoSessionBus)
{
    QTemporaryDir home;
    QTemporaryDir runtime;
    const QProcessEnvironment environment =
        session(home, {{u"DBUS_SESSION_BUS_ADDRESS"_s, unset}, {u"XDG_RUNTIME_DIR"_s, runtime.path()}});

    const ProcessResult copied =
        runProcess(buildPath(u"bin/tessary"_s), {u"--ocr-file"_s, sourcePath(u"samples/tessary-sample.png"_s)},
                   environment, {}, 120000);
    EXPECT_EQ(copied.exitCode, 0);
    EXPECT_EQ(copied.standardError, "");
    // Without a bus there is no keyring to store the key in.
    const ProcessResult key =
        runProcess(buildPath(u"bin/tessary"_s), {u"--set-ai-key-stdin"_s}, environment, "sk-test\n", 60000);
    EXPECT_EQ(key.exitCode, 1);
    EXPECT_TRUE(key.standardError.startsWith("Could not save API key to Keychain (code ")) << key.standardError.data();

    EXPECT_FALSE(QDir(home.filePath(u".dbus"_s)).exists());
}

} // namespace
