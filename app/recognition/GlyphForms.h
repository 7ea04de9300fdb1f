#pragma once

#include <optional>

#include <QImage>

namespace Tessary::GlyphForms {

/**
 * The largest em (pixels) of text drawn at a desktop size: up to it a glyph is fitted with the forms drawn as the
 * desktop draws them, pixel for pixel; larger text is brought to one size and compared as a whole, and the models
 * read it well enough.
 */
constexpr int desktopEm = 18;

/**
 * How a glyph on the screen stands between two forms of one character (the Simplified and the Traditional one).
 * ink is the glyph and what is around it, bright on black; em the size it was drawn at, in pixels. At desktop sizes
 * the two forms are drawn as the desktop draws them, with FreeType at the em and a pixel either side, hinted fully or
 * vertically only as Qt and GTK draw text, or unhinted on a whole or a half pixel as browsers do, regular or bold, at
 * the same pen position; the glyph is fitted as a mix of the two over their
 * joint ink with the drawing that fits it best, so that only the strokes one form has and the other lacks decide.
 * Returns from -1 (the glyph is the Simplified form) to 1 (the Traditional form).
 *
 * Where no drawing fits well or the mix stays near half-way, and for larger text (brought to one size first), the whole
 * shapes are compared: the Traditional form's match minus the Simplified form's, from -2 to 2, a few hundredths either
 * way at 12 px.
 */
double traditionalShare(const QImage &ink, int em, char16_t simplifiedForm, char16_t traditionalForm);

/**
 * How a glyph at a desktop size stands between two characters, fitted as a mix of their drawings as above: from -1
 * (the first) to 1 (the second). Nothing where no drawing explains the glyph well (another font, a wrong em, a
 * character that is neither) or the text is larger.
 */
std::optional<double> fittedShare(const QImage &ink, int em, char16_t first, char16_t second);

/**
 * How well a character drawn once at the em matches the glyph at its best place (normalised correlation, up to 1): a
 * quick first look, a fraction of fittedShare's cost.
 */
double drawnMatch(const QImage &ink, int em, char16_t character);

} // namespace Tessary::GlyphForms
