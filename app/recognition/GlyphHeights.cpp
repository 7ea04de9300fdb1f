#include "app/recognition/GlyphHeights.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/LineIndentation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/MonospaceSpacing.h"

namespace Tessary::GlyphHeights {

namespace {

/** Letters drawn alike in both cases but for their size. */
const QString sameShape = QStringLiteral("cosvwxzCOSVWXZ");

/** Small letters that reach the x-height and nothing else. */
const QString smallLetters = QStringLiteral("aemnru");

/** Glyphs that reach the capitals' height (or the ascenders', a little above): their shape shows no small twin. */
const QString tallGlyphs = QStringLiteral("ABDEFGHKMNPRTU023456789bdhk");

/** A word with a glyph further than this (in cells) from its place on the word's grid is left alone. */
constexpr double offGrid = 0.3;

/** The height above the baseline, as a share of the line's, of the row every letter's strokes cross. */
constexpr double seedHeight = 0.25;

/** Ink is at least this share of the line's strongest contrast; fainter is anti-aliasing. */
constexpr double inkShare = 0.4;

/** A height counts as one of the two where it is within this share of their distance of it. */
constexpr double nearShare = 0.3;

/** The fewest pixels a dollar sign's bar reaches further below the baseline than the letters' feet. */
constexpr int deepest = 2;

/** The fewest pixels between the x-height and the capitals' height for either to tell anything. */
constexpr int leastApart = 3;

bool onTheGrid(QChar c)
{
    return !c.isSpace() && !c.isSurrogate() && !ChineseTextCleanup::isCjk(c.unicode());
}

/** The ink of a line: which pixels differ from the ground by the threshold at least. */
struct Ink
{
    const QImage &image;
    int background;
    int threshold;

    bool at(int x, int y) const { return std::abs(greyOf(image.constScanLine(y) + 3 * x) - background) >= threshold; }
};

/**
 * True when the cell around middle holds no ink in its middle half between the top and the bottom of box: every
 * glyph of a monospaced font stands in the middle of its cell, and wide ones reach its sides.
 */
bool blank(const Ink &ink, const QRect &box, double middle, double cell)
{
    const QRect area = QRect(QPoint(int(std::lround(middle - cell / 4)), box.top()),
                             QPoint(int(std::lround(middle + cell / 4)), box.bottom()))
                           .intersected(ink.image.rect());
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (ink.at(x, y)) {
                return false;
            }
        }
    }
    return true;
}

/** The rows a glyph's ink spans. */
struct Extent
{
    int top, bottom;
};

/**
 * The rows spanned by the ink that crosses the seed row inside the cell around middle. Nothing when no ink crosses
 * it, or the ink is wider than a cell (glyphs that touch), reaches into a neighbour's cell or the top of the area
 * looked at.
 */
std::optional<Extent> extentAt(const Ink &ink, const PassLine &line, double middle, double cell, int seedRow)
{
    // The grid is known to about a pixel, and wide glyphs fill their cells: the ink may pass the cell's sides by a
    // little, but not by half a neighbour's cell.
    const int left = int(std::lround(middle - 0.75 * cell));
    const int right = int(std::lround(middle + 0.75 * cell));
    const int top = std::max(0, line.box.top() - 2);
    const QRect area = QRect(QPoint(left, top), QPoint(right, line.box.bottom() + 2)).intersected(ink.image.rect());
    if (area.width() < 4 || area.left() != left || area.right() != right || seedRow <= area.top() ||
        seedRow > area.bottom()) {
        return std::nullopt;
    }
    std::vector<bool> seen(size_t(area.width()) * size_t(area.height()), false);
    const auto index = [&](QPoint p) {
        return size_t(p.y() - area.top()) * size_t(area.width()) + size_t(p.x() - area.left());
    };
    std::vector<QPoint> todo;
    for (int x = int(std::lround(middle - cell / 2)) + 1; x < int(std::lround(middle + cell / 2)); ++x) {
        if (ink.at(x, seedRow)) {
            todo.emplace_back(x, seedRow);
            seen[index(todo.back())] = true;
        }
    }
    if (todo.empty()) {
        return std::nullopt;
    }
    Extent extent{seedRow, seedRow};
    int first = right, last = left;
    while (!todo.empty()) {
        const QPoint p = todo.back();
        todo.pop_back();
        if (p.x() == left || p.x() == right || p.y() == area.top()) {
            return std::nullopt;
        }
        first = std::min(first, p.x());
        last = std::max(last, p.x());
        extent.top = std::min(extent.top, p.y());
        extent.bottom = std::max(extent.bottom, p.y());
        for (const QPoint step : {QPoint(1, 0), QPoint(-1, 0), QPoint(0, 1), QPoint(0, -1)}) {
            const QPoint next = p + step;
            if (area.contains(next) && !seen[index(next)] && ink.at(next.x(), next.y())) {
                seen[index(next)] = true;
                todo.push_back(next);
            }
        }
    }
    return last - first > cell + 1 ? std::nullopt : std::optional(extent);
}

