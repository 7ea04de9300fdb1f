// The command-line modes as a user runs them: the real executable in a private home on a private X server, the key
// in the keyring of tests/support/with-keyring, a loopback HTTPS server as the AI service, and the clipboard read by
// another program (xclip).

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include "app/recognition/AIKeychain.h"
#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/CodeImage.h"
#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/LoopbackTunnel.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;

namespace {

const QString sample = sourcePath(u"samples/tessary-sample.png"_s);
const QString unset;

QJsonObject answerRoute(int status, const QString &content)
{
    const QJsonObject message{{u"role"_s, u"assistant"_s}, {u"content"_s, content}};
    const QJsonObject answer{{u"choices"_s, QJsonArray{QJsonObject{{u"message"_s, message}}}}};
    return {{u"status"_s, status}, {u"body"_s, QString::fromUtf8(QJsonDocument(answer).toJson())}};
}

const QString sampleText = QString::fromUtf8(fileContents(sourcePath(u"samples/tessary-sample.txt"_s))).trimmed();

class CommandLineTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_server = std::make_unique<LoopbackHttpsServer>();
        s_server->setAdditionalHostNames({u"api.deepseek.com"_s});
        ASSERT_TRUE(s_server->start());
    }

    static void TearDownTestSuite() { s_server.reset(); }

    void SetUp() override
    {
        ASSERT_TRUE(AIKeychain::remove());
        s_server->clearRequests();
        s_server->setRoute(u"/v1/chat/completions"_s, answerRoute(401, u"ignored"_s));
        settings(u"en"_s, s_server->baseUrl().toString() + u"/v1"_s);
        QImage blank(300, 100, QImage::Format_RGB32);
        blank.fill(Qt::white);
        ASSERT_TRUE(blank.save(m_home.path(u"blank.png"_s)));
    }

    void settings(const QString &language, const QString &base) const
    {
        m_home.writeDefaults("language=" + language.toUtf8() + "\naiModel=bench-model\naiBaseURL=" + base.toUtf8() +
                             "\npolishPrompt=a prompt of the user's that the benchmark does not use\n");
    }

    /** The child's environment: the private home, the server's CA, no proxy, and the given changes. */
    QProcessEnvironment environment(const QMap<QString, QString> &changes = {}) const
    {
        QProcessEnvironment environment = m_home.environment();
        environment.insert(u"SSL_CERT_FILE"_s, s_server->caCertificatePath());
        for (const QString &name : {u"http_proxy"_s, u"https_proxy"_s, u"all_proxy"_s, u"no_proxy"_s}) {
            environment.remove(name);
            environment.remove(name.toUpper());
        }
        for (auto it = changes.begin(); it != changes.end(); ++it) {
            it.value().isNull() ? environment.remove(it.key()) : environment.insert(it.key(), it.value());
        }
        return environment;
    }

    ProcessResult tessary(const QStringList &arguments, const QByteArray &input = {},
                          const QProcessEnvironment &changed = {}) const
    {
        return runProcess(buildPath(u"bin/tessary"_s), arguments, changed.isEmpty() ? environment() : changed, input,
                          120000);
    }

    QString root() const { return QFileInfo(m_home.path(u"home"_s)).absolutePath(); }

    static inline std::unique_ptr<LoopbackHttpsServer> s_server;
    PrivateHome m_home;
};

struct Failure
{
    const char *name;
    QStringList arguments;
    QByteArray input;
    int exitCode;
    const char *message;
    QMap<QString, QString> environment = {};
    const char *language = "en";
    enum { AsUsual, NoKey, PlainHttp } session = AsUsual;
};

class CommandLineFailureTest : public CommandLineTest, public ::testing::WithParamInterface<Failure>
{
};

