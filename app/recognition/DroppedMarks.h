#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace Tessary {

/**
 * Puts back the full-width marks (，。、) a reader dropped from a line holding Chinese. Tesseract's Chinese models
 * lose such a mark most often where it sits between a Latin word and a Chinese one, or after a Latin word at the
 * end of a line, and now and then take it into the box of the Chinese character before it. Its ink is still there:
 * a blob smaller than a letter, with the room of a whole cell between the ink on either side.
 */
namespace DroppedMarks {

/**
 * Inserts into text (and centres, the x of every UTF-16 unit in crop pixels) each such mark that no character was
 * read from, where its room or a Chinese character placed on its ink says where it goes; lines without Chinese are
 * left as read. The shape tells which mark: a tick leaning right is 、, a tail leaning left is ，, anything
 * rounder is 。. Widths are left to PunctuationWidth, which runs after this.
 */
void restore(QString &text, QList<float> &centres, const QImage &crop, int background);

} // namespace DroppedMarks

} // namespace Tessary
