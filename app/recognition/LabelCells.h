#pragma once

#include <QImage>
#include <QList>
#include <QStringList>

#include "app/recognition/RecognitionPass.h"
#include "app/recognition/ScriptChoice.h"

namespace Tessary {

/**
 * The characters of a short Chinese label, counted from its ink. At 12 to 14 px every model now and then drops a
 * character of a label (鬧鐘 read as 鐘) or reads one glyph as two (法郎 as 法人郎). A line of Chinese characters is
 * a row of equal cells, one em each: the columns of its ink show how many characters it holds and where each
 * stands, whatever the models read. Where a cell has no character of the reading, the line model reads that cell
 * alone and its character is put in; where the reading has more characters than the ink has cells, the ones
 * without a cell of their own go.
 */
namespace LabelCells {

/** The cells of a line of Chinese characters: each cell's left and right column (inclusive), in image pixels. */
struct Cells
{
    QList<int> lefts;
    QList<int> rights;
    int top = 0;
    int bottom = -1;

    qsizetype count() const { return lefts.size(); }
};

/**
 * The cells of the ink in box (image RGB888, ground of the given grey), found from the columns of the ink and the
 * em the ink's height gives: the number of cells about an em wide whose parts cross the least ink. None when no
 * such number has every part crossing at most a stroke or two.
 */
Cells cellsOf(const QImage &image, const QRect &box, int background);

/**
 * lines (one per line of the choice's pass, after the line model and the vote) with the characters of short Chinese
 * labels matched to the cells of their ink: a label found as two lines side by side whose ink is one row of cells
 * made one line, a character read alone put into every cell the reading left empty, the characters of the reading
 * beyond the cells' number dropped. Lines of other kinds, and labels whose reading has as many characters as the
 * ink has cells, stay as they are.
 */
void complete(const QImage &image, ScriptChoice::Choice &choice, QStringList &lines);

} // namespace LabelCells

} // namespace Tessary
