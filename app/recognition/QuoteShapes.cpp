#include "app/recognition/QuoteShapes.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"

namespace Tessary::QuoteShapes {

namespace {

/** How far (a share of their height) a quote's strokes must lean right on average for the quote to be a curly one. */
constexpr double curlyLean = 0.07;

struct Stroke
{
    int start;
    int end; // inclusive
};

class Ink
{
public:
    Ink(const QImage &crop, int background)
        : m_crop(crop)
        , m_background(background)
    {
        const auto width = size_t(crop.width());
        m_top.assign(width, crop.height());
        m_bottom.assign(width, -1);
        for (int y = 0; y < crop.height(); ++y) {
            for (int x = 0; x < crop.width(); ++x) {
                if (at(x, y) > inkContrast) {
                    m_top[size_t(x)] = std::min(m_top[size_t(x)], y);
                    m_bottom[size_t(x)] = y;
                    m_lineTop = std::min(m_lineTop, y);
                    m_lineBottom = std::max(m_lineBottom, y);
                }
            }
        }
    }

    int at(int x, int y) const
    {
        const uchar *p = m_crop.constScanLine(y) + 3 * x;
        return std::abs(greyOf(p) - m_background);
    }

    int height() const { return m_lineBottom - m_lineTop + 1; }

    /** A column whose ink all stands in the upper half of the line, as a quote's does. */
    bool high(int x) const
    {
        return x >= 0 && x < m_crop.width() && m_bottom[size_t(x)] >= 0 &&
               m_bottom[size_t(x)] < m_lineTop + 0.5 * height();
    }

    /** The strokes of the quote read at x: runs of high columns, the nearest one and, for a double quote, its twin. */
    std::vector<Stroke> strokesNear(double x, bool twin) const
    {
        std::vector<Stroke> strokes;
        for (int c = std::max(0, int(x - 0.6 * height())); c <= std::min(m_crop.width() - 1, int(x + 0.4 * height()));
             ++c) {
            if (!high(c)) {
                continue;
            }
            int start = c, end = c;
            while (high(start - 1)) {
                --start;
            }
            while (high(end + 1)) {
                ++end;
            }
            // A single column beside a glyph is its anti-aliased edge, unless the text is small.
            if (end > start || height() < 14) {
                strokes.push_back({start, end});
            }
            c = end;
        }
        if (strokes.empty()) {
            return {};
        }
        const auto distance = [x](const Stroke &s) {
            return x < s.start ? s.start - x : (x > s.end ? x - s.end : 0.0);
        };
        const auto nearest = std::min_element(strokes.begin(), strokes.end(), [&](const Stroke &a, const Stroke &b) {
            return distance(a) < distance(b) || (distance(a) == distance(b) && a.end - a.start > b.end - b.start);
        });
        std::vector<Stroke> chosen{*nearest};
        // The two strokes of a double quote touch at small sizes; a stroke's twin is as wide as it is.
        const int width = nearest->end - nearest->start + 1;
        if (twin && width < 0.25 * height()) {
            const auto gap = [&](const Stroke &s) {
                return s.start > nearest->end ? s.start - nearest->end : nearest->start - s.end;
            };
            std::optional<Stroke> other;
            for (const Stroke &s : strokes) {
                if (s.start != nearest->start && 2 * (s.end - s.start + 1) >= width && gap(s) <= 0.3 * height() &&
                    (!other || gap(s) < gap(*other))) {
                    other = s;
                }
            }
            if (other) {
                chosen.push_back(*other);
            }
        }
        return chosen;
    }

