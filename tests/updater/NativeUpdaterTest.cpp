// Checks of the updater's controller: schedule, dialogs, the 24-hour rule and every way a check can fail.

#include <gtest/gtest.h>

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "tests/updater/NativeUpdaterFixture.h"
#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;
using Kind = NativeUpdateState::Kind;

using NativeUpdaterTest = NativeUpdaterFixture;

TEST_F(NativeUpdaterTest, DevelopmentBuildNeverTouchesTheNetwork)
{
    NativeUpdateConfiguration development = configuration();
    development.isEnabled = false;
    const auto updater = makeUpdater(development);
    updater->startAutomaticChecks();
    updater->checkForUpdates(false);
    updater->checkForUpdates(true);
    EXPECT_EQ(updater->statusText(), u"Development builds do not update automatically"_s);
    EXPECT_EQ(updater->state(), NativeUpdateState::idle());
    ASSERT_EQ(m_answerer.dialogs().size(), 1);
    EXPECT_EQ(m_answerer.dialogs()[0].text, u"Development builds do not check for production updates."_s);
    EXPECT_EQ(m_answerer.dialogs()[0].buttons, QStringList{u"OK"_s});
    EXPECT_TRUE(s_server->requests().isEmpty());
}

TEST_F(NativeUpdaterTest, SameOrOlderBuildIsCurrent)
{
    const auto updater = makeUpdater();
    EXPECT_EQ(updater->statusText(), u"Automatic update checks are on"_s);
    for (const int build : {42, 41}) {
        serveManifest({{u"build"_s, build}});
        check(*updater, true);
        EXPECT_EQ(updater->state(), NativeUpdateState::current()) << build;
    }
    EXPECT_EQ(updater->statusText(), u"You're up to date"_s);
    ASSERT_EQ(m_answerer.dialogs().size(), 2);
    EXPECT_EQ(m_answerer.dialogs()[0].text, u"Tessary is up to date."_s);
    EXPECT_FALSE(updater->availableManifest());

    // An automatic check says nothing; with the switch off the status says so instead.
    check(*updater, false);
    EXPECT_EQ(m_answerer.dialogs().size(), 2);
    updater->setAutomaticallyChecksForUpdates(false);
    EXPECT_EQ(updater->statusText(), u"Automatic update checks are off"_s);
    EXPECT_EQ(m_defaults->boolean(switchKey()), false);

    const QJsonArray requests = s_server->requests();
    EXPECT_EQ(requests.last().toObject().value(u"headers"_s).toObject().value(u"cache-control"_s).toString(),
              u"no-cache"_s);
}

struct CheckFailure
{
    const char *name;
    QJsonObject route;
    QJsonObject manifestChanges;
    QString expected;
};

class NativeUpdaterCheckFailureTest : public NativeUpdaterFixture, public ::testing::WithParamInterface<CheckFailure>
{
};

TEST_P(NativeUpdaterCheckFailureTest, ManualCheckShowsReasonAutomaticOnlyStatus)
{
    if (GetParam().route.isEmpty()) {
        serveManifest(GetParam().manifestChanges);
    } else {
        QJsonObject route = GetParam().route;
        if (route.contains(u"redirect"_s)) {
            route.insert(u"redirect"_s, u"https://localhost:%1/elsewhere.json"_s.arg(s_server->port()));
        }
        s_server->setRoute(manifestPath, route);
    }
    const auto updater = makeUpdater();
    check(*updater, false);
    ASSERT_EQ(updater->state().kind(), Kind::Failed);
    EXPECT_TRUE(updater->statusText().startsWith(u"Update check failed: "_s + GetParam().expected))
        << updater->statusText().toStdString();
    EXPECT_TRUE(m_answerer.dialogs().isEmpty());

    check(*updater, true);
    ASSERT_EQ(m_answerer.dialogs().size(), 1);
    EXPECT_EQ(m_answerer.dialogs()[0].text, updater->statusText());
    EXPECT_EQ(m_answerer.dialogs()[0].icon, QMessageBox::Warning);
    EXPECT_FALSE(updater->availableManifest());
    EXPECT_EQ(updater->actionTitle(), u"Check for Updates"_s);
}