double median(std::vector<int> values)
{
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}

/** One glyph measured: where it is in the pass, how far it rises above the baseline and sinks below, its cell. */
struct Glyph
{
    qsizetype line, index;
    int height, depth;
    double cell;
};

/**
 * The glyphs of a monospaced line, measured in the words whose characters sit on their grid. A word's characters
 * stand in neighbouring cells; the grid is placed where most of them agree, so that a glyph the engine put on its
 * neighbour's ink is measured in its own cell or not at all.
 */
void measure(const QImage &image, const PassLine &line, qsizetype l, double cell, int background,
             std::vector<Glyph> &glyphs)
{
    int strongest = 0;
    const QRect box = line.box.intersected(image.rect());
    for (int y = box.top(); y <= box.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = box.left(); x <= box.right(); ++x) {
            strongest = std::max(strongest, std::abs(greyAt(row, x) - background));
        }
    }
    const Ink ink{image, background, std::max(1, int(inkShare * strongest))};
    const int seedRow = line.baseline - std::max(1, int(std::lround(seedHeight * (line.baseline - line.box.top()))));
    const QString &text = line.text;
    for (qsizetype start = 0; start < text.size();) {
        qsizetype end = start;
        while (end < text.size() && onTheGrid(text.at(end))) {
            ++end;
        }
        std::vector<double> anchors;
        for (qsizetype i = start; i < end; ++i) {
            anchors.push_back(line.centres[i] - double(i - start) * cell);
        }
        std::sort(anchors.begin(), anchors.end());
        const double anchor = anchors.empty() ? 0 : anchors[anchors.size() / 2];
        const auto onGrid = [&](qsizetype i) {
            return std::abs(line.centres[i] - anchor - double(i - start) * cell) <= offGrid * cell;
        };
        // A word read with a character too few or too many has its characters off the grid, or ink in the blank
        // cells on either side of it: its glyphs are not where its letters say.
        bool whole = !anchors.empty() && blank(ink, line.box, anchor - cell, cell) &&
                     blank(ink, line.box, anchor + double(end - start) * cell, cell);
        for (qsizetype i = start; whole && i < end; ++i) {
            whole = onGrid(i);
        }
        for (qsizetype i = start; whole && i < end; ++i) {
            const QChar c = text.at(i);
            if (!sameShape.contains(c) && !smallLetters.contains(c) && !tallGlyphs.contains(c)) {
                continue;
            }
            if (const auto extent = extentAt(ink, line, anchor + double(i - start) * cell, cell, seedRow)) {
                glyphs.push_back({l, i, line.baseline - extent->top + 1, extent->bottom - line.baseline, cell});
            }
        }
        start = std::max(end, start + 1);
    }
}

} // namespace

