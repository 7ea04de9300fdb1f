#pragma once

#include <QImage>
#include <QStringList>

#include "app/recognition/ScriptChoice.h"

namespace Tessary {

/**
 * Short labels drawn at desktop sizes (12 to 16 px) read once more, alone and larger. The passes read a label among
 * whatever else the region holds, scaled by the height of all its lines; the line model lacks many Traditional
 * characters (鑰, 鎊, 鏈) and reads a look-alike in their place. Tesseract's model of the script, given only the
 * label as one line with its glyphs brought to about 40 px, reads some of those complex glyphs right (切換至鏈模型
 * at three times the screen's size, 甸 for 鏈 at twice). Its reading is a candidate only: a glyph changes where its
 * drawing does not plainly show the character read and fits the new one clearly better.
 */
namespace LargerReading {

/**
 * The chosen lines (one per line of choice.pass) with glyphs of short labels that their reading does not plainly show
 * read again as above. image is the screen the pass read, dark text on light ground.
 */
void mend(const QImage &image, const ScriptChoice::Choice &choice, QStringList &lines);

} // namespace LargerReading

} // namespace Tessary
