// Two installations sharing one sync folder: the real tessary executable (A) with its own home, driven through its
// settings window with xdotool, and a TessaryApp in this process (B). Changes travel both ways; SIGTERM, which quits
// the way the tray's Quit does, writes a pending save. What a conflict copy or a bad file does is in
// TessaryCloudSettingsTest.

#include <gtest/gtest.h>

#include <signal.h>

#include <QDir>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/settings/TessarySettingsWindow.h"
#include "app/sync/TessaryCloudSettings.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/app/SyncTestSupport.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;

namespace {

class SyncEndToEndTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        deliver(configFile(), configuration({{u"aiModel"_s, u"initial"_s}}));
        const QByteArray settings = "language=zh-Hans\niCloudSyncEnabled=true\ntessary.syncFolder=" + shared().toUtf8();
        m_home.writeDefaults(settings + "\n");
        m_defaults.setString(u"language"_s, u"zh-Hans"_s);
        m_defaults.setBoolean(u"iCloudSyncEnabled"_s, true);
        m_defaults.setString(u"tessary.syncFolder"_s, shared());
    }

    void TearDown() override
    {
        m_a.kill();
        m_a.waitForFinished();
    }

    QString shared() const { return m_dir.filePath(u"Shared Sync"_s); }
    QString configFile() const { return shared() + u"/Tessary/config.json"_s; }

    /** The model as instance A last stored it in its own settings. */
    QString modelOfA() const
    {
        return QSettings(m_home.defaultsPath(), QSettings::IniFormat).value(u"aiModel"_s).toString();
    }

    void startA()
    {
        m_a.setProcessEnvironment(m_home.environment());
        m_a.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_a.start(buildPath(u"bin/tessary"_s), {u"--open-settings-ai"_s});
        ASSERT_TRUE(m_a.waitForStarted());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !windowOfA().isEmpty(); }, 20000)) << "runs under with-xvfb";
    }

    QString windowOfA() const
    {
        return xdotool({u"search"_s, u"--onlyvisible"_s, u"--pid"_s, QString::number(m_a.processId()), u"--name"_s,
                        u"Tessary"_s})
            .section(u'\n', 0, 0);
    }

    /** Types a new model into A's settings window, as a user would, and waits until A has stored it. */
    void typeModelIntoA(const QString &model)
    {
        // Where the model field sits in the window opened on the AI pane (fixed size, Xvfb, no window manager).
        const QString window = windowOfA();
        xdotool({u"windowraise"_s, window, u"mousemove"_s, u"--window"_s, window, u"342"_s, u"143"_s, u"click"_s,
                 u"1"_s, u"key"_s, u"ctrl+a"_s, u"type"_s, model});
        ASSERT_TRUE(QTest::qWaitFor([&] { return modelOfA() == model; }, 10000)) << modelOfA().toStdString();
    }

    std::unique_ptr<TessaryApp> launchB()
    {
        auto app = std::make_unique<TessaryApp>(QStringList{u"tessary"_s}, m_defaults);
        app->applicationDidFinishLaunching();
        // Without a tray it shows its settings once; out of the way of A's window.
        if (app->settingsWindow()->window() != nullptr) {
            app->settingsWindow()->window()->hide();
        }
        return app;
    }

    QTemporaryDir m_dir;
    PrivateHome m_home;
    UserDefaults m_defaults{m_dir.filePath(u"b/defaults.ini"_s)};
    QProcess m_a;
};

TEST_F(SyncEndToEndTest, ModelChangesTravelBetweenRunningInstances)
{
    const auto b = launchB();
    EXPECT_EQ(b->cloud().status(), u"已从 iCloud 同步"_s);
    EXPECT_EQ(b->preferences().aiModel(), u"initial"_s);
    startA();
    ASSERT_TRUE(QTest::qWaitFor([&] { return modelOfA() == u"initial"; }, 10000)) << "A did not read the shared file";

    QElapsedTimer clock;
    clock.start();
    b->preferences().setAiModel(u"from-b"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return modelOfA() == u"from-b"; }, 20000)) << modelOfA().toStdString();
    const qint64 toA = clock.restart();
    typeModelIntoA(u"from-a"_s);
    clock.restart();
    ASSERT_TRUE(QTest::qWaitFor([&] { return b->preferences().aiModel() == u"from-a"; }, 20000))
        << b->preferences().aiModel().toStdString();
    EXPECT_EQ(b->cloud().status(), u"已从 iCloud 同步"_s);
    std::printf("[ sync delay ] B to A %lld ms, A (once stored) to B %lld ms, both with the 350 ms wait for quiet\n",
                static_cast<long long>(toA), static_cast<long long>(clock.elapsed()));
    EXPECT_EQ(m_a.state(), QProcess::Running);
}

TEST_F(SyncEndToEndTest, SigtermWritesAPendingSave)
{
    // SIGTERM to the real application within the 350 ms after a change: the change is in the file when it exits.
    startA();
    ASSERT_TRUE(QTest::qWaitFor([&] { return modelOfA() == u"initial"; }, 10000));
    for (int attempt = 1; m_a.state() == QProcess::Running; ++attempt) {
        ASSERT_LE(attempt, 5) << "never caught a save pending";
        const QString model = u"before-sigterm-"_s + QString::number(attempt);
        typeModelIntoA(model);
        if (fileContents(configFile()).contains(model.toUtf8())) {
            continue; // too slow to catch it pending; the machine is busy
        }
        ASSERT_EQ(::kill(pid_t(m_a.processId()), SIGTERM), 0);
        ASSERT_TRUE(m_a.waitForFinished(20000));
        EXPECT_EQ(m_a.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(m_a.exitCode(), 0);
        EXPECT_TRUE(fileContents(configFile()).contains(model.toUtf8()));
    }
}

} // namespace
