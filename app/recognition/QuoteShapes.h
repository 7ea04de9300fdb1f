#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace Tessary {

/**
 * Tells curly quotes (“ ” ‘ ’) from straight ones (" ') by their shape. Chinese text quotes Latin words with curly
 * quotes, and where a Latin font draws them they are as narrow as straight ones: the readers write both as straight
 * quotes. A straight quote's strokes are upright bars; a curly one's are commas, leaning to the right, their heavy
 * end at the bottom for an opening quote and at the top for a closing one. A backtick (`--help`, `copy') leans the
 * other way, its upper end left: the readers have no such character and drop it or write a quote or a star for it.
 * They also drop quotes beside Latin words, most often where one touches a Chinese character.
 */
namespace QuoteShapes {

/**
 * Writes each straight double or single quote of text whose ink is curly as the curly quote its shape shows, each
 * quote (or a star pairing another) whose ink is a backtick as a backtick, and puts back the quotes and backticks
 * beside Latin words no character was read from. centres holds the x position (pixels of crop) of every UTF-16 unit
 * of text and is kept in step; background is the screen's grey. Only lines with Chinese characters are looked at:
 * Latin text is written with either kind.
 */
void settle(QString &text, QList<float> &centres, const QImage &crop, int background);

} // namespace QuoteShapes

} // namespace Tessary
