// The polishing client against real servers: the loopback HTTPS server, reached through a CONNECT tunnel so that
// the providers' hosts lead to it too, and plain HTTP servers on this machine. Then the field each provider is sent.

#include <gtest/gtest.h>

#include <memory>

#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTcpServer>
#include <QTest>

#include "core/PolishingReasoningPolicy.h"
#include "core/TextPolisher.h"
#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/LoopbackTunnel.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;
using Tessary::PolishingReasoningPolicy::Control;
using Tessary::PolishingReasoningPolicy::control;
using Tessary::Test::LoopbackHttpsServer;
using Tessary::Test::LoopbackTunnel;

namespace {

const QString text = u"识別结果 ,有错字"_s;
const QString prompt = u"  只修正错别字。\n"_s;
const QString key = u"sk-test-0123"_s;
const QString endpoint = u"/v1/chat/completions"_s;

QJsonObject jsonRoute(int status, const QByteArray &body)
{
    return {{u"status"_s, status}, {u"body"_s, QString::fromUtf8(body)}};
}

/** A chat-completions answer whose first choice's message carries the JSON text content. */
QByteArray answerJson(const QByteArray &content)
{
    return R"({"choices":[{"message":{"role":"assistant","content":)" + content + "}}]}";
}

QByteArray answerWith(const QString &content)
{
    return answerJson(QJsonDocument(QJsonArray{content}).toJson(QJsonDocument::Compact).chopped(1).mid(1));
}

QString httpFailure(int status)
{
    return u"AI 服务请求失败（HTTP %1）。"_s.arg(status);
}

class TextPolisherTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_server.setAdditionalHostNames(
            {u"api.deepseek.com"_s, u"api.openai.com"_s, u"dashscope.aliyuncs.com"_s, u"openrouter.ai"_s});
        QString error;
        ASSERT_TRUE(m_server.start(&error)) << error.toStdString();
        m_server.trustInThisProcess();
        ASSERT_TRUE(m_tunnel.start(m_server.port(), &error)) << error.toStdString();
    }

    QString base(const QString &path = u"/v1"_s) const { return m_server.baseUrl().toString() + path; }

    /** Runs one polish to its end, checking that the outcome comes once and never from inside polish(). */
    PolishResult polish(const QString &baseURL, const QString &model = u"m"_s, const QString &apiKey = key,
                        std::chrono::milliseconds timeout = TextPolisher::defaultTimeout,
                        std::chrono::milliseconds deadline = TextPolisher::defaultDeadline)
    {
        int outcomes = 0;
        std::unique_ptr<PolishReply> reply(
            TextPolisher::polish(text, baseURL, model, prompt, apiKey, m_session, timeout, deadline));
        QObject::connect(reply.get(), &PolishReply::finished, [&outcomes] { ++outcomes; });
        EXPECT_EQ(outcomes, 0);
        EXPECT_TRUE(QTest::qWaitFor([&] { return outcomes > 0; }, 30000));
        QCoreApplication::processEvents();
        EXPECT_EQ(outcomes, 1);
        return reply->isFinished() ? reply->result() : unexpected(PolishError{u"test"_s, -1, u"no outcome"_s});
    }

    /** A failure of the domain; code and message are checked unless 0 and empty. */
    static void expectFailure(const PolishResult &result, const QString &domain, int code, const QString &message = {})
    {
        ASSERT_FALSE(result) << result->toStdString();
        EXPECT_EQ(result.error().domain, domain);
        EXPECT_FALSE(result.error().description.isEmpty());
        EXPECT_TRUE(code == 0 || result.error().code == code) << result.error().description.toStdString();
        EXPECT_TRUE(message.isEmpty() || result.error().description == message)
            << result.error().description.toStdString();
    }

    LoopbackHttpsServer m_server;
    LoopbackTunnel m_tunnel;
    QNetworkAccessManager m_session;
};

