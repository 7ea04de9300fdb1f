#include "app/recognition/LineIndentation.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/LookAlikeGlyphs.h"
#include "app/recognition/MonospaceInk.h"

namespace Tessary::LineIndentation {

namespace {

/** The most blank lines put back between two lines of code (a gap wider is other content's). */
constexpr long mostBlankLines = 2;

bool onTheGrid(QChar c)
{
    return !c.isSpace() && !c.isSurrogate() && !ChineseTextCleanup::isCjk(c.unicode());
}

bool positioned(const PassLine &line)
{
    return !line.centres.isEmpty() && line.centres.size() == line.text.size();
}

/**
 * Where the line's first cell starts. A monospaced glyph stands in the middle of its cell, however narrow its ink
 * ("(" starts a third of a cell in): the middle of the first glyph's ink, from the line's first inked column to the
 * first blank one after it (within a cell), less half a cell.
 */
std::optional<double> startOf(const QImage &image, const PassLine &line, double cell, int background)
{
    const QRect box = line.box.intersected(image.rect());
    if (box.isEmpty()) {
        return std::nullopt;
    }
    const auto inked = [&](int x) {
        for (int y = box.top(); y <= box.bottom(); ++y) {
            const uchar *pixel = image.constScanLine(y) + 3 * x;
            if (std::abs(greyOf(pixel) - background) > inkContrast) {
                return true;
            }
        }
        return false;
    };
    int first = box.left();
    while (first <= box.right() && !inked(first)) {
        ++first;
    }
    if (first > box.right()) {
        return std::nullopt;
    }
    int last = first;
    while (last + 1 <= box.right() && last + 1 < first + cell && inked(last + 1)) {
        ++last;
    }
    return (first + last + 1) / 2.0 - cell / 2;
}

/**
 * The line with every run of spaces between two words as many cells wide as the words' distance on the grid
 * ("x    = 1", aligned comments), taken from the pass's positions of the same characters: those before and after
 * whatever the later stages changed (underscores put back). A gap off the grid keeps its spaces.
 */
QString spacedByCells(const QString &text, const PassLine &line, double cell)
{
    QString read, shown;
    QList<float> centres;
    for (qsizetype i = 0; i < line.text.size(); ++i) {
        if (!line.text.at(i).isSpace()) {
            read.append(line.text.at(i));
            centres.append(line.centres[i]);
        }
    }
    for (const QChar c : text) {
        if (!c.isSpace()) {
            shown.append(c);
        }
    }
    qsizetype prefix = 0, suffix = 0;
    while (prefix < std::min(read.size(), shown.size()) && read.at(prefix) == shown.at(prefix)) {
        ++prefix;
    }
    while (suffix < std::min(read.size(), shown.size()) - prefix &&
           read.at(read.size() - 1 - suffix) == shown.at(shown.size() - 1 - suffix)) {
        ++suffix;
    }
    // Where the k-th character shown was read, or -1.
    const auto readAt = [&](qsizetype k) {
        return k < prefix ? k : k >= shown.size() - suffix ? k - shown.size() + read.size() : -1;
    };
    QString spaced;
    qsizetype seen = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!text.at(i).isSpace()) {
            spaced.append(text.at(i));
            ++seen;
            continue;
        }
        qsizetype end = i;
        while (end < text.size() && text.at(end).isSpace()) {
            ++end;
        }
        double cells = 0;
        if (seen > 0 && end < text.size() && onTheGrid(text.at(i - 1)) && onTheGrid(text.at(end)) &&
            readAt(seen - 1) >= 0 && readAt(seen) == readAt(seen - 1) + 1) {
            cells = (centres[readAt(seen)] - centres[readAt(seen - 1)]) / cell;
        }
        // Two characters a cell apart have no space between them, whatever the engine wrote ("std: :swap").
        const double whole = std::round(cells);
        const bool fits = whole >= 1 && std::abs(cells - whole) <= 0.3;
        spaced.append(fits ? QString(qsizetype(whole) - 1, u' ') : text.mid(i, end - i));
        i = end - 1;
    }
    return spaced;
}

/**
 * The cell near step on which nearly every character of the pass stands, each line on a grid of its own phase, or 0
 * when there is none: in a proportional font the characters fall anywhere between the grid's lines.
 */
