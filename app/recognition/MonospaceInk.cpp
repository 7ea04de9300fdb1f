#include "app/recognition/MonospaceInk.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"

namespace Tessary::MonospaceInk {

namespace {

/** A run of inked columns: its middle and how many cells it spans (neighbouring glyphs whose ink touches). */
struct Run
{
    double middle;
    double cells;
};

/** The runs of inked columns across the line's box, from left to right. */
std::vector<std::pair<int, int>> inkedColumns(const QImage &image, const QRect &box, int background)
{
    std::vector<bool> inked(size_t(box.width()), false);
    for (int y = box.top(); y <= box.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = box.left(); x <= box.right(); ++x) {
            if (std::abs(greyAt(row, x) - background) > inkContrast) {
                inked[size_t(x - box.left())] = true;
            }
        }
    }
    std::vector<std::pair<int, int>> runs; // first column, one past the last
    for (int x = 0; x < box.width();) {
        if (!inked[size_t(x)]) {
            ++x;
            continue;
        }
        int end = x;
        while (end < box.width() && inked[size_t(end)]) {
            ++end;
        }
        runs.emplace_back(box.left() + x, box.left() + end);
        x = end;
    }
    return runs;
}

/**
 * The runs of one line against a grid of cell: how many cells stand on it, within a fifth of a cell of where the
 * line's phase puts them, and how many there are. A glyph's ink is narrower than its cell, so a run n cells wide
 * is (n - 1) cells and a glyph; runs of four cells or more (rules, underlines) say nothing of the grid.
 */
std::pair<double, double> onTheGrid(const std::vector<std::pair<int, int>> &columns, double cell)
{
    constexpr double tau = 2 * std::numbers::pi;
    std::vector<Run> runs;
    for (size_t i = 0; i < columns.size(); ++i) {
        // Runs that fit in one glyph together are one: the two ticks of a double quote.
        const int first = columns[i].first;
        while (i + 1 < columns.size() && columns[i + 1].second - first <= 0.8 * cell) {
            ++i;
        }
        const int end = columns[i].second;
        const double width = end - first;
        const double cells = std::max(1.0, std::round(width / cell + 0.2));
        if (width < 4 * cell) {
            runs.push_back({(first + end) / 2.0 - (cells - 1) / 2 * cell, cells});
        }
    }
    double x = 0;
    double y = 0;
    for (const Run &run : runs) {
        x += run.cells * std::cos(tau * run.middle / cell);
        y += run.cells * std::sin(tau * run.middle / cell);
    }
    const double phase = std::atan2(y, x) / tau;
    double on = 0;
    double all = 0;
    for (const Run &run : runs) {
        const double offset = run.middle / cell - phase;
        on += std::abs(offset - std::round(offset)) <= 0.2 ? run.cells : 0;
        all += run.cells;
    }
    return {on, all};
}

} // namespace

double cellOf(const QImage &image, const RecognitionPass &pass, double near, int background)
{
    if (near <= 0) {
        return 0;
    }
    // Chinese characters and emoji are two cells wide and stand on a grid in any font: only the other lines tell. Curly
    // quotes and full-width marks without them are the engine's reading of code's narrow marks.
    std::vector<std::vector<std::pair<int, int>>> lines;
    for (const PassLine &line : pass.lines) {
        const QRect box = line.box.intersected(image.rect());
        if (!box.isEmpty() && !ChineseTextCleanup::hasDoubleWidth(line.text)) {
            lines.push_back(inkedColumns(image, box, background));
        }
    }
    // The cells the most glyphs stand on the grid of lie side by side; the one in their middle is the best guess.
    double lowest = 0;
    double highest = 0;
    double bestShare = 0;
    double bestCells = 0;
    for (double cell = 0.9 * near; cell <= 1.1 * near; cell += 0.005 * near) {
        double on = 0;
        double all = 0;
        for (const auto &columns : lines) {
            const auto [lineOn, lineAll] = onTheGrid(columns, cell);
            on += lineOn;
            all += lineAll;
        }
        const double share = all > 0 ? on / all : 0;
        if (share > bestShare) {
            bestShare = share;
            lowest = highest = cell;
            bestCells = all;
        } else if (share == bestShare && highest > 0 && cell - highest < 0.006 * near) {
            highest = cell;
        }
    }
    // A proportional font's glyphs fall on such a grid now and then within a short line (0.9 of 16 cells), never
    // across a few lines of text: there they stand on it by chance, about half of them.
    constexpr double enoughCells = 24;
    return bestShare >= 0.92 && bestCells >= enoughCells ? (lowest + highest) / 2 : 0;
}

} // namespace Tessary::MonospaceInk