// Every request goes through the CONNECT tunnel, so that the providers' hosts reach the loopback server too.
TEST_F(TextPolisherTest, SendsOnePostWithTheChatRequestAndTheProvidersField)
{
    // Base URL ({base}: the loopback server), model, path asked for, the provider's field.
    const char *const rows[][4] = {
        {"  {base}/v1\n", "  my-local-model \t", "/v1/chat/completions", ""},
        {"{base}//v1//", "m", "/v1/chat/completions", ""},
        {"{base}", "m", "/chat/completions", ""},
        {"{base}/team%20a/v1", "m", "/team%20a/v1/chat/completions", ""},
        {"https://api.deepseek.com/v1", "deepseek-v4-flash", "/v1/chat/completions",
         R"("thinking":{"type":"disabled"})"},
        {"https://api.openai.com/v1", "gpt-5.2", "/v1/chat/completions", R"("reasoning_effort":"none")"},
        {"https://dashscope.aliyuncs.com/v1", "qwen3-max", "/v1/chat/completions", R"("enable_thinking":false)"},
        {"https://openrouter.ai/v1", "openai/gpt-5.2", "/v1/chat/completions", R"("reasoning":{"enabled":false})"},
    };
    m_session.setProxy(m_tunnel.proxy());
    // The answer comes back trimmed and otherwise untouched.
    const QString answer = u"“引号”与 <think>保留</think>\n\n第二段"_s;
    for (const auto &[baseTemplate, model, path, field] : rows) {
        SCOPED_TRACE(baseTemplate);
        const QString baseURL = QString::fromUtf8(baseTemplate).replace(u"{base}"_s, base({}));
        m_server.clearRequests();
        m_server.setRoute(QString::fromUtf8(path), jsonRoute(200, answerWith(u" \u3000 "_s + answer + u"\r\n"_s)));

        const PolishResult result = polish(baseURL, QString::fromUtf8(model));

        ASSERT_TRUE(result) << result.error().description.toStdString();
        EXPECT_EQ(*result, answer);
        ASSERT_EQ(m_server.requests().size(), 1);
        const QJsonObject request = m_server.requests()[0].toObject();
        EXPECT_EQ(request[u"method"].toString(), u"POST"_s);
        EXPECT_EQ(request[u"path"].toString(), QString::fromUtf8(path));
        const QJsonObject headers = request[u"headers"].toObject();
        EXPECT_EQ(headers[u"authorization"].toString(), u"Bearer "_s + key);
        EXPECT_EQ(headers[u"content-type"].toString(), u"application/json"_s);
        EXPECT_EQ(headers[u"host"].toString(), QUrl(baseURL.trimmed()).authority());
        // The model trimmed, the two messages as they are, and the provider's field if it has one.
        QJsonObject expected = QJsonDocument::fromJson(QByteArray("{") + field + "}").object();
        expected.insert(u"model"_s, QString::fromUtf8(model).trimmed());
        expected.insert(u"messages"_s, QJsonArray{QJsonObject{{u"role"_s, u"system"_s}, {u"content"_s, prompt}},
                                                  QJsonObject{{u"role"_s, u"user"_s}, {u"content"_s, text}}});
        EXPECT_EQ(QJsonDocument::fromJson(request[u"body"].toString().toUtf8()).object(), expected);
    }
    // A redirect on the same origin is followed.
    m_server.setRoute(u"/v1/chat/completions"_s, {{u"status"_s, 307}, {u"redirect"_s, base(u"/v2"_s)}});
    m_server.setRoute(u"/v2"_s, jsonRoute(200, answerWith(u"moved"_s)));
    EXPECT_EQ(polish(base()).valueOr(QString()), u"moved"_s);
}

