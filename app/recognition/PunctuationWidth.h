#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace Tessary {

/**
 * Tells full-width punctuation (，。：；！？（）) from its ASCII look-alike by the room the glyph takes on screen.
 * A full-width mark fills a whole ideograph cell, so together with the blank beside its ink it spans about as much
 * as a Chinese character; an ASCII mark is narrow, even with a space after it. The shapes alone are nearly the
 * same, which is why recognisers confuse the two.
 */
namespace PunctuationWidth {

/**
 * Returns text with the width of each punctuation mark settled from the crop the text was read from. centres
 * holds, for every UTF-16 unit of text, the x position (pixels of crop) where the reader saw it. A mark
 * becomes full-width only next to a Chinese character; marks at either end of the line are left as read.
 */
QString settle(const QString &text, const QList<float> &centres, const QImage &crop, int background);

/** The share of an ideograph cell that the blank around a mark must exceed for the mark to count as full-width. */
constexpr double fullWidthBlank = 0.62;

} // namespace PunctuationWidth

} // namespace Tessary
