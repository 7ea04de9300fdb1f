// The real tessary executable with a tray host on the test's private session bus: what a user sees in the tray
// menu, Quit, reopening by a second launch, and a hidden icon.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString hostScript = sourcePath(u"tests/support/sni_host.py"_s);
const QString python = u"/usr/bin/python3"_s;

QString translated(const QString &language, const QString &key)
{
    QFile file(sourcePath(u"app/resources/i18n/%1.lproj/Localizable.json"_s.arg(language)));
    if (!file.open(QIODevice::ReadOnly)) {
        return key;
    }
    return QJsonDocument::fromJson(file.readAll()).object().value(key).toString(key);
}

class TrayApplicationTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) << "runs under with-keyring";
        m_host.start(python, {hostScript, u"serve"_s});
        ASSERT_TRUE(m_host.waitForReadyRead(10000));
        ASSERT_EQ(m_host.readLine().trimmed(), "ready");
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(u"XDG_CONFIG_HOME"_s, m_config.path());
    }

    void TearDown() override
    {
        for (QProcess *app : {&m_app, &m_second}) {
            if (app->state() != QProcess::NotRunning) {
                app->kill();
                app->waitForFinished();
            }
        }
        m_host.kill();
        m_host.waitForFinished();
    }

    void writeDefaults(const QByteArray &ini)
    {
        QDir().mkpath(m_config.filePath(u"md.velmor.tessary"_s));
        QFile file(m_config.filePath(u"md.velmor.tessary/defaults.ini"_s));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[General]\n" + ini);
    }

    void start(QProcess &process, const QStringList &arguments = {})
    {
        process.setProcessEnvironment(m_environment);
        process.start(buildPath(u"bin/tessary"_s), arguments);
        ASSERT_TRUE(process.waitForStarted());
    }

    QJsonValue host(const QStringList &arguments)
    {
        const ProcessResult result = runProcess(python, QStringList{hostScript} + arguments);
        return QJsonDocument::fromJson("[" + result.standardOutput + "]").array().at(0);
    }

    QJsonObject waitForTrayItem()
    {
        QJsonObject item;
        const bool registered = QTest::qWaitFor(
            [&] {
                item = host({u"item"_s}).toObject();
                return !item.isEmpty();
            },
            15000);
        return registered ? item : QJsonObject();
    }

    bool waitForWindow(const QString &title)
    {
        return QTest::qWaitFor(
            [&] {
                return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, title})
                            .standardOutput.isEmpty();
            },
            15000);
    }

    QTemporaryDir m_config;
    QProcessEnvironment m_environment;
    QProcess m_host;
    QProcess m_app;
    QProcess m_second;
};

TEST_F(TrayApplicationTest, TrayMenuSpeaksTheChosenLanguageAndQuitEndsTheApplication)
{
    for (const QString &language : {u"en"_s, u"zh-Hant"_s}) {
        writeDefaults("language=" + language.toUtf8() + "\n");
        start(m_app);
        const QJsonObject item = waitForTrayItem();
        ASSERT_FALSE(item.isEmpty()) << "no tray item registered";
        const QJsonArray rows = item.value(u"rows"_s).toArray();
        ASSERT_EQ(rows.size(), 9);
        const QStringList keys{
            u"选区识字并复制"_s, u"选区识字并 AI 润色"_s,    u"就绪"_s,        QString(), QString(), u"设置…"_s,
            u"检查更新…"_s,      u"打开屏幕录制权限设置…"_s, u"退出 Tessary"_s};
        for (int i = 0; i < rows.size(); ++i) {
            const QJsonObject row = rows[i].toObject();
            if (!keys[i].isEmpty()) {
                EXPECT_EQ(row.value(u"label"_s).toString(), translated(language, keys[i])) << i;
            }
            // Rows 2 and 3 are information; row 7, the capture permission, is hidden on X11.
            EXPECT_EQ(row.value(u"enabled"_s).toBool(), i != 2 && i != 3 && i != 7) << i;
        }
        EXPECT_EQ(rows[4].toObject().value(u"type"_s).toString(), u"separator"_s);
        EXPECT_TRUE(rows[3].toObject().value(u"label"_s).toString().endsWith(u"Ctrl+Shift+Super+2"_s));
        // The status line is also the tooltip.
        EXPECT_EQ(item.value(u"tooltip"_s).toArray().at(2).toString(), translated(language, u"就绪"_s));

        host({u"click"_s, translated(language, u"退出 Tessary"_s)});
        ASSERT_TRUE(m_app.waitForFinished(30000)) << "Quit did not end the application";
        EXPECT_EQ(m_app.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(m_app.exitCode(), 0);
    }
}

TEST_F(TrayApplicationTest, SecondLaunchShowsTheSettingsWindowOfTheFirst)
{
    writeDefaults("language=zh-Hans\n");
    start(m_app);
    ASSERT_FALSE(waitForTrayItem().isEmpty());
    const QString title = translated(u"zh-Hans"_s, u"Tessary 设置"_s);
    EXPECT_TRUE(
        runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, title}).standardOutput.isEmpty());

    start(m_second);
    ASSERT_TRUE(m_second.waitForFinished(10000));
    EXPECT_EQ(m_second.exitCode(), 0);
    EXPECT_TRUE(waitForWindow(title));
    EXPECT_EQ(m_app.state(), QProcess::Running);
    EXPECT_EQ(host({u"items"_s}).toArray().size(), 1) << "still one tray item";

    // An open settings window does not hold up Quit.
    host({u"click"_s, translated(u"zh-Hans"_s, u"退出 Tessary"_s)});
    ASSERT_TRUE(m_app.waitForFinished(5000));
    EXPECT_EQ(m_app.exitCode(), 0);
}

TEST_F(TrayApplicationTest, TerminationSignalEndsTheApplicationWithItsWindowOpen)
{
    writeDefaults("language=en\n");
    start(m_app, {u"--open-settings-ai"_s});
    ASSERT_TRUE(waitForWindow(translated(u"en"_s, u"Tessary 设置"_s)));
    m_app.terminate();
    ASSERT_TRUE(m_app.waitForFinished(5000));
    EXPECT_EQ(m_app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_app.exitCode(), 0);
}

TEST_F(TrayApplicationTest, HiddenIconRegistersNoTrayItemAndRelaunchOpensSettings)
{
    writeDefaults("language=en\nhideMenuBarIcon=true\n");
    start(m_app, {u"--open-settings-updates"_s});
    const QString title = translated(u"en"_s, u"Tessary 设置"_s);
    ASSERT_TRUE(waitForWindow(title));
    EXPECT_TRUE(host({u"items"_s}).toArray().isEmpty());

    // Closing the window leaves a running application without a window or an icon; launching again reaches it.
    const QString window =
        QString::fromUtf8(
            runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, title}).standardOutput)
            .trimmed();
    runProcess(u"xdotool"_s, {u"windowfocus"_s, u"--sync"_s, window});
    runProcess(u"xdotool"_s, {u"key"_s, u"ctrl+w"_s});
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, title})
                .standardOutput.isEmpty();
        },
        5000))
        << "Ctrl+W hides the settings window";
    start(m_second);
    ASSERT_TRUE(m_second.waitForFinished(10000));
    EXPECT_EQ(m_second.exitCode(), 0);
    EXPECT_TRUE(waitForWindow(title));
    EXPECT_TRUE(host({u"items"_s}).toArray().isEmpty());
}

} // namespace