    /**
     * How far the stroke's upper half stands right of its lower half (a share of its height), and the share of its
     * ink in the lower half.
     */
    std::pair<double, double> shapeOf(const Stroke &stroke) const
    {
        int top = m_crop.height(), bottom = -1;
        for (int x = stroke.start; x <= stroke.end; ++x) {
            top = std::min(top, m_top[size_t(x)]);
            bottom = std::max(bottom, m_bottom[size_t(x)]);
        }
        const double middle = (top + bottom) / 2.0;
        double upper = 0, upperX = 0, lower = 0, lowerX = 0;
        for (int y = top; y <= bottom; ++y) {
            for (int x = stroke.start; x <= stroke.end; ++x) {
                const double w = at(x, y);
                (y < middle ? upper : lower) += y == middle ? 0 : w;
                (y < middle ? upperX : lowerX) += y == middle ? 0 : w * x;
            }
        }
        if (upper <= 0 || lower <= 0) {
            return {0, 0.5};
        }
        return {(upperX / upper - lowerX / lower) / (bottom - top + 1), lower / (upper + lower)};
    }

private:
    const QImage &m_crop;
    int m_background;
    std::vector<int> m_top, m_bottom;
    int m_lineTop = 1 << 20, m_lineBottom = -1;
};

/** The nearest character before (step -1) or after (step 1) at that is not white space; a space when there is none. */
QChar neighbour(const QString &text, qsizetype at, int step)
{
    for (at += step; at >= 0 && at < text.size(); at += step) {
        if (!text.at(at).isSpace()) {
            return text.at(at);
        }
    }
    return u' ';
}

bool isQuote(QChar c)
{
    return c == u'"' || c == u'\u201c' || c == u'\u201d' || c == u'\'' || c == u'\u2018' || c == u'\u2019';
}

bool isLatin(QChar c)
{
    return c.unicode() < 0x80 && c.isLetterOrNumber();
}

} // namespace

void settle(QString &text, const QList<float> &centres, const QImage &crop, int background)
{
    const bool chinese = ChineseTextCleanup::hasHan(text);
    const bool quoted = std::any_of(text.cbegin(), text.cend(), [](QChar c) { return isQuote(c); });
    if (!chinese || !quoted || centres.size() != text.size() || crop.isNull()) {
        return;
    }
    const QImage rgb = crop.convertToFormat(QImage::Format_RGB888);
    const Ink ink(rgb, background);
    if (ink.height() < 6) {
        return;
    }
    // Whether the last curly quote of each kind in the line opened.
    std::optional<bool> doubleOpened, singleOpened;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (!isQuote(c)) {
            continue;
        }
        const bool twin = c == u'"' || c == u'\u201c' || c == u'\u201d';
        std::optional<bool> &opened = twin ? doubleOpened : singleOpened;
        const std::vector<Stroke> strokes = ink.strokesNear(centres[i], twin);
        double lean = 0, low = 0;
        for (const Stroke &s : strokes) {
            const auto [leans, lowShare] = ink.shapeOf(s);
            lean += leans / double(strokes.size());
            low += lowShare / double(strokes.size());
        }
        // An upright stroke leans by a pixel's fraction at most; a comma's by a tenth of its height or more.
        if (lean < curlyLean) {
            if (c != u'"' && c != u'\'') {
                opened = c == u'\u201c' || c == u'\u2018';
            }
            continue;
        }
        // Opening or closing: a quote before a Latin word opens, one after it closes. Elsewhere a curly quote stays as
        // read and straight ones alternate; the line's first one (its partner may stand on the line before) is told
        // by its weight: an opening quote is heavy at the bottom.
        const bool latinBefore = isLatin(neighbour(text, i, -1)), latinAfter = isLatin(neighbour(text, i, 1));
        const bool curly = c != u'"' && c != u'\'';
        const bool opening = latinAfter != latinBefore ? latinAfter
                             : curly                   ? c == u'\u201c' || c == u'\u2018'
                             : opened                  ? !*opened
                                                       : low > 0.5;
        text[i] = twin ? QChar(opening ? u'\u201c' : u'\u201d') : QChar(opening ? u'\u2018' : u'\u2019');
        opened = opening;
    }
}

} // namespace Tessary::QuoteShapes
