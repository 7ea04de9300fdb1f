#include "app/recognition/RecognitionPass.h"

#include <memory>

#include <dlfcn.h>

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/TesseractPool.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

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

QString takeText(char *text)
{
    const std::unique_ptr<char[]> owned(text);
    return owned ? QString::fromUtf8(owned.get()) : QString();
}

} // namespace

Result<RecognitionPass, RecognitionError> runRecognitionPass(const QByteArray &languages, const QImage &image)
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

    RecognitionPass pass;
    pass.languages = languages;
    pass.meanConfidence = engine->MeanTextConf();
    const std::unique_ptr<tesseract::ResultIterator> lines(engine->GetIterator());
    if (lines != nullptr && !lines->Empty(tesseract::RIL_TEXTLINE)) {
        do {
            PassLine line;
            line.text = ChineseTextCleanup::cleanLine(takeText(lines->GetUTF8Text(tesseract::RIL_TEXTLINE)));
            if (line.text.trimmed().isEmpty()) {
                continue;
            }
            int left = 0, top = 0, right = 0, bottom = 0;
            if (lines->BoundingBox(tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom)) {
                line.box = QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
            }
            line.confidence = lines->Confidence(tesseract::RIL_TEXTLINE);
            do {
                if (lines->BoundingBox(tesseract::RIL_WORD, &left, &top, &right, &bottom)) {
                    line.words.append(QRect(QPoint(left, top), QPoint(right - 1, bottom - 1)));
                }
            } while (!lines->IsAtFinalElement(tesseract::RIL_TEXTLINE, tesseract::RIL_WORD) && lines->Next(tesseract::RIL_WORD));
            pass.lines.append(line);
        } while (lines->Next(tesseract::RIL_TEXTLINE));
    }
    return pass;
}

} // namespace Tessary
