// The updater's controller against a loopback HTTPS server, with the settings window's updates pane showing it:
// schedule, dialogs, the daily prompt, every way a check or a download fails, the way to a staged update, and a copy
// that cannot update itself. The test programs run from testkeys/bin, whose bundle is build 42 of md.velmor.tessary;
// the pane speaks the language the user chose, the updater's dialogs the system's (English here).

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "app/TessaryPreferences.h"
#include "app/settings/SettingsTexts.h"
#include "app/settings/UpdatesPane.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/LoopbackHttpsServer.h"
#include "tests/updater/support/DialogAnswerer.h"
#include "tests/updater/support/UpdateFixtures.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;
using Kind = NativeUpdateState::Kind;

namespace {

const QString manifestPath = u"/downloads/update.json"_s;
const QString archivePath = u"/downloads/Tessary-43.zip"_s;
const QString switchKey = u"NativeUpdater.tessary.automaticallyChecksForUpdates"_s;

class NativeUpdaterTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_server = std::make_unique<LoopbackHttpsServer>();
        ASSERT_TRUE(s_server->start());
        s_server->trustInThisProcess();
    }

    static void TearDownTestSuite() { s_server.reset(); }

    void SetUp() override
    {
        s_server->clearRoutes();
        s_server->clearRequests();
        qputenv("TMPDIR", QFile::encodeName(m_dir.path()));
        m_defaults.registerDefaults({{switchKey, true}});
        forgetPrompts();
    }

    /** The prompt times live in the standard defaults, shared by every run of these tests. */
    static void forgetPrompts()
    {
        UserDefaults standard;
        for (int build = 40; build < 50; ++build) {
            standard.remove(u"NativeUpdater.tessary.prompt.%1"_s.arg(build));
        }
    }

    void TearDown() override { qunsetenv("TMPDIR"); }

    std::unique_ptr<NativeUpdater> makeUpdater(bool enabled = true, bool packageManaged = false)
    {
        NativeUpdateConfiguration configuration = testConfiguration();
        configuration.manifestURL = s_server->baseUrl().resolved(QUrl(manifestPath));
        configuration.isEnabled = enabled;
        configuration.isPackageManaged = packageManaged;
        return std::make_unique<NativeUpdater>(configuration, m_defaults);
    }

    /** Serves a manifest of build 43 (1.5.0) pointing at our archive, with the given fields replaced. */
    void serveManifest(const QJsonObject &changes = {})
    {
        QJsonObject manifest{{u"schemaVersion"_s, 1},
                             {u"product"_s, u"tessary"_s},
                             {u"version"_s, u"1.5.0"_s},
                             {u"build"_s, 43},
                             {u"downloadURL"_s, s_server->baseUrl().resolved(QUrl(archivePath)).toString()},
                             {u"sha256"_s, m_checksum.isEmpty() ? QString(64, u'0') : m_checksum}};
        for (auto it = changes.begin(); it != changes.end(); ++it) {
            manifest.insert(it.key(), it.value());
        }
        s_server->setRoute(manifestPath, {{u"body"_s, QString::fromUtf8(QJsonDocument(manifest).toJson())}});
    }

    /** Makes, signs, notarizes and serves build 43; the route gets the fields given. */
    void serveRelease(QJsonObject route = {})
    {
        const QString bundle = m_dir.filePath(u"release/Tessary.app"_s);
        QDir(bundle).removeRecursively();
        ASSERT_TRUE(makeReleasedBundle(bundle, {.version = u"1.5.0"_s, .build = u"43"_s}));
        const QString zip = m_dir.filePath(u"Tessary-43.zip"_s);
        ASSERT_TRUE(zipFolderContents(m_dir.filePath(u"release"_s), zip));
        m_checksum = sha256Hex(fileContents(zip));
        route.insert(u"body_file"_s, zip);
        s_server->setRoute(archivePath, route);
    }

    static qsizetype requestsFor(const QString &path)
    {
        const QJsonArray requests = s_server->requests();
        return std::ranges::count_if(requests, [&](const QJsonValue &request) { return request[u"path"] == path; });
    }

    static bool waitForState(NativeUpdater &updater, Kind kind)
    {
        return QTest::qWaitFor([&] { return updater.state().kind() == kind; }, 30000);
    }

    /** Runs a check and waits until its outcome (and any dialog) is settled. */
    static void check(NativeUpdater &updater, bool manual)
    {
        updater.checkForUpdates(manual);
        EXPECT_TRUE(QTest::qWaitFor([&] { return updater.state().kind() != Kind::Checking; }, 30000));
    }

    static inline std::unique_ptr<LoopbackHttpsServer> s_server;
    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    DialogAnswerer m_answerer;
    QString m_checksum;
};

