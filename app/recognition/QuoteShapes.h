#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace Tessary {

/**
 * Tells curly quotes (“ ” ‘ ’) from straight ones (" ') by their shape. Chinese text quotes Latin words with curly
 * quotes, and where a Latin font draws them they are as narrow as straight ones: the readers write both as straight
 * quotes. A straight quote's strokes are upright bars; a curly one's are commas, leaning to the right, their heavy
 * end at the bottom for an opening quote and at the top for a closing one.
 */
namespace QuoteShapes {

/**
 * Writes each straight double or single quote of text whose ink is curly as the curly quote its shape shows.
 * centres holds the x position (pixels of crop) of every UTF-16 unit of text; background is the screen's grey. Only
 * lines with Chinese characters are looked at: Latin text is written with either kind.
 */
void settle(QString &text, const QList<float> &centres, const QImage &crop, int background);

} // namespace QuoteShapes

} // namespace Tessary
