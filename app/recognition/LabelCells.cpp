#include "app/recognition/LabelCells.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <QLoggingCategory>

#include <tesseract/baseapi.h>

#include "app/recognition/ChineseRecovery.h"
#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/ImagePreparation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/ModelPasses.h"
#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/ScriptVariants.h"
#include "app/recognition/TesseractPool.h"

namespace Tessary::LabelCells {

namespace {

using ChineseTextCleanup::allHan;

Q_LOGGING_CATEGORY(lcCells, "tessary.recognition.cells", QtInfoMsg)

/** The height of a line of Chinese characters' ink in ems: at desktop sizes hinting brings it to about an em. */
constexpr double inkHeightInEms = 1.0;

/** The blank between the ink of two neighbouring characters, in ems (their side bearings). */
constexpr double bearingsInEms = 0.08;

/** How far a cell's width may stray from the em the ink's height gives (hinting and weight change both). */
constexpr double cellTolerance = 0.2;

/** The most ink, as a share of the line's height, a column parting two characters may hold (a stroke or two). */
constexpr double partAtMost = 0.5;

/** A count of cells stands only when its worst part's ink share and the stray of its width add up to less. */
constexpr double partsAtMost = 0.6;

/** The share of a cell's width and of the line's ink height a character's ink spans at least. */
constexpr double filledAtLeast = 0.5;

/** The fewest and most characters a label counted from its ink may have: longer lines give no sure count. */
constexpr qsizetype mostCells = 10;

/**
 * How many characters more than its cells a label's reading may hold: a glyph or two read as two characters each
 * (及 as 有太). The ink of such a reading is counted as far, so that a longer line's own count stands.
 */
constexpr qsizetype mostSplit = 2;

/** Tesseract's reading of a cell stands against the line model's from this confidence (0 to 100). */
constexpr float tesseractSureFrom = 70;

/** The height in pixels a cell is brought to for Tesseract. */
constexpr double cellReadHeight = 40;

bool isInk(const uchar *row, int x, int background)
{
    const int grey = greyAt(row, x);
    return std::abs(grey - background) > inkContrast;
}

/** The image of one cell alone: the ink of the cells beside it painted over with the ground. */
QImage cellImage(const QImage &image, const Cells &cells, qsizetype k, int background)
{
    const int height = cells.bottom - cells.top + 1;
    const int margin = std::max(1, int(std::lround(0.1 * height)));
    const QRect area = QRect(QPoint(cells.lefts[k] - margin, cells.top - margin),
                             QPoint(cells.rights[k] + margin, cells.bottom + margin))
                           .intersected(image.rect());
    QImage crop = image.copy(area);
    const auto ground = uchar(std::clamp(background, 0, 255));
    for (int y = 0; y < crop.height(); ++y) {
        uchar *row = crop.scanLine(y);
        for (int x = 0; x < crop.width(); ++x) {
            const int at = area.left() + x;
            if (at < cells.lefts[k] || at > cells.rights[k]) {
                std::fill_n(row + 3 * x, 3, ground);
            }
        }
    }
    return crop;
}

/**
 * What Tesseract's model of the script reads in a cell, and how sure it is (0 to 100). The cell is read as one word:
 * the engine's single-character mode reads complex glyphs worse (準 as nothing, 憑 as 馮).
 */
std::pair<QString, float> readAsCharacter(const QImage &cell, Script script)
{
    const char *model = script == Script::Traditional ? ModelPasses::traditionalModel : ModelPasses::simplifiedModel;
    if (!TesseractPool::hasModels(model)) {
        return {};
    }
    TesseractPool::Lease engine = TesseractPool::shared().borrow(model);
    if (!engine) {
        return {};
    }
    // Small glyphs are brought to the size the models read best, as for the passes.
    const QImage scaled = ImagePreparation::scaled(cell, std::max(1.0, cellReadHeight / double(cell.height())));
    engine->SetPageSegMode(tesseract::PSM_SINGLE_WORD);
    engine->SetImage(scaled.constBits(), scaled.width(), scaled.height(), 3, int(scaled.bytesPerLine()));
    const std::unique_ptr<char[]> text(engine->GetUTF8Text());
    const float confidence = float(engine->MeanTextConf());
    engine->Clear();
    engine->SetPageSegMode(tesseract::PSM_SINGLE_BLOCK);
    return {QString::fromUtf8(text.get()).trimmed(), confidence};
}

/** One cell read alone. */
struct Alone
{
    QString text;        // its character, or nothing
    bool agreed = false; // both models read the same character
};

/**
 * What one cell holds, read alone by the line model and by Tesseract's model of the line's script: Tesseract's
 * reading where the two agree, it is sure, or the line model read no single Chinese character; else the line
 * model's. The cell has a character's ink: a guess stands for it better than none.
 */
Alone readAlone(const QImage &image, const Cells &cells, qsizetype k, int background, Script script)
{
    const QImage cell = cellImage(image, cells, k, background);
    const LineReading reading = NeuralLineRecognizer::read(cell);
    const QString model = reading.text.trimmed();
    const bool modelRead = model.size() == 1 && allHan(model);
    const auto [tesseract, confidence] = readAsCharacter(cell, script);
    const bool tesseractRead = tesseract.size() == 1 && allHan(tesseract);
    const bool agreed =
        modelRead && tesseractRead && ScriptVariants::toSimplified(model) == ScriptVariants::toSimplified(tesseract);
    if (tesseractRead && (agreed || confidence >= tesseractSureFrom || !modelRead)) {
        return {tesseract, agreed};
    }
    return {modelRead ? model : QString(), false};
}

/**
 * The reading's characters laid on the cells: the fewest changes that turn the reading into the cells' own readings
 * (compared in their Simplified forms), ties going to the characters nearest their share of the line's width. A
 * character on a cell stays where the cell alone reads otherwise (the reading had the line's context), unless both
 * models read the cell alike, a cell beside it has no character of the reading (two glyphs read as one: 邏輯 as 邂) or
 * a character beside it in the reading has no cell (one glyph read as two: 及 as 有太). An empty cell takes its own
 * reading; a character without a cell goes.
 */
QString laidOnCells(const QString &text, const QList<Alone> &alone)
{
    const QString read = ScriptVariants::toSimplified(text);
    const qsizetype m = read.size(), n = alone.size();
    const auto at = [](qsizetype i, qsizetype count) { return (double(i) + 0.5) / double(count); };
    const auto same = [&](qsizetype j, qsizetype k) {
        return ScriptVariants::toSimplified(alone[k].text) == QString(read.at(j));
    };
    const auto substitution = [&](qsizetype j, qsizetype k) {
        // A cell read as nothing is less unlike a character than a cell read as another one.
        return (same(j, k) ? 0.0 : alone[k].text.isEmpty() ? 0.5 : 1.0) + 0.01 * std::abs(at(j, m) - at(k, n));
    };
    std::vector<std::vector<double>> cost(size_t(m + 1), std::vector<double>(size_t(n + 1), 0.0));
    for (qsizetype j = 0; j <= m; ++j) {
        cost[size_t(j)][0] = double(j);
    }
    for (qsizetype k = 0; k <= n; ++k) {
        cost[0][size_t(k)] = double(k);
    }
    for (qsizetype j = 1; j <= m; ++j) {
        for (qsizetype k = 1; k <= n; ++k) {
            cost[size_t(j)][size_t(k)] =
                std::min({cost[size_t(j - 1)][size_t(k - 1)] + substitution(j - 1, k - 1),
                          cost[size_t(j - 1)][size_t(k)] + 1, cost[size_t(j)][size_t(k - 1)] + 1});
        }
    }
    // The path back: for every cell, the reading's character on it or -1.
    std::vector<qsizetype> on(size_t(n), -1);
    for (qsizetype j = m, k = n; j > 0 || k > 0;) {
        const double here = cost[size_t(j)][size_t(k)];
        if (j > 0 && k > 0 && std::abs(here - cost[size_t(j - 1)][size_t(k - 1)] - substitution(j - 1, k - 1)) < 1e-9) {
            on[size_t(--k)] = --j;
        } else if (j > 0 && std::abs(here - cost[size_t(j - 1)][size_t(k)] - 1) < 1e-9) {
            --j; // a character without a cell of its own
        } else {
            --k; // a cell the reading left empty
        }
    }
    std::vector<bool> placed(size_t(m), false);
    for (const qsizetype j : on) {
        if (j >= 0) {
            placed[size_t(j)] = true;
        }
    }
    QString laid;
    for (qsizetype k = 0; k < n; ++k) {
        const qsizetype j = on[size_t(k)];
        const auto filled = [&](qsizetype c) {
            return c >= 0 && c < n && on[size_t(c)] < 0 && !alone[c].text.isEmpty();
        };
        const auto dropped = [&](qsizetype c) { return c >= 0 && c < m && !placed[size_t(c)]; };
        // A character beside one that has no cell is half of a glyph read as two (及 as 有太).
        const bool split = j >= 0 && (dropped(j - 1) || dropped(j + 1));
        laid += j >= 0 && (same(j, k) || alone[k].text.isEmpty() ||
                           !(alone[k].agreed || filled(k - 1) || filled(k + 1) || split))
                    ? QString(text.at(j))
                    : alone[k].text;
    }
    return laid;
}

/** A short line of Chinese characters only, in a Chinese script, as interface labels are. */
bool isLabel(const PassLine &line, Script script, const QString &text, qsizetype longest = mostCells)
{
    return script != Script::Latin && allHan(text) && text.size() <= longest &&
           line.box.width() <= ChineseRecovery::longestLabel * std::max(1, line.box.height());
}

/**
 * Labels found as two lines side by side (關 and 鍵字) where the ink is one row of cells, as many as both readings
 * hold characters: one line. The engine now and then parts a label where the gap between two characters is a
 * pixel wider than the others.
 */
void joinRows(const QImage &image, int background, ScriptChoice::Choice &choice, QStringList &lines)
{
    RecognitionPass &pass = choice.pass;
    for (qsizetype i = 0; i + 1 < pass.lines.size() && i + 1 < lines.size() && i + 1 < choice.scripts.size(); ++i) {
        PassLine &left = pass.lines[i];
        const PassLine &right = pass.lines[i + 1];
        const int lower = std::min(left.box.height(), right.box.height());
        const int shared = std::min(left.box.bottom(), right.box.bottom()) - std::max(left.box.top(), right.box.top());
        const int gap = right.box.left() - left.box.right() - 1;
        const QString text = lines[i] + lines[i + 1];
        const QRect both = left.box.united(right.box);
        if (!isLabel(left, choice.scripts[i], lines[i]) || !isLabel(right, choice.scripts[i + 1], lines[i + 1]) ||
            shared < 0.7 * lower || gap < -1 || gap > 0.5 * lower ||
            !isLabel(PassLine{.box = both}, choice.scripts[i], text) ||
            cellsOf(image, both, background).count() != text.size()) {
            continue;
        }
        qCDebug(lcCells) << "one row:" << lines[i] << lines[i + 1];
        left.box = both;
        left.text += right.text;
        left.centres += right.centres;
        left.words += right.words;
        left.baseline = std::max(left.baseline, right.baseline);
        left.confidence = std::min(left.confidence, right.confidence);
        lines[i] = text;
        if (lines[i + 1].size() > lines[i].size() - lines[i + 1].size()) {
            choice.scripts[i] = choice.scripts[i + 1];
        }
        for (auto *perLine : {&choice.traditionalText, &choice.otherReading}) {
            if (i + 1 < perLine->size()) {
                (*perLine)[i] += perLine->at(i + 1);
            }
        }
        choice.removeLine(i + 1);
        lines.removeAt(i + 1);
    }
}

/**
 * The box of a label widened over ink beside it on its row, no farther apart than the characters of a label stand
 * (an icon stands farther off) and not into another line: the engine leaves a character it dropped at a label's
 * end out of the line's box (埃及鎊 read as 埃及 has the box of 埃及).
 */
QRect withInkBeside(const QImage &image, const RecognitionPass &pass, qsizetype self, int background)
{
    const QRect box = pass.lines[self].box;
    const int margin = std::max(1, int(std::lround(0.1 * box.height())));
    const QRect row = box.adjusted(0, -margin, 0, margin).intersected(image.rect());
    const int apart = std::max(1, int(0.25 * box.height()));
    const auto inkAt = [&](int x) {
        for (int y = row.top(); y <= row.bottom(); ++y) {
            if (isInk(image.constScanLine(y), x, background)) {
                return true;
            }
        }
        return false;
    };
    const auto taken = [&](int x) {
        for (qsizetype i = 0; i < pass.lines.size(); ++i) {
            const QRect &other = pass.lines[i].box;
            if (i != self && x >= other.left() && x <= other.right() && other.top() <= row.bottom() &&
                other.bottom() >= row.top()) {
                return true;
            }
        }
        return false;
    };
    QRect wide = row;
    for (const int step : {-1, 1}) {
        int ink = step < 0 ? box.left() : box.right();
        for (int x = ink + step; x >= 0 && x < image.width() && std::abs(x - ink) <= apart && !taken(x); x += step) {
            if (inkAt(x)) {
                ink = x;
            }
        }
        if (step < 0) {
            wide.setLeft(ink);
        } else {
            wide.setRight(ink);
        }
    }
    return wide;
}

} // namespace

Cells cellsOf(const QImage &image, const QRect &box, int background)
{
    const QRect area = box.intersected(image.rect());
    if (area.isEmpty()) {
        return {};
    }
    std::vector<int> columns(size_t(area.width()), 0);
    std::vector<int> highest(size_t(area.width()), area.bottom() + 1), lowest(size_t(area.width()), -1);
    int top = area.bottom() + 1, bottom = -1;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = area.left(); x <= area.right(); ++x) {
            if (isInk(row, x, background)) {
                const auto at = size_t(x - area.left());
                ++columns[at];
                highest[at] = std::min(highest[at], y);
                lowest[at] = std::max(lowest[at], y);
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    }
    const auto first = std::find_if(columns.cbegin(), columns.cend(), [](int c) { return c > 0; });
    if (first == columns.cend()) {
        return {};
    }
    const int left = int(first - columns.cbegin());
    const int right =
        int(columns.crend() - std::find_if(columns.crbegin(), columns.crend(), [](int c) { return c > 0; })) - 1;
    const int height = bottom - top + 1;
    const double em = height / inkHeightInEms;
    const double width = right - left + 1 + bearingsInEms * em;
    // Where two cells meet, the column with the least ink near there parts them: at 12 px neighbouring characters
    // touch, but a column between them crosses a stroke or two where one inside a character crosses most of them.
    // Of the counts whose cells are about an em wide, the one whose parts cross the least ink stands.
    Cells best;
    double bestScore = partsAtMost;
    for (qsizetype count = 1; count <= mostCells + mostSplit; ++count) {
        const double pitch = width / double(count);
        const double stray = std::abs(pitch / em - 1);
        if (stray > cellTolerance) {
            continue;
        }
        Cells cells{.top = top, .bottom = bottom};
        int start = left;
        double crossed = 0;
        bool parted = true;
        for (qsizetype k = 1; k < count && parted; ++k) {
            const double meet = left + double(k) * pitch - bearingsInEms * em / 2;
            const int from = std::max(start + 1, int(std::ceil(meet - 0.15 * pitch)));
            const int to = std::min(right - 1, int(std::floor(meet + 0.15 * pitch)));
            int part = -1;
            for (int x = from; x <= to; ++x) {
                if (part < 0 || columns[size_t(x)] < columns[size_t(part)] ||
                    (columns[size_t(x)] == columns[size_t(part)] && std::abs(x - meet) < std::abs(part - meet))) {
                    part = x;
                }
            }
            const double share = part < 0 ? 1.0 : double(columns[size_t(part)]) / height;
            parted = share <= partAtMost;
            crossed = std::max(crossed, share);
            cells.lefts.append(area.left() + start);
            cells.rights.append(area.left() + part);
            start = part;
        }
        cells.lefts.append(area.left() + start);
        cells.rights.append(area.left() + right);
        const double score = crossed + stray;
        if (parted && score < bestScore) {
            best = cells;
            bestScore = score;
        }
    }
    // Every cell holds a character's ink: Chinese characters fill most of their square, where signs (the `*)` of code
    // read as 米) leave much of it empty. A cell that does not (一, a sign) leaves the count unsure.
    for (qsizetype k = 0; k < best.count(); ++k) {
        int inkLeft = -1, inkRight = -1, inkTop = bottom, inkBottom = top;
        for (int x = best.lefts[k] - area.left(); x <= best.rights[k] - area.left(); ++x) {
            if (columns[size_t(x)] > 0) {
                inkLeft = inkLeft < 0 ? x : inkLeft;
                inkRight = x;
                inkTop = std::min(inkTop, highest[size_t(x)]);
                inkBottom = std::max(inkBottom, lowest[size_t(x)]);
            }
        }
        if (inkRight - inkLeft + 1 < filledAtLeast * em || inkBottom - inkTop + 1 < filledAtLeast * height) {
            return {};
        }
    }
    return best;
}

void complete(const QImage &image, ScriptChoice::Choice &choice, QStringList &lines)
{
    if (image.isNull() || !NeuralLineRecognizer::isAvailable()) {
        return;
    }
    const int background = LineRouting::backgroundGrey(image);
    joinRows(image, background, choice, lines);
    const RecognitionPass &pass = choice.pass;
    for (qsizetype i = 0; i < pass.lines.size() && i < lines.size() && i < choice.scripts.size(); ++i) {
        const QString text = lines[i];
        if (!isLabel(pass.lines[i], choice.scripts[i], text, mostCells + mostSplit)) {
            continue;
        }
        const QRect box = withInkBeside(image, pass, i, background);
        const Cells cells = cellsOf(image, box, background);
        if (cells.count() == 0 || cells.count() > mostCells || cells.count() == text.size() ||
            std::abs(cells.count() - text.size()) > mostSplit) {
            continue;
        }
        QList<Alone> alone;
        for (qsizetype k = 0; k < cells.count(); ++k) {
            alone.append(readAlone(image, cells, k, background, choice.scripts[i]));
        }
        const QString laid = laidOnCells(text, alone);
        // The label's box spans its cells: the stages after this one place its glyphs by sharing the box's width.
        if (laid.size() == cells.count()) {
            QRect &labelBox = choice.pass.lines[i].box;
            labelBox.setLeft(cells.lefts.first());
            labelBox.setRight(cells.rights.last());
        }
        // A reading that showed neither script (邂) may now hold a form of one (还辑): the glyphs settle which.
        const bool neutral =
            ScriptVariants::toSimplified(text) == text && ScriptVariants::toTraditional(text, {}) == text;
        if (neutral && laid.size() == cells.count()) {
            PassLine completed{.text = laid, .box = pass.lines[i].box};
            for (qsizetype k = 0; k < cells.count(); ++k) {
                completed.centres.append(float(cells.lefts[k] + cells.rights[k]) / 2);
            }
            choice.scripts[i] = ScriptChoice::scriptOfReading(image, completed);
        }
        qCDebug(lcCells) << text << "on" << cells.count() << "cells:" << laid;
        lines[i] = laid;
    }
}

} // namespace Tessary::LabelCells
