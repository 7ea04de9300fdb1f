#pragma once

#include <QImage>

#include "app/recognition/RecognitionPass.h"

namespace Tessary {

/**
 * The screen image brought to what the models read best, before any of them reads it: dark text on a light
 * ground, without the frame or panel edges a selection dragged a little wide takes in, with the full range of grey
 * between ink and ground; and small text scaled up for Tesseract.
 */
namespace ImagePreparation {

/** The prepared image, RGB888, at the screen's size. */
QImage prepared(const QImage &source);

/**
 * How much to scale the prepared image up for Tesseract: lines lower than about 20 pixels are brought to about 30
 * (its models read small text badly). The other stages work on the screen's pixels, which they were tuned on.
 */
double readingScale(const QImage &image);

/** The image as Tesseract reads it. */
QImage scaled(const QImage &image, double scale);

/** Brings the positions of a pass over the scaled image back to the image's own. */
void scaleBack(RecognitionPass &pass, double scale);

/**
 * The rows (or, with columns, the columns) at the image's edges that belong to a frame or panel around the text:
 * how many to cut at the start and at the end. Bands of one colour count; the inner one, next to the text, stays
 * unless it is of another grey than the text's ground and the row or column inside it (a window's edge). Concentric:
 * the k-th row from an edge is looked at between the k-th columns (the frame goes all round); otherwise whole.
 */
std::pair<int, int> edgeBands(const QImage &image, bool columns, bool concentric = true);

/** The median height of the image's lines of text, from the rows that hold ink; 0 without any. */
int lineHeight(const QImage &image);

} // namespace ImagePreparation

} // namespace Tessary