TEST_F(NativeUpdaterTest, NewerBuildIsOfferedAtMostOncePerBuildAndDayWhenAutomatic)
{
    const auto updater = makeUpdater();
    serveManifest({{u"build"_s, 42}});
    check(*updater, true);
    EXPECT_EQ(updater->state(), NativeUpdateState::current());
    ASSERT_EQ(m_answerer.dialogs().size(), 1);
    EXPECT_EQ(m_answerer.dialogs()[0].text, u"Tessary is up to date."_s);
    check(*updater, false);
    EXPECT_EQ(m_answerer.dialogs().size(), 1) << "an automatic check says nothing when there is nothing new";
    EXPECT_EQ(s_server->requests().last()[u"headers"][u"cache-control"].toString(), u"no-cache"_s);
    m_answerer.clear();

    serveManifest();
    check(*updater, false);
    EXPECT_EQ(updater->state(), NativeUpdateState::available(u"1.5.0"_s));
    ASSERT_EQ(m_answerer.dialogs().size(), 1);
    EXPECT_EQ(m_answerer.dialogs()[0].text, u"Tessary 1.5.0 is available"_s);
    EXPECT_EQ(m_answerer.dialogs()[0].buttons, (QStringList{u"Download Update"_s, u"Later"_s}));
    check(*updater, false);
    EXPECT_EQ(m_answerer.dialogs().size(), 1) << "not again the same day";
    check(*updater, true);
    EXPECT_EQ(m_answerer.dialogs().size(), 2) << "unless asked for";
    // A newer build has its own clock; once found, a manifest stays known when a later check finds nothing newer.
    serveManifest({{u"build"_s, 44}, {u"version"_s, u"1.6.0"_s}});
    check(*updater, false);
    EXPECT_EQ(m_answerer.dialogs().size(), 3);
    serveManifest({{u"build"_s, 42}});
    check(*updater, false);
    EXPECT_EQ(updater->state(), NativeUpdateState::current());
    EXPECT_EQ(updater->availableManifest()->build, 44);
}

TEST_F(NativeUpdaterTest, EveryFailureShowsItsReasonStagesNothingAndEndsTheRequest)
{
    // The manifest's route (empty: a manifest with the changes given), the archive's route, the reason. In the routes,
    // "elsewhere" is another server than ours. The manifest's own rules are the policy's; one of them stands for all.
    const std::tuple<QString, const char *, const char *, QString> rows[] = {
        {uR"({"status":404})"_s, "{}", "{}", u"check:The update server returned an invalid response (HTTP 404)."_s},
        {uR"({"body":"<html>"})"_s, "{}", "{}", u"check:The update manifest could not be read."_s},
        {uR"({"body":"{\"pad\": \"%1\"}"})"_s.arg(QString(70000, u'x')), "{}", "{}",
         u"check:The update server sent more than 65536 bytes."_s},
        {uR"({"status":302,"redirect":"elsewhere"})"_s, "{}", "{}",
         u"check:The update manifest was redirected to a server that is not ours."_s},
        {{}, R"({"product":"tessera"})", "{}", u"check:This update does not belong to the current app."_s},
        {{},
         R"({"sha256":"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"})",
         "{}",
         u"download:The update archive is damaged. Download it again."_s},
        {{}, "{}", R"({"status":302,"redirect":"elsewhere"})", u"download:The update download address is invalid."_s},
        {{}, "{}", R"({"truncate":1000})", u"download:The update server closed the connection unexpectedly."_s},
    };
    const auto json = [](QString text) {
        text.replace(u"elsewhere"_s, u"https://localhost:%1/elsewhere"_s.arg(s_server->port()));
        return QJsonDocument::fromJson(text.toUtf8()).object();
    };
    const auto reason = [](const QString &row) -> QString {
        const bool check = row.startsWith(u"check:"_s);
        return (check ? u"Update check failed: "_s : u"Update download failed: "_s) + row.mid(row.indexOf(u':') + 1);
    };
    for (const auto &[manifestRoute, manifestChanges, archiveRoute, row] : rows) {
        const QString expected = reason(row);
        SCOPED_TRACE(expected.toStdString());
        serveRelease(json(QString::fromUtf8(archiveRoute)));
        serveManifest(json(QString::fromUtf8(manifestChanges)));
        if (!manifestRoute.isEmpty()) {
            s_server->setRoute(manifestPath, json(manifestRoute));
        }
        forgetPrompts();
        m_answerer.clear();
        m_answerer.answer({0}); // download
        const auto updater = makeUpdater();
        // An automatic check reports a failed check in the status only; a failed download always says so.
        updater->checkForUpdates(false);
        ASSERT_TRUE(waitForState(*updater, Kind::Failed));
        EXPECT_TRUE(updater->statusText().startsWith(expected)) << updater->statusText().toStdString();
        const bool checkFailed = row.startsWith(u"check:"_s);
        if (checkFailed) {
            EXPECT_TRUE(m_answerer.dialogs().isEmpty());
            check(*updater, true);
        }
        ASSERT_TRUE(QTest::qWaitFor([&] { return m_answerer.dialogs().size() == (checkFailed ? 1 : 2); }, 30000));
        EXPECT_EQ(m_answerer.dialogs().last().text, updater->statusText());
        EXPECT_EQ(m_answerer.dialogs().last().icon, QMessageBox::Warning);
        EXPECT_TRUE(updater->stagedApplication().isEmpty());
        EXPECT_EQ(updater->actionTitle(), u"Check for Updates"_s);
        serveManifest({{u"build"_s, 42}});
        check(*updater, false);
        EXPECT_EQ(updater->state(), NativeUpdateState::current());
    }
}

