#include "app/recognition/UnderscoreRecovery.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"

namespace Tessary::UnderscoreRecovery {

namespace {

struct Column
{
    int top = -1; // first and last ink row; -1 without ink
    int bottom = -1;
};

/** Columns of ink inside rows [top, bottom] beside a run, walking outwards from x by step. */
int ruledColumns(const std::vector<Column> &columns, int x, int step, int limit, int top, int bottom)
{
    int count = 0;
    for (int i = 0; i < limit; ++i, x += step) {
        if (x < 0 || x >= int(columns.size())) {
            break;
        }
        const Column &column = columns[size_t(x)];
        if (column.top >= 0 && column.bottom >= top && column.top <= bottom + 1) {
            ++count;
        }
    }
    return count;
}

/** Below this contrast with the ground a pixel is noise (compression, a neighbour's anti-aliasing). */
constexpr int faintContrast = 16;

bool isDash(QChar c)
{
    return c == u'-' || c == u'‐' || c == u'–' || c == u'—' || c == u'~';
}

bool isReplaceable(QChar c)
{
    return c == u'_' || c == u' ';
}

} // namespace

QList<Run> findRuns(const QImage &image, const QRect &box, int baseline, double pitch, int background)
{
    QList<Run> runs;
    if (image.format() != QImage::Format_RGB888 || box.isEmpty() || pitch <= 0 || baseline < 0) {
        return runs;
    }
    // The rule hangs below the letters, sometimes below the line's box, but above the next line's letters. One row
    // more is read to tell a rule from ink that goes on downwards.
    const int reach = std::max(3, int(std::lround(0.3 * box.height())));
    const int last = std::min(baseline + reach, image.height() - 1);
    const QRect area = QRect(QPoint(box.left(), box.top()), QPoint(box.right(), std::min(last + 1, image.height() - 1)))
                           .intersected(image.rect());
    if (area.isEmpty() || area.bottom() <= baseline) {
        return runs;
    }
    int strongest = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = area.left(); x <= area.right(); ++x) {
            strongest = std::max(strongest, std::abs(greyAt(row, x) - background));
        }
    }
    // Thin rules are anti-aliased over two rows, each fainter than the letters' stems.
    const int contrast = std::max(24, int(0.35 * strongest));
    std::vector<Column> columns(size_t(area.width()));
    std::vector<Column> faint(size_t(area.width()));
    std::vector<int> faintSum(size_t(area.width()), 0);
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uchar *row = image.constScanLine(y);
        for (int x = area.left(); x <= area.right(); ++x) {
            const int ink = std::abs(greyAt(row, x) - background);
            const auto mark = [&](std::vector<Column> &of) {
                Column &column = of[size_t(x - area.left())];
                if (column.top < 0) {
                    column.top = y;
                }
                column.bottom = y;
            };
            if (ink > contrast) {
                mark(columns);
            }
            if (ink > faintContrast) {
                mark(faint);
                faintSum[size_t(x - area.left())] += ink;
            }
        }
    }

    // The engine's baseline sits a row or two low now and then, pulled down by the rules themselves: the letters
    // stand where most of their columns end.
    std::vector<int> feet(3, 0);
    for (const Column &column : columns) {
        if (column.top >= 0 && column.top < baseline - 2 && column.bottom < baseline && column.bottom >= baseline - 3) {
            ++feet[size_t(baseline - 1 - column.bottom)];
        }
    }
    const int raised = int(std::max_element(feet.cbegin(), feet.cend()) - feet.cbegin());
    const int ground = baseline - raised;
    // Drawn at a fraction of a pixel, a rule thinner than a pixel splits its ink between two rows, neither of them as
    // dark as a stem: together they are.
    for (size_t x = 0; x < columns.size(); ++x) {
        if (columns[x].top < 0 && faint[x].top > ground && faintSum[x] > contrast) {
            columns[x] = faint[x];
        }
    }
    const int thickest = std::max(2, int(std::lround(0.12 * box.height())));
    auto isRule = [&](const Column &column) {
        return column.top > ground && column.bottom <= last &&
               (last == area.bottom() || column.bottom < area.bottom()) && column.bottom - column.top + 1 <= thickest;
    };
    for (int x = 0; x < int(columns.size());) {
        if (!isRule(columns[size_t(x)])) {
            ++x;
            continue;
        }
        int end = x;
        int top = columns[size_t(x)].top, bottom = columns[size_t(x)].bottom;
        // A single faint column may break a rule.
        while (end + 1 < int(columns.size()) && (isRule(columns[size_t(end + 1)]) ||
                                                 (end + 2 < int(columns.size()) && columns[size_t(end + 1)].top < 0 &&
                                                  isRule(columns[size_t(end + 2)])))) {
            ++end;
            if (columns[size_t(end)].top >= 0) {
                top = std::min(top, columns[size_t(end)].top);
                bottom = std::max(bottom, columns[size_t(end)].bottom);
            }
        }
        const int length = end - x + 1;
        const int beside = int(std::ceil(pitch));
        // An underline runs on under the neighbouring letters; an underscore ends where its cell ends.
        const bool underline = ruledColumns(columns, x - 1, -1, beside, top, bottom) > 0.6 * pitch &&
                               ruledColumns(columns, end + 1, 1, beside, top, bottom) > 0.6 * pitch;
        // Below a baseline the engine gave too low, the foot of a glyph (the bar of "」") stands where a rule would;
        // a foot is joined to its stem.
        const auto stem = [&](int at) {
            return at >= 0 && at < int(columns.size()) && columns[size_t(at)].top >= 0 &&
                   columns[size_t(at)].top <= ground && columns[size_t(at)].bottom >= top;
        };
        const bool foot = top <= baseline && (stem(x - 1) || stem(end + 1));
        if (length >= 0.6 * pitch && !underline && !foot) {
            runs.append({area.left() + x, area.left() + end, std::max(1, int(std::lround(length / pitch - 0.1)))});
        }
        x = end + 1;
    }
    return runs;
}

