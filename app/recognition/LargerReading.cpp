#include "app/recognition/LargerReading.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <tesseract/baseapi.h>

#include <QGuiApplication>
#include <QLoggingCategory>

#include "app/recognition/ChineseRecovery.h"
#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/DictionaryCandidates.h"
#include "app/recognition/GlyphForms.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/ImagePreparation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/ModelPasses.h"
#include "app/recognition/RecognitionStop.h"
#include "app/recognition/ScriptVariants.h"
#include "app/recognition/TesseractPool.h"

namespace Tessary::LargerReading {

namespace {

// The glyphs this step changes (QT_LOGGING_RULES="tessary.recognition.larger.debug=true").
Q_LOGGING_CATEGORY(lcLarger, "tessary.recognition.larger", QtInfoMsg)

/** The height in pixels a label's ink is brought to: glyphs of 12 px read at twice their size are still misread. */
constexpr double readInkHeight = 40;
constexpr double smallerInkHeight = 30;

/**
 * How well the drawing of a candidate alone must match a glyph, and by how much better than the drawing of the
 * character read, for the candidate to be taken where no mix of the two explains the glyph. Misread glyphs of 12 to
 * 14 px labels match the drawing of the character read 0.3 to 0.65, the right character's 0.2 to 0.35 better.
 */
constexpr double plainlyBetterFrom = 0.6;
constexpr double plainlyBetterBy = 0.15;

/**
 * The labels of one image read again: each read costs tens of milliseconds, and a menu of a hundred small labels must
 * not take seconds more.
 */
constexpr int labelsReadAgain = 6;

/** The label read as one line by Tesseract's model of its script, its ink at readInkHeight. */
QString readLarger(const QImage &image, const QRect &ink, Script script)
{
    const char *model = script == Script::Traditional ? ModelPasses::traditionalModel : ModelPasses::simplifiedModel;
    if (!TesseractPool::hasModels(model)) {
        return {};
    }
    TesseractPool::Lease engine = TesseractPool::shared().borrow(model);
    if (!engine) {
        return {};
    }
    // Some ground around the glyphs, as the engine sees around any line.
    const int margin = std::max(2, ink.height() / 2);
    const QRect area = ink.adjusted(-margin, -margin, margin, margin);
    const QRect inside = area.intersected(image.rect());
    if (inside.isEmpty()) {
        return {};
    }
    // The crop's own ground white and its darkest ink black: the engine reads a label on a grey ground (a dark theme
    // turned over) as nothing. Past the screen's edge the ground goes on.
    const int ground = LineRouting::backgroundGrey(image.copy(inside));
    QImage grey(area.size(), QImage::Format_Grayscale8);
    grey.fill(uchar(std::clamp(ground, 0, 255)));
    int darkest = ground;
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        uchar *out = grey.scanLine(y - area.top()) - area.left();
        for (int x = inside.left(); x <= inside.right(); ++x) {
            out[x] = uchar(greyAt(row, x));
            darkest = std::min<int>(darkest, out[x]);
        }
    }
    if (ground - darkest < 2) {
        return {};
    }
    for (int y = 0; y < grey.height(); ++y) {
        uchar *row = grey.scanLine(y);
        for (int x = 0; x < grey.width(); ++x) {
            row[x] = uchar(std::clamp(255 * (row[x] - darkest) / (ground - darkest), 0, 255));
        }
    }
    // Bold glyphs brought that large are now and then read as nothing at all; a little smaller they are read. Blurred
    // glyphs (unhinted, at fractions of a pixel) brought that large are now and then taken for no text at all by the
    // engine's layout analysis, which a raw line skips.
    QString reading;
    for (const auto &[height, mode] :
         {std::pair{readInkHeight, tesseract::PSM_SINGLE_LINE}, std::pair{smallerInkHeight, tesseract::PSM_SINGLE_LINE},
          std::pair{readInkHeight, tesseract::PSM_RAW_LINE}}) {
        const QImage scaled = ImagePreparation::scaled(grey, std::max(1.0, height / double(ink.height())));
        engine->SetPageSegMode(mode);
        engine->SetImage(scaled.constBits(), scaled.width(), scaled.height(), 1, int(scaled.bytesPerLine()));
        const std::unique_ptr<char[]> text(engine->GetUTF8Text());
        engine->Clear();
        // Stray marks the engine reads beside the glyphs are no part of a label of Chinese characters.
        reading = QString::fromUtf8(text.get());
        reading.removeIf([](QChar c) { return !ChineseTextCleanup::isHan(c.unicode()); });
        if (!reading.isEmpty()) {
            break;
        }
    }
    engine->SetPageSegMode(tesseract::PSM_SINGLE_BLOCK);
    return reading;
}

/**
 * The larger reading laid on the label's characters: as it is, or, where it holds one character more (a stray mark
 * at the label's end read as 上), without the end character that leaves the most characters where the label has them.
 */
QString alignedWith(const QString &text, const QString &larger)
{
    if (larger.size() != text.size() + 1) {
        return larger;
    }
    const auto agreeing = [&](const QString &reading) {
        qsizetype same = 0;
        for (qsizetype k = 0; k < text.size(); ++k) {
            same += ScriptVariants::toSimplified(QString(reading.at(k))) ==
                    ScriptVariants::toSimplified(QString(text.at(k)));
        }
        return same;
    };
    const QString withoutFirst = larger.mid(1), withoutLast = larger.chopped(1);
    const qsizetype first = agreeing(withoutFirst), last = agreeing(withoutLast);
    // Most of the label's characters stand where the reading has them, or it read another text.
    if (2 * std::max(first, last) < text.size() || first == last) {
        return larger;
    }
    return first > last ? withoutFirst : withoutLast;
}

} // namespace