double gridCell(const RecognitionPass &pass, double step)
{
    constexpr double tau = 6.283185307179586;
    double best = 0;
    double bestOnGrid = 0;
    for (double cell = 0.85 * step; cell <= 1.15 * step; cell += 0.005 * step) {
        qsizetype onGrid = 0;
        qsizetype all = 0;
        for (const PassLine &line : pass.lines) {
            if (!positioned(line)) {
                continue;
            }
            // The line's phase on the grid: the mean direction of its characters' positions as angles.
            double x = 0;
            double y = 0;
            for (qsizetype i = 0; i < line.text.size(); ++i) {
                if (onTheGrid(line.text.at(i))) {
                    x += std::cos(tau * line.centres[i] / cell);
                    y += std::sin(tau * line.centres[i] / cell);
                }
            }
            const double phase = std::atan2(y, x) / tau;
            for (qsizetype i = 0; i < line.text.size(); ++i) {
                if (onTheGrid(line.text.at(i))) {
                    const double offset = line.centres[i] / cell - phase;
                    onGrid += std::abs(offset - std::round(offset)) <= 0.2;
                    ++all;
                }
            }
        }
        const double share = all > 0 ? double(onGrid) / double(all) : 0;
        if (share > bestOnGrid) {
            bestOnGrid = share;
            best = cell;
        }
    }
    return bestOnGrid >= 0.9 ? best : 0;
}

/**
 * The cell of monospaced text whose characters the engine placed too far off their cells for the steps or the grid
 * search to see it (small CJK monospaced fonts, glyphs up to half a cell off), or 0: a line's first and last
 * characters stand in the middle of their cells, so the distance of their centres over the cells between them is
 * the cell. Taken where at least two lines agree on it, three in four of their characters within half a cell of
 * their places (a proportional font's narrow and wide letters drift further); a short line whose ends disagree may
 * have lost a space and is left out. Text with Chinese characters or emoji is left alone: they take two cells. Curly
 * quotes and full-width marks in a line without them are the engine's reading of the narrow marks of code, one cell
 * each.
 */
double cellFromEnds(const RecognitionPass &pass)
{
    constexpr qsizetype shortest = 4;
    constexpr qsizetype unsure = 8; // a line this long must agree
    std::vector<double> steps;
    for (const PassLine &line : pass.lines) {
        if (ChineseTextCleanup::hasDoubleWidth(line.text)) {
            return 0;
        }
        for (qsizetype i = 0; positioned(line) && i + 1 < line.text.size(); ++i) {
            if (onTheGrid(line.text.at(i)) && onTheGrid(line.text.at(i + 1))) {
                steps.push_back(line.centres[i + 1] - line.centres[i]);
            }
        }
    }
    if (steps.size() < 8) {
        return 0;
    }
    std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
    const double step = steps[steps.size() / 2];
    // Every character's cell in its line. A run of spaces takes a cell a space, but the engine writes spaces
    // between neighbouring cells too ("queue. flush()"): as many runs as the width of the line has no room for
    // lose a cell, those whose neighbours stand closest first.
    struct Cells
    {
        const PassLine *line;
        std::vector<qsizetype> of; // per unit of the text
    };
    std::vector<Cells> lines;
    for (const PassLine &line : pass.lines) {
        const QString &text = line.text;
        if (!positioned(line) || text.size() < shortest) {
            continue;
        }
        std::vector<std::pair<double, qsizetype>> runs; // the gap around a run of spaces, and where the run ends
        for (qsizetype i = 1; i + 1 < text.size(); ++i) {
            if (text.at(i).isSpace() && !text.at(i + 1).isSpace()) {
                qsizetype before = i;
                while (text.at(before).isSpace()) {
                    --before;
                }
                runs.emplace_back((line.centres[i + 1] - line.centres[before]) / double(i - before), i);
            }
        }
        const auto room = std::lround((line.centres.back() - line.centres.front()) / step);
        std::sort(runs.begin(), runs.end());
        std::vector<qsizetype> dropped;
        for (auto run = runs.cbegin(); run != runs.cend() && text.size() - 1 - qsizetype(dropped.size()) > room;
             ++run) {
            dropped.push_back(run->second);
        }
        Cells cells{&line, {0}};
        for (qsizetype i = 1; i < text.size(); ++i) {
            const bool none = std::find(dropped.cbegin(), dropped.cend(), i - 1) != dropped.cend();
            cells.of.push_back(cells.of.back() + (none ? 0 : 1));
        }
        lines.push_back(std::move(cells));
    }
    const auto width = [](const Cells &cells) {
        return double(cells.line->centres.back() - cells.line->centres.front());
    };
    // The long lines first: a short one that lost a space would pull the cell off.
    const auto cellOfAll = [&](qsizetype from) {
        double widths = 0;
        double cells = 0;
        for (const Cells &line : lines) {
            if (line.line->text.size() >= from) {
                widths += width(line);
                cells += double(line.of.back());
            }
        }
        return cells > 0 ? widths / cells : 0.0;
    };
    double cell = cellOfAll(unsure);
    cell = cell > 0 ? cell : cellOfAll(shortest);
    const auto agrees = [&](const Cells &cells) {
        if (std::abs(width(cells) - double(cells.of.back()) * cell) > 0.25 * cell) {
            return false;
        }
        // The engine puts a character more than half a cell off now and then, but on the whole its characters stand
        // near their places; a proportional font's narrow and wide letters drift away from them for several in a row.
        const PassLine &line = *cells.line;
        qsizetype off = 0;
        qsizetype all = 0;
        double distances = 0;
        for (qsizetype i = 0; i < line.text.size(); ++i) {
            if (onTheGrid(line.text.at(i))) {
                const double distance =
                    std::abs(line.centres[i] - line.centres.front() - double(cells.of[size_t(i)]) * cell) / cell;
                off += distance > 0.5;
                distances += distance;
                ++all;
            }
        }
        return 4 * off <= all && distances <= 0.25 * double(all);
    };
    for (const Cells &line : lines) {
        if (!agrees(line) && line.line->text.size() >= unsure) {
            return 0;
        }
    }
    std::erase_if(lines, [&](const Cells &line) { return !agrees(line); });
    cell = cellOfAll(shortest);
    if (lines.size() < 2 || cell <= 0 || !std::all_of(lines.cbegin(), lines.cend(), agrees)) {
        return 0;
    }
    return cell;
}

