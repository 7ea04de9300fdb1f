#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>

#include "app/recognition/AIKeychain.h"
#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/LoopbackTunnel.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::LoopbackHttpsServer;
using Tessary::Test::LoopbackTunnel;
using Tessary::Test::ProcessResult;

namespace {

const QString benchmarkText = u"这是一段用于测试 OCR 润色速度的示例文字，请修正错别字和标点。"_s;
const QString benchmarkPrompt = u"只修正错别字和标点，保留原意，只输出修正后的文字。"_s;

QJsonObject answerRoute(int status, const QString &content)
{
    const QJsonObject answer{
        {u"choices"_s,
         QJsonArray{QJsonObject{{u"message"_s, QJsonObject{{u"role"_s, u"assistant"_s}, {u"content"_s, content}}}}}}};
    return {{u"status"_s, status},
            {u"headers"_s, QJsonObject{{u"Content-Type"_s, u"application/json"_s}}},
            {u"body"_s, QString::fromUtf8(QJsonDocument(answer).toJson(QJsonDocument::Compact))}};
}

QByteArray lookupWithSecretTool()
{
    return Tessary::Test::runProcess(u"secret-tool"_s, {u"lookup"_s, u"service"_s, u"md.velmor.tessary.ai"_s,
                                                        u"account"_s, u"openai-compatible-key"_s})
        .standardOutput;
}

// Runs inside the keyring that tests/support/with-keyring starts; the modes run as real child processes.
class AICommandLineTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_server = std::make_unique<LoopbackHttpsServer>();
        s_server->setAdditionalHostNames({u"api.deepseek.com"_s});
        QString error;
        ASSERT_TRUE(s_server->start(&error)) << error.toStdString();
    }

    static void TearDownTestSuite() { s_server.reset(); }

    void SetUp() override
    {
        ASSERT_TRUE(AIKeychain::remove());
        s_server->clearRoutes();
        s_server->clearRequests();
    }

    /** The child's environment: our own keyring, an empty configuration folder, the test CA, no proxy. */
    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, m_config.path());
        environment.insert(u"SSL_CERT_FILE"_s, s_server->caCertificatePath());
        for (const QString &name : {u"http_proxy"_s, u"https_proxy"_s, u"all_proxy"_s, u"HTTP_PROXY"_s,
                                    u"HTTPS_PROXY"_s, u"ALL_PROXY"_s, u"no_proxy"_s, u"NO_PROXY"_s}) {
            environment.remove(name);
        }
        return environment;
    }

    static ProcessResult tessary(const QString &mode, const QProcessEnvironment &environment,
                                 const QByteArray &standardInput = {})
    {
        return Tessary::Test::runProcess(Tessary::Test::buildPath(u"bin/tessary"_s), {mode}, environment, standardInput,
                                         60000);
    }

    /** The same program on a session bus where nothing provides the Secret Service. */
    static ProcessResult tessaryWithoutSecretService(const QString &mode, const QProcessEnvironment &environment,
                                                     const QByteArray &standardInput = {})
    {
        return Tessary::Test::runProcess(
            u"dbus-run-session"_s,
            {u"--config-file="_s + Tessary::Test::sourcePath(u"tests/support/session-bus-without-services.conf"_s),
             u"--"_s, Tessary::Test::buildPath(u"bin/tessary"_s), mode},
            environment, standardInput, 60000);
    }

    void saveSettings(const QVariantMap &values) const
    {
        QSettings settings(m_config.filePath(u"md.velmor.tessary/defaults.ini"_s), QSettings::IniFormat);
        for (auto it = values.begin(); it != values.end(); ++it) {
            settings.setValue(it.key(), it.value());
        }
    }

    QString serverBase() const { return s_server->baseUrl().toString() + u"/v1"_s; }

    static inline std::unique_ptr<LoopbackHttpsServer> s_server;
    QTemporaryDir m_config;
};

