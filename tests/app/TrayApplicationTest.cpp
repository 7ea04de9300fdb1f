// The real tessary executable with a tray host on the test's private session bus: what a user sees in the tray
// menu, Quit, reopening by a second launch, the termination signal, and a hidden icon.

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QProcess>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

class TrayApplicationTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_tray.start()) << "runs under with-xvfb with-keyring"; }

    void TearDown() override
    {
        for (QProcess *app : {&m_app, &m_second}) {
            app->kill();
            app->waitForFinished();
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
        ASSERT_TRUE(m_second.waitForFinished(10000));
        EXPECT_EQ(m_second.exitCode(), 0);
        EXPECT_TRUE(waitForWindow(translated(u"en"_s, u"Tessary 设置"_s)));
        EXPECT_EQ(m_app.state(), QProcess::Running);
    }

    static void expectEndedWell(QProcess &app)
    {
        ASSERT_TRUE(app.waitForFinished(30000));
        EXPECT_EQ(app.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(app.exitCode(), 0);
    }

    PrivateHome m_home;
    TrayHost m_tray;
    QProcess m_app;
    QProcess m_second;
};

TEST_F(TrayApplicationTest, TrayMenuSpeaksTheChosenLanguageAndQuitEndsTheApplication)
{
    for (const QString &language : {u"zh-Hant"_s, u"en"_s}) {
        SCOPED_TRACE(language.toStdString());
        m_home.writeDefaults("language=" + language.toUtf8() + "\n");
        start(m_app);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !m_tray.item().isEmpty(); }, 20000)) << "no tray item registered";
        const QJsonObject item = m_tray.item();
        const QJsonArray rows = item.value(u"rows"_s).toArray();
        ASSERT_EQ(rows.size(), 9);
        const QStringList keys{
            u"选区识字并复制"_s, u"选区识字并 AI 润色"_s,    u"就绪"_s,        u"快捷键：%@"_s, QString(), u"设置…"_s,
            u"检查更新…"_s,      u"打开屏幕录制权限设置…"_s, u"退出 Tessary"_s};
        for (int i = 0; i < rows.size(); ++i) {
            const QString label = translated(language, keys[i]).replace(u"%@"_s, u"Ctrl+Shift+Super+2"_s);
            EXPECT_EQ(rows[i].toObject().value(u"label"_s).toString(), label) << i;
            // Rows 2 and 3 are information; row 7, the capture permission, is hidden on X11.
            EXPECT_EQ(rows[i].toObject().value(u"enabled"_s).toBool(), i != 2 && i != 3 && i != 7) << i;
        }
        EXPECT_EQ(rows[4].toObject().value(u"type"_s).toString(), u"separator"_s);
        // The status line is also the tooltip.
        EXPECT_EQ(item.value(u"tooltip"_s).toArray().at(2).toString(), translated(language, u"就绪"_s));

        if (language == u"en") {
            // No window at launch; a second launch shows it, and an open window does not hold up Quit.
            EXPECT_TRUE(waitForWindow(translated(language, u"Tessary 设置"_s), false, 0));
            launchAgain();
            EXPECT_EQ(m_tray.itemCount(), 1);
        }
        m_tray.click(translated(language, u"退出 Tessary"_s));
        expectEndedWell(m_app);
    }
}

TEST_F(TrayApplicationTest, TerminationSignalEndsTheApplicationWithItsWindowOpen)
{
    m_home.writeDefaults("language=en\n");
    start(m_app, {u"--open-settings-ai"_s});
    ASSERT_TRUE(waitForWindow(translated(u"en"_s, u"Tessary 设置"_s)));
    m_app.terminate();
    expectEndedWell(m_app);
}

TEST_F(TrayApplicationTest, HiddenIconRegistersNoTrayItemAndRelaunchOpensSettings)
{
    m_home.writeDefaults("language=en\nhideMenuBarIcon=true\n");
    start(m_app, {u"--open-settings-updates"_s});
    const QString title = translated(u"en"_s, u"Tessary 设置"_s);
    ASSERT_TRUE(waitForWindow(title));
    EXPECT_EQ(m_tray.itemCount(), 0);

    // Closing the window leaves a running application without a window or an icon; launching again reaches it.
    xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, title, u"windowfocus"_s, u"--sync"_s});
    xdotool({u"key"_s, u"ctrl+w"_s});
    ASSERT_TRUE(waitForWindow(title, false)) << "Ctrl+W hides the settings window";
    launchAgain();
    EXPECT_EQ(m_tray.itemCount(), 0);
}

} // namespace
