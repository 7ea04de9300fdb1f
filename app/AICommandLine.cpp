#include "app/AICommandLine.h"

#include <cstdio>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>

#include "app/CommandLineOutput.h"
#include "app/GraphemeCount.h"
#include "app/TessaryPreferences.h"
#include "app/localization/AIKeyRefusal.h"
#include "app/localization/FailureMessages.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "core/ApiKeyFormat.h"
#include "core/TextPolisher.h"
#include "core/TlsTrust.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/session/PlatformSession.h"

using namespace Qt::StringLiterals;

namespace Tessary::AICommandLine {

namespace {

using CommandLineOutput::write;

constexpr QStringView benchmarkText = u"这是一段用于测试 OCR 润色速度的示例文字，请修正错别字和标点。";
constexpr QStringView benchmarkPrompt = u"只修正错别字和标点，保留原意，只输出修正后的文字。";

/** A message (see tessaryLocalizedMessage) in the language chosen in the settings, else the system's. */
QString inPreferredLanguage(const QString &message)
{
    return tessaryLocalizedMessage(message, tessaryStoredLanguage(UserDefaults()));
}

/**
 * One line of standard input without its terminator ("\n" or "\r\n"); none at the end of input. Reading stops after
 * maximumBytes: a longer line is no key, and the rest of it need not be read.
 */
std::optional<QByteArray> readLine(qsizetype maximumBytes)
{
    QByteArray line;
    int c = 0;
    bool readAnything = false;
    while (line.size() <= maximumBytes && (c = std::getchar()) != EOF) {
        readAnything = true;
        if (c == '\n') {
            break;
        }
        line.append(char(c));
    }
    if (!readAnything) {
        return std::nullopt;
    }
    if (line.endsWith('\r')) {
        line.chop(1);
    }
    return line;
}

int setKeyFromStandardInput()
{
    // Leading and trailing blanks are allowed for, so a little more than the longest key is read.
    const std::optional<QByteArray> line = readLine(2 * ApiKeyFormat::maximumLength);
    const auto key = ApiKeyFormat::fromLine(line.value_or(QByteArray()));
    if (!key) {
        write(stderr, (key.error() == ApiKeyFormat::Problem::Missing
                           ? u"Missing API key on standard input."_s
                           : aiKeyRefusal(key.error(), tessaryStoredLanguage(UserDefaults()))) +
                          u'\n');
        return 1;
    }
    const auto stored = AIKeychain::write(QString::fromLatin1(*key));
    if (!stored) {
        // The status line stays as scripts know it; the next line says what is wrong and what to do.
        write(stderr, u"Could not save API key to Keychain (code %1).\n"_s.arg(stored.error().status) +
                          inPreferredLanguage(stored.error().description) + u'\n');
        return 1;
    }
    write(stdout, u"API key saved in Keychain.\n"_s);
    return 0;
}

/** Runs the benchmark once the event loop is up and ends the loop with the exit status. */
class AIBenchmark final : public QObject
{
public:
    void start()
    {
        const auto key = AIKeychain::read();
        if (!key) {
            fail(key.error().status == KeychainError::ItemNotFound ? u"请先保存 AI Key。"_s : key.error().description);
            return;
        }
        m_timer.start();
        const UserDefaults defaults;
        const QString baseURL = defaults.string(u"aiBaseURL"_s).value_or(TessaryPreferences::defaultBaseURL());
        const QString model = defaults.string(u"aiModel"_s).value_or(TessaryPreferences::defaultModel());

        PolishReply *reply =
            TextPolisher::polish(benchmarkText.toString(), baseURL, model, benchmarkPrompt.toString(), *key, m_session);
        connect(reply, &PolishReply::finished, this, [this, reply](const PolishResult &result) {
            reply->deleteLater();
            if (!result) {
                fail(FailureMessages::polish(result.error()));
                return;
            }
            const double seconds = double(m_timer.nsecsElapsed()) / 1e9;
            write(stdout, u"ai_seconds="_s + QString::asprintf("%.3f", seconds) + u" output_characters="_s +
                              QString::number(graphemeCount(*result)) + u'\n');
            QCoreApplication::exit(0);
        });
    }

private:
    /** message: see tessaryLocalizedMessage. */
    void fail(const QString &message)
    {
        write(stderr, u"AI benchmark failed: "_s + inPreferredLanguage(message) + u'\n');
        QCoreApplication::exit(1);
    }

    QNetworkAccessManager m_session;
    QElapsedTimer m_timer;
};

int benchmark(int &argc, char **argv)
{
    QCoreApplication application(argc, argv);
    // Environment and desktop proxy settings apply, as they do to the application.
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    TlsTrust::addRootsFromEnvironment();
    AIBenchmark benchmark;
    QMetaObject::invokeMethod(&benchmark, &AIBenchmark::start, Qt::QueuedConnection);
    return application.exec();
}

} // namespace

std::optional<int> runIfRequested(int &argc, char **argv, const QStringList &arguments)
{
    if (arguments.size() != 2 || (arguments[1] != u"--set-ai-key-stdin" && arguments[1] != u"--benchmark-ai")) {
        return std::nullopt;
    }
    CommandLineOutput::silenceQtMessages();
    preventSessionBusAutolaunch();
    if (arguments[1] == u"--set-ai-key-stdin") {
        return setKeyFromStandardInput();
    }
    return benchmark(argc, argv);
}

} // namespace Tessary::AICommandLine