/** What a user sees in the updates pane: the status, the button (and whether it is disabled), any progress bar. */
std::string viewOf(const UpdatesPane &pane)
{
    const auto *action = pane.findChild<QPushButton *>(u"updateAction"_s);
    QString view = pane.findChild<QLabel *>(u"updateStatus"_s)->text() + u" | "_s + action->text();
    view += action->isEnabled() ? u""_s : u" (disabled)"_s;
    view += pane.findChild<QProgressBar *>(u"downloadProgress"_s)->isVisible() ? u" | progress"_s : u""_s;
    return view.toStdString();
}

TEST_F(NativeUpdaterTest, ThePanesButtonLeadsThroughDownloadToARestartThatNeedsAWholeBundle)
{
    serveRelease({{u"delay"_s, 1}});
    serveManifest();
    TessaryPreferences preferences(m_defaults);
    SettingsTexts texts(preferences);
    preferences.setLanguage(u"zh-Hans"_s);
    const auto updater = makeUpdater();
    UpdatesPane pane(preferences, texts, updater.get());
    pane.show();
    auto *button = pane.findChild<QPushButton *>(u"updateAction"_s);
    std::vector<std::string> seen; // after every change of state, which the pane has already followed
    QObject::connect(updater.get(), &NativeUpdater::stateChanged, [&] { seen.push_back(viewOf(pane)); });
    EXPECT_EQ(pane.findChild<QLabel *>(u"version"_s)->text(), u"版本 1.4.0（42）"_s);
    EXPECT_EQ(viewOf(pane), "自动提示新版已开启 | 检查更新");

    m_answerer.answer({1, 1}); // later, and later again at the ready dialog
    button->click();
    ASSERT_TRUE(waitForState(*updater, Kind::Available));
    button->click();
    EXPECT_EQ(updater->state(), NativeUpdateState::downloading(u"1.5.0"_s));
    // Nothing else starts while it downloads.
    updater->checkForUpdates(true);
    updater->performPrimaryAction();
    ASSERT_TRUE(waitForState(*updater, Kind::Ready));
    EXPECT_EQ(requestsFor(manifestPath), 1);
    EXPECT_EQ(requestsFor(archivePath), 1);
    const std::vector<std::string> expected{"正在检查更新… | 检查更新 (disabled)", "发现新版本 1.5.0 | 下载更新",
                                            "正在下载 1.5.0… | 检查更新 (disabled) | progress",
                                            "1.5.0 已下载，等待重启 | 重启并更新"};
    EXPECT_EQ(seen, expected);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_answerer.dialogs().size() == 2; }, 30000));
    EXPECT_EQ(m_answerer.dialogs()[0].text, u"Tessary 1.5.0 is available"_s) << "the system's language";
    EXPECT_EQ(m_answerer.dialogs()[1].text, u"Tessary 1.5.0 is ready"_s);
    EXPECT_EQ(m_answerer.dialogs()[1].informativeText, u"Restart the app to finish updating."_s);
    EXPECT_EQ(m_answerer.dialogs()[1].buttons, (QStringList{u"Restart and Update"_s, u"Later"_s}));
    const QString staged = updater->stagedApplication();
    EXPECT_TRUE(staged.startsWith(m_dir.filePath(u"tessary-update-"_s))) << staged.toStdString();
    EXPECT_TRUE(fileContents(staged + u"/Info.json"_s).contains("\"43\""));
    // Every text follows the interface language at once.
    preferences.setLanguage(u"zh-Hant"_s);
    EXPECT_EQ(viewOf(pane), "1.5.0 已下載，等待重新啟動 | 重新啟動並更新");

    // A staged bundle that lost its program cannot start the helper: the application keeps running, and the pane says
    // why in the interface's language (the dialog speaks the updater's, which the application sets to the same).
    QFile::remove(staged + u"/bin/tessary"_s);
    QSignalSpy quitting(QCoreApplication::instance(), &QCoreApplication::aboutToQuit);
    button->click();
    EXPECT_EQ(viewOf(pane), "無法啟動更新：更新套件未通過開發者簽章或公證驗證。 | 檢查更新");
    EXPECT_EQ(m_answerer.dialogs().last().text,
              u"Unable to start the update: The update failed developer signature or notarization verification."_s);
    EXPECT_EQ(updater->stagedApplication(), staged);
    QCoreApplication::processEvents();
    EXPECT_EQ(quitting.count(), 0);
}

