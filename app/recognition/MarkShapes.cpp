#include "app/recognition/MarkShapes.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "app/recognition/GreyLevel.h"

namespace Tessary::MarkShapes {

QChar markOf(const QImage &crop, int start, int end, int top, int bottom, int background)
{
    double upperX = 0, upperInk = 0, lowerX = 0, lowerInk = 0;
    const double middle = (top + bottom) / 2.0;
    for (int y = top; y <= bottom; ++y) {
        const uchar *row = crop.constScanLine(y);
        for (int x = start; x <= end; ++x) {
            const int ink = std::max(0, std::abs(greyAt(row, x) - background) - inkContrast / 2);
            (y < middle ? upperX : lowerX) += double(ink) * x;
            (y < middle ? upperInk : lowerInk) += ink;
        }
    }
    if (upperInk <= 0 || lowerInk <= 0) {
        return QChar(u'。');
    }
    const double lean = (lowerX / lowerInk - upperX / upperInk) / double(bottom - top + 1);
    if (lean > 0.08) {
        return QChar(u'、');
    }
    // A comma is taller than wide even where its tail is too short to lean.
    return lean < -0.05 || bottom - top + 1 >= 1.4 * (end - start + 1) ? QChar(u'，') : QChar(u'。');
}

QChar cornerOf(const QImage &crop, int start, int end, int top, int bottom, int background)
{
    const int width = end - start + 1, height = bottom - top + 1;
    if (width < 3 || height < 1.3 * width) {
        return {};
    }
    // The extent of the ink in each row, measured from the side of the stroke down (left, as for 「).
    const auto rowsFrom = [&](bool fromLeft) {
        std::vector<std::pair<int, int>> rows; // nearest and furthest ink from that side, -1 where none
        for (int y = top; y <= bottom; ++y) {
            const uchar *row = crop.constScanLine(y);
            int nearest = -1, furthest = -1;
            for (int k = 0; k < width; ++k) {
                if (std::abs(greyAt(row, fromLeft ? start + k : end - k) - background) > inkContrast) {
                    nearest = nearest < 0 ? k : nearest;
                    furthest = k;
                }
            }
            rows.push_back({nearest, furthest});
        }
        return rows;
    };
    // The arm runs along the first rows from the top (「) or the last ones (」), the stroke down the rest.
    const auto corner = [&](const std::vector<std::pair<int, int>> &rows) {
        const int arm = (height + 2) / 3;
        bool armFound = false;
        for (int k = 0; k < arm; ++k) {
            armFound = armFound || (rows[size_t(k)].first >= 0 && rows[size_t(k)].first <= 0.25 * width &&
                                    rows[size_t(k)].second >= 0.7 * width);
        }
        for (int k = arm; k < height; ++k) {
            // One stroke at the side, as thin as a stroke: no second arm, no curve, no doubled stroke.
            if (rows[size_t(k)].first < 0 || rows[size_t(k)].first > 0.25 * width ||
                rows[size_t(k)].second >= 0.5 * width) {
                return false;
            }
        }
        return armFound;
    };
    auto left = rowsFrom(true);
    if (corner(left)) {
        return QChar(u'「');
    }
    auto right = rowsFrom(false);
    std::reverse(right.begin(), right.end());
    return corner(right) ? QChar(u'」') : QChar();
}

} // namespace Tessary::MarkShapes