TEST_F(TextPolisherTest, RefusesBadAddressesModelsAndKeysBeforeSendingAnything)
{
    const QString port = QString::number(m_server.port());
    // Plain HTTP is for this machine only (see below); a user named, even an empty one, would send a password.
    for (const QString &baseURL : {u"http://localhost.example.com/v1"_s, u"https://:secret@127.0.0.1:{p}/v1"_s,
                                   u"https://127.0.0.1:{p}/v1?x=1"_s, u"https://127.0.0.1:{p}/v1#"_s, u"https:///v1"_s,
                                   u"https://127.0.0.1:99999/v1"_s, u"127.0.0.1/v1"_s}) {
        SCOPED_TRACE(baseURL.toStdString());
        expectFailure(polish(QString(baseURL).replace(u"{p}"_s, port)), u"Tessary.AI"_s, 1,
                      u"AI 地址必须是 HTTPS API 根地址。"_s);
    }
    // Sent as it is, a line break would let the key add headers of its own to the request.
    const QString missing = u"请先填写模型并保存 API Key。"_s;
    const QString broken = u"API Key 含有换行或控制字符。"_s;
    for (const auto &[model, apiKey, message] : {std::tuple{u" \t\n "_s, key, missing},
                                                 {u"m"_s, u""_s, missing},
                                                 {u"m"_s, u"sk-a\r\nX-Injected: yes"_s, broken}}) {
        expectFailure(polish(base(), model, apiKey), u"Tessary.AI"_s, 1, message);
    }
    EXPECT_TRUE(m_server.requests().isEmpty());
}

TEST_F(TextPolisherTest, AnswersAndStatusesThatAreNoPolishedTextFail)
{
    const QString ai = u"Tessary.AI"_s;
    const auto failsWith = [&](const QJsonObject &route, const QString &domain, const QString &message = {}) {
        SCOPED_TRACE(QJsonDocument(route).toJson(QJsonDocument::Compact).left(200).toStdString());
        m_server.setRoute(endpoint, route);
        const int code = domain == ai                   ? 1
                         : domain == u"QNetworkReply"_s ? int(QNetworkReply::RemoteHostClosedError)
                                                        : 0;
        expectFailure(polish(base()), domain, code, message);
    };
    // The first choice decides, even when a later one has text.
    for (const QByteArray &body :
         {answerJson(R"(" \n\t\n ")"),
          QByteArray(R"({"choices":[{"message":{"content":null}},{"message":{"content":"x"}}]})")}) {
        failsWith(jsonRoute(200, body), ai, u"AI 服务未返回文字。"_s);
    }
    for (const char *body : {R"({"id":"x"})", R"([1,2])", R"({"choices":[{"message":{"content":42}}]})",
                             R"({"choices":[{"message":{"content":"ok"}},{"message":7}]})"}) {
        failsWith(jsonRoute(200, body), u"Tessary.AI.Response"_s);
    }
    // Qt's own words pass through for text that is not JSON; a success without a body is no JSON either.
    QJsonParseError notJson;
    QJsonDocument::fromJson("<html>Bad gateway</html>", &notJson);
    failsWith(jsonRoute(200, "<html>Bad gateway</html>"), u"QJsonParseError"_s, notJson.errorString());
    failsWith(jsonRoute(204, ""), u"QJsonParseError"_s);
    // An error status fails whatever the body says; the service's own explanation follows, shortened when long.
    failsWith(jsonRoute(503, answerWith(u"ok"_s)), ai, httpFailure(503));
    const QString longExplanation = QString(u"x"_s).repeated(300);
    for (const auto &[status, body, explanation] :
         {std::tuple{
              401,
              QByteArray(R"({"error":{"message":"Incorrect API key: sk-local.\n See your dashboard.","type":"x"}})"),
              u"Incorrect API key: sk-local. See your dashboard."_s},
          {429, R"({"error":"Rate limit reached"})", u"Rate limit reached"_s},
          {404, R"({"message":"model not found"})", u"model not found"_s},
          {400, R"({"error":{"message":")" + longExplanation.toUtf8() + R"("}})",
           longExplanation.first(199) + u"…"_s}}) {
        failsWith(jsonRoute(status, body), ai, httpFailure(status).chopped(1) + u"："_s + explanation);
    }
    // "localhost" is another host than 127.0.0.1, though the same server: the key must not follow a redirect there.
    failsWith({{u"status"_s, 308}, {u"redirect"_s, u"https://localhost:%1/x"_s.arg(m_server.port())}}, ai,
              httpFailure(308));
    failsWith({{u"close"_s, true}}, u"QNetworkReply"_s);

    // A huge answer is cut off, not read; its status still decides when it is an error.
    QFile chunk(m_server.workPath() + u"/chunk"_s);
    ASSERT_TRUE(chunk.open(QIODevice::WriteOnly));
    chunk.write(QByteArray(1024 * 1024, 'x'));
    chunk.close();
    QJsonObject huge{{u"body_file"_s, chunk.fileName()}, {u"repeat_body"_s, 50}};
    failsWith(huge, ai, u"AI 服务返回的内容过大（超过 8 MB）。"_s);
    huge.insert(u"status"_s, 500);
    failsWith(huge, ai, httpFailure(500));
    for (const QJsonValue &request : m_server.requests()) {
        EXPECT_EQ(request[u"path"].toString(), endpoint);
    }
}