TEST_F(NativeUpdaterTest, TheSwitchIsStoredAndTheFirstAutomaticCheckFollowsFourSecondsLater)
{
    serveManifest({{u"build"_s, 42}});
    TessaryPreferences preferences(m_defaults);
    SettingsTexts texts(preferences);
    preferences.setLanguage(u"en"_s);
    m_defaults.setBoolean(switchKey, false);
    const auto updater = makeUpdater();
    UpdatesPane pane(preferences, texts, updater.get());
    auto *automatic = pane.findChild<QCheckBox *>(u"automaticallyChecksForUpdates"_s);
    EXPECT_FALSE(automatic->isChecked());
    EXPECT_EQ(viewOf(pane), "Automatic update checks are off | Check for Updates");

    QElapsedTimer elapsed;
    elapsed.start();
    updater->startAutomaticChecks();
    automatic->click();
    EXPECT_EQ(m_defaults.boolean(switchKey), true);
    EXPECT_EQ(viewOf(pane), "Automatic update checks are on | Check for Updates");
    // Turning the switch off and on again restarts the wait: still a single check, and no dialog for it.
    updater->setAutomaticallyChecksForUpdates(false);
    updater->setAutomaticallyChecksForUpdates(true);
    ASSERT_TRUE(waitForState(*updater, Kind::Current));
    EXPECT_GE(elapsed.elapsed(), 3900);
    EXPECT_EQ(requestsFor(manifestPath), 1);
    EXPECT_EQ(viewOf(pane), "You're up to date | Check for Updates");
    EXPECT_TRUE(m_answerer.dialogs().isEmpty());

    automatic->click();
    EXPECT_EQ(m_defaults.boolean(switchKey), false);
    // Switched from elsewhere (a synced change, another window): the pane follows.
    updater->setAutomaticallyChecksForUpdates(true);
    EXPECT_TRUE(automatic->isChecked());
}

// A copy that cannot update itself (run from the build tree, or installed and updated by the package manager) says
// so in the pane and at the check button (the tray's check is the same manual check), in each interface language;
// it neither offers nor schedules automatic checks, and never asks the server.
TEST_F(NativeUpdaterTest, ACopyThatCannotUpdateSaysWhoUpdatesItAndSchedulesNothing)
{
    const std::tuple<bool, QString, std::string> rows[] = {
        {false, u"en"_s, "Development builds do not update automatically | Check for Updates"},
        {true, u"zh-Hant"_s, "此副本由系統的套件管理程式更新 | 檢查更新"},
    };
    TessaryPreferences preferences(m_defaults);
    for (const auto &[packageManaged, language, view] : rows) {
        SCOPED_TRACE(view);
        const auto updater = makeUpdater(false, packageManaged);
        // Switched on earlier, by a copy that could update: kept, but not offered here.
        updater->setAutomaticallyChecksForUpdates(true);
        updater->startAutomaticChecks();
        updater->checkForUpdates(false);
        for (const QTimer *timer : updater->findChildren<QTimer *>()) {
            EXPECT_FALSE(timer->isActive());
        }

        preferences.setLanguage(language);
        SettingsTexts texts(preferences);
        UpdatesPane pane(preferences, texts, updater.get());
        pane.show();
        EXPECT_EQ(viewOf(pane), view);
        const auto *automatic = pane.findChild<QCheckBox *>(u"automaticallyChecksForUpdates"_s);
        EXPECT_FALSE(automatic->isEnabled());
        EXPECT_FALSE(automatic->isChecked());
        EXPECT_EQ(m_defaults.boolean(switchKey), true);

        // The check button explains, in the system's language.
        m_answerer.clear();
        pane.findChild<QPushButton *>(u"updateAction"_s)->click();
        ASSERT_TRUE(QTest::qWaitFor([&] { return m_answerer.dialogs().size() == 1; }, 5000));
        EXPECT_EQ(m_answerer.dialogs()[0].text,
                  packageManaged
                      ? u"This copy is updated by the system's package manager. Get new versions through it."_s
                      : u"Development builds do not check for production updates."_s);
        EXPECT_EQ(m_answerer.dialogs()[0].buttons, QStringList{u"OK"_s});
        EXPECT_EQ(updater->state(), NativeUpdateState::idle());
    }
    EXPECT_TRUE(s_server->requests().isEmpty());
}

} // namespace