/**
 * text with full-width forms (，（）；：) in their ASCII look-alikes when it holds no Chinese character. In monospaced
 * text every character of such a line takes one cell; the line model writes the full-width comma and brackets it
 * learnt from Chinese text where code has the narrow ones, and takes a comma and the space after it for one wide
 * comma.
 */
QString narrowForms(const QString &text)
{
    const auto wide = [](QChar c) { return c.unicode() >= 0xff01 && c.unicode() <= 0xff5e; };
    if (std::any_of(text.cbegin(), text.cend(),
                    [&](QChar c) { return ChineseTextCleanup::isCjk(c.unicode()) && !wide(c); })) {
        return text;
    }
    QString narrow;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        narrow.append(wide(c) ? QChar(c.unicode() - 0xfee0) : c);
        if ((c == u'，' || c == u'；') && i + 1 < text.size() && !text.at(i + 1).isSpace()) {
            narrow.append(u' ');
        }
    }
    return narrow;
}

/**
 * lines (one per line of pass) with the blank lines of monospaced text put back: the baselines of such text are one
 * pitch apart, and every further pitch between two lines was an empty line the engine does not report. The pitch is
 * the usual step between neighbouring lines among the shortest ones, so that a block with many blank lines still
 * gives it. Lines without a baseline (a row of quote marks found later) have no blank lines beside them.
 */
QStringList withBlankLines(const QStringList &lines, const RecognitionPass &pass)
{
    std::vector<int> steps;
    for (qsizetype i = 0; i + 1 < pass.lines.size(); ++i) {
        const int above = pass.lines[i].baseline, below = pass.lines[i + 1].baseline;
        steps.push_back(above >= 0 && below >= 0 ? below - above : 0);
    }
    std::vector<int> known;
    std::copy_if(steps.begin(), steps.end(), std::back_inserter(known), [](int step) { return step > 0; });
    if (known.empty() || lines.size() != pass.lines.size()) {
        return lines;
    }
    const int shortest = *std::min_element(known.begin(), known.end());
    int tallest = 0;
    for (const PassLine &line : pass.lines) {
        tallest = std::max(tallest, line.box.height());
    }
    // Lines closer than their own height are one line cut in two or overlapping reads: no pitch from them.
    if (shortest < 0.8 * tallest) {
        return lines;
    }
    std::vector<int> usual;
    std::copy_if(known.begin(), known.end(), std::back_inserter(usual),
                 [&](int step) { return step < 1.5 * shortest; });
    std::nth_element(usual.begin(), usual.begin() + long(usual.size() / 2), usual.end());
    const double pitch = usual[usual.size() / 2];
    QStringList spaced;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        spaced.append(lines[i]);
        if (i + 1 < lines.size()) {
            const auto blank = std::lround(double(steps[size_t(i)]) / pitch) - 1;
            for (long k = 0; k < std::min(blank, mostBlankLines); ++k) {
                spaced.append(QString());
            }
        }
    }
    return spaced;
}

/** The steps between neighbouring characters on the grid, and the distances of two with one space between them. */
std::pair<std::vector<double>, std::vector<double>> stepsOf(const RecognitionPass &pass)
{
    std::vector<double> steps;
    std::vector<double> spaced;
    for (const PassLine &line : pass.lines) {
        if (!positioned(line)) {
            continue;
        }
        const QString &text = line.text;
        for (qsizetype i = 0; i + 1 < text.size(); ++i) {
            if (onTheGrid(text.at(i)) && onTheGrid(text.at(i + 1))) {
                steps.push_back(line.centres[i + 1] - line.centres[i]);
            } else if (i + 2 < text.size() && onTheGrid(text.at(i)) && text.at(i + 1) == u' ' &&
                       onTheGrid(text.at(i + 2))) {
                spaced.push_back(line.centres[i + 2] - line.centres[i]);
            }
        }
    }
    return {steps, spaced};
}