// A mode that fails says why in the user's language and exits; the saved key, the clipboard and the session are
// left as they were.
TEST_P(CommandLineFailureTest, SaysWhyAndChangesNothing)
{
    const Failure &row = GetParam();
    if (row.session != Failure::NoKey) {
        ASSERT_TRUE(AIKeychain::write(u"sk-kept"_s));
    }
    settings(QString::fromLatin1(row.language), row.session == Failure::PlainHttp
                                                    ? u"http://api.example.com/v1"_s
                                                    : s_server->baseUrl().toString() + u"/v1"_s);
    ASSERT_TRUE(offerClipboardElsewhere("before"));
    ASSERT_TRUE(QTest::qWaitFor([] { return clipboardTextElsewhere() == u"before"_s; }, 10000));
    QStringList arguments = row.arguments;
    arguments.replaceInStrings(u"HOME/"_s, root() + u'/');
    const QProcessEnvironment changed = environment(row.environment);

    // The status line, then the reason on a line of its own.
    const ProcessResult result = tessary(arguments, row.input, changed);
    const QString error = QString::fromUtf8(result.standardError);
    EXPECT_EQ(result.exitCode, row.exitCode);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_TRUE(error.startsWith(QString::fromUtf8(row.message))) << error.toStdString();
    EXPECT_TRUE(error.endsWith(u'\n'));
    if (row.language == std::string_view("en")) {
        EXPECT_FALSE(error.contains(QRegularExpression(u"\\p{Han}"_s))) << error.toStdString();
    }
    const auto stored = AIKeychain::read();
    EXPECT_EQ(stored ? *stored : QString(), row.session != Failure::NoKey ? u"sk-kept"_s : QString());
    EXPECT_EQ(clipboardTextElsewhere(), u"before"_s);
    // No bus of its own ("dbus-launch --autolaunch", recorded under ~/.dbus) started for the display and left running.
    EXPECT_FALSE(QFileInfo::exists(m_home.path(u"home/.dbus"_s)));
}

const QStringList setKey{u"--set-ai-key-stdin"_s};
const QStringList benchmark{u"--benchmark-ai"_s};
const char *const missingKey = "Missing API key on standard input.\n";
const char *const notAscii = "The API key may contain only printable ASCII characters.\n";
const char *const noService = "Could not save API key to Keychain (code -25291).\nThe Secret Service is not running. ";
const char *const tooLong = "The API key is too long (at most 4096 characters).\n";
const char *const benchmarkNoService = "AI benchmark failed: The Secret Service is not running. ";
const char *const notHttps = "AI benchmark failed: The AI address must be an HTTPS API root URL.\n";
const QMap<QString, QString> noBus{{u"DBUS_SESSION_BUS_ADDRESS"_s, unset}};
const QMap<QString, QString> deadX11{{u"DISPLAY"_s, u":4242"_s},
                                     {u"WAYLAND_DISPLAY"_s, unset},
                                     {u"XDG_SESSION_TYPE"_s, u"x11"_s},
                                     {u"QT_QPA_PLATFORM"_s, unset}};

const QMap<QString, QString> systemZhTw{{u"LANGUAGE"_s, u"zh_TW:en"_s}, {u"LC_ALL"_s, u"zh_TW.UTF-8"_s}};
const QStringList ocrBlank{u"--ocr-file"_s, u"HOME/blank.png"_s};
const QMap<QString, QString> noDisplay{{u"DISPLAY"_s, unset}};
const QMap<QString, QString> deadX11ByTheUser{{u"DISPLAY"_s, u":4242"_s}, {u"QT_QPA_PLATFORM"_s, u"xcb"_s}};
const QMap<QString, QString> noCompositor{{u"DISPLAY"_s, unset},
                                          {u"WAYLAND_DISPLAY"_s, u"wayland-gone"_s},
                                          {u"XDG_SESSION_TYPE"_s, u"wayland"_s},
                                          {u"QT_QPA_PLATFORM"_s, unset}};

