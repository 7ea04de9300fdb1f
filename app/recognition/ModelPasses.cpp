#include "app/recognition/ModelPasses.h"

#include <future>
#include <memory>

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/ImagePreparation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/RecognitionStop.h"
#include "app/recognition/TesseractPool.h"

namespace Tessary::ModelPasses {

namespace {

Q_LOGGING_CATEGORY(lcPasses, "tessary.recognition", QtInfoMsg)

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

Result<Readings, RecognitionError> read(const QImage &image, double scale, RecognitionStop &stop)
{
    const bool simplified = TesseractPool::hasModels(simplifiedModel);
    const bool traditional = TesseractPool::hasModels(traditionalModel);
    const bool english = TesseractPool::hasModels(englishModel);
    QElapsedTimer clock;
    clock.start();
    // This thread reads Chinese with the first Chinese model; the other core reads English, which is quick, and then
    // the other Chinese model, so that Latin text is settled as soon as the first Chinese pass finds no Chinese.
    const QByteArray firstChinese = simplified    ? QByteArray(simplifiedModel)
                                    : traditional ? QByteArray(traditionalModel)
                                                  : QByteArray();
    const QByteArray secondChinese = simplified && traditional ? QByteArray(traditionalModel) : QByteArray();
    const auto noChinese = std::make_shared<std::atomic<bool>>(false);
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
            qCDebug(lcPasses) << "English read";
        }
        if (!secondChinese.isEmpty() && !noChinese->load()) {
            read.second = runRecognitionPass(secondChinese, image, noChinese.get());
            qCDebug(lcPasses) << secondChinese << "read";
        }
        if (gap >= 0 && !latin) {
            readLower(englishModel);
        }
        return read;
    });
    Reading chinese =
        firstChinese.isEmpty() ? Reading(unexpected(RecognitionError{})) : runRecognitionPass(firstChinese, image);
    qCDebug(lcPasses) << firstChinese << "read at" << clock.elapsed() << "ms";
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
    if (firstChinese != simplifiedModel) {
        return Readings{Reading(unexpected(RecognitionError{})), std::move(chinese), std::move(englishReading)};
    }
    return Readings{std::move(chinese), std::move(otherChinese), std::move(englishReading)};
}

} // namespace Tessary::ModelPasses
