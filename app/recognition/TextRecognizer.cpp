#include "app/recognition/TextRecognizer.h"

#include <mutex>

#include <malloc.h>

#include <QFont>
#include <QPainter>
#include <QStringList>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/LineRouting.h"
#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/RecognitionPass.h"
#include "app/recognition/ScreenImageLoader.h"
#include "app/recognition/TesseractPool.h"

using namespace Qt::StringLiterals;

namespace Tessary::TextRecognizer {

namespace {

// Simplified and Traditional Chinese are read in separate passes: a model set holding both turns one script into
// the other. The pass with the higher mean word confidence wins.
constexpr auto simplifiedLanguages = "chi_sim+eng";
constexpr auto traditionalLanguages = "chi_tra+eng";

/**
 * The mean word confidence from which a Simplified reading without any Chinese settles that the image holds Latin
 * text only.
 * Chinese that a model cannot read comes out as Latin letters too, but with far lower confidence.
 */
constexpr int sureLatin = 85;

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
    for (const char *languages : {simplifiedLanguages, traditionalLanguages}) {
        if (TesseractPool::hasModels(languages)) {
            passes.append(languages);
        }
    }
    if (passes.isEmpty() && TesseractPool::hasModels("eng")) {
        passes.append("eng");
    }
    return passes;
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
    const QImage image = preparedForEngine(source);

    // The passes are independent; run the second one beside the first so that a capture waits for one pass only.
    // Latin text that the first pass read with confidence needs no other reading: the second pass is stopped and
    // the first one's reading taken, whichever finished first, so that the same image always gives the same text.
    std::atomic<bool> latinSettled = false;
    QList<QFuture<Result<RecognitionPass, RecognitionError>>> others;
    for (qsizetype i = 1; i < passes.size(); ++i) {
        others.append(QtConcurrent::run([&latinSettled, languages = passes[i], image] {
            return runRecognitionPass(languages, image, &latinSettled);
        }));
    }
    Result<RecognitionPass, RecognitionError> best = runRecognitionPass(passes.first(), image);
    const bool latin = best && !best->lines.isEmpty() && !LineRouting::hasChinese(*best) && best->meanConfidence >= sureLatin;
    latinSettled = latin;
    bool chinese = best && LineRouting::hasChinese(*best);
    for (auto &other : others) {
        Result<RecognitionPass, RecognitionError> candidate = other.result();
        if (latin) {
            continue;
        }
        chinese = chinese || (candidate && LineRouting::hasChinese(*candidate));
        // Each model set is confident on its own script and unsure on the other; ties go to the first.
        if (!best || (candidate && candidate->meanConfidence > best->meanConfidence)) {
            best = std::move(candidate);
        }
    }
    if (!best) {
        return unexpected(best.error());
    }
    LineRouting::Script script = LineRouting::Script::Latin;
    if (chinese) {
        script = best->languages == traditionalLanguages ? LineRouting::Script::Traditional : LineRouting::Script::Simplified;
    }
    const QStringList lines = LineRouting::refinedLines(image, *best, script);
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
