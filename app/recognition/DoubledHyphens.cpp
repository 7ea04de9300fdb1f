#include "app/recognition/DoubledHyphens.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/recognition/GreyLevel.h"

namespace Tessary::DoubledHyphens {

namespace {

struct Bar
{
    int start;
    int end; // inclusive
    int top;
    int bottom;

    int width() const { return end - start + 1; }
};

bool isHyphen(QChar c)
{
    return c == u'-' || c == u'\u2010' || c == u'\u2013' || c == u'\u2014' || c == u'\uff0d' || c == u'~';
}

/** What a reader may have written for the two bars: a hyphen or dash, or the Chinese 一 (one bar as long as both). */
bool isBar(QChar c)
{
    return isHyphen(c) || c == u'\u4e00';
}

/** Each column's strongest ink and the rows its ink spans (bottom -1 for a column without ink). */
struct Columns
{
    std::vector<int> contrast, top, bottom;
    int lineTop = 0, lineBottom = -1;
};

Columns columnsOf(const QImage &crop, int background)
{
    const auto width = size_t(crop.width());
    Columns columns{std::vector<int>(width, 0), std::vector<int>(width, crop.height()), std::vector<int>(width, -1)};
    columns.lineTop = crop.height();
    for (int y = 0; y < crop.height(); ++y) {
        const uchar *row = crop.constScanLine(y);
        for (size_t x = 0; x < width; ++x) {
            const int grey = greyAt(row, x);
            const int ink = std::abs(grey - background);
            if (ink > inkContrast) {
                columns.contrast[x] = std::max(columns.contrast[x], ink);
                columns.top[x] = std::min(columns.top[x], y);
                columns.bottom[x] = y;
                columns.lineTop = std::min(columns.lineTop, y);
                columns.lineBottom = y > columns.lineBottom ? y : columns.lineBottom;
            }
        }
    }
    return columns;
}

/**
 * The bars of the line: runs of columns whose only ink is a thin stroke a little below the middle of the line (a
 * hyphen's columns hold nothing else, even where its anti-aliased end touches the next letter). Two hyphens whose
 * edges touch are two bars where the ink fades between them.
 */
std::vector<Bar> barsOf(const Columns &columns)
{
    const int height = columns.lineBottom - columns.lineTop + 1;
    const int width = int(columns.contrast.size());
    const auto flat = [&](int x) {
        const double middle = (columns.top[size_t(x)] + columns.bottom[size_t(x)]) / 2.0 - columns.lineTop;
        return columns.bottom[size_t(x)] >= 0 &&
               columns.bottom[size_t(x)] - columns.top[size_t(x)] + 1 <= std::max(2.0, 0.2 * height) &&
               middle >= 0.3 * height && middle <= 0.85 * height;
    };
    std::vector<Bar> bars;
    for (int x = 0; x < width; ++x) {
        if (!flat(x)) {
            continue;
        }
        int end = x;
        int strongest = columns.contrast[size_t(x)];
        while (end + 1 < width && flat(end + 1)) {
            strongest = std::max(strongest, columns.contrast[size_t(++end)]);
        }
        int start = x;
        for (int c = x; c <= end; ++c) {
            const bool faint = 2 * columns.contrast[size_t(c)] < strongest;
            if (faint || c == end) {
                const int last = faint ? c - 1 : c;
                if (last >= start) {
                    Bar bar{start, last, columns.top[size_t(start)], columns.bottom[size_t(start)]};
                    for (int b = start; b <= last; ++b) {
                        bar.top = std::min(bar.top, columns.top[size_t(b)]);
                        bar.bottom = std::max(bar.bottom, columns.bottom[size_t(b)]);
                    }
                    bars.push_back(bar);
                }
                start = c + 1;
            }
        }
        x = end;
    }
    return bars;
}

} // namespace

void restore(QString &text, QList<float> &centres, const QImage &source, int background)
{
    if (centres.size() != text.size() || source.isNull() || !std::any_of(text.cbegin(), text.cend(), isBar)) {
        return;
    }
    const Columns columns = columnsOf(source.convertToFormat(QImage::Format_RGB888), background);
    const int height = columns.lineBottom - columns.lineTop + 1;
    if (height < 6) {
        return;
    }
    const std::vector<Bar> bars = barsOf(columns);
    // Two bars of one hyphen's make: about a third of an em long, the same rows, nearly the same length, with nothing
    // but a narrow gap between them.
    const auto doubled = [&](const Bar &first, const Bar &second) {
        const int shorter = std::min(first.width(), second.width());
        const int longer = std::max(first.width(), second.width());
        if (shorter < 2 || longer > 0.6 * height || second.start - first.end - 1 > 0.8 * longer ||
            3 * longer > 4 * shorter || std::abs(first.top - second.top) > 1 ||
            std::abs(first.bottom - second.bottom) > 1) {
            return false;
        }
        for (int x = first.end + 1; x < second.start; ++x) {
            if (columns.bottom[size_t(x)] >= 0 &&
                (columns.top[size_t(x)] < first.top - 1 || columns.bottom[size_t(x)] > first.bottom + 1)) {
                return false;
            }
        }
        return true;
    };
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        if (!isBar(text.at(i)) || (i > 0 && isHyphen(text.at(i - 1))) ||
            (i + 1 < text.size() && isHyphen(text.at(i + 1)))) {
            continue;
        }
        const double x = centres[i];
        for (size_t b = 0; b + 1 < bars.size(); ++b) {
            const Bar &first = bars[b];
            const Bar &second = bars[b + 1];
            if (x >= first.start - first.width() && x <= second.end + second.width() && doubled(first, second)) {
                text.replace(i, 1, QStringLiteral("--"));
                centres[i] = float((first.start + first.end) / 2.0);
                centres.insert(i + 1, float((second.start + second.end) / 2.0));
                break;
            }
        }
    }
}

} // namespace Tessary::DoubledHyphens