TEST_F(TextPolisherTest, TransportFailuresTimeOutsStrangersAndCancelling)
{
    // Nothing listens on a port that was just closed.
    quint16 freePort = 0;
    {
        QTcpServer probe;
        ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
        freePort = probe.serverPort();
    }
    expectFailure(polish(u"https://127.0.0.1:%1/v1"_s.arg(freePort)), u"QNetworkReply"_s,
                  int(QNetworkReply::ConnectionRefusedError));

    // A service that keeps sending, a byte at a time, never lets the idle time-out fire; the deadline ends it anyway.
    // One that sends nothing ends at the idle time-out. Either way the message says which limit it was.
    const QJsonObject dripping{{u"body"_s, QString(u'x').repeated(10000)}, {u"drip"_s, 0.25}};
    for (const auto &[route, idle, deadline, message] :
         {std::tuple{dripping, 5s, 8s, u"The request timed out: no complete answer within 8 seconds."_s},
          {QJsonObject{{u"hang"_s, true}}, 2s, 60s, u"The request timed out: no response for 2 seconds."_s}}) {
        m_server.setRoute(endpoint, route);
        expectFailure(polish(base(), u"m"_s, key, idle, deadline), u"QNetworkReply"_s, int(QNetworkReply::TimeoutError),
                      message);
    }

    // Its certificate authority was made for it alone and is trusted nowhere.
    LoopbackHttpsServer stranger;
    ASSERT_TRUE(stranger.start());
    stranger.setRoute(endpoint, jsonRoute(200, answerWith(u"ok"_s)));
    expectFailure(polish(stranger.baseUrl().toString() + u"/v1"_s), u"QNetworkReply"_s,
                  int(QNetworkReply::SslHandshakeFailedError));
    EXPECT_TRUE(stranger.requests().isEmpty());

    // Deleting the reply cancels it without an outcome.
    m_server.clearRequests();
    int outcomes = 0;
    auto *reply = TextPolisher::polish(text, base(), u"m"_s, prompt, key, m_session);
    QObject::connect(reply, &PolishReply::finished, [&outcomes] { ++outcomes; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_server.requests().isEmpty(); }, 10000));
    delete reply;
    QTest::qWait(50);
    EXPECT_EQ(outcomes, 0);
}

TEST_F(TextPolisherTest, PlainHttpIsAcceptedOnThisMachineOnly)
{
    LoopbackHttpsServer ipv4;
    LoopbackHttpsServer ipv6;
    ASSERT_TRUE(ipv4.startPlain(u"127.0.0.1"_s) && ipv6.startPlain(u"::1"_s));
    for (LoopbackHttpsServer *server : {&ipv4, &ipv6}) {
        server->setRoute(endpoint, jsonRoute(200, answerWith(u"识别结果"_s)));
        server->setRoute(u"/chat/completions"_s, jsonRoute(200, answerWith(u"识别结果"_s)));
    }
    for (const QString &baseURL :
         {u"http://127.0.0.1:%1/v1"_s.arg(ipv4.port()), u" http://localhost:%1 "_s.arg(ipv4.port()),
          u"http://[::1]:%1/v1/"_s.arg(ipv6.port())}) {
        SCOPED_TRACE(baseURL.toStdString());
        const PolishResult result = polish(baseURL);
        ASSERT_TRUE(result) << result.error().description.toStdString();
        EXPECT_EQ(*result, u"识别结果"_s);
    }
    EXPECT_EQ(ipv4.requests().size() + ipv6.requests().size(), 3);
}

