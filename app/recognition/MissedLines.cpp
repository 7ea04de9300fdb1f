#include "app/recognition/MissedLines.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <vector>

#include <QLoggingCategory>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/LineIndentation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/MonospaceInk.h"
#include "app/recognition/NeuralLineRecognizer.h"

namespace Tessary::MissedLines {

namespace {

Q_LOGGING_CATEGORY(lcMissed, "tessary.recognition.missed", QtInfoMsg)

bool inkAt(const QImage &image, int x, int y, int background)
{
    const uchar *pixel = image.constScanLine(y) + 3 * x;
    return std::abs(greyOf(pixel) - background) > inkContrast;
}

template <typename T> T median(std::vector<T> values)
{
    std::nth_element(values.begin(), values.begin() + long(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/** Bands of rows with ink that no line covers, each as wide as its ink. */
QList<QRect> uncoveredBands(const QImage &image, const QList<PassLine> &lines, int background)
{
    std::vector<bool> covered(size_t(image.height()), false);
    for (const PassLine &line : lines) {
        for (int y = std::max(0, line.box.top()); y <= std::min(image.height() - 1, line.box.bottom()); ++y) {
            covered[size_t(y)] = true;
        }
    }
    QList<QRect> bands;
    int top = -1, left = image.width(), right = -1;
    for (int y = 0; y <= image.height(); ++y) {
        int first = -1, last = -1;
        for (int x = 0; y < image.height() && !covered[size_t(y)] && x < image.width(); ++x) {
            if (inkAt(image, x, y, background)) {
                first = first < 0 ? x : first;
                last = x;
            }
        }
        if (first >= 0) {
            top = top < 0 ? y : top;
            left = std::min(left, first);
            right = std::max(right, last);
        } else if (top >= 0) {
            bands.append(QRect(QPoint(left, top), QPoint(right, y - 1)));
            top = -1, left = image.width(), right = -1;
        }
    }
    return bands;
}

/**
 * The runs of the area's columns (or, with rows set, of its rows) that hold ink, as [first, last] pairs: a band's
 * ticks, or the dot and the comma of a semicolon's cell.
 */
QList<std::pair<int, int>> inkRuns(const QImage &image, const QRect &area, bool rows, int background)
{
    QList<std::pair<int, int>> runs;
    const int first = rows ? area.top() : area.left(), last = rows ? area.bottom() : area.right();
    const int acrossFirst = rows ? area.left() : area.top(), acrossLast = rows ? area.right() : area.bottom();
    for (int i = first; i <= last; ++i) {
        bool ink = false;
        for (int j = acrossFirst; j <= acrossLast && !ink; ++j) {
            ink = rows ? inkAt(image, j, i, background) : inkAt(image, i, j, background);
        }
        if (ink && (runs.isEmpty() || runs.last().second < i - 1)) {
            runs.append({i, i});
        } else if (ink) {
            runs.last().second = i;
        }
    }
    return runs;
}

/** The runs of columns of the band that hold ink: its ticks. */
QList<std::pair<int, int>> ticksOf(const QImage &image, const QRect &band, int background)
{
    return inkRuns(image, band, false, background);
}

/** The ticks of the band joined into marks: ticks closer than a third of a cell belong to one mark. */
QList<std::pair<int, int>> marksOf(const QImage &image, const QRect &band, double cell, int background)
{
    // Anti-aliasing joins the two ticks of a double mark now and then, or leaves a gap in one.
    QList<std::pair<int, int>> marks;
    for (const auto &tick : ticksOf(image, band, background)) {
        if (!marks.isEmpty() && tick.first - marks.last().second - 1 < cell / 3) {
            marks.last().second = tick.second;
        } else {
            marks.append(tick);
        }
    }
    return marks;
}

int spanOf(const std::pair<int, int> &mark)
{
    return mark.second - mark.first + 1;
}

/** The rows and columns of area that hold ink; empty when none do. */
QRect inkWithin(const QImage &image, const QRect &area, int background)
{
    const QRect inside = area.intersected(image.rect());
    QRect ink;
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x) {
            if (inkAt(image, x, y, background)) {
                ink |= QRect(x, y, 1, 1);
            }
        }
    }
    return ink;
}

/**
 * Whether the ink of area is two ticks side by side: a column between two others of at most half the contrast of
 * either. Anti-aliasing fills the gap of a small double quote over the threshold of ink.
 */
bool twoTicks(const QImage &image, const QRect &area, int background)
{
    std::vector<int> contrast;
    for (int x = area.left(); x <= area.right(); ++x) {
        int most = 0;
        for (int y = area.top(); y <= area.bottom(); ++y) {
            most = std::max(most, std::abs(greyOf(image.constScanLine(y) + 3 * x) - background));
        }
        contrast.push_back(most);
    }
    for (size_t k = 1; k + 1 < contrast.size(); ++k) {
        const int left = *std::max_element(contrast.cbegin(), contrast.cbegin() + long(k));
        const int right = *std::max_element(contrast.cbegin() + long(k) + 1, contrast.cend());
        if (2 * contrast[k] <= std::min(left, right)) {
            return true;
        }
    }
    return false;
}

/**
 * The quote marks a band of ink holds when it is a row of them, each a cell apart, or an empty text: marks stand in
 * the upper half of a line and are narrow, double ones spanning more than a third of a cell.
 */
QString marksIn(const QImage &image, const QRect &band, int lineHeight, double cell, int background)
{
    if (band.height() < 2 || band.height() > lineHeight / 2) {
        return {};
    }
    const auto marks = marksOf(image, band, cell, background);
    const bool doubled = !marks.isEmpty() && spanOf(marks.first()) > cell / 3;
    // A lone mark is as likely a speck of something else, unless it is two ticks side by side (a docstring's end).
    if (marks.isEmpty() || (marks.size() == 1 && (!doubled || !twoTicks(image, band, background)))) {
        return {};
    }
    const bool marksOnly = std::all_of(marks.cbegin(), marks.cend(), [&](const std::pair<int, int> &mark) {
        return spanOf(mark) <= 0.8 * cell && (spanOf(mark) > cell / 3) == doubled;
    });
    // A run of n marks spans n - 1 cells and a mark's width.
    if (!marksOnly || marks.size() != std::lround((band.width() - spanOf(marks.first())) / cell) + 1) {
        return {};
    }
    return QString(marks.size(), doubled ? u'"' : u'\'');
}

/**
 * Whether the ink of a line is all of one piece in height with nothing beneath it within half a line: a row of
 * semicolons has a gap between its dots and commas, and the dots alone have the commas beneath.
 */
bool onePiece(const QImage &image, const QRect &ink, int lineHeight, int background)
{
    const QRect beneath(ink.left(), ink.bottom() + 1, ink.width(), lineHeight / 2);
    if (!inkWithin(image, beneath, background).isEmpty()) {
        return false;
    }
    for (int y = ink.top(); y <= ink.bottom(); ++y) {
        if (inkWithin(image, QRect(ink.left(), y, ink.width(), 1), background).isEmpty()) {
            return false;
        }
    }
    return true;
}

/**
 * The semicolons a region of ink holds when it is a row of them alone, each a cell apart (the ";;" that closes a
 * shell case), or an empty text. A semicolon is a narrow dot over a comma taller than the dot, with a gap between
 * them at least most of the dot's height: the dot of an "i" or a "j" sits close over a stem far taller than it.
 */
QString semicolonsIn(const QImage &image, const QRect &ink, int lineHeight, double cell, int background)
{
    if (ink.isEmpty() || ink.height() < 0.3 * lineHeight || ink.height() > 1.3 * lineHeight) {
        return {};
    }
    const auto marks = marksOf(image, ink, cell, background);
    if (marks.isEmpty() || marks.size() != std::lround((ink.width() - spanOf(marks.first())) / cell) + 1) {
        return {};
    }
    for (qsizetype k = 0; k < marks.size(); ++k) {
        const auto runs = inkRuns(
            image, QRect(QPoint(marks[k].first, ink.top()), QPoint(marks[k].second, ink.bottom())), true, background);
        if (spanOf(marks[k]) > 0.5 * cell || runs.size() != 2 ||
            (k > 0 && std::abs(marks[k].first - marks[k - 1].first - cell) > 0.3 * cell)) {
            return {};
        }
        const int dot = spanOf(runs[0]), gap = runs[1].first - runs[0].second - 1, comma = spanOf(runs[1]);
        if (dot > 0.3 * lineHeight || 5 * gap < 3 * dot || 10 * comma < 11 * dot || comma > 3 * dot) {
            return {};
        }
    }
    return QString(marks.size(), u';');
}

/**
 * The brace a mark of ink is, or a null character: a brace is one stroke from above the capitals to below the
 * baseline whose middle rows point out to one side by a good part of a cell, beyond a stem that the rows above and
 * below them share; its ends turn the other way. An "i" has a gap under its dot, a "1" or an "l" stands on a foot
 * and points out nowhere, a parenthesis bends out over all of its height.
 */
QChar braceIn(const QImage &image, const QRect &mark, int lineHeight, double cell, int background)
{
    const auto runs = inkRuns(image, mark, true, background);
    if (runs.size() != 1 || mark.width() > 0.8 * cell || mark.height() < 0.8 * lineHeight) {
        return {};
    }
    // The leftmost and the rightmost ink of every row.
    std::vector<int> left, right;
    for (int y = mark.top(); y <= mark.bottom(); ++y) {
        int first = mark.right() + 1, last = mark.left() - 1;
        for (int x = mark.left(); x <= mark.right(); ++x) {
            if (inkAt(image, x, y, background)) {
                first = std::min(first, x);
                last = std::max(last, x);
            }
        }
        left.push_back(first);
        right.push_back(last);
    }
    const int height = mark.height();
    const auto extreme = [&](const std::vector<int> &edge, int from, int to, bool most) {
        int value = edge[size_t(from)];
        for (int i = from; i <= to; ++i) {
            value = most ? std::max(value, edge[size_t(i)]) : std::min(value, edge[size_t(i)]);
        }
        return value;
    };
    // The middle rows, the stem's rows above and below them, and the ends.
    const int middleTop = int(0.38 * height), middleBottom = int(std::ceil(0.62 * height)) - 1;
    const int upperTop = int(0.15 * height), lowerBottom = height - 1 - int(0.15 * height);
    const int stemRight =
        std::max(extreme(right, upperTop, middleTop - 1, true), extreme(right, middleBottom + 1, lowerBottom, true));
    const int stemLeft =
        std::min(extreme(left, upperTop, middleTop - 1, false), extreme(left, middleBottom + 1, lowerBottom, false));
    const int endsLeft =
        std::min(extreme(left, 0, upperTop - 1, false), extreme(left, lowerBottom + 1, height - 1, false));
    const int endsRight =
        std::max(extreme(right, 0, upperTop - 1, true), extreme(right, lowerBottom + 1, height - 1, true));
    const int tipRight = extreme(right, middleTop, middleBottom, true) - stemRight;
    const int tipLeft = stemLeft - extreme(left, middleTop, middleBottom, false);
    const double tip = std::max(2.0, 0.15 * cell);
    if (tipRight >= tip && tipLeft <= 0 && endsLeft < stemLeft && endsRight <= stemRight) {
        return u'}';
    }
    if (tipLeft >= tip && tipRight <= 0 && endsRight > stemRight && endsLeft >= stemLeft) {
        return u'{';
    }
    return {};
}

/**
 * The text of a row holding a brace alone, or followed by a comma or a semicolon, as closes a block or an entry of
 * code and data; or an empty text.
 */
QString braceRowIn(const QImage &image, const QRect &ink, int lineHeight, double cell, int background)
{
    const auto marks = marksOf(image, ink, cell, background);
    if (marks.isEmpty() || marks.size() > 2) {
        return {};
    }
    const auto inkOf = [&](const std::pair<int, int> &mark) {
        return inkWithin(image, QRect(mark.first, ink.top(), spanOf(mark), ink.height()), background);
    };
    const QChar brace = braceIn(image, inkOf(marks.first()), lineHeight, cell, background);
    if (brace.isNull()) {
        return {};
    }
    if (marks.size() == 1) {
        return QString(brace);
    }
    // What follows stands in the next cell: a comma hangs from the baseline, a semicolon has its dot above.
    const QRect after = inkOf(marks.last());
    const int pieces = int(inkRuns(image, after, true, background).size());
    if (std::abs(marks.last().first - marks.first().first - cell) > 0.4 * cell || after.width() > 0.5 * cell ||
        after.bottom() < inkOf(marks.first()).bottom() - 0.3 * lineHeight || pieces > 2) {
        return {};
    }
    return QString(brace) + (pieces == 2 ? u';' : u',');
}

/**
 * The row of signs a band of ink no pass found holds, read by the line model at the row's place, or an empty text.
 * Tesseract takes a row of a mark or two alone (a docstring's closing quote, "=:", a lone brace) for noise; the line
 * model, shown the row as a line of its own, reads them. row is where the lines' pitch puts a line over the band.
 */
QString signsIn(const QImage &image, const QRect &band, const QRect &row, double cell)
{
    const int margin = int(std::ceil(cell / 2));
    const QRect area = QRect(QPoint(band.left() - margin, row.top()), QPoint(band.right() + margin, row.bottom()))
                           .intersected(image.rect());
    const LineReading reading = NeuralLineRecognizer::read(image.copy(area));
    QString text = reading.text;
    text.remove(u' ');
    qCDebug(lcMissed) << "band" << band << "row" << row << "read" << reading.text << reading.meanConfidence;
    // A row of n signs spans n - 1 cells and a sign's width.
    const double cells = band.width() / cell;
    if (!ChineseTextCleanup::signsOnly(text) || text.size() < cells - 0.5 || text.size() > cells + 1.5) {
        return {};
    }
    return reading.text.trimmed();
}

/**
 * The sign one cell's ink shows when it is two thin bars across the cell ("="), or a star (as tall as a small
 * letter at most, its topmost ink in the middle of the glyph); a null character otherwise. A tilde is one stroke, a
 * hash as tall as a capital, an "x" or a "v" begins at its sides.
 */
QChar signOf(const QImage &image, const QRect &ink, int lineHeight, double cell, int background)
{
    const auto runs = inkRuns(image, ink, true, background);
    const double bar = std::max(2.0, 0.12 * lineHeight);
    if (runs.size() == 2 && ink.width() >= 0.5 * cell &&
        std::all_of(runs.cbegin(), runs.cend(), [&](const auto &run) { return spanOf(run) <= bar; })) {
        return u'=';
    }
    const auto top = inkRuns(image, QRect(ink.left(), ink.top(), ink.width(), 1), false, background);
    const double middle = ink.left() + ink.width() / 2.0;
    if (runs.size() == 1 && ink.height() > 0.2 * lineHeight && ink.height() <= 0.55 * lineHeight && top.size() == 1 &&
        std::abs((top[0].first + top[0].second) / 2.0 - middle) <= 1) {
        return u'*';
    }
    return {};
}

/**
 * The text of a line whose ink is one sign over and over, a cell apart, as the rules of "*" or "=" in comments are,
 * perhaps ending in a few other signs (a comment's end); or an empty text. The engines read such a rule as letters
 * ("SEES", "RnRn") and the line model miscounts it: the cells of ink alike from the first on are counted, the sign told
 * from the shape of its ink and what follows read by the line model.
 */
QString ruleIn(const QImage &image, const PassLine &line, int lineHeight, double cell, int background,
               const std::function<bool()> &monospaced)
{
    const QRect ink = inkWithin(image, line.box, background);
    const int cells = int(std::lround(ink.width() / cell));
    if (ink.isEmpty() || cells < 8) {
        return {};
    }
    const auto cellInk = [&](int k) {
        const int left = ink.left() + int(std::lround(k * cell));
        return inkWithin(image, QRect(left, ink.top(), int(std::lround(cell)), ink.height()), background);
    };
    const QRect first = cellInk(0);
    int run = 1;
    while (run < cells && std::abs(cellInk(run).top() - first.top()) <= 1 &&
           std::abs(cellInk(run).bottom() - first.bottom()) <= 1) {
        ++run;
    }
    const QChar sign = signOf(image, first, lineHeight, cell, background);
    if (run < 8 || cells - run > 3 || sign.isNull() || !monospaced()) {
        return {};
    }
    // The cell the engines' positions give is a few hundredths of a pixel off, too much over eighty cells: the signs
    // are counted from one piece of ink to the next (a piece may hold several signs run together), up to a space.
    const auto pieces =
        inkRuns(image, QRect(QPoint(ink.left(), first.top()), QPoint(ink.right(), first.bottom())), false, background);
    if (pieces.isEmpty()) {
        return {};
    }
    int count = 1;
    qsizetype k = 0;
    for (; k + 1 < pieces.size() && pieces[k + 1].first - pieces[k].second - 1 < 0.8 * cell; ++k) {
        count += int(std::lround((pieces[k + 1].first - pieces[k].first) / cell));
    }
    count += int(std::lround((spanOf(pieces[k]) - first.width()) / cell));
    QString text(count, sign);
    const QRect rest =
        inkWithin(image, QRect(QPoint(pieces[k].second + 1, line.box.top()), line.box.bottomRight()), background);
    if (rest.isEmpty()) {
        return text;
    }
    const int margin = int(std::ceil(cell / 2));
    const QString tail = NeuralLineRecognizer::read(image.copy(rest.adjusted(-margin, 0, margin, 0))).text.trimmed();
    if (!ChineseTextCleanup::signsOnly(tail)) {
        return {};
    }
    const double gap = (rest.left() - pieces[k].second - 1) / cell;
    return text + QString(std::max(0, int(std::lround(gap))), u' ') + tail;
}

} // namespace

void completeQuoteRuns(const QImage &image, RecognitionPass &pass)
{
    const double cell = LineIndentation::cellOf(pass);
    if (cell <= 0 || image.isNull()) {
        return;
    }
    const int background = LineRouting::backgroundGrey(image);
    for (PassLine &line : pass.lines) {
        if (line.centres.size() != line.text.size()) {
            continue;
        }
        for (qsizetype i = line.text.size() - 1; i >= 0; --i) {
            const QChar mark = line.text.at(i);
            if (mark != u'"' && mark != u'\'') {
                continue;
            }
            // The room between the neighbours' cells, in the upper half of the line where quote marks stand.
            const double from = i > 0 ? line.centres[i - 1] + cell / 2 : line.box.left();
            const double to = i + 1 < line.text.size() ? line.centres[i + 1] - cell / 2 : line.box.right();
            const QRect room(QPoint(int(std::ceil(from)), line.box.top()),
                             QPoint(int(std::floor(to)), line.box.top() + line.box.height() / 2));
            if (room.width() < 2 * cell || !image.rect().contains(room)) {
                continue;
            }
            // Marks only, no letter's ink below them; a run of n marks spans n - 1 cells and a mark's width.
            const QRect below(QPoint(room.left(), room.bottom() + 1), QPoint(room.right(), line.box.bottom()));
            const auto ticks = ticksOf(image, room, background);
            if (ticks.isEmpty() || !ticksOf(image, below.intersected(image.rect()), background).isEmpty()) {
                continue;
            }
            const double cells = (ticks.last().second - ticks.first().first + 1) / cell;
            const double whole = std::floor(cells);
            const auto count = qsizetype(whole) + 1;
            if (count < 2 || cells - whole < 0.1 || cells - whole > 0.85) {
                continue;
            }
            const double first = ticks.first().first + (cells - whole) * cell / 2;
            line.text.replace(i, 1, QString(count, mark));
            line.centres.remove(i);
            for (qsizetype k = count - 1; k >= 0; --k) {
                line.centres.insert(i, float(first + double(k) * cell));
            }
        }
    }
}

void add(const QImage &image, ScriptChoice::Choice &choice)
{
    // The cell of monospaced text: the usual step between neighbouring characters of the lines read as Latin text.
    std::vector<int> heights;
    std::vector<double> cells;
    for (qsizetype i = 0; i < choice.pass.lines.size(); ++i) {
        const PassLine &line = choice.pass.lines[i];
        heights.push_back(line.box.height());
        for (qsizetype k = 0; choice.scripts[i] == Script::Latin && k + 1 < line.centres.size(); ++k) {
            if (k + 1 < line.text.size() && !line.text.at(k).isSpace() && !line.text.at(k + 1).isSpace() &&
                line.centres[k + 1] > line.centres[k]) {
                cells.push_back(line.centres[k + 1] - line.centres[k]);
            }
        }
    }
    // Lines of code taken for Chinese (a shell script's "fi" read as two ideographs) leave the grid to the positions.
    const double gridCell = LineIndentation::cellOf(choice.pass);
    const double cell = !cells.empty() ? median(cells) : gridCell;
    if (image.isNull() || cell <= 0) {
        return;
    }
    const int lineHeight = median(heights);
    const int background = LineRouting::backgroundGrey(image);
    // Only monospaced text is taken for code.
    const bool code = gridCell > 0;
    // Code too where the positions show no grid (the engine's centres a pixel or two off) but the glyphs' ink does;
    // looked at only where a row of signs is in question.
    std::optional<bool> inkGrid;
    const auto monospaced = [&] {
        if (!inkGrid) {
            inkGrid = code || MonospaceInk::cellOf(image, choice.pass, cell, background) > 0;
        }
        return *inkGrid;
    };
    // A row read from its ink replaces what the passes read of it.
    const auto readFromInk = [&choice](qsizetype i, const QString &text, const QRect &box) {
        PassLine &line = choice.pass.lines[i];
        line = PassLine{text, {}, box, {}, line.baseline, 100};
        choice.scripts[i] = Script::Latin;
        if (i < choice.otherReading.size()) {
            choice.otherReading[i].clear();
        }
    };
    // A row of marks the passes found and read as letters ("wa" for """): the ink of its box is such a row too, and
    // not as flat as a row of dashes.
    for (qsizetype i = 0; i < choice.pass.lines.size(); ++i) {
        PassLine &line = choice.pass.lines[i];
        // A rule of one sign comes back as letters, as many as the engine cared to write.
        if (const QString rule = ruleIn(image, line, lineHeight, cell, background, monospaced); !rule.isEmpty()) {
            qCDebug(lcMissed) << "rule" << line.text << "read" << rule;
            readFromInk(i, rule, line.box);
            continue;
        }
        // A row of marks comes back as a few letters at most: longer lines are not looked at pixel by pixel.
        if (line.text.size() > 8) {
            continue;
        }
        // A row of semicolons read as letters ("a9"), or its commas alone: its dots may stand above the box.
        const int above = i > 0 ? choice.pass.lines[i - 1].box.bottom() + 1 : 0;
        const int below =
            i + 1 < choice.pass.lines.size() ? choice.pass.lines[i + 1].box.top() - 1 : image.height() - 1;
        const QRect around(QPoint(int(line.box.left() - cell / 2), std::max(above, line.box.top() - lineHeight)),
                           QPoint(int(line.box.right() + cell / 2), std::min(below, line.box.bottom() + lineHeight)));
        const QRect rowInk = line.text.trimmed().size() <= 4 ? inkWithin(image, around, background) : QRect();
        if (const QString semicolons = semicolonsIn(image, rowInk, lineHeight, cell, background);
            !semicolons.isEmpty()) {
            readFromInk(i, semicolons, rowInk);
            continue;
        }
        // A row of a brace read as letters ("i," for "},"): the brace reaches above and below the letters' box.
        if (const QString brace =
                code && rowInk.height() <= 1.6 * lineHeight && !line.text.contains(u'{') && !line.text.contains(u'}')
                    ? braceRowIn(image, rowInk, lineHeight, cell, background)
                    : QString();
            !brace.isEmpty()) {
            readFromInk(i, brace, rowInk);
            continue;
        }
        const QRect ink = inkWithin(image, line.box, background);
        const bool readAsMarks =
            std::all_of(line.text.cbegin(), line.text.cend(), [](QChar c) { return c == u'"' || c == u'\''; });
        if (readAsMarks || ink.isEmpty() || 5 * ink.height() < lineHeight || 5 * ink.height() > 2 * lineHeight ||
            !onePiece(image, ink, lineHeight, background)) {
            continue;
        }
        if (const QString marks = marksIn(image, ink, lineHeight, cell, background); !marks.isEmpty()) {
            readFromInk(i, marks, line.box);
        }
    }
    const QList<QRect> bands = uncoveredBands(image, choice.pass.lines, background);
    // The lines' pitch, and the place of the row it puts over a band: the pitch from the nearest line found.
    std::vector<int> steps;
    for (qsizetype i = 1; i < choice.pass.lines.size(); ++i) {
        if (choice.pass.lines[i].box.top() - choice.pass.lines[i - 1].box.top() >= lineHeight) {
            steps.push_back(choice.pass.lines[i].box.top() - choice.pass.lines[i - 1].box.top());
        }
    }
    // Rows of code are evenly spaced: a step over a row no pass found is twice the pitch.
    const int pitch = steps.empty() ? 0 : *std::min_element(steps.cbegin(), steps.cend());
    const auto rowOver = [&](const QRect &band) {
        const auto nearest = std::min_element(choice.pass.lines.cbegin(), choice.pass.lines.cend(),
                                              [&](const PassLine &a, const PassLine &b) {
                                                  return std::abs(a.box.center().y() - band.center().y()) <
                                                         std::abs(b.box.center().y() - band.center().y());
                                              });
        const int away = int(std::lround(double(band.center().y() - nearest->box.center().y()) / pitch));
        const QRect row = nearest->box.translated(0, away * pitch);
        // Ink joined to a line's above or below it is a part of that line's glyphs (a comma's tail).
        const bool apart =
            inkWithin(image, QRect(band.left(), band.top() - 1, band.width(), 1), background).isEmpty() &&
            inkWithin(image, QRect(band.left(), band.bottom() + 1, band.width(), 1), background).isEmpty();
        return apart && band.top() >= row.top() - 1 && band.bottom() <= row.bottom() + 1 ? row | band : QRect();
    };
    for (qsizetype b = 0; b < bands.size(); ++b) {
        // A band no pass found spans whole cells: its marks are far enough apart not to be a letter's parts. The dots
        // and commas of a row of semicolons make two bands a little apart, and the dots alone look like a row of
        // quote marks: the pair is looked at first.
        QRect band = bands[b];
        QString marks;
        if (const QRect pair = b + 1 < bands.size() ? band | bands[b + 1] : QRect(); pair.height() <= lineHeight) {
            marks = semicolonsIn(image, pair, lineHeight, cell, background);
            band = marks.isEmpty() ? band : pair;
            b += marks.isEmpty() ? 0 : 1;
        }
        if (marks.isEmpty()) {
            marks = marksIn(image, band, lineHeight, cell, background);
            marks = marks.size() == std::lround(band.width() / cell) ? marks : QString();
        }
        // Else the bands of a row (the bars of a "=", a colon's dots) together, read by the line model.
        qsizetype last = b;
        while (marks.isEmpty() && last + 1 < bands.size() && (band | bands[last + 1]).height() <= lineHeight) {
            band |= bands[++last];
        }
        if (const QRect row = marks.isEmpty() && pitch > 0 && band.height() <= lineHeight && band.height() > 1 &&
                                      band.width() > 1 && monospaced()
                                  ? rowOver(band)
                                  : QRect();
            !row.isNull()) {
            marks = signsIn(image, band, row, cell);
            b = marks.isEmpty() ? b : last;
        }
        if (marks.isEmpty()) {
            continue;
        }
        PassLine line;
        line.text = marks;
        line.box = band;
        line.confidence = 100;
        qsizetype at = 0;
        while (at < choice.pass.lines.size() && choice.pass.lines[at].box.top() < band.top()) {
            ++at;
        }
        choice.pass.lines.insert(at, line);
        choice.scripts.insert(at, Script::Latin);
        choice.traditionalText.insert(at, QString());
        if (at <= choice.otherReading.size()) {
            choice.otherReading.insert(at, QString());
        }
    }
}

} // namespace Tessary::MissedLines
