#pragma once

#include <QtGlobal>

namespace Tessary {

/** Grey levels between ink and background; anti-aliased edges below this count as background. */
constexpr int inkContrast = 48;

/** The grey level (0 to 255) of an RGB888 pixel, its channels weighed as the eye weighs them. */
inline int greyOf(const uchar *pixel)
{
    return (299 * pixel[0] + 587 * pixel[1] + 114 * pixel[2]) / 1000;
}

/** The grey level of pixel x of an RGB888 row. */
inline int greyAt(const uchar *row, int x)
{
    return greyOf(row + 3 * x);
}

} // namespace Tessary
