#include "app/recognition/ModelPasses.h"

#include <algorithm>
#include <future>
#include <memory>

#include <malloc.h>

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QtConcurrent/QtConcurrentRun>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"
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
            const int grey = greyAt(row, x);
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

/** The width per character of a line read as Chinese characters only (spaces aside), or 0. */
double hanPitch(const PassLine &line)
{
    qsizetype han = 0;
    for (const QChar c : line.text) {
        if (ChineseTextCleanup::isHan(c.unicode())) {
            ++han;
        } else if (!c.isSpace()) {
            return 0;
        }
    }
    return han > 0 ? double(line.box.width()) / double(han) : 0;
}

/** Whether two boxes are the same but for a pixel or two at each edge. */
bool nearlySame(const QRect &a, const QRect &b)
{
    return std::abs(a.left() - b.left()) <= 2 && std::abs(a.top() - b.top()) <= 2 &&
           std::abs(a.right() - b.right()) <= 2 && std::abs(a.bottom() - b.bottom()) <= 2;
}

/**
 * Lines found as the upper and lower half of one label: a label whose characters have a gap across them at one
 * height (警告 at 15-17 px, where light rows part 敬 from 言 and the roof of 告 from its mouth) is found as two
 * lines that touch, each read as the label or as what its half looks like. Chinese characters are about as tall as
 * they are wide: two touching lines read as Chinese, together about as tall as a character is wide and each much
 * lower, are one line. So are two lines where another pass joined such halves (the engine finds the lines before a
 * model reads them, alike for every model, but a model may read a half as Latin letters). The surer reading stands;
 * the line model reads the line again where it is unsure. Returns the boxes of the lines joined.
 */
QList<QRect> joinHalves(RecognitionPass &pass, const QList<QRect> &found = {})
{
    QList<QRect> joinedHalves;
    for (qsizetype i = 0; i + 1 < pass.lines.size(); ++i) {
        PassLine &upper = pass.lines[i];
        const PassLine &lower = pass.lines[i + 1];
        const double pitch =
            std::min(hanPitch(upper), hanPitch(lower)) > 0 ? std::max(hanPitch(upper), hanPitch(lower)) : 0;
        const QRect both = upper.box.united(lower.box);
        const bool halves = std::max(upper.box.height(), lower.box.height()) < 0.75 * pitch &&
                            both.height() < 1.3 * pitch && lower.box.top() - upper.box.bottom() <= 2 &&
                            lower.box.left() <= upper.box.right() && upper.box.left() <= lower.box.right();
        const bool foundThere = std::any_of(found.cbegin(), found.cend(), [&](const QRect &box) {
            return nearlySame(box, both) && lower.box.top() > upper.box.top();
        });
        if (!halves && !foundThere) {
            continue;
        }
        joinedHalves.append(both);
        PassLine joined = upper.confidence >= lower.confidence ? upper : lower;
        joined.box = both;
        joined.baseline = lower.baseline;
        upper = std::move(joined);
        pass.lines.removeAt(i + 1);
    }
    return joinedHalves;
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
    // to the other Chinese model, and this core reads the lower part once its own pass is done. One English engine
    // reads both parts: the upper part takes a fraction of the Chinese pass, so it is free again long before this
    // core needs it, and a second engine would hold its own model and line buffers (about 12 MB) for nothing.
    // (A large image is read in bands anyway, and two copies of its halves would cost more than they save.)
    const int gap = english && !secondChinese.isEmpty() && !readInBands(image.size()) ? middleGap(image) : -1;
    const auto lowerTaken = std::make_shared<std::atomic<bool>>(false);
    const auto lowerRead = std::make_shared<std::promise<Reading>>();
    std::future<Reading> lowerEnglish = lowerRead->get_future();
    const auto readLower = [image, gap, lowerTaken, lowerRead] {
        if (!lowerTaken->exchange(true)) {
            lowerRead->set_value(readRows(englishModel, image, gap, image.height()));
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
                readLower();
            }
            qCDebug(lcPasses) << "English read";
        }
        if (!secondChinese.isEmpty() && !noChinese->load()) {
            read.second = runRecognitionPass(secondChinese, image, noChinese.get());
            qCDebug(lcPasses) << secondChinese << "read";
        }
        if (gap >= 0 && !latin) {
            readLower();
        }
        return read;
    });
    Reading chinese =
        firstChinese.isEmpty() ? Reading(unexpected(RecognitionError{})) : runRecognitionPass(firstChinese, image);
    qCDebug(lcPasses) << firstChinese << "read at" << clock.elapsed() << "ms";
    // A reading without a single Chinese character is Latin text: the other Chinese pass need not go on.
    *noChinese = chinese && !LineRouting::hasChinese(*chinese);
    if (gap >= 0) {
        readLower();
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

    QList<QRect> halves;
    for (Reading *reading : {&chinese, &otherChinese, &englishReading}) {
        if (*reading) {
            ImagePreparation::scaleBack(**reading, scale);
            halves.append(joinHalves(**reading));
        }
    }
    for (Reading *reading : {&chinese, &otherChinese, &englishReading}) {
        if (*reading && !halves.isEmpty()) {
            joinHalves(**reading, halves);
        }
    }
    // The engines free the page images and line buffers of a pass in the heaps of the threads that read it; the pages
    // go back to the system before the line model allocates its buffers on top (5 MB off the peak, under 2 ms).
    malloc_trim(0);
    if (firstChinese != simplifiedModel) {
        return Readings{Reading(unexpected(RecognitionError{})), std::move(chinese), std::move(englishReading)};
    }
    return Readings{std::move(chinese), std::move(otherChinese), std::move(englishReading)};
}

} // namespace Tessary::ModelPasses
