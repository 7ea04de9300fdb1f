#include "app/recognition/PunctuationWidth.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/GreyLevel.h"
#include "app/recognition/MarkShapes.h"

namespace Tessary::PunctuationWidth {

namespace {

using ChineseTextCleanup::hasHan;

struct Pair
{
    char16_t ascii;
    char16_t full;
};

constexpr Pair pairs[] = {
    {u',', u'，'}, {u'.', u'。'}, {u':', u'：'}, {u';', u'；'},
    {u'!', u'！'}, {u'?', u'？'}, {u'(', u'（'}, {u')', u'）'},
};

const Pair *pairOf(QChar c)
{
    for (const Pair &pair : pairs) {
        if (c.unicode() == pair.ascii || c.unicode() == pair.full) {
            return &pair;
        }
    }
    return nullptr;
}

struct Run
{
    int start;
    int end; // inclusive
};

bool hanBeside(const QString &text, qsizetype at)
{
    for (qsizetype i = at - 1; i >= 0; --i) {
        if (!text.at(i).isSpace()) {
            if (ChineseTextCleanup::isHan(text.at(i).unicode())) {
                return true;
            }
            break;
        }
    }
    for (qsizetype i = at + 1; i < text.size(); ++i) {
        if (!text.at(i).isSpace()) {
            return ChineseTextCleanup::isHan(text.at(i).unicode());
        }
    }
    return false;
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

/** 「」『』: drawn by the CJK font, each at the inner side of its own cell. */
bool isCornerBracket(QChar c)
{
    return c.unicode() >= 0x300c && c.unicode() <= 0x300f;
}

bool isLatinLetter(QChar c)
{
    return c.unicode() < 0x80 && c.isLetter();
}

/** A sign in a line with Chinese, or a letter at a Latin word's edge beside it: what a corner bracket is read as. */
bool mayBeCorner(const QString &text, qsizetype at)
{
    const QChar c = text.at(at);
    if (isLatinLetter(c)) {
        const qsizetype before = neighbour(text, at, -1), after = neighbour(text, at, 1);
        const auto chineseAt = [&](qsizetype k) { return k >= 0 && ChineseTextCleanup::isCjk(text.at(k).unicode()); };
        return chineseAt(before) || chineseAt(after);
    }
    return !c.isSpace() && !c.isNumber() && !ChineseTextCleanup::isHan(c.unicode()) && hasHan(text);
}

bool isDigit(QChar c)
{
    return (c >= u'0' && c <= u'9') || (c.unicode() >= 0xff10 && c.unicode() <= 0xff19);
}

QChar asciiDigit(QChar c)
{
    return c.unicode() >= 0xff10 ? QChar(c.unicode() - 0xff10 + u'0') : c;
}

/**
 * Full-width digits stand one to an ideograph cell, ordinary ones at about half that pitch: a run of two or more
 * digits takes the width its spacing shows (full width only in a line with Chinese in it). A hyphen between two
 * full-width digits that are two cells apart is a full-width one too.
 */
void settleDigits(QString &text, const QList<float> &centres, double cell, bool chinese)
{
    for (qsizetype i = 0; i < text.size();) {
        if (!isDigit(text.at(i))) {
            ++i;
            continue;
        }
        QList<qsizetype> digits;
        qsizetype end = i;
        while (end < text.size() && (isDigit(text.at(end)) || text.at(end) == u' ')) {
            if (isDigit(text.at(end))) {
                digits.append(end);
            }
            ++end;
        }
        if (digits.size() >= 2) {
            const double pitch = (centres[digits.last()] - centres[digits.first()]) / double(digits.size() - 1);
            for (const qsizetype d : digits) {
                if (pitch > 0.8 * cell && chinese) {
                    text[d] = QChar(asciiDigit(text.at(d)).unicode() - u'0' + 0xff10);
                } else if (pitch < 0.7 * cell) {
                    text[d] = asciiDigit(text.at(d));
                }
            }
        }
        i = end;
    }
    auto wideDigitAt = [&](qsizetype at, int step) -> qsizetype {
        for (at += step; at >= 0 && at < text.size() && text.at(at).isSpace(); at += step) {
        }
        return at >= 0 && at < text.size() && text.at(at).unicode() >= 0xff10 && text.at(at).unicode() <= 0xff19 ? at
                                                                                                                 : -1;
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) != u'-' && text.at(i) != u'\uff0d') {
            continue;
        }
        const qsizetype before = wideDigitAt(i, -1), after = wideDigitAt(i, 1);
        if (before >= 0 && after >= 0) {
            text[i] = centres[after] - centres[before] > 1.6 * cell ? QChar(0xff0d) : QChar(u'-');
        }
    }
}

/** The run of ink nearest to x, if one is within distance; runs.size() if none. */
size_t nearestRun(const std::vector<Run> &runs, double x, double distance)
{
    size_t nearest = runs.size();
    for (size_t r = 0; r < runs.size(); ++r) {
        const double d = x < runs[r].start ? runs[r].start - x : (x > runs[r].end ? x - runs[r].end : 0);
        if (d <= distance) {
            distance = d;
            nearest = r;
        }
    }
    return nearest;
}

/** How a mark's width was told: not at all, from the readers' rough places of its neighbours, from its own ink. */
enum class Evidence { None, Places, Ink };

/**
 * Brackets come in pairs of one width. A bracket at either end of the line cannot be measured (there is no ink on
 * one side); it takes the width of its partner when that one could be. Where the two were told apart, the one told
 * from its ink decides.
 */
void matchBrackets(QString &text, const std::vector<Evidence> &judged)
{
    QList<qsizetype> open;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == u'(' || c == u'\uff08') {
            open.append(i);
        } else if ((c == u')' || c == u'\uff09') && !open.isEmpty()) {
            const qsizetype o = open.takeLast();
            const bool wide = text.at(o) == u'\uff08';
            // An ASCII bracket with no Chinese on either side (`$(user.display)`) could not have been full-width:
            // its partner is ASCII as well.
            const bool latinOpen = !wide && !hanBeside(text, o), latinClose = c == u')' && !hanBeside(text, i);
            if (judged[size_t(o)] > judged[size_t(i)] || (latinOpen && judged[size_t(o)] == judged[size_t(i)])) {
                text[i] = wide ? QChar(0xff09) : QChar(u')');
            } else if (judged[size_t(i)] > judged[size_t(o)] ||
                       (latinClose && judged[size_t(o)] == judged[size_t(i)])) {
                text[o] = c == u'\uff09' ? QChar(0xff08) : QChar(u'(');
            }
        }
    }
}

