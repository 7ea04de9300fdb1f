// A tray host that starts after Tessary, as a panel often does at login: the real tessary executable shows the
// settings window for want of a tray, then docks its icon as soon as a host appears, and again when the host is
// restarted. Both kinds of host: a StatusNotifierItem watcher on the session bus, and an XEmbed tray (trayer).

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString hostScript = sourcePath(u"tests/support/sni_host.py"_s);
const QString python = u"/usr/bin/python3"_s;

class TrayHostLaterTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb with-keyring";
        QDir().mkpath(m_config.filePath(u"md.velmor.tessary"_s));
        QFile defaults(m_config.filePath(u"md.velmor.tessary/defaults.ini"_s));
        ASSERT_TRUE(defaults.open(QIODevice::WriteOnly));
        defaults.write("[General]\nlanguage=en\n");
        defaults.close();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, m_config.path());
        m_app.setProcessEnvironment(environment);
        m_app.start(buildPath(u"bin/tessary"_s));
        ASSERT_TRUE(m_app.waitForStarted());
        // Launched without a tray: the settings window stands in for the icon.
        ASSERT_TRUE(QTest::qWaitFor(
            [] {
                return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"Tessary Settings"_s})
                            .standardOutput.isEmpty();
            },
            20000));
    }

    void TearDown() override
    {
        for (QProcess *process : {&m_host, &m_app}) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished();
            }
        }
    }

    void restartHost(const QString &program, const QStringList &arguments)
    {
        if (m_host.state() != QProcess::NotRunning) {
            m_host.kill();
            m_host.waitForFinished();
        }
        m_host.start(program, arguments);
        ASSERT_TRUE(m_host.waitForStarted());
    }

    QJsonObject trayItem() const
    {
        const ProcessResult result = runProcess(python, {hostScript, u"item"_s});
        return QJsonDocument::fromJson(result.standardOutput).object();
    }

    /** Whether a window of the tessary process sits in trayer's panel. */
    static bool dockedInTrayer()
    {
        const QStringList tree =
            QString::fromUtf8(runProcess(u"xwininfo"_s, {u"-root"_s, u"-tree"_s}).standardOutput).split(u'\n');
        const auto indent = [](const QString &line) { return line.size() - QString(line).trimmed().size(); };
        const auto panel =
            std::ranges::find_if(tree, [](const QString &line) { return line.contains(u"\"panel\""_s); });
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

    QTemporaryDir m_config;
    QProcess m_app;
    QProcess m_host;
};

TEST_F(TrayHostLaterTest, StatusNotifierHostStartedLaterGetsTheIcon)
{
    for (int start = 1; start <= 2; ++start) {
        restartHost(python, {hostScript, u"serve"_s});
        QJsonObject item;
        ASSERT_TRUE(QTest::qWaitFor([&] { return !(item = trayItem()).isEmpty(); }, 20000))
            << "no tray item after host start " << start;
        const QJsonArray rows = item.value(u"rows"_s).toArray();
        ASSERT_EQ(rows.size(), 9);
        EXPECT_EQ(rows[3].toObject().value(u"label"_s).toString(), u"Shortcut: Ctrl+Shift+Super+2"_s);
        EXPECT_FALSE(rows[7].toObject().value(u"visible"_s).toBool()) << "X11 has no capture permission to reset";
    }
    EXPECT_EQ(m_app.state(), QProcess::Running);
}

TEST_F(TrayHostLaterTest, XEmbedTrayStartedLaterGetsTheIcon)
{
    const QString trayer = QStandardPaths::findExecutable(u"trayer"_s);
    if (trayer.isEmpty()) {
        GTEST_SKIP() << "trayer is not installed";
    }
    const QStringList arguments{u"--edge"_s, u"top"_s,     u"--align"_s, u"right"_s,    u"--widthtype"_s,
                                u"pixel"_s,  u"--width"_s, u"100"_s,     u"--height"_s, u"24"_s};
    EXPECT_FALSE(dockedInTrayer());
    restartHost(trayer, arguments);
    EXPECT_TRUE(QTest::qWaitFor(dockedInTrayer, 20000)) << "not docked in the first tray";
    // The panel goes and comes back: the icon follows.
    m_host.kill();
    m_host.waitForFinished();
    EXPECT_TRUE(QTest::qWaitFor([] { return !dockedInTrayer(); }, 20000));
    restartHost(trayer, arguments);
    EXPECT_TRUE(QTest::qWaitFor(dockedInTrayer, 20000)) << "not docked in the restarted tray";
    EXPECT_EQ(m_app.state(), QProcess::Running);
}

} // namespace
