#include "app/recognition/MonospaceSpacing.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/recognition/ChineseTextCleanup.h"

namespace Tessary::MonospaceSpacing {

namespace {

/** Letters and signs that share a cell grid; Chinese characters take two cells and surrogates have no centre of their
 * own. */
bool onTheGrid(QChar c)
{
    return !c.isSpace() && !c.isSurrogate() && !ChineseTextCleanup::isCjk(c.unicode());
}

} // namespace

double cellOf(const QString &text, const QList<float> &centres)
{
    if (centres.size() != text.size()) {
        return 0;
    }
    std::vector<double> steps;
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (onTheGrid(text.at(i)) && onTheGrid(text.at(i + 1))) {
            steps.push_back(centres[i + 1] - centres[i]);
        }
    }
    // Enough neighbours to see the grid: in a proportional font an "i" beside an "m" is far off the usual step.
    constexpr size_t enough = 8;
    if (steps.size() < enough) {
        return 0;
    }
    std::vector<double> sorted = steps;
    std::nth_element(sorted.begin(), sorted.begin() + long(sorted.size() / 2), sorted.end());
    const double median = sorted[sorted.size() / 2];
    if (median <= 0) {
        return 0;
    }
    const auto regular = std::count_if(steps.cbegin(), steps.cend(),
                                       [median](double step) { return std::abs(step - median) <= 0.25 * median; });
    return double(regular) >= 0.85 * double(steps.size()) ? median : 0;
}

void dropSpacesWithoutRoom(QString &text, QList<float> &centres)
{
    const double cell = cellOf(text, centres);
    if (cell <= 0) {
        return;
    }
    // Every single space between two characters, with the distance of their centres in cells.
    struct Gap
    {
        qsizetype at;
        double cells;
    };
    QList<Gap> gaps;
    for (qsizetype i = 1; i + 1 < text.size(); ++i) {
        if (text.at(i) == u' ' && onTheGrid(text.at(i - 1)) && onTheGrid(text.at(i + 1))) {
            gaps.append({i, (centres[i + 1] - centres[i - 1]) / cell});
        }
    }
    // Letters of a proportional font can stand as evenly as a grid within words, but a space there is narrower
    // than a letter; only where spaces take whole cells (their neighbours two cells apart) is the font monospaced.
    const auto whole =
        std::count_if(gaps.cbegin(), gaps.cend(), [](const Gap &gap) { return std::abs(gap.cells - 2) <= 0.25; });
    if (whole < 2) {
        return;
    }
    for (qsizetype k = gaps.size() - 1; k >= 0; --k) {
        // Neighbouring cells are one pitch apart; a space between them would make it two.
        if (gaps[k].cells < 1.5) {
            text.remove(gaps[k].at, 1);
            centres.remove(gaps[k].at, 1);
        }
    }
}

void dropDoubledLetters(QString &text, QList<float> &centres)
{
    const double cell = cellOf(text, centres);
    const auto dollar = [](QChar a, QChar b) { return a == u'$' && b.toLower() == u's'; };
    for (qsizetype i = text.size() - 1; cell > 0 && i > 0; --i) {
        const QChar first = text.at(i - 1), second = text.at(i);
        const bool like =
            (first.isLetter() && first.toLower() == second.toLower()) || dollar(first, second) || dollar(second, first);
        if (like && centres[i] - centres[i - 1] < cell / 3) {
            centres[i - 1] = (centres[i - 1] + centres[i]) / 2;
            text[i - 1] = dollar(second, first) ? second : first;
            text.remove(i, 1);
            centres.remove(i, 1);
        }
    }
}

} // namespace Tessary::MonospaceSpacing
