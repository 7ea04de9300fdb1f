#include "app/recognition/TextRecognizer.h"

#include <memory>
#include <mutex>

#include <malloc.h>

#include <QElapsedTimer>
#include <QFont>
#include <QLoggingCategory>
#include <QPainter>
#include <QStringList>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/LineRouting.h"
#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/PassMerging.h"
#include "app/recognition/RecognitionPass.h"
#include "app/recognition/ScreenImageLoader.h"
#include "app/recognition/TesseractPool.h"

using namespace Qt::StringLiterals;

namespace Tessary::TextRecognizer {

namespace {

// Where the time of each recognition goes (QT_LOGGING_RULES="tessary.recognition.debug=true").
Q_LOGGING_CATEGORY(lcRecognition, "tessary.recognition", QtInfoMsg)

// Simplified and Traditional Chinese are read in separate passes: a model set holding both turns one script into
// the other. The pass with the higher mean word confidence wins. English is read in the Simplified pass only; the
// Traditional one takes its Latin words from there (PassMerging), unless there is no Simplified model.
constexpr auto simplifiedLanguages = "chi_sim+eng";
constexpr auto traditionalLanguages = "chi_tra";
constexpr auto traditionalWithEnglish = "chi_tra+eng";

/**
 * The mean word confidence from which a Simplified reading without any Chinese settles that the image holds Latin
 * text only.
 * Chinese that a model cannot read comes out as Latin letters too, but with far lower confidence.
 */
constexpr int sureLatin = 85;

/**
 * The Traditional model without English turns code symbols it cannot place into Chinese characters now and then,
 * with little confidence. Where the Simplified pass read no Chinese at all, the Traditional pass's Chinese counts
 * only when its words hold it with at least this mean confidence (Chinese text the Simplified model missed entirely
 * was read at 70 and more; symbols taken for Chinese at 52 and less).
 */
constexpr double believedAlone = 60;

/** How much surer of the Chinese words (in confidence points) the second pass must be to have its reading taken. */
constexpr double clearlySurer = 1;

/** Tesseract reads dark text on a light ground best; screens in dark mode are inverted first. */
QImage preparedForEngine(const QImage &source)
{
    QImage image = source.convertToFormat(QImage::Format_RGB888);
    qint64 sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = 0; x < image.width(); ++x) {
            sum += (299 * row[3 * x] + 587 * row[3 * x + 1] + 114 * row[3 * x + 2]) / 1000;
        }
    }
    const qint64 pixels = qint64(image.width()) * image.height();
    if (pixels > 0 && sum / pixels < 128) {
        image.invertPixels();
    }
    return image;
}

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

QByteArrayList availablePasses()
{
    QByteArrayList passes;
    const bool simplified = TesseractPool::hasModels(simplifiedLanguages);
    if (simplified) {
        passes.append(simplifiedLanguages);
    }
    const QByteArray traditional = simplified ? traditionalLanguages : traditionalWithEnglish;
    if (TesseractPool::hasModels(traditional)) {
        passes.append(traditional);
    }
    if (passes.isEmpty() && TesseractPool::hasModels("eng")) {
        passes.append("eng");
    }
    return passes;
}

bool isTraditional(const RecognitionPass &pass)
{
    return pass.languages.startsWith("chi_tra");
}

} // namespace

Result<QString, RecognitionError> recognize(const QString &path)
{
    auto image = ScreenImageLoader::load(path);
    if (!image) {
        return unexpected(image.error());
    }
    return recognizeImage(*image);
}

Result<QString, RecognitionError> recognizeImage(const QImage &source)
{
    keepLargeBuffersOutOfTheHeap();
    const QByteArrayList passes = availablePasses();
    if (passes.isEmpty()) {
        return unexpected(RecognitionError {RecognitionError::Code::EngineUnavailable,
                                            u"找不到文字识别模型（%1）。"_s.arg(TesseractPool::dataPath())});
    }
    QElapsedTimer clock;
    clock.start();
    const QImage image = preparedForEngine(source);

    // The passes are independent; the second one runs beside the first so that a capture waits for one pass only.
    // Latin text that the Simplified pass read with confidence needs no other reading: the other pass is told to
    // stop and left to wind down on its own (it holds its engine until then, so the next recognition waits for it
    // rather than loading another), and the Simplified reading is taken whichever finished first, so that the same
    // image always gives the same text.
    const auto latinSettled = std::make_shared<std::atomic<bool>>(false);
    QList<QFuture<Result<RecognitionPass, RecognitionError>>> others;
    for (qsizetype i = 1; i < passes.size(); ++i) {
        others.append(QtConcurrent::run([latinSettled, languages = passes[i], image] {
            QElapsedTimer passClock;
            passClock.start();
            auto pass = runRecognitionPass(languages, image, latinSettled.get());
            qCDebug(lcRecognition) << languages << "took" << passClock.elapsed() << "ms";
            return pass;
        }));
    }
    Result<RecognitionPass, RecognitionError> best = runRecognitionPass(passes.first(), image);
    qCDebug(lcRecognition) << passes.first() << "took" << clock.elapsed() << "ms";
    const bool latin = best && !best->lines.isEmpty() && !LineRouting::hasChinese(*best) && best->meanConfidence >= sureLatin;
    *latinSettled = latin;
    bool chinese = best && LineRouting::hasChinese(*best);
    if (!latin) {
        for (auto &other : others) {
            Result<RecognitionPass, RecognitionError> candidate = other.result();
            if (!best || !candidate) {
                if (!best) {
                    chinese = candidate && LineRouting::hasChinese(*candidate);
                    best = std::move(candidate);
                }
                continue;
            }
            // A pass without Chinese leaves the reading to the Simplified pass, whose English model reads Latin text.
            const bool candidateChinese = LineRouting::hasChinese(*candidate)
                && (chinese || PassMerging::hanWordConfidence(*candidate) >= believedAlone);
            if (!candidateChinese) {
                continue;
            }
            chinese = true;
            // Each model set is confident on its own script and unsure on the other; the script is settled by the
            // words that are Chinese in either reading. Most characters look alike in both scripts, and text that
            // has only those is read about as well by either model set: the other pass has to be clearly surer.
            if (PassMerging::chineseConfidence(*candidate, *best) <= PassMerging::chineseConfidence(*best, *candidate) + clearlySurer) {
                continue;
            }
            if (isTraditional(*candidate) && !isTraditional(*best)) {
                PassMerging::takeLatinWords(*candidate, *best);
            }
            best = std::move(candidate);
        }
    }
    if (!best) {
        return unexpected(best.error());
    }
    LineRouting::Script script = LineRouting::Script::Latin;
    if (chinese) {
        script = isTraditional(*best) ? LineRouting::Script::Traditional : LineRouting::Script::Simplified;
    }
    const qint64 passesDone = clock.elapsed();
    const QStringList lines = LineRouting::refinedLines(image, *best, script);
    qCDebug(lcRecognition) << image.size() << "passes" << passesDone << "ms, lines finished" << clock.elapsed() - passesDone
                           << "ms, reading of" << best->languages;
    return lines.join(u'\n').trimmed();
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
    const auto text = recognizeImage(image);
    return text && !text->isEmpty();
}

} // namespace Tessary::TextRecognizer
