#include "app/recognition/QuoteShapes.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include <QLoggingCategory>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"

namespace Tessary::QuoteShapes {

namespace {

// The quotes this stage changes or puts back (QT_LOGGING_RULES="tessary.recognition.quotes.debug=true").
Q_LOGGING_CATEGORY(lcQuotes, "tessary.recognition.quotes", QtInfoMsg)

/** How far (a share of their height) a quote's strokes must lean right on average for the quote to be a curly one. */
constexpr double curlyLean = 0.07;
/**
 * How far a stroke must lean left to be a backtick: its upper end stands left of its lower end, as no quote's does.
 * The readers have no backtick; they drop it or write ‘, ’, “ or * for it.
 */
constexpr double backtickLean = 0.12;

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
        m_contrast.assign(width, 0);
        for (int y = 0; y < crop.height(); ++y) {
            for (int x = 0; x < crop.width(); ++x) {
                m_contrast[size_t(x)] = std::max(m_contrast[size_t(x)], at(x, y));
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

    int width() const { return m_crop.width(); }

    /** How many rows the ink of columns start to end spans. */
    int rows(int start, int end) const
    {
        int top = m_crop.height(), bottom = -1;
        for (int x = start; x <= end; ++x) {
            top = std::min(top, m_top[size_t(x)]);
            bottom = std::max(bottom, m_bottom[size_t(x)]);
        }
        return bottom - top + 1;
    }

    /** The strongest ink of column x. */
    int contrast(int x) const { return x < 0 || x >= m_crop.width() ? 0 : m_contrast[size_t(x)]; }

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
    std::vector<int> m_top, m_bottom, m_contrast;
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

/** A character of a Latin word, an option or a path a quote may stand against. */
bool inWord(QChar c)
{
    return isLatin(c) || c == u'-' || c == u'/';
}

bool isHan(QChar c)
{
    return ChineseTextCleanup::isHan(c.unicode());
}

/** A character the readers write for a backtick: ` itself, a quote, or a star or caret at small sizes. */
bool mayBeBacktick(QChar c)
{
    return isQuote(c) || c == u'`' || c == u'*' || c == u'^';
}

/** The mean lean of strokes and the mean share of their ink in their lower half (Ink::shapeOf). */
std::pair<double, double> shapeOf(const Ink &ink, const std::vector<Stroke> &strokes)
{
    double lean = 0, low = 0;
    for (const Stroke &s : strokes) {
        const auto [leans, lowShare] = ink.shapeOf(s);
        lean += leans / double(strokes.size());
        low += lowShare / double(strokes.size());
    }
    return {lean, low};
}

/**
 * The strokes that may be quotes: runs of high columns, split where the ink fades (a quote may touch the arm of a T
 * beside it), set off from the ink beside them and about as tall as wide or taller (a flat piece is a bar's end).
 */
std::vector<Stroke> quoteStrokes(const Ink &ink)
{
    const double height = ink.height();
    std::vector<Stroke> strokes;
    for (int x = 0; x < ink.width(); ++x) {
        if (!ink.high(x)) {
            continue;
        }
        int end = x;
        int strongest = ink.contrast(x);
        while (ink.high(end + 1)) {
            strongest = std::max(strongest, ink.contrast(++end));
        }
        const auto apart = [&](int c) { return 2 * ink.contrast(c) < strongest; };
        for (int start = x, c = x; c <= end + 1; ++c) {
            if (c <= end && !apart(c)) {
                continue;
            }
            const int wide = c - start;
            if (wide > 0 && apart(start - 1) && apart(c) && wide <= 0.35 * height &&
                ink.rows(start, c - 1) >= 0.7 * wide) {
                strokes.push_back({start, c - 1});
            }
            start = c + 1;
        }
        x = end;
    }
    return strokes;
}

/**
 * Puts back the quotes and backticks no character was read from. Beside a Latin word the readers lose them, most
 * often a backtick and a quote touching a Chinese character (為‘TRUE’ read 為TRUE’), yet their ink stands apart: one
 * narrow stroke, or two, wholly in the upper half of the line, set off from the ink beside it by a blank or fading
 * column (the arms of T, f or r stand high too, but join their stem), with nothing read from it.
 */
void restoreDropped(QString &text, QList<float> &centres, const Ink &ink, const std::vector<Stroke> &strokes)
{
    const double height = ink.height();
    struct Found
    {
        qsizetype place;
        QChar mark;
        float centre;
    };
    std::vector<Found> found; // right to left
    for (size_t s = strokes.size(); s-- > 0;) {
        std::vector<Stroke> quote{strokes[s]};
        // The two strokes of a double quote, as wide as each other and closer than a third of the line's height.
        if (s > 0 && quote[0].start - strokes[s - 1].end <= 0.3 * height &&
            2 * (strokes[s - 1].end - strokes[s - 1].start + 1) >= quote[0].end - quote[0].start + 1) {
            quote.insert(quote.begin(), strokes[--s]);
        }
        const double left = quote.front().start, right = quote.back().end, middle = (left + right) / 2;
        const auto near = [&](qsizetype i, double distance) {
            return centres[i] > left - distance && centres[i] < right + distance;
        };
        // A Chinese character placed on the stroke took it into its box, on the side of the Latin word.
        const auto swallowed = [&](qsizetype i) { return isHan(text.at(i)) && near(i, 0.15 * height); };
        qsizetype at = 0;
        bool read = false;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const QChar c = text.at(i);
            // A sign or a letter read from the stroke (placed on it; a sign maybe a little off), or a quote placed
            // within the line's height of it.
            const bool sign = !c.isSpace() && !c.isLetterOrNumber();
            read = read || (mayBeBacktick(c) && near(i, height)) || (sign && near(i, 0.15 * height)) ||
                   (c.isLetterOrNumber() && !isHan(c) && near(i, 0));
            at += centres[i] < middle ? 1 : 0;
        }
        if (at < text.size() && swallowed(at) && inWord(neighbour(text, at, 1))) {
            ++at;
        } else if (at > 0 && swallowed(at - 1) && inWord(neighbour(text, at - 1, -1))) {
            --at;
        }
        // Not within a word: a stroke there is a quote read but placed off its ink.
        if (at > 0 && at < text.size() && inWord(text.at(at - 1)) && inWord(text.at(at))) {
            continue;
        }
        const qsizetype before = at - 1 >= 0 && text.at(at - 1).isSpace() ? at - 2 : at - 1;
        const qsizetype after = at < text.size() && text.at(at).isSpace() ? at + 1 : at;
        const bool latinBefore = before >= 0 && inWord(text.at(before)) && near(before, height);
        const bool latinAfter = after < text.size() && inWord(text.at(after)) && near(after, height);
        if (read || (!latinBefore && !latinAfter)) {
            continue;
        }
        const auto [lean, low] = shapeOf(ink, quote);
        const bool opening = latinAfter != latinBefore ? latinAfter : low > 0.5;
        const bool twin = quote.size() == 2;
        QChar mark = twin ? u'"' : u'\'';
        if (lean <= -backtickLean) {
            mark = twin ? QChar() : QChar(u'`');
        } else if (lean >= curlyLean) {
            mark = twin ? QChar(opening ? u'\u201c' : u'\u201d') : QChar(opening ? u'\u2018' : u'\u2019');
        }
        if (mark.isNull()) {
            continue;
        }
        // Against the word it quotes, on the far side of any space.
        found.push_back({opening ? after : before + 1, mark, float(middle)});
    }
    // Quotes come in pairs: where the line would hold an odd number, a quote read was placed far from its ink (the
    // engine's places of a line's last characters are at times spread over the end of its box) and was taken for
    // a dropped one, or the pair spans two lines; the line is left as read.
    const auto quotes = std::count_if(text.cbegin(), text.cend(), [](QChar c) { return isQuote(c) || c == u'`'; });
    if ((quotes + qsizetype(found.size())) % 2 != 0) {
        return;
    }
    for (const Found &quote : found) {
        qCDebug(lcQuotes) << text << "dropped" << quote.mark << "at" << quote.place;
        text.insert(quote.place, quote.mark);
        centres.insert(quote.place, quote.centre);
    }
}

} // namespace

void settle(QString &text, QList<float> &centres, const QImage &crop, int background)
{
    const bool latin = std::any_of(text.cbegin(), text.cend(), isLatin);
    const bool quoted = std::any_of(text.cbegin(), text.cend(), mayBeBacktick);
    if (!ChineseTextCleanup::hasHan(text) || !(latin || quoted) || centres.size() != text.size() || crop.isNull()) {
        return;
    }
    const QImage rgb = crop.convertToFormat(QImage::Format_RGB888);
    const Ink ink(rgb, background);
    if (ink.height() < 6) {
        return;
    }
    const std::vector<Stroke> pieces = quoteStrokes(ink);
    restoreDropped(text, centres, ink, pieces);
    // Whether the last curly quote of each kind in the line opened.
    std::optional<bool> doubleOpened, singleOpened;
    // A star or caret whose ink leans as a backtick does (blurred, a star's may) is one only where it pairs another.
    qsizetype starred = -1;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (!mayBeBacktick(c)) {
            continue;
        }
        const bool twin = c == u'"' || c == u'\u201c' || c == u'\u201d';
        std::optional<bool> &opened = twin ? doubleOpened : singleOpened;
        const std::vector<Stroke> strokes = ink.strokesNear(centres[i], twin);
        const auto [lean, low] = shapeOf(ink, strokes);
        // One stroke leaning left, its upper end first, told apart from a letter it touches: a backtick, whatever it
        // was read as.
        const auto piece = std::find_if(pieces.cbegin(), pieces.cend(), [&](const Stroke &p) {
            return strokes.size() == 1 && p.start <= strokes[0].end && p.end >= strokes[0].start;
        });
        if (piece != pieces.cend() && shapeOf(ink, {*piece}).first <= -backtickLean) {
            qCDebug(lcQuotes) << text << "at" << i << c << "may be a backtick, lean" << lean;
            if (isQuote(c)) {
                text[i] = u'`';
            } else if (c != u'`' && starred < 0) {
                starred = i;
            }
            continue;
        }
        if (!isQuote(c)) {
            continue;
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
    if (starred >= 0 && text.count(u'`') % 2 == 1) {
        text[starred] = u'`';
    }
}

} // namespace Tessary::QuoteShapes
