#pragma once

#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

namespace Tessary {

/**
 * Tells full-width punctuation (，。：；！？（）) from its ASCII look-alike by the room the glyph takes on screen.
 * A full-width mark fills a whole ideograph cell, so the room between its neighbours is about as wide as a Chinese
 * character; an ASCII mark is narrow, even with a space after it. Digits are told apart the same way. The shapes alone
 * are nearly the same, which is why recognisers confuse the two.
 */
namespace PunctuationWidth {

/**
 * Returns text with the width of each punctuation mark settled from the crop the text was read from. centres
 * holds, for every UTF-16 unit of text, the x position (pixels of crop) where the reader saw it. A mark
 * becomes full-width only next to a Chinese character; marks at either end of the line are left as read, except a
 * mark (not a bracket) ending it with the room of a centred full-width one before it.
 */
QString settle(const QString &text, const QList<float> &centres, const QImage &crop, int background);

/**
 * Brackets at either end of a line cannot be measured (there is no ink on one side). One whose partner stands on
 * another line, away from its ends, takes the partner's width; lines are in reading order.
 */
void matchBracketsAcrossLines(QStringList &lines);

/**
 * The share of an ideograph cell that the room between a mark's neighbours must exceed for the mark to count as
 * full-width: a full-width mark takes a whole cell, an ASCII one with the space after it about half.
 */
constexpr double fullWidthRoom = 0.8;

/**
 * The share of a cell that must stand empty outside a bracket (before an opening one, after a closing one) for it to
 * count as full-width: a full-width bracket stands at the inner side of its cell.
 */
constexpr double fullWidthBracketGap = 0.55;

/**
 * The same beside a corner bracket (`」(`), whose own cell leaves about half a cell empty on the side of the bracket:
 * an ASCII bracket there stands 0.6-0.7 cell from the corner bracket's ink, a full-width one half a cell further.
 */
constexpr double fullWidthGapBesideCorner = 0.9;

/**
 * The share of a cell that must stand empty before a mark (not a bracket) at a line's end for it to count as
 * full-width (centred in its cell, as Traditional fonts draw it).
 */
constexpr double fullWidthEndGap = 0.3;

} // namespace PunctuationWidth

} // namespace Tessary