/**
 * At small sizes readers take a full-width opening bracket for 〈 (`从 0〈左对齐）`): one with no 〉 after it whose
 * closing bracket follows is an opening bracket.
 */
void pairAngleBrackets(QString &text)
{
    for (qsizetype i = text.indexOf(u'〈'); i >= 0; i = text.indexOf(u'〈', i + 1)) {
        qsizetype close = i + 1;
        while (close < text.size() && !QStringView(u")）〈〉").contains(text.at(close))) {
            ++close;
        }
        if (close < text.size() && (text.at(close) == u')' || text.at(close) == u'）')) {
            text[i] = QChar(0xff08);
        }
    }
}

/**
 * The columns holding ink, in runs. At small sizes a mark's anti-aliased edge touches its neighbour's: where a run
 * wider than a mark (narrowest) fades to under half the line's usual strength between two stronger columns, it is
 * two runs. A mark alone stays whole: the thin top and bottom of a ring (。) fade as much.
 */
std::vector<Run> inkRuns(const std::vector<int> &contrast, int inkContrast, double narrowest)
{
    std::vector<int> strengths;
    for (const int c : contrast) {
        if (c > inkContrast) {
            strengths.push_back(c);
        }
    }
    if (strengths.empty()) {
        return {};
    }
    std::nth_element(strengths.begin(), strengths.begin() + long(strengths.size() / 2), strengths.end());
    const int faint = strengths[strengths.size() / 2] / 2;
    std::vector<Run> runs;
    const int width = int(contrast.size());
    for (int x = 0; x < width; ++x) {
        if (contrast[size_t(x)] <= inkContrast) {
            continue;
        }
        int end = x;
        while (end + 1 < width && contrast[size_t(end + 1)] > inkContrast) {
            ++end;
        }
        int start = x;
        for (int c = x; c <= end && end - x + 1 > narrowest; ++c) {
            if (contrast[size_t(c)] >= faint || c == end) {
                continue;
            }
            int last = c;
            while (last < end && contrast[size_t(last + 1)] < faint) {
                ++last;
            }
            const bool strongBefore = *std::max_element(contrast.begin() + start, contrast.begin() + c) >= faint;
            if (strongBefore && last < end) {
                runs.push_back({start, c - 1});
                start = last + 1;
            }
            c = last;
        }
        runs.push_back({start, end});
        x = end;
    }
    return runs;
}

} // namespace