TEST_F(AICommandLineTest, SetKeyStoresTheFirstLineTrimmed)
{
    const ProcessResult saved = tessary(u"--set-ai-key-stdin"_s, environment(), "  sk-test  \n");
    EXPECT_EQ(saved.exitCode, 0);
    EXPECT_EQ(saved.standardOutput, "API key saved in Keychain.\n");
    EXPECT_EQ(saved.standardError, "");
    EXPECT_EQ(lookupWithSecretTool(), "sk-test");

    // A second key replaces the first; only the first line counts, whatever its line ending.
    EXPECT_EQ(tessary(u"--set-ai-key-stdin"_s, environment(), "\tsk-second \r\nsk-third\n").exitCode, 0);
    EXPECT_EQ(lookupWithSecretTool(), "sk-second");
    EXPECT_EQ(tessary(u"--set-ai-key-stdin"_s, environment(), "sk-no-newline").exitCode, 0);
    EXPECT_EQ(lookupWithSecretTool(), "sk-no-newline");

    // Without a key (closed at once, an empty first line with the key on the second, blanks only) nothing changes.
    for (const QByteArray &input : {QByteArray(), QByteArray("\nsk-second-line\n"), QByteArray(" \t \r\n")}) {
        SCOPED_TRACE(input.toStdString());
        const ProcessResult missing = tessary(u"--set-ai-key-stdin"_s, environment(), input);
        EXPECT_EQ(missing.exitCode, 1);
        EXPECT_EQ(missing.standardOutput, "");
        EXPECT_EQ(missing.standardError, "Missing API key on standard input.\n");
    }
    EXPECT_EQ(lookupWithSecretTool(), "sk-no-newline");
}

TEST_F(AICommandLineTest, SetKeyWithoutSecretServiceReportsTheCode)
{
    // The status line, then what is wrong in words (the tests run in English).
    const QString expected = u"Could not save API key to Keychain (code -25291).\nThe Secret Service is not running."_s;
    const ProcessResult noService = tessaryWithoutSecretService(u"--set-ai-key-stdin"_s, environment(), "sk-x\n");
    EXPECT_EQ(noService.exitCode, 1);
    // dbus-daemon may add its own complaints about resource limits.
    EXPECT_TRUE(QString::fromUtf8(noService.standardError).contains(expected)) << noService.standardError.toStdString();

    QProcessEnvironment noBus = environment();
    noBus.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/tessary-bus"_s);
    const ProcessResult failed = tessary(u"--set-ai-key-stdin"_s, noBus, "sk-x\n");
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(failed.standardError).startsWith(expected)) << failed.standardError.toStdString();
    EXPECT_EQ(failed.standardOutput, "");
}

TEST_F(AICommandLineTest, BenchmarkTimesOneRequestWithTheSavedSettingsAndTheKeyLeavesNoTrace)
{
    const ProcessResult saved = tessary(u"--set-ai-key-stdin"_s, environment(), "sk-bench-7c1f9e2a\n");
    ASSERT_EQ(saved.exitCode, 0);
    saveSettings({{u"aiBaseURL"_s, serverBase()},
                  {u"aiModel"_s, u"bench-model"_s},
                  {u"polishPrompt"_s, u"a prompt of the user's that the benchmark does not use"_s}});
    s_server->setRoute(u"/v1/chat/completions"_s,
                       answerRoute(200, u"  这是一段用于测试 OCR 润色速度的示例文字。👍🏽\n"_s));

    // Qt's OpenSSL back end takes the trusted roots from SSL_CERT_FILE, like other OpenSSL clients.
    const ProcessResult result = tessary(u"--benchmark-ai"_s, environment());

    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(result.standardError, "");
    const QString output = QString::fromUtf8(result.standardOutput);
    // 24 characters: the emoji with its skin tone counts as one.
    EXPECT_TRUE(QRegularExpression(u"^ai_seconds=\\d+\\.\\d{3} output_characters=24\\n$"_s).match(output).hasMatch())
        << output.toStdString();

    const QJsonArray requests = s_server->requests();
    ASSERT_EQ(requests.size(), 1);
    const QJsonObject request = requests[0].toObject();
    EXPECT_EQ(request[u"headers"].toObject()[u"authorization"].toString(), u"Bearer sk-bench-7c1f9e2a"_s);
    const QJsonObject expected{
        {u"model"_s, u"bench-model"_s},
        {u"messages"_s, QJsonArray{QJsonObject{{u"role"_s, u"system"_s}, {u"content"_s, benchmarkPrompt}},
                                   QJsonObject{{u"role"_s, u"user"_s}, {u"content"_s, benchmarkText}}}}};
    EXPECT_EQ(QJsonDocument::fromJson(request[u"body"].toString().toUtf8()).object(), expected);

    // Neither output, nor the settings, nor anything else in the home folder (the keyring's file included) holds it.
    const QByteArray key = "sk-bench-7c1f9e2a";
    EXPECT_FALSE(saved.standardOutput.contains(key) || saved.standardError.contains(key));
    EXPECT_FALSE(result.standardOutput.contains(key) || result.standardError.contains(key));
    for (const QString &root : {m_config.path(), QDir::homePath()}) {
        QDirIterator files(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            EXPECT_FALSE(Tessary::Test::fileContents(files.next()).contains(key)) << files.filePath().toStdString();
        }
    }
}

