#include "app/recognition/TextRecognizer.h"

#include <memory>

#include <dlfcn.h>

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <QFont>
#include <QPainter>
#include <QStringList>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/ScreenImageLoader.h"
#include "app/recognition/TesseractPool.h"

using namespace Qt::StringLiterals;

namespace Tessary::TextRecognizer {

namespace {

// Simplified and Traditional Chinese are read in separate passes: a model set holding both turns one script into
// the other, while each set alone is confident on its own script and unsure on the other.
constexpr auto simplifiedLanguages = "chi_sim+eng";
constexpr auto traditionalLanguages = "chi_tra+eng";

struct PassResult
{
    QStringList lines;
    int meanConfidence = -1;
};

/**
 * Debian's Tesseract is built with OpenMP and spreads each recognition over every core; on small screenshots that
 * is several times slower than one thread, and we get our parallelism from overlapping recognitions instead.
 * OMP_THREAD_LIMIT would do, but the OpenMP runtime reads it while it is loaded, before main() runs, and Tesseract
 * asks for its thread counts explicitly. Allowing no active parallel level makes every region run on the calling
 * thread alone. The setting belongs to the calling thread, so every thread that recognises makes it once. A limit
 * the user set in the environment is left to the runtime.
 */
void limitEngineThreads()
{
    using SetMaxActiveLevels = void (*)(int);
    static const auto setLevels = [] {
        const bool userChose = qEnvironmentVariableIsSet("OMP_THREAD_LIMIT") || qEnvironmentVariableIsSet("OMP_MAX_ACTIVE_LEVELS");
        return userChose ? nullptr : reinterpret_cast<SetMaxActiveLevels>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels"));
    }();
    thread_local bool limited = false;
    if (setLevels != nullptr && !limited) {
        setLevels(0);
        limited = true;
    }
}

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

Result<PassResult, RecognitionError> runPass(const QByteArray &languages, const QImage &image)
{
    limitEngineThreads();
    TesseractPool::Lease engine = TesseractPool::shared().borrow(languages);
    if (!engine) {
        return unexpected(RecognitionError {RecognitionError::Code::EngineUnavailable,
                                            u"无法加载文字识别模型（%1）。"_s.arg(QString::fromLatin1(languages))});
    }
    engine->SetImage(image.constBits(), image.width(), image.height(), 3, int(image.bytesPerLine()));
    if (engine->Recognize(nullptr) != 0) {
        return unexpected(RecognitionError {RecognitionError::Code::EngineFailed, u"文字识别引擎未能处理这张图像。"_s});
    }
    PassResult result;
    result.meanConfidence = engine->MeanTextConf();
    std::unique_ptr<tesseract::ResultIterator> it(engine->GetIterator());
    if (it != nullptr && !it->Empty(tesseract::RIL_TEXTLINE)) {
        do {
            std::unique_ptr<char[]> text(it->GetUTF8Text(tesseract::RIL_TEXTLINE));
            if (text == nullptr) {
                continue;
            }
            const QString line = ChineseTextCleanup::cleanLine(QString::fromUtf8(text.get()));
            if (!line.trimmed().isEmpty()) {
                result.lines.append(line);
            }
        } while (it->Next(tesseract::RIL_TEXTLINE));
    }
    return result;
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
    const QByteArrayList passes = availablePasses();
    if (passes.isEmpty()) {
        return unexpected(RecognitionError {RecognitionError::Code::EngineUnavailable,
                                            u"找不到文字识别模型（%1）。"_s.arg(TesseractPool::dataPath())});
    }
    const QImage image = preparedForEngine(source);

    // The passes are independent; run the second one beside the first so that a capture waits for one pass only.
    QList<QFuture<Result<PassResult, RecognitionError>>> others;
    for (qsizetype i = 1; i < passes.size(); ++i) {
        others.append(QtConcurrent::run([languages = passes[i], image] { return runPass(languages, image); }));
    }
    Result<PassResult, RecognitionError> best = runPass(passes.first(), image);
    for (auto &other : others) {
        Result<PassResult, RecognitionError> candidate = other.result();
        if (!best || (candidate && candidate->meanConfidence > best->meanConfidence)) {
            best = std::move(candidate);
        }
    }
    if (!best) {
        return unexpected(best.error());
    }
    return best->lines.join(u'\n').trimmed();
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
    const auto text = recognizeImage(image);
    return text && !text->isEmpty();
}

} // namespace Tessary::TextRecognizer