/** The usual step between neighbouring characters, or 0 with too few of them to see a grid. */
double usualStep(std::vector<double> steps)
{
    // Enough neighbours to see the grid: in a proportional font an "i" beside an "m" is far off the usual step.
    if (steps.size() < 8) {
        return 0;
    }
    std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
    return std::max(steps[steps.size() / 2], 0.0);
}

} // namespace

double cellOf(const RecognitionPass &pass)
{
    auto [steps, spaced] = stepsOf(pass);
    double cell = usualStep(steps);
    if (cell <= 0) {
        return 0;
    }
    const auto near = [cell](double distance, double cells) {
        return std::abs(distance - cells * cell) <= 0.25 * cell;
    };
    const auto regular = std::count_if(steps.cbegin(), steps.cend(), [&](double step) { return near(step, 1); });
    if (double(regular) < 0.85 * double(steps.size())) {
        // Small text read at a larger scale comes back with positions a pixel off here and there, and neighbouring
        // steps then stray from the cell although every character still stands on the grid.
        cell = gridCell(pass, cell);
        if (cell <= 0) {
            return 0;
        }
    }
    // Letters of a proportional font can stand as evenly as a grid within words, but a space there is narrower
    // than a letter; in monospaced text the gap takes whole cells, one or several (aligned code: "#  if").
    // Text without any space between words (one word a line) says nothing against the grid, and neither does a
    // space the engine wrote between two characters a cell apart.
    std::erase_if(spaced, [&](double distance) { return near(distance, 1); });
    const auto whole = std::count_if(spaced.cbegin(), spaced.cend(), [&](double distance) {
        return near(distance, std::max(2.0, std::round(distance / cell)));
    });
    return spaced.empty() || double(whole) >= 0.6 * double(spaced.size()) ? cell : 0;
}

QStringList indented(const QImage &image, const QStringList &lines, const RecognitionPass &pass)
{
    const int background = LineRouting::backgroundGrey(image);
    double cell = cellOf(pass);
    if (cell <= 0) {
        cell = MonospaceInk::cellOf(image, pass, usualStep(stepsOf(pass).first), background);
    }
    // Without a cell from the characters' positions or their ink, the ends of the lines may still give one; it is
    // trusted with the indentation alone, and only where every line starts a whole number of cells from the others.
    const bool fromEnds = cell <= 0 && lines.size() >= 2;
    if (fromEnds) {
        cell = cellFromEnds(pass);
    }
    if (cell <= 0 || lines.size() != pass.lines.size()) {
        return lines;
    }
    QStringList result;
    // The line model reads some lines again after their quotes were straightened.
    for (QString line : lines) {
        LookAlikeGlyphs::straightenQuotes(line);
        result.append(narrowForms(line));
    }
    for (qsizetype i = 0; i < result.size() && !fromEnds; ++i) {
        if (positioned(pass.lines[i])) {
            result[i] = spacedByCells(result[i].trimmed(), pass.lines[i], cell);
        }
    }
    if (lines.size() < 2) {
        return result;
    }
    std::vector<std::optional<double>> starts;
    double least = 0;
    bool any = false;
    for (const PassLine &line : pass.lines) {
        starts.push_back(startOf(image, line, cell, background));
        if (starts.back()) {
            least = any ? std::min(least, *starts.back()) : *starts.back();
            any = true;
        }
    }
    for (qsizetype i = 0; i < result.size(); ++i) {
        const QString text = result[i].trimmed();
        if (!starts[size_t(i)] || text.isEmpty()) {
            continue;
        }
        const double offset = (*starts[size_t(i)] - least) / cell;
        if (fromEnds && std::abs(offset - std::round(offset)) > 0.35) {
            return lines;
        }
        result[i] = QString(qsizetype(std::lround(offset)), u' ') + text;
    }
    return withBlankLines(result, pass);
}

QString joined(const QStringList &lines)
{
    qsizetype first = 0;
    qsizetype last = lines.size();
    while (first < last && lines[first].trimmed().isEmpty()) {
        ++first;
    }
    while (last > first && lines[last - 1].trimmed().isEmpty()) {
        --last;
    }
    QStringList kept;
    for (qsizetype i = first; i < last; ++i) {
        QString line = lines[i];
        while (!line.isEmpty() && line.back().isSpace()) {
            line.chop(1);
        }
        kept.append(line);
    }
    return kept.join(u'\n');
}

} // namespace Tessary::LineIndentation