INSTANTIATE_TEST_SUITE_P(
    Modes, CommandLineFailureTest,
    ::testing::Values(
        Failure{"keyClosedAtOnce", setKey, {}, 1, missingKey},
        Failure{"keyWithNul", setKey, QByteArray("sk-\0x\n", 6), 1, notAscii},
        // The system's language: the environment prefers Traditional Chinese.
        Failure{"keyWithDelete", setKey, "sk-a\x7f\n", 1, "API Key 只能包含可列印的 ASCII 字元。\n", systemZhTw,
                "system"},
        Failure{"keyWithInnerBlank", setKey, "  sk-a b  \n", 1, "API Key 中间不能有空格。\n", {}, "zh-Hans"},
        Failure{"keyOfSixteenMegabytes", setKey, QByteArray(16 << 20, 'k') + '\n', 1, tooLong},
        Failure{"keyWithoutSessionBus", setKey, "sk-x\n", 1, noService, noBus},
        Failure{"benchmarkWithoutKey",
                benchmark,
                {},
                1,
                "AI benchmark failed: Save an AI key first.\n",
                {},
                "en",
                Failure::NoKey},
        Failure{"benchmarkWithoutSessionBus", benchmark, {}, 1, benchmarkNoService, noBus},
        Failure{"benchmarkRefused", benchmark, {}, 1, "AI benchmark failed: AI service error (HTTP 401).\n"},
        Failure{"benchmarkOverPlainHttp", benchmark, {}, 1, notHttps, {}, "en", Failure::PlainHttp},
        Failure{"ocrFolder", {u"--ocr-file"_s, sourcePath(u"samples"_s)}, {}, 1, "识别失败：", {}, "zh-Hans"},
        Failure{"ocrNoText", ocrBlank, {}, 2, "No text recognized\n"},
        Failure{"ocrWithoutDisplay", {u"--ocr-file"_s, sample}, {}, 1, "Could not copy to the clipboard\n", noDisplay},
        Failure{"ocrBenchmarkMissingFile",
                {u"--benchmark-ocr-file"_s, u"HOME/missing.png"_s},
                {},
                1,
                "OCR benchmark failed: "},
        // Qt aborts when its platform plugin cannot connect; the application looks first. Wayland is never tried
        // without WAYLAND_DISPLAY.
        Failure{"deadX11", {}, {}, 1, "Cannot open display “:4242”.\n", deadX11},
        Failure{"deadX11ChosenByTheUser", {}, {}, 1, "Cannot open display “:4242”.\n", deadX11ByTheUser},
        Failure{"waylandWithoutCompositor", {}, {}, 1, "Cannot open display “wayland-gone”.\n", noCompositor}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(CommandLineTest, OcrPrintsTheTextAndLeavesItOnTheClipboardWithoutASessionBus)
{
    // A path with spaces and characters beyond ASCII; no session bus, so none must be started and left behind.
    const QString path = m_home.path(u"截图 sample ü.png"_s);
    ASSERT_TRUE(QFile::copy(sample, path));
    const ProcessResult result = tessary({u"--ocr-file"_s, path}, {}, environment(noBus));
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(QString::fromUtf8(result.standardOutput), sampleText + u'\n');
    EXPECT_EQ(result.standardError, "");
    EXPECT_FALSE(QFileInfo::exists(m_home.path(u"home/.dbus"_s)));

    // Read from another process, after tessary has gone: the text outlives it, offered as plain text only.
    EXPECT_EQ(clipboardTextElsewhere(), sampleText);
    const QByteArray targets =
        runServingEvents(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s, u"-t"_s, u"TARGETS"_s}).value_or("");
    EXPECT_FALSE(targets.contains("text/html") || targets.contains("image/")) << targets.toStdString();
    // Whoever takes the clipboard next ends the helper that served it.
    ASSERT_TRUE(offerClipboardElsewhere("next owner"));
    EXPECT_TRUE(QTest::qWaitFor([] { return clipboardTextElsewhere() == u"next owner"_s; }, 10000));

    // A barcode under the text is what is read: its digits, none of the text.
    const QString labelled = m_home.path(u"labelled.png"_s);
    ASSERT_TRUE(stacked(QImage(sample), codeImage(ZXing::BarcodeFormat::EAN13, u"4006381333931"_s, 2)).save(labelled));
    EXPECT_EQ(tessary({u"--ocr-file"_s, labelled}).standardOutput, "4006381333931\n");

    // The benchmarks: grapheme clusters, line feeds included, of the text --ocr-file prints.
    const QRegularExpression line(u"^ocr_seconds=\\d+\\.\\d{3} output_characters=(\\d+)\\n$"_s);
    const auto timed = line.match(QString::fromUtf8(tessary({u"--benchmark-ocr-file"_s, sample}).standardOutput));
    ASSERT_TRUE(timed.hasMatch());
    EXPECT_EQ(timed.captured(1).toInt(), sampleText.size());
    const ProcessResult warmup = tessary({u"--benchmark-ocr-warmup"_s});
    EXPECT_EQ(warmup.exitCode, 0);
    EXPECT_TRUE(QRegularExpression(u"^warmup_seconds=\\d+\\.\\d{3} recognized=true\\n$"_s)
                    .match(QString::fromUtf8(warmup.standardOutput))
                    .hasMatch())
        << warmup.standardOutput.toStdString();
}

TEST_F(CommandLineTest, SavedKeyIsUsedByTheAiBenchmarkAndLeavesNoTrace)
{
    // Only the first line counts, trimmed, whatever its line ending; a saved key is replaced.
    ASSERT_TRUE(AIKeychain::write(u"sk-old"_s));
    const QByteArray key = "sk-bench-7c1f9e2a";
    const ProcessResult saved = tessary({u"--set-ai-key-stdin"_s}, "\t " + key + " \r\nsk-second-line\n");
    EXPECT_EQ(saved.exitCode, 0);
    EXPECT_EQ(saved.standardOutput, "API key saved in Keychain.\n");
    EXPECT_EQ(saved.standardError, "");
    EXPECT_EQ(AIKeychain::read().valueOr(QString()), QString::fromUtf8(key));
    s_server->setRoute(u"/v1/chat/completions"_s,
                       answerRoute(200, u"  这是一段用于测试 OCR 润色速度的示例文字。👍🏽\n"_s));

    const ProcessResult result = tessary({u"--benchmark-ai"_s});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(result.standardError, "");
    // 24 characters: the emoji with its skin tone counts as one.
    const QString output = QString::fromUtf8(result.standardOutput);
    EXPECT_TRUE(QRegularExpression(u"^ai_seconds=\\d+\\.\\d{3} output_characters=24\\n$"_s).match(output).hasMatch())
        << output.toStdString();
    ASSERT_EQ(s_server->requests().size(), 1);
    const QJsonObject request = s_server->requests()[0].toObject();
    EXPECT_EQ(request[u"headers"].toObject()[u"authorization"].toString(), u"Bearer "_s + QString::fromUtf8(key));
    // The user's model with the benchmark's own text and prompt, not the user's prompt.
    EXPECT_EQ(QJsonDocument::fromJson(request[u"body"].toString().toUtf8())[u"model"].toString(), u"bench-model"_s);
    EXPECT_FALSE(request[u"body"].toString().contains(u"a prompt of the user's"_s));

    // Neither output, nor anything in the home folders (the keyring's file included) holds the key.
    EXPECT_FALSE(saved.standardOutput.contains(key) || result.standardOutput.contains(key));
    for (const QString &folder : {root(), QDir::homePath()}) {
        QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            EXPECT_FALSE(fileContents(files.next()).contains(key)) << files.filePath().toStdString();
        }
    }

    // Without settings: DeepSeek, reached through the proxy of the environment (a tunnel to the loopback server).
    QFile::remove(m_home.defaultsPath());
    s_server->clearRequests();
    LoopbackTunnel tunnel;
    ASSERT_TRUE(tunnel.start(s_server->port()));
    const ProcessResult deepSeek =
        tessary({u"--benchmark-ai"_s}, {},
                environment({{u"https_proxy"_s, u"http://127.0.0.1:%1"_s.arg(tunnel.proxy().port())}}));
    EXPECT_EQ(deepSeek.exitCode, 0) << deepSeek.standardError.toStdString();
    EXPECT_EQ(tunnel.connectTargets(), QStringList{u"api.deepseek.com:443"_s});
    ASSERT_EQ(s_server->requests().size(), 1);
    const QJsonObject body =
        QJsonDocument::fromJson(s_server->requests()[0].toObject()[u"body"].toString().toUtf8()).object();
    EXPECT_EQ(body[u"model"].toString(), u"deepseek-v4-flash"_s);
    EXPECT_EQ(body[u"thinking"].toObject(), (QJsonObject{{u"type"_s, u"disabled"_s}}));
}

} // namespace