INSTANTIATE_TEST_SUITE_P(
    Checks, NativeUpdaterCheckFailureTest,
    ::testing::Values(
        CheckFailure{
            "notFound", {{u"status"_s, 404}}, {}, u"The update server returned an invalid response (HTTP 404)."_s},
        CheckFailure{"serverError",
                     {{u"status"_s, 500}, {u"body"_s, u"oops"_s}},
                     {},
                     u"The update server returned an invalid response (HTTP 500)."_s},
        CheckFailure{"notJson", {{u"body"_s, u"<html>"_s}}, {}, u"The update manifest could not be read."_s},
        CheckFailure{"oversized",
                     {{u"body"_s, QString(u"{\"pad\": \""_s + QString(70000, u'x') + u"\"}"_s)}},
                     {},
                     u"The update server sent more than 65536 bytes."_s},
        CheckFailure{"redirectedElsewhere",
                     {{u"status"_s, 302}, {u"redirect"_s, u""_s}},
                     {},
                     u"The update manifest was redirected to a server that is not ours."_s},
        CheckFailure{
            "wrongProduct", {}, {{u"product"_s, u"tessera"_s}}, u"This update does not belong to the current app."_s},
        CheckFailure{"badChecksum", {}, {{u"sha256"_s, u"xyz"_s}}, u"The update checksum is invalid."_s},
        CheckFailure{"hostNotAllowed",
                     {},
                     {{u"downloadURL"_s, u"https://localhost/Tessary.zip"_s}},
                     u"The update download address is invalid."_s},
        CheckFailure{"plainHttpDownload",
                     {},
                     {{u"downloadURL"_s, u"http://127.0.0.1/Tessary.zip"_s}},
                     u"The update download address is invalid."_s}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(NativeUpdaterTest, UpdateDialogAtMostOncePerBuildAndDayWhenAutomatic)
{
    serveManifest();
    const auto updater = makeUpdater();
    check(*updater, false);
    EXPECT_EQ(updater->state(), NativeUpdateState::available(u"1.5.0"_s));
    EXPECT_EQ(updater->statusText(), u"Version 1.5.0 is available"_s);
    EXPECT_EQ(updater->actionTitle(), u"Download Update"_s);
    ASSERT_EQ(m_answerer.dialogs().size(), 1);
    EXPECT_EQ(m_answerer.dialogs()[0].text, u"Tessary 1.5.0 is available"_s);
    EXPECT_EQ(m_answerer.dialogs()[0].buttons, (QStringList{u"Download Update"_s, u"Later"_s}));
    const double shown = UserDefaults().string(updater->promptKey(43)).value_or(QString()).toDouble();
    EXPECT_NEAR(shown, double(QDateTime::currentSecsSinceEpoch()), 60.0);

    check(*updater, false);
    EXPECT_EQ(m_answerer.dialogs().size(), 1);
    check(*updater, true);
    EXPECT_EQ(m_answerer.dialogs().size(), 2);

    // A newer build has its own clock.
    serveManifest({{u"build"_s, 44}, {u"version"_s, u"1.6.0"_s}});
    check(*updater, false);
    EXPECT_EQ(m_answerer.dialogs().size(), 3);
    EXPECT_EQ(updater->availableManifest()->build, 44);

    // Once found, a manifest stays known even when a later check finds nothing newer.
    serveManifest({{u"build"_s, 42}});
    check(*updater, false);
    EXPECT_EQ(updater->state(), NativeUpdateState::current());
    EXPECT_EQ(updater->availableManifest()->build, 44);
}

TEST_F(NativeUpdaterTest, FirstAutomaticCheckFollowsFourSecondsAfterLaunch)
{
    serveManifest({{u"build"_s, 42}});
    const auto updater = makeUpdater();
    QElapsedTimer elapsed;
    elapsed.start();
    updater->startAutomaticChecks();
    // Turning the switch off and on again restarts the wait: still a single check.
    updater->setAutomaticallyChecksForUpdates(false);
    updater->setAutomaticallyChecksForUpdates(true);
    ASSERT_TRUE(QTest::qWaitFor([] { return !s_server->requests().isEmpty(); }, 10000));
    EXPECT_GE(elapsed.elapsed(), 3900);
    ASSERT_TRUE(waitForState(*updater, Kind::Current));
    QTest::qWait(1000);
    EXPECT_EQ(s_server->requests().size(), 1);
}

TEST_F(NativeUpdaterTest, SwitchStartsOffWithoutRegisteredFallback)
{
    UserDefaults empty(m_dir.filePath(u"empty.ini"_s));
    NativeUpdater updater(configuration(), empty);
    EXPECT_FALSE(updater.automaticallyChecksForUpdates());
    QSignalSpy changed(&updater, &NativeUpdater::automaticallyChecksForUpdatesChanged);
    updater.setAutomaticallyChecksForUpdates(false);
    EXPECT_EQ(changed.count(), 0);
    updater.setAutomaticallyChecksForUpdates(true);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(empty.boolean(switchKey()), true);
    EXPECT_TRUE(makeUpdater()->automaticallyChecksForUpdates());
}