QString settle(const QString &read, const QList<float> &centres, const QImage &source, int background)
{
    if (centres.size() != read.size() || source.isNull()) {
        return read;
    }
    QString text = read;
    pairAngleBrackets(text);
    const QImage crop = source.convertToFormat(QImage::Format_RGB888);
    std::vector<int> contrast(size_t(crop.width()), 0); // the strongest ink of each column
    std::vector<int> inkTop(size_t(crop.width()), crop.height()), inkBottom(size_t(crop.width()), -1);
    int top = crop.height(), bottom = -1;
    for (int y = 0; y < crop.height(); ++y) {
        const uchar *row = crop.constScanLine(y);
        bool any = false;
        for (int x = 0; x < crop.width(); ++x) {
            const int ink = std::abs(greyAt(row, x) - background);
            contrast[size_t(x)] = std::max(contrast[size_t(x)], ink);
            if (ink > inkContrast) {
                inkTop[size_t(x)] = std::min(inkTop[size_t(x)], y);
                inkBottom[size_t(x)] = y;
                any = true;
            }
        }
        if (any) {
            top = std::min(top, y);
            bottom = y;
        }
    }
    if (bottom < top) {
        return text;
    }
    // Chinese characters stand one to a cell, so the usual distance between two neighbouring ones is the cell's
    // width. Without enough of them: Chinese glyphs fill about nine tenths of their cell's height (brackets and
    // descenders reach further, which makes this estimate larger).
    const double fromHeight = (bottom - top + 1) / 0.9;
    std::vector<double> steps;
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        const double step = centres[i + 1] - centres[i];
        // Neighbours with a word space between them are further apart.
        if (ChineseTextCleanup::isHan(text.at(i).unicode()) && ChineseTextCleanup::isHan(text.at(i + 1).unicode()) &&
            step > 0.6 * fromHeight && step < 1.2 * fromHeight) {
            steps.push_back(step);
        }
    }
    double cell = fromHeight;
    if (steps.size() >= 3) {
        std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
        cell = steps[steps.size() / 2];
    }
    const std::vector<Run> runs = inkRuns(contrast, inkContrast, 0.5 * cell);
    // The run of ink at (or nearest to) where the reader saw the mark. Readers place a mark up to half a cell
    // after its ink, onto the next character: a run as narrow as a mark a little before that place is taken first.
    const auto runOf = [&](qsizetype at) {
        const double x = centres[at];
        size_t nearest = runs.size();
        double distance = 0.35 * cell, narrowDistance = 0.6 * cell;
        for (size_t r = 0; r < runs.size(); ++r) {
            const double d = x < runs[r].start ? runs[r].start - x : (x > runs[r].end ? x - runs[r].end : 0);
            if (runs[r].end - runs[r].start + 1 <= 0.5 * cell && runs[r].start <= x && d <= narrowDistance) {
                narrowDistance = d;
                distance = -1;
                nearest = r;
            } else if (d <= distance) {
                distance = d;
                nearest = r;
            }
        }
        return nearest;
    };
    // Corner brackets drawn small come back as `[`, `(`, `J`, `，` or a letter of the Latin word they enclose. A sign
    // in a line with Chinese, or a letter at a Latin word's edge, whose ink is a corner bracket's is one: 「 hangs from
    // the top of the line, 」 stands on its foot, both about half a cell high (a mark is lower, a bracket reaches from
    // the top of the line to its bottom).
    const auto cornerIn = [&](int start, int end) {
        const int markTop = *std::min_element(inkTop.begin() + start, inkTop.begin() + end + 1);
        const int markBottom = *std::max_element(inkBottom.begin() + start, inkBottom.begin() + end + 1);
        const QChar corner = MarkShapes::cornerOf(crop, start, end, markTop, markBottom, background);
        const int height = markBottom - markTop + 1;
        const bool placed =
            (corner == u'「' && markTop <= top + 0.15 * cell) || (corner == u'」' && markBottom >= bottom - 0.3 * cell);
        return height >= 0.45 * cell && height <= 0.8 * cell && placed ? corner : QChar();
    };
    // A Latin word's edge letter is one only with its partner in the line (`Torangej` for 「orange」): a J or j
    // beside Chinese (使用Java) has a corner bracket's shape too.
    std::vector<std::pair<qsizetype, QChar>> letters;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!mayBeCorner(text, i)) {
            continue;
        }
        const qsizetype previous = neighbour(text, i, -1), next = neighbour(text, i, 1);
        const auto hanAt = [&](qsizetype at) { return at >= 0 && ChineseTextCleanup::isHan(text.at(at).unicode()); };
        // The ink nearest to where it was read, or a mark's placed up to half a cell late.
        for (size_t r : {nearestRun(runs, centres[i], 0.35 * cell), runOf(i)}) {
            // Placed late onto the ink of the mark after it (`「右,、` for 「右」、): its own is the run before. Nor is
            // it a bracket's whose ink a corner bracket or a sign beside it was read from (`「「` for `(「`).
            const bool sharedAfter =
                r < runs.size() && next >= 0 && !hanAt(next) && nearestRun(runs, centres[next], 0.35 * cell) == r;
            if (sharedAfter && !isCornerBracket(text.at(next)) && r > 0) {
                --r;
            } else if (sharedAfter) {
                continue;
            }
            if (r == runs.size() ||
                (previous >= 0 && !hanAt(previous) && nearestRun(runs, centres[previous], 0.35 * cell) == r)) {
                continue;
            }
            // A sign's ink touching the character inside it (at small sizes) is looked for at that end of the run.
            const Run run = runs[r];
            const int width = int(std::lround(0.3 * cell));
            const bool wide = run.end - run.start + 1 > 0.5 * cell, sign = !isLatinLetter(text.at(i));
            QChar corner = wide ? QChar() : cornerIn(run.start, run.end);
            const auto inside = [&](qsizetype at) { return at >= 0 && !isCornerBracket(text.at(at)); };
            if (wide && sign && centres[i] < run.start + 0.35 * cell && inside(next)) {
                corner = cornerIn(run.start, run.start + width - 1) == u'「' ? QChar(u'「') : QChar();
            } else if (wide && sign && centres[i] > run.end - 0.35 * cell && inside(previous)) {
                corner = cornerIn(run.end - width + 1, run.end) == u'」' ? QChar(u'」') : QChar();
            }
            // A corner bracket never stands beside another of its kind (`「「`, `」」`): that one was read from this
            // ink.
            const bool doubled =
                (previous >= 0 && text.at(previous) == corner) || (next >= 0 && text.at(next) == corner);
            if (!corner.isNull() && !doubled) {
                if (sign) {
                    text[i] = corner;
                } else {
                    letters.push_back({i, corner});
                }
                break;
            }
        }
    }
    QString paired = text;
    for (const auto &[at, corner] : letters) {
        paired[at] = corner;
    }
    for (const auto &[at, corner] : letters) {
        const int step = corner == u'「' ? 1 : -1;
        qsizetype k = at + step;
        while (k >= 0 && k < paired.size() && !isCornerBracket(paired.at(k))) {
            k += step;
        }
        if (k >= 0 && k < paired.size() && paired.at(k) == (step > 0 ? u'」' : u'「')) {
            text[at] = corner;
        }
    }
    QString settled = text;
    std::vector<Evidence> judged(size_t(text.size()), Evidence::None);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const Pair *pair = pairOf(text.at(i));
        if (pair == nullptr) {
            continue;
        }
        size_t nearest = runOf(i);
        // Two marks in a row (`)。`, `），`): placed late, the first lands on the second's ink, and the room around
        // that would be the second's. The first then has the narrow run just before it.
        const qsizetype next = neighbour(text, i, 1);
        // So is a mark placed late onto the ink of the character after it (`误，p` read on the `p`): when that
        // character's place falls on the same run, and the run before is narrow and not the previous character's (a
        // Chinese character's ink is not that narrow; the readers' places of all three fall late).
        const qsizetype previous = neighbour(text, i, -1);
        const bool onNeighbour =
            nearest != runs.size() && nearest > 0 && runs[nearest].end - runs[nearest].start + 1 > 0.5 * cell &&
            (previous < 0 || ChineseTextCleanup::isHan(text.at(previous).unicode()) || runOf(previous) != nearest - 1);
        if (nearest != runs.size() && nearest > 0 && next >= 0 &&
            ((next == i + 1 && pairOf(text.at(next)) != nullptr) || onNeighbour) && runOf(next) == nearest &&
            runs[nearest - 1].end - runs[nearest - 1].start + 1 <= 0.5 * cell &&
            centres[i] - runs[nearest - 1].end <= cell) {
            --nearest;
        }
        // A bracket outside a corner bracket (`」(`, `)「`) placed on the corner bracket's ink: its own is the next
        // run.
        const bool opening = pair->ascii == u'(';
        const qsizetype outside = neighbour(text, i, opening ? -1 : 1);
        const bool besideCorner = (opening || pair->ascii == u')') && outside >= 0 && isCornerBracket(text.at(outside));
        if (besideCorner && nearest != runs.size() && runOf(outside) == nearest) {
            const size_t inner = opening ? nearest + 1 : nearest - 1;
            if (inner < runs.size() && runs[inner].end - runs[inner].start + 1 <= 0.5 * cell) {
                nearest = inner;
            }
        }
        // Traditional fonts centre a comma in its cell as they centre the full stop, and readers take the one for
        // the other: a mark read as 。 beside Chinese whose ink, a blob standing alone, is a comma (taller than wide,
        // its tail to the left) is one.
        if (text.at(i) == u'。' && nearest != runs.size() && hanBeside(text, i)) {
            const Run run = runs[nearest];
            const bool alone = (run.start == 0 || contrast[size_t(run.start - 1)] <= inkContrast) &&
                               (run.end + 1 == crop.width() || contrast[size_t(run.end + 1)] <= inkContrast);
            const int markTop = *std::min_element(inkTop.begin() + run.start, inkTop.begin() + run.end + 1);
            const int markBottom = *std::max_element(inkBottom.begin() + run.start, inkBottom.begin() + run.end + 1);
            if (alone && run.end - run.start + 1 <= 0.3 * cell && markBottom - markTop + 1 <= 0.45 * cell &&
                MarkShapes::markOf(crop, run.start, run.end, markTop, markBottom, background) == u'，') {
                text[i] = settled[i] = QChar(u'，');
                pair = pairOf(text.at(i));
            }
        }
        // A full stop is a dot as high as it is wide, a fifth of a cell at most, low in the line; a comma's tail
        // reaches down past it, a full-width full stop is a ring (in some fonts no larger than the dot). Readers take
        // the small dot for a comma, and with a space after it for a full-width mark. Latin commas are as small: only
        // marks beside Chinese are looked at.
        if (nearest != runs.size() && text.at(i) != u'.' && (pair->ascii == u',' || pair->ascii == u'.') &&
            hanBeside(text, i)) {
            // The whole of the mark's ink: a ring's thin top and bottom may have cut it in two.
            Run run = runs[nearest];
            while (run.start > 0 && contrast[size_t(run.start - 1)] > inkContrast) {
                --run.start;
            }
            while (run.end + 1 < crop.width() && contrast[size_t(run.end + 1)] > inkContrast) {
                ++run.end;
            }
            const int width = run.end - run.start + 1;
            const int markTop = *std::min_element(inkTop.begin() + run.start, inkTop.begin() + run.end + 1);
            const int markBottom = *std::max_element(inkBottom.begin() + run.start, inkBottom.begin() + run.end + 1);
            const int height = markBottom - markTop + 1;
            const bool filled =
                std::abs(greyAt(crop.constScanLine((markTop + markBottom) / 2), (run.start + run.end) / 2) -
                         background) > inkContrast;
            if (filled && width <= 0.2 * cell && height <= 0.25 * cell && height <= width + 1 &&
                markTop > top + 0.6 * (bottom - top)) {
                settled[i] = u'.';
                judged[size_t(i)] = Evidence::Ink;
                continue;
            }
        }
        bool full = false;
        Evidence evidence = Evidence::Ink;
        if (nearest != runs.size() && nearest != 0 && nearest + 1 != runs.size() &&
            runs[nearest].end - runs[nearest].start + 1 <= 0.5 * cell) {
            // The room between the neighbours' ink holds the mark's whole cell and the neighbours' side bearings.
            const int room = runs[nearest + 1].start - runs[nearest - 1].end - 1;
            full = room > fullWidthRoom * cell;
            // A full-width bracket stands at the inner side of its cell, leaving most of the cell empty outside it; an
            // ASCII one has a word space there at most. That gap tells them apart more surely than the whole room,
            // whose bracket and inner gap differ from font to font. Beside a mark, the mark's own empty half would
            // count.
            // A corner bracket stands in a full cell too, its outer half empty: that half is part of the gap.
            if ((opening || pair->ascii == u')') && outside >= 0 &&
                (text.at(outside).isLetterOrNumber() || besideCorner)) {
                const int gap = opening ? runs[nearest].start - runs[nearest - 1].end - 1
                                        : runs[nearest + 1].start - runs[nearest].end - 1;
                full = gap > (besideCorner ? fullWidthGapBesideCorner : fullWidthBracketGap) * cell;
            }
        } else if (nearest != runs.size() && nearest != 0 && nearest + 1 == runs.size() &&
                   QStringView(u",.:;?!").contains(QChar(pair->ascii)) && neighbour(text, i, 1) < 0 &&
                   runs[nearest].end - runs[nearest].start + 1 <= 0.5 * cell) {
            // At the line's end only the room before the mark shows. Traditional fonts centre a full-width mark in
            // its cell, so a third of a cell stands empty before it; an ASCII mark stands close after the character
            // before it. Simplified fonts put theirs at the left of the cell, as close as an ASCII one: left as read.
            if (runs[nearest].start - runs[nearest - 1].end - 1 <= fullWidthEndGap * cell) {
                continue;
            }
            full = true;
        } else {
            // The mark's ink touches a neighbour's (small sizes) or was not found: the reader's positions of the
            // characters on either side are two cells apart around a full-width mark, one and a half around an
            // ASCII one with its space. Readers place characters only roughly, so only a clear distance counts.
            const qsizetype before = neighbour(text, i, -1), after = neighbour(text, i, 1);
            if (before < 0 || after < 0) {
                continue;
            }
            const double distance = centres[after] - centres[before];
            evidence = Evidence::Places;
            if (distance > 1.7 * cell) {
                full = true;
            } else if (distance >= 1.25 * cell) {
                continue;
            }
        }
        if (full && text.at(i).unicode() == pair->ascii && hanBeside(text, i)) {
            settled[i] = QChar(pair->full);
        } else if (!full && text.at(i).unicode() == pair->full) {
            settled[i] = QChar(pair->ascii);
        }
        judged[size_t(i)] = evidence;
    }
    settleDigits(settled, centres, cell, hasHan(text));
    matchBrackets(settled, judged);
    return settled;
}

