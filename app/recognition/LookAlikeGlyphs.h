#pragma once

#include <QImage>
#include <QRect>

#include "app/recognition/RecognitionPass.h"

namespace Tessary {

/**
 * The strokes "1" and "l" look alike to the engines, which read a lone "l" in code ("unsigned long l") as a digit.
 * In a monospaced font they differ at the foot: a "1" stands on a bar reaching out on both sides of its stem, an "l"
 * ends in a tail to the right. The glyph on the screen decides, not the word it stands in, as long as the font's own
 * sure strokes elsewhere in the image ("l" inside a word, "1" beside a digit) show that its strokes follow that rule.
 */
namespace LookAlikeGlyphs {

enum class Stroke { Unknown, One, Ell };

/**
 * What the ink of one character cell shows at its foot; baseline is the row the line's letters stand on (-1 when
 * unknown), background the screen's grey.
 */
Stroke strokeIn(const QImage &image, const QRect &cell, int baseline, int background);

/** Writes every "1" and "l" of the pass's monospaced lines as its glyph shows it; image is the RGB888 screen. */
void settle(const QImage &image, RecognitionPass &pass);

} // namespace LookAlikeGlyphs

} // namespace Tessary