void mend(const QImage &image, const ScriptChoice::Choice &choice, QStringList &lines)
{
    // The glyphs are compared with characters drawn in a font, which needs a font database.
    if (image.isNull() || qobject_cast<QGuiApplication *>(QCoreApplication::instance()) == nullptr) {
        return;
    }
    const int background = LineRouting::backgroundGrey(image);
    int readsLeft = labelsReadAgain;
    for (qsizetype li = 0; li < lines.size() && li < choice.pass.lines.size() && li < choice.scripts.size(); ++li) {
        const QString text = lines[li];
        const QRect box = choice.pass.lines[li].box;
        const Script script = choice.scripts[li];
        if (script == Script::Latin || text.size() < 2 || !ChineseTextCleanup::allHan(text) ||
            box.width() > ChineseRecovery::longestLabel * std::max(1, box.height())) {
            continue;
        }
        // A label's characters share the width of its ink (the pass's box may hold some ground beside it).
        const QRect inkBox = LineRouting::inkBox(image, box, background);
        const int margin = std::max(1, int(std::lround(inkBox.height() / 12.0)));
        const QRect ink = inkBox.adjusted(margin, margin, -margin, -margin);
        const double pitch = double(ink.width() + 1) / double(text.size());
        const int em = int(std::lround(pitch));
        // Above a desktop size the passes see glyphs large enough.
        if (ink.isEmpty() || em > GlyphForms::desktopEm) {
            continue;
        }
        QList<qsizetype> unsure;
        QList<double> matches;
        QList<QChar> forms;
        QList<QImage> inks;
        for (qsizetype k = 0; k < text.size(); ++k) {
            const QPoint centre(int(std::lround(ink.left() + (double(k) + 0.5) * pitch)), ink.center().y());
            inks.append(ScriptChoice::glyphInk(image, centre, em, background));
            // The line's script is settled later: the glyph may be the other form of the character read.
            QChar form = text.at(k);
            double match = DictionaryCandidates::readMatch(inks.last(), em, form);
            for (const QString &variant :
                 {ScriptVariants::toTraditional(QString(form)), ScriptVariants::toSimplified(QString(form))}) {
                if (DictionaryCandidates::isPlainlyRead(match) || variant.size() != 1 || variant.at(0) == form) {
                    continue;
                }
                const double variantMatch = DictionaryCandidates::readMatch(inks.last(), em, variant.at(0));
                if (variantMatch > match) {
                    match = variantMatch;
                    form = variant.at(0);
                }
            }
            forms.append(form);
            matches.append(match);
            if (!DictionaryCandidates::isPlainlyRead(match)) {
                unsure.append(k);
            }
        }
        const RecognitionStop *stop = RecognitionStop::current();
        if (unsure.isEmpty() || readsLeft == 0 || (stop != nullptr && stop->isRequested())) {
            continue;
        }
        --readsLeft;
        const QString larger = alignedWith(text, readLarger(image, inkBox, script));
        if (larger.size() != text.size() || !ChineseTextCleanup::allHan(larger)) {
            qCDebug(lcLarger) << text << "read larger as" << larger;
            continue;
        }
        QString mended = text;
        for (const qsizetype k : unsure) {
            const QChar read = forms[k], candidate = larger.at(k);
            // The script of a line is settled later, from its glyphs.
            if (candidate == read || ScriptVariants::areVariants(candidate.unicode(), read.unicode())) {
                continue;
            }
            const QChar fitted = DictionaryCandidates::fittest(inks[k], em, read, QString(candidate));
            // Where no mix of the two drawings explains the glyph (the strokes of 擴 at 12 px run together), the
            // drawing of the candidate alone must match it far better than that of the character read.
            const double match = DictionaryCandidates::readMatch(inks[k], em, candidate);
            const bool taken =
                !fitted.isNull() || (match >= plainlyBetterFrom && match - matches[k] >= plainlyBetterBy);
            qCDebug(lcLarger) << text << "at" << k << read << matches[k] << "read larger as" << candidate << match
                              << "taken" << taken;
            if (taken) {
                mended[k] = candidate;
            }
        }
        lines[li] = mended;
    }
}

} // namespace Tessary::LargerReading
