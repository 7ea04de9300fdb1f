// Version 1 of the application, installed in a private home folder, finds version 2 on the loopback server,
// downloads and verifies it, restarts into it, and leaves no backup behind. The work folder is on another file
// system than the installation whenever the machine has one, so the final move is a copy.

#include <gtest/gtest.h>

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

class NativeUpdaterEndToEndTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QString error;
        ASSERT_TRUE(m_server.start(&error)) << error.toStdString();
        QDir().mkpath(buildPath(u"tests/updater/work"_s));
        m_home = std::make_unique<QTemporaryDir>(buildPath(u"tests/updater/work/home-XXXXXX"_s));
        const QString other = otherFileSystemFolder();
        m_temporary =
            std::make_unique<QTemporaryDir>((other.isEmpty() ? QDir::tempPath() : other) + u"/tessary-tmp-XXXXXX"_s);
        ASSERT_TRUE(m_home->isValid() && m_temporary->isValid() && m_records.isValid() && m_release.isValid());
        m_installed = m_home->filePath(u".local/opt/Tessary.app"_s);
        ASSERT_TRUE(makeReleasedBundle(m_installed, version(u"1"_s)));
    }

    void TearDown() override
    {
        if (m_application.state() != QProcess::NotRunning) {
            m_application.kill();
            m_application.waitForFinished();
        }
    }

    static BundleContents version(const QString &build)
    {
        return BundleContents{.version = build + u".0.0"_s,
                              .build = build,
                              .executable = testTreePath(u"bin/update-test-app"_s),
                              .withHelper = true};
    }

    /** Serves version 2 made by prepare (which signs it its own way) and its manifest. */
    void serveVersionTwo(const std::function<bool(const QString &bundle)> &prepare)
    {
        const QString bundle = m_release.filePath(u"Tessary.app"_s);
        ASSERT_TRUE(writeBundle(bundle, version(u"2"_s)) && prepare(bundle));
        const QString zip = m_release.filePath(u"Tessary-2.zip"_s);
        ASSERT_TRUE(zipFolderContents(m_release.path(), zip));
        m_server.setRoute(u"/downloads/Tessary-2.zip"_s, {{u"body_file"_s, zip}});
        const QJsonObject manifest{
            {u"schemaVersion"_s, 1},
            {u"product"_s, u"tessary"_s},
            {u"version"_s, u"2.0.0"_s},
            {u"build"_s, 2},
            {u"downloadURL"_s, QString(m_server.baseUrl().toString() + u"/downloads/Tessary-2.zip"_s)},
            {u"sha256"_s, sha256Hex(readFile(zip))},
        };
        m_server.setRoute(u"/downloads/update.json"_s,
                          {{u"body"_s, QString::fromUtf8(QJsonDocument(manifest).toJson())}});
    }

    void startVersionOne()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, m_home->path());
        environment.insert(u"XDG_CONFIG_HOME"_s, m_home->filePath(u".config"_s));
        environment.insert(u"TMPDIR"_s, m_temporary->path());
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"TESSARY_TEST_RECORD_DIR"_s, m_records.path());
        environment.insert(u"TESSARY_TEST_CA_FILE"_s, m_server.caCertificatePath());
        environment.insert(u"TESSARY_TEST_MANIFEST_URL"_s, m_server.baseUrl().toString() + u"/downloads/update.json"_s);
        environment.remove(u"TESSARY_NEW_INSTANCE"_s);
        m_application.setProcessEnvironment(environment);
        m_application.setProcessChannelMode(QProcess::ForwardedChannels);
        m_application.start(m_installed + u"/bin/tessary"_s, {});
        ASSERT_TRUE(m_application.waitForStarted());
    }

    /** The first record file whose name starts with prefix, read once it exists. */
    QByteArray waitForRecord(const QString &prefix, const QByteArray &containing = {})
    {
        QByteArray found;
        (void)QTest::qWaitFor(
            [&] {
                for (const QString &name : QDir(m_records.path()).entryList({prefix + u'*'}, QDir::Files)) {
                    const QByteArray content = readFile(m_records.filePath(name));
                    if (content.contains(containing)) {
                        found = content;
                    }
                }
                return !found.isEmpty();
            },
            60000);
        return found;
    }

    QStringList leftovers() const
    {
        return QDir(m_home->filePath(u".local/opt"_s))
            .entryList({u".*"_s}, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    LoopbackHttpsServer m_server;
    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<QTemporaryDir> m_temporary;
    QTemporaryDir m_records;
    QTemporaryDir m_release;
    QString m_installed;
    QProcess m_application;
};

TEST_F(NativeUpdaterEndToEndTest, RestartsIntoVerifiedNewVersion)
{
    serveVersionTwo([](const QString &bundle) { return signBundle(bundle) && notarizeBundle(bundle); });
    if (!otherFileSystemFolder().isEmpty()) {
        EXPECT_NE(deviceOf(m_temporary->path()), deviceOf(m_home->path()));
    }
    startVersionOne();

    // Version 1 checks 4 s after launch, accepts both dialogs, starts the helper and quits.
    ASSERT_TRUE(m_application.waitForFinished(90000)) << readFile(m_records.path()).toStdString();
    EXPECT_EQ(m_application.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_application.exitCode(), 0);

    const QByteArray relaunched = waitForRecord(u"launch"_s, "new_instance=1");
    ASSERT_FALSE(relaunched.isEmpty()) << "no new instance was started";
    EXPECT_TRUE(relaunched.contains("version=2\n")) << relaunched.toStdString();
    const QByteArray bundleLine = "bundle=" + QFile::encodeName(QDir(m_installed).canonicalPath()) + '\n';
    EXPECT_TRUE(relaunched.contains(bundleLine)) << relaunched.toStdString();
    EXPECT_TRUE(readFile(m_installed + u"/Info.json"_s).contains("\"2.0.0\""));
    EXPECT_EQ(leftovers(), QStringList());
    EXPECT_TRUE(QDir(m_records.path()).entryList({u"failed-*"_s}).isEmpty());

    // The staged bundle left the work folder; only the downloaded archive stays for the system to clean.
    const QStringList work = QDir(m_temporary->path()).entryList({u"tessary-update-*"_s}, QDir::Dirs);
    ASSERT_EQ(work.size(), 1);
    EXPECT_EQ(QDir(m_temporary->filePath(work[0])).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList{u"update.zip"_s});
}

TEST_F(NativeUpdaterEndToEndTest, RejectedUpdateLeavesInstalledVersionRunning)
{
    serveVersionTwo([this](const QString &bundle) {
        const QString key = m_release.filePath(u"other.pem"_s);
        return makeUntrustedKey(key) && signBundle(bundle, key) && notarizeBundle(bundle);
    });
    startVersionOne();

    const QByteArray failed = waitForRecord(u"failed"_s);
    EXPECT_EQ(failed, "Update download failed: The update failed developer signature or notarization verification.\n");
    EXPECT_EQ(m_application.state(), QProcess::Running);
    EXPECT_TRUE(readFile(m_installed + u"/Info.json"_s).contains("\"1.0.0\""));
    EXPECT_EQ(leftovers(), QStringList());
}
