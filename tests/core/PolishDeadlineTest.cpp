#include <gtest/gtest.h>

#include <memory>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>

#include "core/TextPolisher.h"
#include "tests/support/LoopbackHttpsServer.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;
using Tessary::Test::LoopbackHttpsServer;

namespace {

struct DeadlineCase
{
    const char *name;
    QJsonObject route;
    std::chrono::milliseconds idle;
    std::chrono::milliseconds deadline;
    const char *message;
};

class PolishDeadlineTest : public ::testing::TestWithParam<DeadlineCase>
{
};

// A service that keeps sending, a byte at a time, never lets the idle time-out fire; the deadline ends it anyway.
// One that sends nothing ends at the idle time-out. Either way the message says which limit it was.
TEST_P(PolishDeadlineTest, EndsAtTheLimitThatExpiredAndSaysWhich)
{
    const DeadlineCase &row = GetParam();
    LoopbackHttpsServer server;
    QString error;
    ASSERT_TRUE(server.start(&error)) << error.toStdString();
    server.trustInThisProcess();
    server.setRoute(u"/v1/chat/completions"_s, row.route);
    QNetworkAccessManager session;

    std::unique_ptr<PolishReply> reply(TextPolisher::polish(u"text"_s, server.baseUrl().toString() + u"/v1"_s, u"m"_s,
                                                            u"p"_s, u"sk-1"_s, session, row.idle, row.deadline));
    ASSERT_TRUE(QTest::qWaitFor([&] { return reply->isFinished(); }, 120000));

    const PolishResult &result = reply->result();
    ASSERT_FALSE(result) << result->toStdString();
    EXPECT_EQ(result.error().domain, u"QNetworkReply"_s);
    EXPECT_EQ(result.error().code, int(QNetworkReply::TimeoutError));
    EXPECT_EQ(result.error().description, QString::fromUtf8(row.message));
}

const QJsonObject dripping{{u"status"_s, 200}, {u"body"_s, QString(u'x').repeated(10000)}, {u"drip"_s, 0.25}};

INSTANTIATE_TEST_SUITE_P(
    Limits, PolishDeadlineTest,
    ::testing::Values(
        // Like a byte every 20 s against the 60 s idle time-out and the 3 min deadline, only quicker.
        DeadlineCase{"drippingService", dripping, 5s, 8s,
                     "The request timed out: no complete answer within 8 seconds."},
        DeadlineCase{
            "silentService", {{u"hang"_s, true}}, 2s, 60s, "The request timed out: no response for 2 seconds."}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