double pitchOf(const QString &text, const QList<float> &centres)
{
    if (centres.size() != text.size()) {
        return 0;
    }
    std::vector<double> steps;
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        const QChar a = text.at(i), b = text.at(i + 1);
        if (a.isSpace() || b.isSpace() || a.isSurrogate() || b.isSurrogate() ||
            ChineseTextCleanup::isCjk(a.unicode()) || ChineseTextCleanup::isCjk(b.unicode())) {
            continue;
        }
        const double step = centres[i + 1] - centres[i];
        if (step > 0) {
            steps.push_back(step);
        }
    }
    if (steps.size() < 3) {
        return 0;
    }
    std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
    return steps[steps.size() / 2];
}

void apply(const QList<Run> &runs, double pitch, QString &text, QList<float> &centres)
{
    if (centres.size() != text.size() || pitch <= 0) {
        return;
    }
    // Each run takes the nearest stretch of spaces and underscores not yet taken, or else the nearest boundary
    // between two letters.
    struct Edit
    {
        qsizetype first;
        qsizetype last; // first - 1 for an insertion
        const Run *run;
    };
    QList<Edit> edits;
    std::vector<bool> taken(size_t(text.size()), false);
    const double window = 0.8 * pitch;
    for (const Run &run : runs) {
        auto distance = [&](qsizetype i) {
            return centres[i] < run.left ? run.left - centres[i]
                                         : (centres[i] > run.right ? centres[i] - run.right : 0.0);
        };
        // Only the characters near the run: a stretch of spaces and underscores may hold the next run too. A dash
        // placed over the run is the engine's reading of one of its underscores ("__attribute__" read "_-attribute__"):
        // the run's columns hold no ink above the baseline.
        auto candidate = [&](qsizetype i) {
            const bool over = isDash(text.at(i)) && centres[i] >= run.left && centres[i] <= run.right;
            return (isReplaceable(text.at(i)) || over) && !taken[size_t(i)] && distance(i) <= window;
        };
        qsizetype bestFirst = -1, bestLast = -1;
        double best = window;
        for (qsizetype i = 0; i < text.size();) {
            if (!candidate(i)) {
                ++i;
                continue;
            }
            qsizetype last = i;
            double nearest = distance(i);
            while (last + 1 < text.size() && candidate(last + 1)) {
                ++last;
                nearest = std::min(nearest, distance(last));
            }
            if (nearest <= best) {
                best = nearest;
                bestFirst = i;
                bestLast = last;
            }
            i = last + 1;
        }
        if (bestFirst < 0) {
            // Nothing was written there: the letters on both sides were read as touching.
            const double middle = (run.left + run.right) / 2.0;
            best = window;
            for (qsizetype j = 1; j < text.size(); ++j) {
                if (text.at(j - 1).isSpace() || text.at(j).isSpace() || text.at(j).isLowSurrogate()) {
                    continue;
                }
                const double d = std::abs((centres[j - 1] + centres[j]) / 2.0 - middle);
                if (d <= best) {
                    best = d;
                    bestFirst = j;
                    bestLast = j - 1;
                }
            }
            if (bestFirst < 0) {
                continue;
            }
        }
        for (qsizetype i = bestFirst; i <= bestLast; ++i) {
            taken[size_t(i)] = true;
        }
        edits.append({bestFirst, bestLast, &run});
    }
    std::stable_sort(edits.begin(), edits.end(), [](const Edit &a, const Edit &b) { return a.first > b.first; });
    for (const Edit &edit : edits) {
        const Run &run = *edit.run;
        const qsizetype first = edit.first, last = edit.last;
        QString replacement(run.count, u'_');
        QList<float> positions;
        for (int k = 0; k < run.count; ++k) {
            positions.append(float(run.left + (k + 0.5) * (run.right - run.left + 1) / run.count));
        }
        // A gap wider than the run around it also held a space.
        const double halfLetter = 0.3 * pitch;
        if (first > 0 && !text.at(first - 1).isSpace() && run.left - (centres[first - 1] + halfLetter) > 0.9 * pitch) {
            replacement.prepend(u' ');
            positions.prepend(float(run.left - 0.5 * pitch));
        }
        if (last + 1 < text.size() && !text.at(last + 1).isSpace() &&
            (centres[last + 1] - halfLetter) - run.right > 0.9 * pitch) {
            replacement.append(u' ');
            positions.append(float(run.right + 0.5 * pitch));
        }
        text.replace(first, last - first + 1, replacement);
        centres.remove(first, last - first + 1);
        for (qsizetype k = 0; k < positions.size(); ++k) {
            centres.insert(first + k, positions[k]);
        }
    }
}

