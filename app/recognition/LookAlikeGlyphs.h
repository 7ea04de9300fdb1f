#pragma once

#include <QImage>
#include <QRect>

#include "app/recognition/RecognitionPass.h"

namespace Tessary {

/**
 * The strokes "1" and "l" look alike to the engines, which read a lone "l" in code ("unsigned long l") as a digit.
 * In a monospaced font they differ at the foot: a "1" stands on a bar reaching out on both sides of its stem, an "l"
 * ends in a tail to the right (and an "L", which the engines read for an "l" too, has no serif at the top). The glyph
 * on the screen decides, not the word it stands in, as long as the font's own sure strokes elsewhere in the image ("l"
 * inside a word, "1" beside a digit) show that its strokes follow that rule.
 */
namespace LookAlikeGlyphs {

/**
 * A stem on a bar reaching out on both sides (a "1"); one ending in a tail or bar to the right, with a serif at the
 * top left (an "l"), with none (an "L", or the "l" of a font without that serif), or with a top that does not tell.
 */
enum class Stroke { Unknown, One, Ell, Corner, Tail };

/**
 * What the ink of one character cell shows at its foot; baseline is the row the line's letters stand on (-1 when
 * unknown), background the screen's grey. footReach, when given, gets how far (in pixels) the foot's ink runs on to
 * the right of the stem, past the cell too.
 */
Stroke strokeIn(const QImage &image, const QRect &cell, int baseline, int background, double *footReach = nullptr);

/**
 * Typographic quotes in a line of monospaced text that holds straight ones as well, written straight: the engines
 * read the straight marks of a code font as curly now and then ("version": read “version"), and one line of code does
 * not mix the two.
 */
void straightenQuotes(QString &line);

/**
 * Writes every "1", "l" and "L" of the pass's monospaced lines as its glyph shows it; image is the RGB888 screen. An
 * "L" is told from an "l" where the font's sure letters l have a serif at the top left, or else by how far its foot
 * runs on beyond the stem (an l's tail is shorter than an L's bar). Their quotes are straightened first.
 */
void settle(const QImage &image, RecognitionPass &pass);

} // namespace LookAlikeGlyphs

} // namespace Tessary
