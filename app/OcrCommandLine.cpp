#include "app/OcrCommandLine.h"

#include <cstdio>

#include <QElapsedTimer>
#include <QGuiApplication>

#include "app/CommandLineOutput.h"
#include "app/GraphemeCount.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/TextRecognizer.h"
#include "platform/clipboard/Clipboard.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/session/PlatformSession.h"

using namespace Qt::StringLiterals;

namespace Tessary::OcrCommandLine {

namespace {

using CommandLineOutput::write;

QString seconds(qint64 nanoseconds)
{
    return QString::number(double(nanoseconds) / 1e9, 'f', 3);
}

/** The interface language: the one chosen in the settings, else the system's. */
QString preferredLanguage()
{
    return tessaryStoredLanguage(UserDefaults());
}

/** Modes without a window paint and decode off screen, whatever display there is. */
void useOffscreenPlatform()
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
}

int benchmarkFile(int &argc, char **argv, const QString &path)
{
    useOffscreenPlatform();
    QGuiApplication application(argc, argv);
    QElapsedTimer timer;
    timer.start();
    const auto text = TextRecognizer::recognize(path);
    if (!text) {
        write(stderr, u"OCR benchmark failed: "_s +
                          tessaryLocalizedMessage(text.error().description, preferredLanguage()) + u'\n');
        return 1;
    }
    const qint64 elapsed = timer.nsecsElapsed();
    write(stdout, u"ocr_seconds="_s + seconds(elapsed) + u" output_characters="_s +
                      QString::number(graphemeCount(text->text)) + u'\n');
    return 0;
}

int benchmarkWarmup(int &argc, char **argv)
{
    useOffscreenPlatform();
    QGuiApplication application(argc, argv);
    QElapsedTimer timer;
    timer.start();
    const bool recognized = TextRecognizer::prewarm();
    const qint64 elapsed = timer.nsecsElapsed();
    write(stdout,
          u"warmup_seconds="_s + seconds(elapsed) + u" recognized="_s + (recognized ? u"true"_s : u"false"_s) + u'\n');
    return 0;
}

int recognizeAndCopy(int &argc, char **argv, const QString &path)
{
    const SessionType session = detectSessionType();
    selectQtPlatformPlugin(session);
    if (unreachableDisplay()) {
        // Recognition needs no display; copying then fails with this mode's own message instead of Qt's abort.
        useOffscreenPlatform();
    }
    QGuiApplication application(argc, argv);

    const QString language = preferredLanguage();
    const auto text = TextRecognizer::recognize(path);
    if (!text) {
        write(stderr, tessaryFormat(tessaryLocalized(u"识别失败：%@"_s, language),
                                    tessaryLocalizedMessage(text.error().description, language)) +
                          u'\n');
        return 1;
    }
    if (text->text.isEmpty()) {
        write(stderr, tessaryLocalized(u"未识别到文字"_s, language) + u'\n');
        return 2;
    }
    const std::unique_ptr<Clipboard> clipboard = createClipboard(session);
    if (!clipboard->setText(text->text) || !clipboard->keepAfterExit(text->text)) {
        write(stderr, tessaryLocalized(u"复制到剪贴板失败"_s, language) + u'\n');
        return 1;
    }
    write(stdout, text->text + u'\n');
    return 0;
}

} // namespace

std::optional<int> runIfRequested(int &argc, char **argv, const QStringList &arguments)
{
    const bool isMode =
        (arguments.size() == 3 && (arguments[1] == u"--benchmark-ocr-file" || arguments[1] == u"--ocr-file")) ||
        (arguments.size() == 2 && arguments[1] == u"--benchmark-ocr-warmup");
    if (!isMode) {
        return std::nullopt;
    }
    CommandLineOutput::silenceQtMessages();
    preventSessionBusAutolaunch();
    if (arguments.size() == 3 && arguments[1] == u"--benchmark-ocr-file") {
        return benchmarkFile(argc, argv, arguments[2]);
    }
    if (arguments.size() == 2 && arguments[1] == u"--benchmark-ocr-warmup") {
        return benchmarkWarmup(argc, argv);
    }
    if (arguments.size() == 3 && arguments[1] == u"--ocr-file") {
        return recognizeAndCopy(argc, argv, arguments[2]);
    }
    return std::nullopt;
}

} // namespace Tessary::OcrCommandLine