TEST_F(AICommandLineTest, BenchmarkWithoutSettingsUsesDeepSeek)
{
    // api.deepseek.com is reached through the proxy of the environment, a tunnel that ends at the loopback server.
    LoopbackTunnel tunnel;
    ASSERT_TRUE(tunnel.start(s_server->port()));
    ASSERT_TRUE(AIKeychain::write(u"sk-default"_s));
    s_server->setRoute(u"/v1/chat/completions"_s, answerRoute(200, u"好"_s));
    QProcessEnvironment proxied = environment();
    proxied.insert(u"https_proxy"_s, u"http://127.0.0.1:%1"_s.arg(tunnel.proxy().port()));

    const ProcessResult result = tessary(u"--benchmark-ai"_s, proxied);

    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_TRUE(result.standardOutput.endsWith(" output_characters=1\n")) << result.standardOutput.toStdString();
    EXPECT_EQ(tunnel.connectTargets(), QStringList{u"api.deepseek.com:443"_s});
    ASSERT_EQ(s_server->requests().size(), 1);
    const QJsonObject body =
        QJsonDocument::fromJson(s_server->requests()[0].toObject()[u"body"].toString().toUtf8()).object();
    EXPECT_EQ(body[u"model"].toString(), u"deepseek-v4-flash"_s);
    EXPECT_EQ(body[u"thinking"].toObject(), (QJsonObject{{u"type"_s, u"disabled"_s}}));
}

TEST_F(AICommandLineTest, BenchmarkFailuresNameTheCause)
{
    saveSettings({{u"aiBaseURL"_s, serverBase()}, {u"aiModel"_s, u"bench-model"_s}});

    const ProcessResult noKey = tessary(u"--benchmark-ai"_s, environment());
    EXPECT_EQ(noKey.exitCode, 1);
    EXPECT_EQ(noKey.standardOutput, "");
    EXPECT_EQ(QString::fromUtf8(noKey.standardError), u"AI benchmark failed: Save an AI key first.\n"_s);

    const ProcessResult noService = tessaryWithoutSecretService(u"--benchmark-ai"_s, environment());
    EXPECT_EQ(noService.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(noService.standardError)
                    .contains(u"AI benchmark failed: The Secret Service is not running."_s))
        << noService.standardError.toStdString();
    EXPECT_TRUE(s_server->requests().isEmpty());

    ASSERT_TRUE(AIKeychain::write(u"sk-rejected"_s));
    s_server->setRoute(u"/v1/chat/completions"_s, answerRoute(401, u"ignored"_s));
    const ProcessResult rejected = tessary(u"--benchmark-ai"_s, environment());
    EXPECT_EQ(rejected.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(rejected.standardError), u"AI benchmark failed: AI service error (HTTP 401).\n"_s);
    EXPECT_FALSE(rejected.standardOutput.contains("sk-rejected")) << "the key is in no output, failing or not";

    saveSettings({{u"aiBaseURL"_s, u"http://api.example.com/v1"_s}});
    const ProcessResult plainHttp = tessary(u"--benchmark-ai"_s, environment());
    EXPECT_EQ(plainHttp.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(plainHttp.standardError),
              u"AI benchmark failed: The AI address must be an HTTPS API root URL.\n"_s);
}

} // namespace
