// Downloads of the updater's controller: verification, the ready state and every way a download can fail.

#include <gtest/gtest.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

#include "tests/updater/NativeUpdaterFixture.h"
#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;
using Kind = NativeUpdateState::Kind;

using NativeUpdaterDownloadTest = NativeUpdaterFixture;

TEST_F(NativeUpdaterDownloadTest, VerifiedDownloadWaitsForRestart)
{
    serveRelease();
    serveManifest();
    const auto updater = makeUpdater();
    QSignalSpy progress(updater.get(), &NativeUpdater::downloadProgressChanged);
    m_answerer.answer({0, 1}); // download now, restart later
    updater->checkForUpdates(true);
    ASSERT_TRUE(waitForState(*updater, Kind::Ready));
    ASSERT_TRUE(QTest::qWaitFor([this] { return m_answerer.dialogs().size() == 2; }, 5000));
    EXPECT_EQ(m_answerer.dialogs()[1].text, u"Tessary 1.5.0 is ready"_s);
    EXPECT_EQ(m_answerer.dialogs()[1].informativeText, u"Restart the app to finish updating."_s);
    EXPECT_EQ(m_answerer.dialogs()[1].buttons, (QStringList{u"Restart and Update"_s, u"Later"_s}));

    EXPECT_EQ(updater->statusText(), u"1.5.0 downloaded; restart to install"_s);
    EXPECT_EQ(updater->actionTitle(), u"Restart and Update"_s);
    EXPECT_FALSE(updater->isActionDisabled());
    const QString staged = updater->stagedApplication();
    EXPECT_TRUE(staged.startsWith(m_dir.filePath(u"tessary-update-"_s))) << staged.toStdString();
    EXPECT_TRUE(readFile(staged + u"/Info.json"_s).contains("\"43\""));
    const bool sawComplete =
        std::ranges::any_of(progress, [](const QList<QVariant> &values) { return values.first().toDouble() == 1.0; });
    EXPECT_TRUE(sawComplete);
    EXPECT_EQ(updater->downloadProgress(), -1);

    // A staged bundle that lost its program cannot start the helper: the application keeps running.
    QFile::remove(staged + u"/bin/tessary"_s);
    QSignalSpy quitting(QCoreApplication::instance(), &QCoreApplication::aboutToQuit);
    updater->performPrimaryAction();
    EXPECT_EQ(updater->state().kind(), Kind::Failed);
    EXPECT_EQ(updater->statusText(),
              u"Unable to start the update: The update failed developer signature or notarization verification."_s);
    EXPECT_EQ(m_answerer.dialogs().last().text, updater->statusText());
    EXPECT_EQ(updater->stagedApplication(), staged);
    EXPECT_FALSE(quitting.wait(500));
}

TEST_F(NativeUpdaterDownloadTest, NothingElseStartsWhileDownloading)
{
    serveRelease({{u"delay"_s, 2}});
    serveManifest();
    const auto updater = makeUpdater();
    m_answerer.answer({1}); // later
    check(*updater, true);
    ASSERT_EQ(updater->state().kind(), Kind::Available);
    updater->performPrimaryAction();
    EXPECT_EQ(updater->state(), NativeUpdateState::downloading(u"1.5.0"_s));
    EXPECT_EQ(updater->statusText(), u"Downloading 1.5.0…"_s);
    EXPECT_TRUE(updater->isActionDisabled());
    const auto manifestRequests = [] {
        const QJsonArray requests = s_server->requests();
        return std::ranges::count_if(requests, [](const QJsonValue &request) {
            return request.toObject().value(u"path"_s).toString() == manifestPath;
        });
    };
    const qsizetype requests = manifestRequests();
    updater->checkForUpdates(true);
    updater->performPrimaryAction();
    EXPECT_EQ(updater->state().kind(), Kind::Downloading);
    ASSERT_TRUE(waitForState(*updater, Kind::Ready));
    EXPECT_EQ(manifestRequests(), requests);
}

struct DownloadFailure
{
    const char *name;
    QJsonObject archiveRoute;
    QJsonObject manifestChanges;
    bool notarized;
    QString expected;
};

class NativeUpdaterDownloadFailureTest : public NativeUpdaterFixture,
                                         public ::testing::WithParamInterface<DownloadFailure>
{
};

TEST_P(NativeUpdaterDownloadFailureTest, ShowsReasonAndStagesNothing)
{
    QJsonObject route = GetParam().archiveRoute;
    if (route.contains(u"redirect"_s)) {
        route.insert(u"redirect"_s, u"https://localhost:%1/elsewhere.zip"_s.arg(s_server->port()));
    }
    serveRelease(route, GetParam().notarized);
    serveManifest(GetParam().manifestChanges);
    const auto updater = makeUpdater();
    m_answerer.answer({0});
    updater->checkForUpdates(false);
    ASSERT_TRUE(waitForState(*updater, Kind::Failed));
    EXPECT_TRUE(updater->statusText().startsWith(u"Update download failed: "_s + GetParam().expected))
        << updater->statusText().toStdString();
    ASSERT_TRUE(QTest::qWaitFor([this] { return m_answerer.dialogs().size() == 2; }, 5000));
    EXPECT_EQ(m_answerer.dialogs()[1].text, updater->statusText());
    EXPECT_EQ(m_answerer.dialogs()[1].icon, QMessageBox::Warning);
    EXPECT_TRUE(updater->stagedApplication().isEmpty());
    EXPECT_EQ(updater->actionTitle(), u"Check for Updates"_s);
    // The failure ended the request: a new check runs.
    serveManifest({{u"build"_s, 42}});
    check(*updater, false);
    EXPECT_EQ(updater->state(), NativeUpdateState::current());
}

INSTANTIATE_TEST_SUITE_P(
    Downloads, NativeUpdaterDownloadFailureTest,
    ::testing::Values(
        DownloadFailure{"checksumMismatch",
                        {},
                        {{u"sha256"_s, QString(64, u'a')}},
                        true,
                        u"The update archive is damaged. Download it again."_s},
        DownloadFailure{
            "notNotarized", {}, {}, false, u"The update failed developer signature or notarization verification."_s},
        DownloadFailure{"redirectedToOtherHost",
                        {{u"status"_s, 302}, {u"redirect"_s, u""_s}},
                        {},
                        true,
                        u"The update download address is invalid."_s},
        DownloadFailure{"notFound",
                        {{u"status"_s, 404}},
                        {},
                        true,
                        u"The update server returned an invalid response (HTTP 404)."_s},
        DownloadFailure{"truncated",
                        {{u"truncate"_s, 1000}},
                        {},
                        true,
                        u"The update server closed the connection unexpectedly."_s}),
    [](const auto &info) { return std::string(info.param.name); });
