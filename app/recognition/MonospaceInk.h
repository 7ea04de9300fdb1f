#pragma once

#include <QImage>

#include "app/recognition/RecognitionPass.h"

namespace Tessary {

/**
 * The cell grid of monospaced text seen in its ink. Where a browser draws small text without hinting, the engine's
 * character positions stray a pixel or two around a cell of 6 to 8 px, too far for them to show the grid; the glyphs
 * themselves still stand in the middle of their cells.
 */
namespace MonospaceInk {

/**
 * The cell width within a tenth of near when the glyphs of the pass's lines without Chinese characters stand on a
 * cell grid (each line its own phase), or 0; image is the RGB888 image the pass read, background its grey level.
 */
double cellOf(const QImage &image, const RecognitionPass &pass, double near, int background);

} // namespace MonospaceInk

} // namespace Tessary