void settle(const QImage &image, RecognitionPass &pass)
{
    const double imageCell = LineIndentation::cellOf(pass);
    if (imageCell <= 0) {
        return;
    }
    for (PassLine &line : pass.lines) {
        if (line.centres.size() == line.text.size()) {
            MonospaceSpacing::dropDoubledLetters(line.text, line.centres);
        }
    }
    if (std::none_of(pass.lines.cbegin(), pass.lines.cend(), [](const PassLine &line) {
            return std::any_of(line.text.cbegin(), line.text.cend(), [](QChar c) { return sameShape.contains(c); });
        })) {
        return;
    }
    const int background = LineRouting::backgroundGrey(image);
    std::vector<Glyph> glyphs;
    for (qsizetype l = 0; l < pass.lines.size(); ++l) {
        const PassLine &line = pass.lines[l];
        if (line.centres.size() != line.text.size() || line.baseline < 0 || line.box.isEmpty()) {
            continue;
        }
        const double lineCell = MonospaceSpacing::cellOf(line.text, line.centres);
        measure(image, line, l, lineCell > 0 ? lineCell : imageCell, background, glyphs);
    }
    // The engine's baseline is a pixel or two off now and then: heights and depths are taken from where most of the
    // line's glyphs stand.
    for (qsizetype l = 0; l < pass.lines.size(); ++l) {
        std::vector<int> depths;
        for (const Glyph &glyph : glyphs) {
            if (glyph.line == l) {
                depths.push_back(glyph.depth);
            }
        }
        const int feet = depths.empty() ? 0 : int(std::lround(median(depths)));
        for (Glyph &glyph : glyphs) {
            if (glyph.line == l) {
                glyph.height += feet;
                glyph.depth -= feet;
            }
        }
    }
    // The letters that show their size by their shape, on the same line where it has both kinds, else on every line
    // drawn at about the same size: the x-height and the capitals' height.
    struct Heights
    {
        double x = 0, capitals = 0;
    };
    const auto heights = [&](const Glyph &of, bool sameLine) {
        std::vector<int> small, tall;
        for (const Glyph &glyph : glyphs) {
            const QChar c = pass.lines[glyph.line].text.at(glyph.index);
            if ((sameLine ? glyph.line == of.line : std::abs(glyph.cell - of.cell) <= 0.1 * of.cell) &&
                std::abs(glyph.depth) <= 1) {
                if (smallLetters.contains(c)) {
                    small.push_back(glyph.height);
                } else if (tallGlyphs.contains(c)) {
                    tall.push_back(glyph.height);
                }
            }
        }
        return small.empty() || tall.empty() ? Heights{} : Heights{median(small), median(tall)};
    };
    std::vector<std::optional<Heights>> ofLine(size_t(pass.lines.size()));
    std::vector<const Glyph *> readTwice;
    for (const Glyph &glyph : glyphs) {
        QChar &c = pass.lines[glyph.line].text[glyph.index];
        if (!sameShape.contains(c)) {
            continue;
        }
        auto &known = ofLine[size_t(glyph.line)];
        if (!known) {
            known = heights(glyph, true);
            if (known->capitals - known->x < leastApart) {
                known = heights(glyph, false);
            }
        }
        if (known->capitals - known->x < leastApart) {
            continue;
        }
        const int depth = glyph.depth;
        const double near = nearShare * (known->capitals - known->x);
        if ((c == u'S' || c == u's') && depth >= deepest) {
            // Beside a dollar sign, the engine read the one glyph twice ("$Scur").
            const bool twice = glyph.index > 0 && pass.lines[glyph.line].text.at(glyph.index - 1) == u'$';
            c = u'$';
            if (twice) {
                readTwice.push_back(&glyph);
            }
        } else if (std::abs(depth) > 1) {
            continue;
        } else if (std::abs(glyph.height - known->x) <= near) {
            c = c.toLower();
        } else if (std::abs(glyph.height - known->capitals) <= near) {
            c = c.toUpper();
        }
    }
    // The glyphs are in reading order: removed from the last, the places of the others hold.
    for (auto glyph = readTwice.crbegin(); glyph != readTwice.crend(); ++glyph) {
        pass.lines[(*glyph)->line].text.remove((*glyph)->index, 1);
        pass.lines[(*glyph)->line].centres.remove((*glyph)->index, 1);
    }
}

} // namespace Tessary::GlyphHeights
