#include "app/recognition/TextRecognizer.h"

#include <future>
#include <memory>
#include <mutex>

#include <malloc.h>

#include <QElapsedTimer>
#include <QFont>
#include <QLoggingCategory>
#include <QPainter>
#include <QStringList>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/CodeReading.h"
#include "app/recognition/ImagePreparation.h"
#include "app/recognition/LineIndentation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/RecognitionPass.h"
#include "app/recognition/RecognitionStop.h"
#include "app/recognition/ResidentPages.h"
#include "app/recognition/ScreenImageLoader.h"
#include "app/recognition/ScriptChoice.h"
#include "app/recognition/TesseractPool.h"

using namespace Qt::StringLiterals;

namespace Tessary::TextRecognizer {

namespace {

// Where the time of each recognition goes (QT_LOGGING_RULES="tessary.recognition.debug=true").
Q_LOGGING_CATEGORY(lcRecognition, "tessary.recognition", QtInfoMsg)

// Every model reads on its own: Simplified and Traditional Chinese in separate passes (a model set holding both turns
// one script into the other) and English in a third. Tesseract would read every line with each model of a set and
// keep the better words; we do that choice ourselves (PassMerging), and so read each line with the English model
// once instead of in both Chinese passes.
constexpr auto simplifiedModel = "chi_sim";
constexpr auto traditionalModel = "chi_tra";
constexpr auto englishModel = "eng";

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

/**
 * A row without ink near the middle of the image (within its middle third), where the English reading is cut in
 * two parts that the two cores can share; -1 when there is none.
 */
int middleGap(const QImage &image)
{
    const int background = LineRouting::backgroundGrey(image);
    const auto blank = [&](int y) {
        const uchar *row = image.constScanLine(y);
        for (int x = 0; x < image.width(); ++x) {
            const int grey = (299 * row[3 * x] + 587 * row[3 * x + 1] + 114 * row[3 * x + 2]) / 1000;
            if (std::abs(grey - background) > 24) {
                return false;
            }
        }
        return true;
    };
    // Thin strokes of light text can leave a row of a line nearly blank: only a few blank rows in a row make a gap.
    const int middle = image.height() / 2;
    for (int offset = 0; offset < image.height() / 6; ++offset) {
        for (const int y : {middle - offset, middle + offset}) {
            if (y > 1 && y + 1 < image.height() && blank(y - 1) && blank(y) && blank(y + 1)) {
                return y;
            }
        }
    }
    return -1;
}

/** Reads the rows from top (inclusive) to bottom (exclusive) as an image of their own; lines in image coordinates. */
Result<RecognitionPass, RecognitionError> readRows(const QByteArray &languages, const QImage &image, int top,
                                                   int bottom)
{
    auto pass = runRecognitionPass(languages, image.copy(0, top, image.width(), bottom - top));
    if (pass && top > 0) {
        for (PassLine &line : pass->lines) {
            line.box.translate(0, top);
            line.baseline = line.baseline >= 0 ? line.baseline + top : -1;
            for (PassWord &word : line.words) {
                word.box.translate(0, top);
            }
        }
    }
    return pass;
}

/** English text read with confidence: Latin all through, as far as the English model alone can tell. */
bool surelyLatin(const Result<RecognitionPass, RecognitionError> &pass)
{
    if (!pass || pass->lines.isEmpty()) {
        return false;
    }
    for (const PassLine &line : pass->lines) {
        for (const PassWord &word : line.words) {
            if (word.confidence < 60) {
                return false;
            }
        }
    }
    return pass->meanConfidence >= 85;
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
    // A code in the region is what the user wants from it; finding none costs about a millisecond.
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
    // The engines read image; the stages after them work on the screen's own pixels.
    const QImage screen = ImagePreparation::prepared(pixels);
    const double scale = ImagePreparation::readingScale(screen);
    const QImage image = ImagePreparation::scaled(screen, scale);

    // This thread reads Chinese with the first Chinese model; the other core reads English, which is quick, and then
    // the other Chinese model, so that Latin text is settled as soon as the first Chinese pass finds no Chinese.
    const QByteArray firstChinese = simplified    ? QByteArray(simplifiedModel)
                                    : traditional ? QByteArray(traditionalModel)
                                                  : QByteArray();
    const QByteArray secondChinese = simplified && traditional ? QByteArray(traditionalModel) : QByteArray();
    const auto noChinese = std::make_shared<std::atomic<bool>>(false);
    using Reading = Result<RecognitionPass, RecognitionError>;
    // The English reading comes in two parts where the image has a gap between lines near its middle: the second
    // core reads the upper part and then, when that is plainly Latin text, the lower part too; otherwise it goes on
    // to the other Chinese model, and this core reads the lower part once its own pass is done.
    // (A large image is read in bands anyway, and two copies of its halves would cost more than they save.)
    const int gap = english && !secondChinese.isEmpty() && !readInBands(image.size()) ? middleGap(image) : -1;
    const auto lowerTaken = std::make_shared<std::atomic<bool>>(false);
    const auto lowerRead = std::make_shared<std::promise<Reading>>();
    std::future<Reading> lowerEnglish = lowerRead->get_future();
    const auto readLower = [image, gap, lowerTaken, lowerRead](const QByteArray &engine) {
        if (!lowerTaken->exchange(true)) {
            lowerRead->set_value(readRows(engine, image, gap, image.height()));
        }
    };
    auto others = QtConcurrent::run([image, noChinese, english, secondChinese, gap, readLower, stop = &stop] {
        const RecognitionStop::Scope stopScope(stop);
        std::pair<Reading, Reading> read{unexpected(RecognitionError{}), unexpected(RecognitionError{})};
        bool latin = false;
        if (english) {
            read.first = gap < 0 ? runRecognitionPass(englishModel, image) : readRows(englishModel, image, 0, gap);
            latin = gap >= 0 && surelyLatin(read.first);
            if (latin) {
                readLower(englishModel);
            }
            qCDebug(lcRecognition) << "English read";
        }
        if (!secondChinese.isEmpty() && !noChinese->load()) {
            read.second = runRecognitionPass(secondChinese, image, noChinese.get());
            qCDebug(lcRecognition) << secondChinese << "read";
        }
        if (gap >= 0 && !latin) {
            readLower(englishModel);
        }
        return read;
    });
    Reading chinese =
        firstChinese.isEmpty() ? Reading(unexpected(RecognitionError{})) : runRecognitionPass(firstChinese, image);
    qCDebug(lcRecognition) << firstChinese << "read at" << clock.elapsed() << "ms";
    // A reading without a single Chinese character is Latin text: the other Chinese pass need not go on.
    *noChinese = chinese && !LineRouting::hasChinese(*chinese);
    if (gap >= 0) {
        readLower(QByteArray(englishModel) + "#2");
    }
    auto [englishReading, otherChinese] = others.result();
    if (gap >= 0) {
        Reading lower = lowerEnglish.get();
        if (englishReading && lower) {
            englishReading->lines.append(lower->lines);
        } else {
            englishReading = std::move(lower);
        }
    }
    if (stop.isRequested()) {
        return unexpected(stoppedError(stop));
    }
    if (!chinese && !firstChinese.isEmpty() && !englishReading) {
        return unexpected(chinese.error());
    }
    if (*noChinese) {
        otherChinese = unexpected(RecognitionError{});
    }

    for (Reading *reading : {&chinese, &otherChinese, &englishReading}) {
        if (*reading) {
            ImagePreparation::scaleBack(**reading, scale);
        }
    }
    const bool firstIsSimplified = firstChinese == simplifiedModel;
    auto choice = ScriptChoice::choose(
        screen, firstIsSimplified ? std::move(chinese) : Reading(unexpected(RecognitionError{})),
        firstIsSimplified ? std::move(otherChinese) : std::move(chinese), std::move(englishReading));
    if (!choice) {
        return unexpected(choice.error());
    }
    const qint64 passesDone = clock.elapsed();
    QStringList lines = LineRouting::refinedLines(screen, choice->pass, choice->scripts);
    // The line model reads nothing once the recognition is stopped: what it left out is not the text.
    if (stop.isRequested()) {
        return unexpected(stoppedError(stop));
    }
    lines = ScriptChoice::inTheirScripts(lines, choice->scripts, choice->traditionalText);
    lines = LineIndentation::indented(screen, lines, choice->pass);
    qCDebug(lcRecognition) << image.size() << "passes" << passesDone << "ms, lines finished"
                           << clock.elapsed() - passesDone << "ms, reading of" << choice->pass.languages;
    return Recognition{.text = LineIndentation::joined(lines)};
}

} // namespace

void loadEngines()
{
    // On both cores, as a recognition would load them: the second core takes English (both engines) and the
    // Traditional model, this one the line model and the Simplified model.
    QElapsedTimer clock;
    clock.start();
    const QByteArrayList second{englishModel, QByteArray(englishModel) + "#2", traditionalModel};
    auto others = QtConcurrent::run([second] {
        for (const QByteArray &languages : second) {
            if (TesseractPool::hasModels(languages.split('#').first())) {
                TesseractPool::shared().borrow(languages);
            }
        }
    });
    NeuralLineRecognizer::prepare();
    if (TesseractPool::hasModels(simplifiedModel)) {
        TesseractPool::shared().borrow(simplifiedModel);
    }
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

bool prewarm()
{
    const QImage image = warmupImage();
    if (image.isNull()) {
        return false;
    }
    NeuralLineRecognizer::prepare();
    // Loading the models is most of a warm-up's time, however long it takes: no deadline.
    RecognitionStop unlimited;
    const auto text = recognizeWithin(image, unlimited);
    return text && !text->text.isEmpty();
}

} // namespace Tessary::TextRecognizer
