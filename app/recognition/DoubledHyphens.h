#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace Tessary {

/**
 * Gives back the second hyphen of a "--" the readers took for one. Command-line options are written with two
 * hyphens ("--text", "--length"); in proportional fonts at screen sizes the two short bars stand a pixel or two
 * apart, and the readers read them as one hyphen, as a dash, (blurred) as a tilde or, in lines of Chinese, as the
 * one-stroke character 一. The ink tells them apart: two bars of one width at the same height, closer together than a
 * bar is long, with nothing above or below them.
 */
namespace DoubledHyphens {

/**
 * Writes each hyphen, dash, tilde or 一 of text whose ink is two such bars as "--" (the stroke of 一 is one bar).
 * centres holds the x position (pixels of crop) of every UTF-16 unit of text and is kept in step; background is the
 * screen's grey. A hyphen with another beside it in the reading is left as read.
 */
void restore(QString &text, QList<float> &centres, const QImage &crop, int background);

} // namespace DoubledHyphens

} // namespace Tessary