// Per host, "model:field" pairs: T "thinking", E "enable_thinking", R "reasoning_effort", O "reasoning" (off),
// U nothing.
const std::pair<const char *, const char *> table[] = {
    {"api.deepseek.com", "deepseek-flash:T deepseek-chat:T deepseek-v4-flash-2026:T deepseek-v4-pro:T DeepSeek-Chat:T "
                         "deepseek-vl2-vision:U deepseek-v4-flash-vision:U deepseek-reasoner:U deepseek-chat-v2:U :U"},
    {"eu.api.deepseek.com", "deepseek-chat:U"},
    {"api.openai.com", "gpt-5.1:R gpt-5.4-mini:R GPT-5.2:R gpt-6-luna-mini:R gpt-5:U gpt-5.0:U gpt-5.7:U gpt-5.1x:U "
                       "gpt-5.１:U gpt-5.1-codex:U gpt-5.2-pro:U gpt-6-sol-pro:U gpt-4o:U"},
    {"generativelanguage.googleapis.com",
     "gemini-2.5-flash:R gemini-2.5-flash-lite:R gemini-2.5-flash-image:U gemini-2.5-pro:U"},
    {"dashscope.aliyuncs.com", "qwen3-max:E qwen3-coder-plus:U qwen3-235b-a22b-thinking-2507:U qwen2.5-max:U "
                               "deepseek-v4-flash:E kimi-k2.5:E kimi-k2.5-thinking:U glm-4.6:E minimax-m3:T "
                               "minimax-m3-turbo:U"},
    {"dashscope-intl.aliyuncs.com", "qwen3-max:E"},
    {"WS-1.CN-HONGKONG.MAAS.ALIYUNCS.COM", "glm-5:E"},
    {"maas.aliyuncs.com", "qwen3-max:U"},
    {"api.moonshot.ai", "kimi-k2.5:T kimi-k2.5-thinking:U"},
    {"api.moonshot.cn", "Kimi-K2.5-Preview:T kimi-k2:U"},
    {"api.anthropic.com", "claude-sonnet-5:T claude-sonnet-5-latest:U"},
    {"api.minimax.io", "MiniMax-M3:T minimax-m2:U"},
    {"api.minimaxi.com", "minimax-m3:T"},
    {"api.z.ai", "glm-4.5-air:T glm-4.4:U glm-5-:T qwen3-max:U"},
    {"open.bigmodel.cn", "glm-5.2:T glm-4.50:U"},
    {"openrouter.ai", "openai/gpt-5.2:O gpt-5.2:U openai/gpt-5.2/extra:U /openai/gpt-5.2:O openai/:U "
                      "deepseek/deepseek-chat:O deepseek/deepseek-v4-flash-vision:U google/gemini-2.5-flash:O "
                      "qwen/qwen3-max:O qwen/glm-4.6:U moonshotai/kimi-k2.5:O anthropic/claude-sonnet-5:O "
                      "minimax/minimax-m3:O z-ai/glm-4.5-air:O mistralai/mistral-large:U"},
    {"api.openrouter.ai", "openai/gpt-5.2:O"},
    {"OpenRouter.AI", "OpenAI/GPT-5.2:O"},
    {"localhost", "openai/gpt-5.2:U"},
};

TEST(PolishingReasoningPolicyTest, ChoosesTheProvidersField)
{
    const QHash<QChar, Control> fields{{u'T', Control::thinkingDisabled},
                                       {u'E', Control::enableThinkingFalse},
                                       {u'R', Control::reasoningEffortNone},
                                       {u'O', Control::reasoningDisabled},
                                       {u'U', Control::unchanged}};
    for (const auto &[host, models] : table) {
        for (const QString &pair : QString::fromUtf8(models).split(u' ')) {
            SCOPED_TRACE(std::string(host) + " " + pair.toStdString());
            const QString model = pair.left(pair.lastIndexOf(u':'));
            EXPECT_EQ(control(QString::fromUtf8(host), model), fields.value(pair.back()));
        }
    }
}

} // namespace
