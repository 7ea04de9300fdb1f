#include "app/recognition/MarkShapes.h"

#include <algorithm>
#include <cmath>

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

} // namespace Tessary::MarkShapes