void matchBracketsAcrossLines(QStringList &lines)
{
    struct Place
    {
        qsizetype line;
        qsizetype at;
        bool measured;
    };
    const auto measured = [&](qsizetype line, qsizetype at) {
        return neighbour(lines[line], at, -1) >= 0 && neighbour(lines[line], at, 1) >= 0;
    };
    QList<Place> open;
    for (qsizetype l = 0; l < lines.size(); ++l) {
        for (qsizetype i = 0; i < lines[l].size(); ++i) {
            const QChar c = lines[l].at(i);
            if (c == u'(' || c == u'\uff08') {
                open.append({l, i, measured(l, i)});
                continue;
            }
            if ((c != u')' && c != u'\uff09') || open.isEmpty()) {
                continue;
            }
            const Place o = open.takeLast();
            const bool wide = lines[o.line].at(o.at) == u'\uff08';
            if (o.line == l || o.measured == measured(l, i) || wide == (c == u'\uff09')) {
                continue;
            }
            // The measured one decides; full width only in a line with Chinese in it.
            const bool full = o.measured ? wide : c == u'\uff09';
            const qsizetype line = o.measured ? l : o.line, at = o.measured ? i : o.at;
            if (!full || hasHan(lines[line])) {
                lines[line][at] =
                    o.measured ? (full ? QChar(0xff09) : QChar(u')')) : (full ? QChar(0xff08) : QChar(u'('));
            }
        }
    }
}

} // namespace Tessary::PunctuationWidth
