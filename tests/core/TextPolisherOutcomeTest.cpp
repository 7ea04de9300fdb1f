// What a failed request tells the user, and local model servers that speak plain HTTP on this machine.

#include <gtest/gtest.h>

#include <memory>

#include <QNetworkAccessManager>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include "core/TextPolisher.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

/** A plain HTTP server on a loopback address that gives every request the same answer. */
class PlainHttpServer
{
public:
    explicit PlainHttpServer(const QHostAddress &address)
    {
        EXPECT_TRUE(m_server.listen(address)) << m_server.errorString().toStdString();
        QObject::connect(&m_server, &QTcpServer::newConnection, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    m_received += socket->readAll();
                    // The body follows the headers; the test's requests are small enough to come at once.
                    if (!m_received.contains("\r\n\r\n")) {
                        return;
                    }
                    ++m_requests;
                    m_received.clear();
                    socket->write("HTTP/1.1 " + QByteArray::number(m_status) +
                                  " Status\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                                  QByteArray::number(m_body.size()) + "\r\n\r\n" + m_body);
                    socket->disconnectFromHost();
                });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    void answer(int status, const QByteArray &body)
    {
        m_status = status;
        m_body = body;
    }

    quint16 port() const { return m_server.serverPort(); }
    int requests() const { return m_requests; }

private:
    QTcpServer m_server;
    QByteArray m_received;
    int m_status = 200;
    QByteArray m_body;
    int m_requests = 0;
};

PolishResult polish(const QString &baseURL)
{
    QNetworkAccessManager session;
    std::unique_ptr<PolishReply> reply(
        TextPolisher::polish(u"识別结果"_s, baseURL, u"local-model"_s, u"prompt"_s, u"sk-local"_s, session));
    EXPECT_TRUE(QTest::qWaitFor([&] { return reply->isFinished(); }, 30000));
    if (!reply->isFinished()) {
        return unexpected(PolishError{u"test"_s, -1, u"no outcome"_s});
    }
    return reply->result();
}

const QByteArray answer = R"({"choices":[{"message":{"role":"assistant","content":"识别结果"}}]})";

TEST(TextPolisherOutcomeTest, PlainHttpIsAcceptedOnThisMachineOnly)
{
    PlainHttpServer ipv4(QHostAddress::LocalHost);
    ipv4.answer(200, answer);
    PlainHttpServer ipv6(QHostAddress::LocalHostIPv6);
    ipv6.answer(200, answer);
    for (const QString &base :
         {u"http://127.0.0.1:%1/v1"_s.arg(ipv4.port()), u" http://localhost:%1 "_s.arg(ipv4.port()),
          u"http://[::1]:%1/v1/"_s.arg(ipv6.port())}) {
        SCOPED_TRACE(base.toStdString());
        const PolishResult result = polish(base);
        ASSERT_TRUE(result) << result.error().description.toStdString();
        EXPECT_EQ(*result, u"识别结果"_s);
    }
    EXPECT_EQ(ipv4.requests() + ipv6.requests(), 3);

    // Anything that would cross the network stays HTTPS-only, with the same message as before.
    for (const QString &base : {u"http://192.168.1.20:8080/v1"_s, u"http://127.0.0.2/v1"_s,
                                u"http://localhost.example.com/v1"_s, u"http://user@127.0.0.1/v1"_s}) {
        SCOPED_TRACE(base.toStdString());
        const PolishResult result = polish(base);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().description, u"AI 地址必须是 HTTPS API 根地址。"_s);
    }
}

struct ErrorBodyCase
{
    const char *name;
    int status;
    QByteArray body;
    QString description;
};

class TextPolisherErrorBodyTest : public ::testing::TestWithParam<ErrorBodyCase>
{
};

TEST_P(TextPolisherErrorBodyTest, CarriesTheServicesOwnExplanation)
{
    PlainHttpServer server(QHostAddress::LocalHost);
    server.answer(GetParam().status, GetParam().body);
    const PolishResult result = polish(u"http://127.0.0.1:%1/v1"_s.arg(server.port()));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().domain, u"Tessary.AI"_s);
    EXPECT_EQ(result.error().description, GetParam().description);
}

const QString longExplanation = QString(u"x"_s).repeated(300);

INSTANTIATE_TEST_SUITE_P(
    Answers, TextPolisherErrorBodyTest,
    ::testing::Values(
        ErrorBodyCase{
            "openAIStyle", 401,
            R"({"error":{"message":"Incorrect API key provided: sk-local.\n See your dashboard.","type":"invalid_request_error"}})",
            u"AI 服务请求失败（HTTP 401）：Incorrect API key provided: sk-local. See your dashboard."_s},
        ErrorBodyCase{"plainErrorString", 429, R"({"error":"Rate limit reached"})",
                      u"AI 服务请求失败（HTTP 429）：Rate limit reached"_s},
        ErrorBodyCase{"topLevelMessage", 404, R"({"message":"model not found"})",
                      u"AI 服务请求失败（HTTP 404）：model not found"_s},
        ErrorBodyCase{"longExplanationShortened", 400, R"({"error":{"message":")" + longExplanation.toUtf8() + R"("}})",
                      u"AI 服务请求失败（HTTP 400）："_s + longExplanation.first(199) + u"…"_s}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
