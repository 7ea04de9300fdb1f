#pragma once

#include <QtGlobal>

class QColor;
class QImage;

namespace Tessary {

/**
 * Turns a bitmap icon drawn in one dominant colour into the same icon in another accent colour, for hosts whose
 * icon artwork is a bitmap (it serves as their NativeAppAppearance icon builder).
 *
 * Pixels whose hue lies within 0.24 of a turn of the dominant hue move to the target colour's hue, keeping 18 % of
 * their own deviation, their shading (value) and their transparency. Nearly transparent pixels (alpha ≤ 0.01),
 * near-greys (saturation ≤ 0.18) and pixels of clearly different hues are left exactly as they were.
 *
 * Pure functions; safe on any thread.
 */
namespace NativeIconRecoloring {

/**
 * The icon recoloured, as a size × size image (RGBA, premultiplied). image is scaled into the whole square with
 * smooth (area-averaging) interpolation first. baseHue is the icon's dominant hue on a 0 to 1 scale, chosen by the
 * caller. On any failure (a null image, a size below 1 or too large to allocate) the source image comes back
 * unchanged; the size is checked before any memory is taken.
 */
QImage replacingDominantHue(const QImage &image, double baseHue, const QColor &color, int size);

/**
 * The per-pixel step on a raw buffer of pixelCount pixels, 4 bytes each in the order red, green, blue, alpha, with
 * the colour premultiplied by alpha. Rewrites the buffer in place; allocates nothing.
 */
void recolorPremultipliedRgba(uchar *pixels, qsizetype pixelCount, double baseHue, const QColor &color);

} // namespace NativeIconRecoloring

} // namespace Tessary
