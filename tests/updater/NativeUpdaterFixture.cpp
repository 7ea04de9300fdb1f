#include "tests/updater/NativeUpdaterFixture.h"

#include <QJsonDocument>
#include <QTest>

#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;

namespace Tessary::Test {

void NativeUpdaterFixture::SetUpTestSuite()
{
    s_server = new LoopbackHttpsServer;
    QString error;
    ASSERT_TRUE(s_server->start(&error)) << error.toStdString();
    s_server->trustInThisProcess();
}

void NativeUpdaterFixture::TearDownTestSuite()
{
    delete s_server;
    s_server = nullptr;
}

void NativeUpdaterFixture::SetUp()
{
    s_server->clearRoutes();
    s_server->clearRequests();
    qputenv("TMPDIR", QFile::encodeName(m_dir.path()));
    m_defaults = std::make_unique<UserDefaults>(m_dir.filePath(u"defaults.ini"_s));
    m_defaults->registerDefaults({{switchKey(), true}});
    // The prompt times live in the standard defaults, shared by every run of these tests.
    UserDefaults standard;
    for (int build = 40; build < 50; ++build) {
        standard.remove(u"NativeUpdater.tessary.prompt.%1"_s.arg(build));
    }
}

void NativeUpdaterFixture::TearDown()
{
    qunsetenv("TMPDIR");
}

QString NativeUpdaterFixture::switchKey()
{
    return u"NativeUpdater.tessary.automaticallyChecksForUpdates"_s;
}

NativeUpdateConfiguration NativeUpdaterFixture::configuration() const
{
    NativeUpdateConfiguration configuration = testConfiguration();
    configuration.manifestURL = s_server->baseUrl().resolved(QUrl(manifestPath));
    return configuration;
}

std::unique_ptr<NativeUpdater> NativeUpdaterFixture::makeUpdater(const NativeUpdateConfiguration &configuration)
{
    return std::make_unique<NativeUpdater>(configuration, *m_defaults);
}

std::unique_ptr<NativeUpdater> NativeUpdaterFixture::makeUpdater()
{
    return makeUpdater(configuration());
}

void NativeUpdaterFixture::serveManifest(const QJsonObject &changes)
{
    QJsonObject manifest{
        {u"schemaVersion"_s, 1},
        {u"product"_s, u"tessary"_s},
        {u"version"_s, u"1.5.0"_s},
        {u"build"_s, 43},
        {u"downloadURL"_s, s_server->baseUrl().resolved(QUrl(archivePath)).toString()},
        {u"sha256"_s, m_archiveChecksum.isEmpty() ? QString(64, u'0') : m_archiveChecksum},
    };
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        manifest.insert(it.key(), it.value());
    }
    s_server->setRoute(manifestPath, {{u"body"_s, QString::fromUtf8(QJsonDocument(manifest).toJson())}});
}

void NativeUpdaterFixture::serveRelease(const QJsonObject &archiveRoute, bool notarized)
{
    const QString release = m_dir.filePath(u"release"_s);
    const QString bundle = release + u"/Tessary.app"_s;
    ASSERT_TRUE(writeBundle(bundle, {.version = u"1.5.0"_s, .build = u"43"_s}) && signBundle(bundle));
    ASSERT_TRUE(!notarized || notarizeBundle(bundle));
    const QString zip = m_dir.filePath(u"Tessary-43.zip"_s);
    ASSERT_TRUE(zipFolderContents(release, zip));
    m_archiveChecksum = sha256Hex(readFile(zip));
    QJsonObject route{{u"body_file"_s, zip}};
    for (auto it = archiveRoute.begin(); it != archiveRoute.end(); ++it) {
        route.insert(it.key(), it.value());
    }
    s_server->setRoute(archivePath, route);
}

bool NativeUpdaterFixture::waitForState(NativeUpdater &updater, NativeUpdateState::Kind kind)
{
    return QTest::qWaitFor([&] { return updater.state().kind() == kind; }, 30000);
}

void NativeUpdaterFixture::check(NativeUpdater &updater, bool manual)
{
    updater.checkForUpdates(manual);
    EXPECT_TRUE(QTest::qWaitFor([&] { return updater.state().kind() != NativeUpdateState::Kind::Checking; }, 30000));
}

} // namespace Tessary::Test
