#include "app/recognition/DroppedMarks.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/MarkShapes.h"

namespace Tessary::DroppedMarks {

namespace {

using ChineseTextCleanup::isHan;

struct Run
{
    int start;
    int end; // inclusive
};

bool isMark(QChar c)
{
    return QStringView(u"，。、,.：；:;！？!?…").contains(c);
}

/** The nearest character before (step -1) or after (step 1) at that is not white space; -1 when there is none. */
qsizetype neighbour(const QString &text, qsizetype at, int step)
{
    for (at += step; at >= 0 && at < text.size(); at += step) {
        if (!text.at(at).isSpace()) {
            return at;
        }
    }
    return -1;
}

} // namespace

void restore(QString &text, QList<float> &centres, const QImage &source, int background)
{
    if (centres.size() != text.size() || source.isNull() || !ChineseTextCleanup::hasHan(text)) {
        return;
    }
    const QImage crop = source.convertToFormat(QImage::Format_RGB888);
    const int width = crop.width();
    std::vector<int> inkTop(size_t(width), crop.height()), inkBottom(size_t(width), -1);
    int top = crop.height(), bottom = -1;
    for (int y = 0; y < crop.height(); ++y) {
        const uchar *row = crop.constScanLine(y);
        for (int x = 0; x < width; ++x) {
            if (std::abs(greyAt(row, x) - background) > inkContrast) {
                inkTop[size_t(x)] = std::min(inkTop[size_t(x)], y);
                inkBottom[size_t(x)] = y;
                top = std::min(top, y);
                bottom = y;
            }
        }
    }
    if (bottom - top < 4) {
        return;
    }
    // The cell: the usual step between two neighbouring Chinese characters, else the ink's height.
    const double fromHeight = (bottom - top + 1) / 0.9;
    std::vector<double> steps;
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        const double step = centres[i + 1] - centres[i];
        if (isHan(text.at(i).unicode()) && isHan(text.at(i + 1).unicode()) && step > 0.6 * fromHeight &&
            step < 1.2 * fromHeight) {
            steps.push_back(step);
        }
    }
    double cell = fromHeight;
    if (steps.size() >= 3) {
        std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
        cell = steps[steps.size() / 2];
    }
    std::vector<Run> runs;
    for (int x = 0; x < width; ++x) {
        if (inkBottom[size_t(x)] < 0) {
            continue;
        }
        int end = x;
        while (end + 1 < width && inkBottom[size_t(end + 1)] >= 0) {
            ++end;
        }
        runs.push_back({x, end});
        x = end;
    }
    for (size_t r = runs.size(); r-- > 0;) {
        const Run run = runs[r];
        const int runWidth = run.end - run.start + 1;
        if (runWidth > 0.4 * cell) {
            continue;
        }
        const int runTop = *std::min_element(inkTop.begin() + run.start, inkTop.begin() + run.end + 1);
        const int runBottom = *std::max_element(inkBottom.begin() + run.start, inkBottom.begin() + run.end + 1);
        // A blob smaller than a lower-case letter (low in the line in Simplified fonts, in the middle of the cell in
        // Traditional ones), no flatter than a dot: an underscore or a dash is a flat bar.
        const int runHeight = runBottom - runTop + 1;
        if (runHeight > 0.42 * cell || runHeight < 0.6 * runWidth || r == 0 || runTop < top + 0.25 * (bottom - top)) {
            continue;
        }
        // Ink of the line below that the crop caught stands lower than the line's own; a comma's tail reaches a
        // little below the Chinese characters.
        int lowestElsewhere = -1;
        for (size_t o = 0; o < runs.size(); ++o) {
            if (o != r) {
                lowestElsewhere = std::max(lowestElsewhere, *std::max_element(inkBottom.begin() + runs[o].start,
                                                                              inkBottom.begin() + runs[o].end + 1));
            }
        }
        if (runBottom > lowestElsewhere + 0.15 * cell) {
            continue;
        }
        // A full-width mark's cell leaves the room of a whole cell between its neighbours' ink; one at the end of
        // the line stands close after the last character.
        const bool last = r + 1 == runs.size();
        const int room = last ? 0 : runs[r + 1].start - runs[r - 1].end - 1;
        if (last ? run.start - runs[r - 1].end > 0.9 * cell : room <= 0.8 * cell) {
            continue;
        }
        const double centre = (run.start + run.end) / 2.0;
        // A Latin letter or digit placed on the ink, or a sign placed up to a cell after it (readers place marks
        // late), was read from it, perhaps as the wrong one: nothing was dropped. A Chinese character is never that
        // small: one placed on the ink took the mark into its own box, and the mark follows it.
        qsizetype before = -1;
        bool read = false;
        for (qsizetype i = 0; i < text.size() && !read; ++i) {
            const QChar c = text.at(i);
            const bool onInk = centres[i] > run.start - 0.2 * cell && centres[i] < run.end + 0.2 * cell;
            const bool sign = !c.isSpace() && !c.isLetterOrNumber() && !isHan(c.unicode());
            read = (onInk && c.isLetterOrNumber() && !isHan(c.unicode())) ||
                   (sign && centres[i] > run.start - 0.2 * cell && centres[i] < centre + 1.1 * cell);
            before = onInk && isHan(c.unicode()) ? i : before;
        }
        if (read) {
            continue;
        }
        // Elsewhere the mark's own cell still leaves room between the places of the characters on either side of
        // it: the widest such gap near its ink.
        const bool swallowed = before >= 0;
        double widest = 1.15 * cell;
        for (qsizetype i = 0; i < text.size() && !swallowed; ++i) {
            const qsizetype next = text.at(i).isSpace() ? -1 : neighbour(text, i, 1);
            if (last && next < 0 && !text.at(i).isSpace()) {
                before = i;
            } else if (!last && next >= 0 && std::abs((centres[i] + centres[next]) / 2 - centre) < cell &&
                       centres[next] - centres[i] >= widest) {
                widest = centres[next] - centres[i];
                before = i;
            }
        }
        const qsizetype after = before < 0 ? -1 : neighbour(text, before, 1);
        // Beside a Latin word, a quote or a bracket, or taken into a character's box within the line: a Chinese
        // character's own strokes (the dots of 小, on which a late place may fall) stand apart at a line's end too.
        const bool besideLatin =
            before >= 0 && (!isHan(text.at(before).unicode()) || (after >= 0 && !isHan(text.at(after).unicode())));
        if (before < 0 || !(besideLatin || (swallowed && !last)) || isMark(text.at(before)) ||
            (after >= 0 && isMark(text.at(after))) || last != (after < 0)) {
            continue;
        }
        const QChar mark = MarkShapes::markOf(crop, run.start, run.end, runTop, runBottom, background);
        // The mark stands right after the character before it, before any space.
        text.insert(before + 1, mark);
        centres.insert(before + 1, float(centre));
    }
}

} // namespace Tessary::DroppedMarks
