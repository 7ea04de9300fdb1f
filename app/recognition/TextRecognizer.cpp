#include "app/recognition/TextRecognizer.h"

#include <mutex>

#include <malloc.h>

#include <QElapsedTimer>
#include <QFont>
#include <QLoggingCategory>
#include <QPainter>
#include <QStringList>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/ChineseRecovery.h"
#include "app/recognition/CodeReading.h"
#include "app/recognition/GlyphHeights.h"
#include "app/recognition/ImagePreparation.h"
#include "app/recognition/LabelCells.h"
#include "app/recognition/LargerReading.h"
#include "app/recognition/LineIndentation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/LookAlikeGlyphs.h"
#include "app/recognition/ModelPasses.h"
#include "app/recognition/MissedLines.h"
#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/PanelLines.h"
#include "app/recognition/RecognitionStop.h"
#include "app/recognition/ResidentPages.h"
#include "app/recognition/ScreenImageLoader.h"
#include "app/recognition/ScriptChoice.h"
#include "app/recognition/TesseractPool.h"
#include "app/recognition/WordCheck.h"

using namespace Qt::StringLiterals;

namespace Tessary::TextRecognizer {

namespace {

// Where the time of each recognition goes (QT_LOGGING_RULES="tessary.recognition.debug=true").
Q_LOGGING_CATEGORY(lcRecognition, "tessary.recognition", QtInfoMsg)

using ModelPasses::englishModel;
using ModelPasses::simplifiedModel;
using ModelPasses::traditionalModel;

/**
 * The time a recognition may take, besides loading the models: enough for a screen of text on a machine busy with
 * other work, and a second more for every megapixel, up to a limit past which nobody waits.
 */
constexpr std::chrono::milliseconds baseBudget{15000};
constexpr std::chrono::milliseconds budgetPerMegapixel{1000};
constexpr std::chrono::milliseconds longestBudget{28000};

Result<Recognition, RecognitionError> recognizeWithin(const QImage &source, RecognitionStop &stop);

/**
 * The line network allocates buffers of several megabytes for every line width and frees them again. glibc raises
 * its mmap threshold to the largest block freed so far, after which such buffers come from the heap and stay
 * there, fragmented; a fixed threshold returns them to the system when freed. Set once, before the first use.
 */
void keepLargeBuffersOutOfTheHeap()
{
    static std::once_flag once;
    std::call_once(once, [] {
        if (!qEnvironmentVariableIsSet("MALLOC_MMAP_THRESHOLD_")) {
            mallopt(M_MMAP_THRESHOLD, 256 * 1024);
        }
    });
}

} // namespace

std::chrono::milliseconds timeBudget(const QSize &size)
{
    const qint64 megapixels = qint64(size.width()) * size.height() / 1'000'000;
    return std::min<std::chrono::milliseconds>(baseBudget + budgetPerMegapixel * megapixels, longestBudget);
}

Result<Recognition, RecognitionError> recognize(const QString &path, RecognitionStop *stop)
{
    auto image = ScreenImageLoader::load(path);
    if (!image) {
        return unexpected(image.error());
    }
    // Only the engines' form of the pixels stays in memory while they read.
    const QImage pixels = ScreenImageLoader::opaque(*image);
    *image = QImage();
    return recognizeImage(pixels, stop);
}

Result<Recognition, RecognitionError> recognizeImage(const QImage &source, RecognitionStop *stop)
{
    RecognitionStop own;
    RecognitionStop &limits = stop != nullptr ? *stop : own;
    limits.limitTo(RecognitionStop::Clock::now() + timeBudget(source.size()));
    auto outcome = recognizeWithin(source, limits);
    if (limits.isRequested()) {
        qCDebug(lcRecognition).nospace()
            << "recognition stopped ("
            << (limits.reason() == RecognitionStop::Reason::Cancelled ? "cancelled" : "deadline") << ") "
            << std::chrono::duration_cast<std::chrono::milliseconds>(limits.sinceRequested()).count()
            << " ms after the request";
    }
    return outcome;
}

namespace {

Result<Recognition, RecognitionError> recognizeWithin(const QImage &source, RecognitionStop &stop)
{
    keepLargeBuffersOutOfTheHeap();
    // The engines and the line model on every thread of this recognition look at its stop.
    const RecognitionStop::Scope stopScope(&stop);
    QElapsedTimer clock;
    clock.start();
    // The pipeline: each stage hands its result to the next one.
    // 1. A code in the region is what the user wants from it; finding none costs about a millisecond.
    const QImage pixels = ScreenImageLoader::opaque(source);
    Recognition codes = CodeReading::read(pixels);
    qCDebug(lcRecognition) << "codes searched in" << clock.nsecsElapsed() / 1000 << "µs, found" << codes.codeKinds;
    if (codes.isCode()) {
        return stop.isRequested() ? Result<Recognition, RecognitionError>(unexpected(stoppedError(stop))) : codes;
    }
    const bool simplified = TesseractPool::hasModels(simplifiedModel);
    const bool traditional = TesseractPool::hasModels(traditionalModel);
    const bool english = TesseractPool::hasModels(englishModel);
    if (!simplified && !traditional && !english) {
        return unexpected(RecognitionError{RecognitionError::Code::EngineUnavailable,
                                           u"找不到文字识别模型（%1）。"_s.arg(TesseractPool::dataPath())});
    }
    clock.start();
    // 2. Prepare the image: dark text on light ground, frames cut, small text scaled up for the engines. The engines
    // read the scaled copy; the stages after them work on the screen's own pixels.
    const QImage screen = ImagePreparation::prepared(pixels);
    const double scale = ImagePreparation::readingScale(screen);
    // 3. Find the lines and read them with each model. The engines' copy of the image lives only while they read.
    auto readings = ModelPasses::read(ImagePreparation::scaled(screen, scale), scale, stop);
    if (!readings) {
        return unexpected(readings.error());
    }
    // 4. Choose the reading and the script of every line.
    auto choice = ScriptChoice::choose(screen, std::move(readings->simplified), std::move(readings->traditional),
                                       std::move(readings->english));
    if (!choice) {
        return unexpected(choice.error());
    }
    // 5. Lines the passes missed: Chinese labels taken for Latin letters or not found, rows of quote marks; runs of
    // quote marks read as one. Lines they took from a panel's shapes go.
    PanelLines::drop(screen.size(), *choice);
    ChineseRecovery::recover(screen, *choice);
    MissedLines::add(screen, *choice);
    MissedLines::completeQuoteRuns(screen, choice->pass);
    const qint64 passesDone = clock.elapsed();
    // 6. Read again with the line model where Tesseract is unsure, and finish every line from the pixels; short
    // labels are settled by a vote of the line model and both passes.
    LookAlikeGlyphs::settle(screen, choice->pass);
    GlyphHeights::settle(screen, choice->pass);
    QList<LineReading> modelReadings;
    QStringList lines =
        LineRouting::refinedLines(screen, choice->pass, choice->scripts, choice->otherReading, &modelReadings);
    // Short labels hold as many characters as their ink has cells.
    LabelCells::complete(screen, *choice, lines);
    // The line model reads nothing once the recognition is stopped: what it left out is not the text.
    if (stop.isRequested()) {
        return unexpected(stoppedError(stop));
    }
    // Characters that make no word with their neighbours, where another reading of them does.
    WordCheck::mend(screen, *choice, modelReadings, lines);
    // Glyphs of short labels their reading does not plainly show, read again alone and larger.
    LargerReading::mend(screen, *choice, lines);
    // 7. Every line in its own script, monospaced lines with their indentation.
    ScriptChoice::settleTakenForms(screen, choice->pass, lines, choice->scripts);
    lines = ScriptChoice::inTheirScripts(lines, choice->scripts, choice->traditionalText);
    lines = LineIndentation::indented(screen, lines, choice->pass);
    qCDebug(lcRecognition) << screen.size() << "read at" << scale << "passes" << passesDone << "ms, lines finished"
                           << clock.elapsed() - passesDone << "ms, reading of" << choice->pass.languages;
    return Recognition{.text = LineIndentation::joined(lines)};
}

} // namespace

void loadEngines()
{
    // On both cores, in the order a recognition needs them: the second core takes the English and the Traditional
    // model, this one the Simplified model and the line model. Each core has about the same to do (a Chinese model
    // takes a fifth longer than the English one, the line model half as long).
    QElapsedTimer clock;
    clock.start();
    const auto load = [](const QByteArrayList &engines) {
        for (const QByteArray &languages : engines) {
            if (TesseractPool::hasModels(languages)) {
                TesseractPool::shared().borrow(languages);
            }
        }
    };
    auto others = QtConcurrent::run(load, QByteArrayList{englishModel, traditionalModel});
    load({simplifiedModel});
    NeuralLineRecognizer::prepare();
    others.waitForFinished();
    qCDebug(lcRecognition) << "engines loaded in" << clock.elapsed() << "ms";
}

void releaseEngines()
{
    TesseractPool::shared().releaseIdle();
    NeuralLineRecognizer::release();
    malloc_trim(0);
    ResidentPages::dropRecognitionCode();
}

QImage warmupImage()
{
    QImage image(320, 90, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    QFont font(u"Noto Sans CJK SC"_s);
    font.setPixelSize(32);
    painter.setFont(font);
    painter.setPen(Qt::black);
    // The text position is the baseline's start, 22 units above the bottom edge.
    painter.drawText(QPointF(12, 90 - 22), u"截图识字 Tessary"_s);
    painter.end();
    return image;
}

bool prewarm(RecognitionStop *stop)
{
    RecognitionStop unlimited;
    if (stop != nullptr && stop->isRequested()) {
        return false;
    }
    const QImage image = warmupImage();
    if (image.isNull()) {
        return false;
    }
    NeuralLineRecognizer::prepare();
    // Loading the models is most of a warm-up's time, however long it takes: no deadline.
    const auto text = recognizeWithin(image, stop != nullptr ? *stop : unlimited);
    return text && !text->text.isEmpty();
}

} // namespace Tessary::TextRecognizer