void dropPhantoms(const QImage &image, const QRect &box, int baseline, double pitch, int background, QString &text,
                  const QList<float> &centres)
{
    if (image.format() != QImage::Format_RGB888 || centres.size() != text.size() || pitch <= 0 || baseline < 0) {
        return;
    }
    const int reach = std::max(3, int(std::lround(0.3 * box.height())));
    const int top = std::max(0, baseline + 1), bottom = std::min(image.height() - 1, baseline + reach);
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) != u'_') {
            continue;
        }
        const int left = std::max(0, int(std::lround(centres[i] - 0.35 * pitch)));
        const int right = std::min(image.width() - 1, int(std::lround(centres[i] + 0.35 * pitch)));
        // A faint rule's ink is spread over two rows: a column's ink below the baseline is summed.
        bool ink = false;
        for (int x = left; x <= right && !ink; ++x) {
            int sum = 0;
            for (int y = top; y <= bottom; ++y) {
                const int contrast = std::abs(greyAt(image.constScanLine(y), x) - background);
                sum += contrast > faintContrast ? contrast : 0;
            }
            ink = sum > inkContrast;
        }
        if (!ink && top <= bottom && left <= right) {
            text[i] = u' ';
        }
    }
}

} // namespace Tessary::UnderscoreRecovery
