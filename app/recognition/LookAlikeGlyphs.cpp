#include "app/recognition/LookAlikeGlyphs.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/recognition/GreyLevel.h"
#include "app/recognition/LineIndentation.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/MonospaceSpacing.h"

namespace Tessary::LookAlikeGlyphs {

namespace {

/** Ink this much lighter than the glyph's darkest is anti-aliasing or compression noise. */
constexpr double faint = 0.2;

/** How far (in pixels of full ink, per row) the foot must reach beyond the stem to count, and how little not to. */
constexpr double reaches = 0.5;
constexpr double bare = 0.2;

/**
 * How far, in cells, an l's tail reaches beyond its stem at most, and an L's bar at least (both measured in DejaVu Sans
 * Mono and Noto Sans Mono CJK from 12 to 18 px, drawn unhinted: tails 0.21-0.34, bars 0.41-0.72).
 */
constexpr double shortFoot = 0.36;
constexpr double longFoot = 0.40;

/** Below this cell width (in pixels) a bar and a tail are a pixel or two long and blurred alike. */
constexpr double footCell = 6.5;

/**
 * The cell of the character at index i of a positioned line, one cell wide around its stem: the heaviest column of
 * ink within half a cell of where the engine placed it, which can be a few pixels off.
 */
QRect cellAt(const QImage &image, const PassLine &line, qsizetype i, double cell, int background)
{
    const QRect box = line.box.intersected(image.rect());
    const auto inkOf = [&](int x) {
        double ink = 0;
        for (int y = box.top(); x >= box.left() && x <= box.right() && y <= box.bottom(); ++y) {
            const uchar *pixel = image.constScanLine(y) + 3 * x;
            ink += std::abs(greyOf(pixel) - background);
        }
        return ink;
    };
    double middle = line.centres[i];
    double heaviest = 0;
    for (int x = int(std::floor(line.centres[i] - cell / 2)); x <= int(std::ceil(line.centres[i] + cell / 2)); ++x) {
        const double ink = inkOf(x);
        if (ink > heaviest) {
            heaviest = ink;
            // A stem between two columns of pixels lies where their ink balances.
            const double left = inkOf(x - 1);
            const double right = inkOf(x + 1);
            middle = x + 0.5 + (right - left) / (left + ink + right);
        }
    }
    return QRect(int(std::lround(middle - cell / 2)), line.box.top(), int(std::lround(cell)), line.box.height());
}

/** Beside these a "1" is surely a digit and an "l" surely a letter; a look-alike beside its twin says nothing. */
bool isDigit(QChar c)
{
    return c >= u'0' && c <= u'9' && c != u'1';
}

bool isLetter(QChar c)
{
    return ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z')) && c != u'l' && c != u'I' && c != u'L';
}

} // namespace

Stroke strokeIn(const QImage &image, const QRect &cell, int baseline, int background, double *footReach)
{
    const QRect area = cell.intersected(image.rect());
    const int width = area.width();
    const int height = area.height();
    if (width < 3 || height < 6) {
        return Stroke::Unknown;
    }
    std::vector<double> ink(size_t(width * height));
    int darkest = 0;
    for (int y = 0; y < height; ++y) {
        const uchar *row = image.constScanLine(area.top() + y) + 3 * area.left();
        for (int x = 0; x < width; ++x) {
            const uchar *pixel = row + 3 * x;
            const int contrast = std::abs(greyOf(pixel) - background);
            ink[size_t(y * width + x)] = contrast;
            darkest = std::max(darkest, contrast);
        }
    }
    if (darkest < 24) {
        return Stroke::Unknown;
    }
    for (double &value : ink) {
        value /= darkest;
        value = value < faint ? 0 : value;
    }
    const auto at = [&](int x, int y) { return ink[size_t(y * width + x)]; };
    // The glyph's rows; a row below the baseline whose ink runs through the whole cell is an underscore's, not the
    // glyph's.
    std::vector<int> rows;
    for (int y = 0; y < height; ++y) {
        double sum = 0;
        for (int x = 0; x < width; ++x) {
            sum += at(x, y);
        }
        const bool through = at(0, y) > 0 && at(width - 1, y) > 0 && (baseline < 0 || area.top() + y > baseline);
        if (sum >= 0.3 && !through) {
            rows.push_back(y);
        }
    }
    if (rows.size() < 6) {
        return Stroke::Unknown;
    }
    const int top = rows.front();
    const int bottom = rows.back();
    const int glyph = bottom - top + 1;
    // The stem: the columns that carry the ink of the middle rows.
    const int middleTop = top + int(0.35 * glyph);
    const int middleBottom = bottom - int(0.35 * glyph);
    std::vector<double> middle(size_t(width), 0);
    for (int x = 0; x < width; ++x) {
        for (int y = middleTop; y <= middleBottom; ++y) {
            middle[size_t(x)] += at(x, y);
        }
        middle[size_t(x)] /= middleBottom - middleTop + 1;
    }
    const int stem = int(std::max_element(middle.cbegin(), middle.cend()) - middle.cbegin());
    int stemLeft = stem;
    int stemRight = stem;
    while (stemLeft > 0 && middle[size_t(stemLeft - 1)] > 0) {
        --stemLeft;
    }
    while (stemRight + 1 < width && middle[size_t(stemRight + 1)] > 0) {
        ++stemRight;
    }
    // What the lowest and the highest rows of the glyph hold beyond the stem on either side.
    const int band = std::max(1, int(std::lround(0.15 * glyph)));
    // Only ink joined to the stem counts: a neighbour's stroke the cell takes in stands apart.
    const auto beyond = [&](int firstRow, bool toTheLeft) {
        double sum = 0;
        for (int y = firstRow; y < firstRow + band; ++y) {
            for (int x = toTheLeft ? stemLeft - 1 : stemRight + 1; x >= 0 && x < width && at(x, y) > 0;
                 x += toTheLeft ? -1 : 1) {
                sum += at(x, y);
            }
        }
        return sum / band;
    };
    if (footReach) {
        // The foot followed to its end, past the cell if need be: an L's bar runs on towards the next glyph.
        *footReach = 0;
        for (int y = bottom - band + 1; y <= bottom; ++y) {
            const uchar *row = image.constScanLine(area.top() + y);
            double length = 0;
            for (int x = area.left() + stemRight + 1; x < image.width(); ++x) {
                const double share = std::abs(greyOf(row + 3 * x) - background) / double(darkest);
                if (share < faint) {
                    break;
                }
                length += std::min(1.0, share);
            }
            *footReach = std::max(*footReach, length);
        }
    }
    const double footLeft = beyond(bottom - band + 1, true);
    const double footRight = beyond(bottom - band + 1, false);
    const double topLeft = beyond(top, true);
    const double topRight = beyond(top, false);
    // A capital I has bars on both sides at the top too.
    if (footLeft >= reaches && footRight >= reaches && topRight <= bare) {
        return Stroke::One;
    }
    if (footRight < reaches || footLeft > bare) {
        return Stroke::Unknown;
    }
    return topLeft >= reaches ? Stroke::Ell : topLeft <= bare ? Stroke::Corner : Stroke::Tail;
}

void straightenQuotes(QString &line)
{
    const bool doubles = line.contains(u'"');
    const bool singles = line.contains(u'\'');
    for (QChar &c : line) {
        if (doubles && (c == u'“' || c == u'”')) {
            c = u'"';
        } else if (singles && (c == u'‘' || c == u'’')) {
            c = u'\'';
        }
    }
}

void settle(const QImage &image, RecognitionPass &pass)
{
    const int background = LineRouting::backgroundGrey(image);
    const double imageCell = LineIndentation::cellOf(pass);
    if (imageCell > 0) {
        for (PassLine &line : pass.lines) {
            straightenQuotes(line.text);
        }
    }
    struct Candidate
    {
        qsizetype line, index;
        Stroke stroke;
        double reach; // of the foot beyond the stem, in cells; -1 in cells too small to tell
    };
    std::vector<Candidate> candidates;
    int serifed = 0;       // sure letters l with a serif at the top left, less those without
    bool footsTell = true; // no sure l whose foot reaches as far as an L's, nor the reverse
    for (qsizetype l = 0; l < pass.lines.size(); ++l) {
        const PassLine &line = pass.lines[l];
        if (line.centres.size() != line.text.size() || line.box.isEmpty()) {
            continue;
        }
        const double lineCell = MonospaceSpacing::cellOf(line.text, line.centres);
        const double cell = lineCell > 0 ? lineCell : imageCell;
        if (cell <= 0) {
            continue;
        }
        const QString &text = line.text;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const QChar c = text.at(i);
            if (c != u'1' && c != u'l' && c != u'L') {
                continue;
            }
            double reach = 0;
            const Stroke stroke =
                strokeIn(image, cellAt(image, line, i, cell, background), line.baseline, background, &reach);
            reach = cell >= footCell ? reach / cell : -1;
            candidates.push_back({l, i, stroke, reach});
            // The font's own sure strokes: an "l" between lower-case letters, an "L" beside a capital, a "1" beside a
            // digit. One that its shape calls otherwise shows a font whose strokes do not follow the rule; then the
            // engines' reading stands.
            const QChar before = i > 0 ? text.at(i - 1) : QChar();
            const QChar after = i + 1 < text.size() ? text.at(i + 1) : QChar();
            const bool tailed = stroke == Stroke::Ell || stroke == Stroke::Corner || stroke == Stroke::Tail;
            const bool sureEll =
                c == u'l' && isLetter(before) && isLetter(after) && before.isLower() && after.isLower();
            if ((sureEll && stroke == Stroke::One) || (c == u'1' && (isDigit(before) || isDigit(after)) && tailed) ||
                (c == u'L' && (before.isUpper() || after.isUpper()) &&
                 (stroke == Stroke::One || stroke == Stroke::Ell))) {
                return;
            }
            const bool sureCapital =
                c == u'L' && ((isLetter(before) && before.isUpper()) || (isLetter(after) && after.isUpper()));
            if (tailed && reach >= 0 && ((sureEll && reach > longFoot) || (sureCapital && reach < shortFoot))) {
                footsTell = false;
            }
            serifed += sureEll && stroke == Stroke::Ell ? 1 : sureEll && stroke == Stroke::Corner ? -1000 : 0;
        }
    }
    for (const Candidate &candidate : candidates) {
        QChar &c = pass.lines[candidate.line].text[candidate.index];
        const bool tailed = candidate.stroke != Stroke::Unknown && candidate.stroke != Stroke::One;
        if (candidate.stroke == Stroke::One && c != u'L') {
            c = u'1';
        } else if (c == u'1' && tailed) {
            // A capital L only where the font's l has its serif and this glyph has none, or its foot runs as far as
            // an L's bar where the font's l has no serif.
            c = (serifed > 0 ? candidate.stroke == Stroke::Corner : footsTell && candidate.reach > longFoot) ? u'L'
                                                                                                             : u'l';
        } else if (serifed > 0 && (candidate.stroke == Stroke::Ell || candidate.stroke == Stroke::Corner)) {
            c = candidate.stroke == Stroke::Ell ? u'l' : u'L';
        } else if (serifed <= 0 && footsTell && tailed && candidate.reach >= 0) {
            // Without a serif an l ends in a short tail beside its stem, in the middle of its cell; an L's bar
            // runs from a stem at the cell's left to its right side.
            c = candidate.reach < shortFoot ? u'l' : candidate.reach > longFoot ? u'L' : c;
        }
    }
}

} // namespace Tessary::LookAlikeGlyphs
