// The real application updates itself. Version 1 of tessary (the copy built for the test keys) is installed as a
// bundle in a private home folder and started on the test's X server. The release's own configuration is used
// unchanged: its manifest and download hosts are reached through the proxy of the environment, a tunnel that ends
// at the loopback HTTPS server, whose certificate names those hosts and whose authority the environment trusts.
// The dialogs are answered as a user would, with the keyboard. Version 2 is then running from the same place and no
// backup of version 1 is left behind. (The tray's check item is tested with the application; the helper's other
// outcomes, the checks of the archive and the controller's each have tests of their own.)

#include <gtest/gtest.h>

#include <signal.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/LoopbackTunnel.h"
#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString manifestHost = u"velmor.md"_s;
const QString archiveHost = u"static.velmor.md"_s;

class TessaryUpdateEndToEndTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs on an X server";
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) << "runs on a private session bus";
        m_server.setAdditionalHostNames({manifestHost, archiveHost});
        QString error;
        ASSERT_TRUE(m_server.start(&error)) << error.toStdString();
        ASSERT_TRUE(m_tunnel.start(m_server.port(), &error)) << error.toStdString();
        m_installed = m_home.filePath(u".local/opt/Tessary.app"_s);
        ASSERT_TRUE(makeReleasedBundle(m_installed, version(u"1"_s)));
        serveVersionTwo();
    }

    void TearDown() override
    {
        if (m_application.state() != QProcess::NotRunning) {
            m_application.kill();
            m_application.waitForFinished();
        }
        // The new version was started by the update helper, not by us; it is found by its program and ended here.
        if (m_relaunched == 0) {
            m_relaunched = relaunchedInstance();
        }
        if (m_relaunched > 0) {
            ::kill(m_relaunched, SIGKILL);
        }
    }

    static BundleContents version(const QString &build)
    {
        return {.version = build + u".0.0"_s,
                .build = build,
                .executable = testTreePath(u"bin/tessary"_s),
                .withHelper = true};
    }

    void serveVersionTwo()
    {
        const QString zip = m_release.filePath(u"Tessary-2.zip"_s);
        ASSERT_TRUE(makeReleasedBundle(m_release.filePath(u"Tessary.app"_s), version(u"2"_s)) &&
                    zipFolderContents(m_release.path(), zip));
        m_server.setRoute(u"/downloads/Tessary-2.zip"_s, {{u"body_file"_s, zip}});
        const QJsonObject manifest{{u"schemaVersion"_s, 1},
                                   {u"product"_s, u"tessary"_s},
                                   {u"version"_s, u"2.0.0"_s},
                                   {u"build"_s, 2},
                                   {u"downloadURL"_s, u"https://%1/downloads/Tessary-2.zip"_s.arg(archiveHost)},
                                   {u"sha256"_s, sha256Hex(fileContents(zip))}};
        m_server.setRoute(u"/downloads/update.json"_s,
                          {{u"body"_s, QString::fromUtf8(QJsonDocument(manifest).toJson())}});
    }

    void startVersionOne()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, m_home.path());
        environment.insert(u"XDG_CONFIG_HOME"_s, m_home.filePath(u".config"_s));
        environment.insert(u"https_proxy"_s, u"http://127.0.0.1:%1"_s.arg(m_tunnel.proxy().port()));
        environment.insert(u"SSL_CERT_FILE"_s, m_server.caCertificatePath());
        for (const QString &name : {u"HTTPS_PROXY"_s, u"no_proxy"_s, u"NO_PROXY"_s, u"TESSARY_NEW_INSTANCE"_s}) {
            environment.remove(name);
        }
        m_application.setProcessEnvironment(environment);
        m_application.setProcessChannelMode(QProcess::ForwardedChannels);
        m_application.start(m_installed + u"/bin/tessary"_s, {});
        ASSERT_TRUE(m_application.waitForStarted());
    }

    static QStringList dialogs()
    {
        return xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary$"_s}).split(u'\n', Qt::SkipEmptyParts);
    }

    /**
     * Waits for a dialog of the updater that was not answered yet (its window title is the application's name) and
     * accepts it with the Return key, which presses its first button.
     */
    bool acceptNextDialog()
    {
        QString dialog;
        const bool shown = QTest::qWaitFor(
            [&] {
                for (const QString &window : dialogs()) {
                    if (!m_answered.contains(window)) {
                        dialog = window;
                        return true;
                    }
                }
                return m_application.state() == QProcess::NotRunning;
            },
            60000);
        if (!shown || dialog.isEmpty()) {
            return false;
        }
        m_answered.insert(dialog);
        // Pressed again while the dialog stays, in case the key arrived before the dialog had the focus.
        return QTest::qWaitFor(
            [&] {
                runProcess(u"xdotool"_s, {u"windowfocus"_s, u"--sync"_s, dialog},
                           QProcessEnvironment::systemEnvironment(), {}, 5000);
                xdotool({u"key"_s, u"--clearmodifiers"_s, u"Return"_s});
                return QTest::qWaitFor([&] { return !dialogs().contains(dialog); }, 2000);
            },
            60000);
    }

    /** The process that runs the installed program and was started as a new instance, or 0. */
    qint64 relaunchedInstance() const
    {
        const QString program = QDir(m_installed).canonicalPath() + u"/bin/tessary"_s;
        const QStringList processes = QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs);
        for (const QString &pid : processes) {
            if (pid.toLongLong() == m_application.processId()) {
                continue;
            }
            if (QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid)) != program) {
                continue;
            }
            const QList<QByteArray> environment = fileContents(u"/proc/%1/environ"_s.arg(pid)).split('\0');
            if (environment.contains("TESSARY_NEW_INSTANCE=1")) {
                return pid.toLongLong();
            }
        }
        return 0;
    }

    LoopbackHttpsServer m_server;
    LoopbackTunnel m_tunnel;
    QTemporaryDir m_home;
    QTemporaryDir m_release;
    QString m_installed;
    QProcess m_application;
    QSet<QString> m_answered;
    qint64 m_relaunched = 0;
};

TEST_F(TessaryUpdateEndToEndTest, AutomaticCheckAfterLaunchInstallsVersionTwo)
{
    startVersionOne();
    // Without a tray the application shows its settings window at launch; the update check follows by itself.
    ASSERT_TRUE(acceptNextDialog()) << "no update-available dialog";
    ASSERT_TRUE(acceptNextDialog()) << "no ready dialog";
    ASSERT_TRUE(m_application.waitForFinished(60000)) << "version 1 did not quit for the update";
    EXPECT_EQ(m_application.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_application.exitCode(), 0);
    ASSERT_TRUE(QTest::qWaitFor([&] { return (m_relaunched = relaunchedInstance()) > 0; }, 60000))
        << "version 2 was not started";
    EXPECT_TRUE(fileContents(m_installed + u"/Info.json"_s).contains("\"2.0.0\""));
    // Nothing stays beside the installation: neither the backup of version 1 nor a half-moved copy. The helper
    // removes the backup once version 2 has started.
    const QDir opt(m_home.filePath(u".local/opt"_s));
    const auto entries = [&] { return opt.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); };
    EXPECT_TRUE(QTest::qWaitFor([&] { return entries() == QStringList{u"Tessary.app"_s}; }, 30000))
        << entries().join(u' ').toStdString();

    // Both hosts of the release configuration were asked for, through the tunnel.
    const QStringList targets = m_tunnel.connectTargets();
    EXPECT_TRUE(targets.contains(manifestHost + u":443"_s) && targets.contains(archiveHost + u":443"_s))
        << targets.join(u' ').toStdString();
}

} // namespace
