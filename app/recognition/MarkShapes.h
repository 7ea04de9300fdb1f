#pragma once

#include <QChar>
#include <QImage>

namespace Tessary {

/**
 * Tells the small marks of Chinese text (，。、) apart by the shape of their ink, which readers confuse where a font
 * centres them all in the cell.
 */
namespace MarkShapes {

/**
 * The mark a small blob of ink is, its columns start to end and rows top to bottom of an RGB888 crop: a tick whose
 * lower half stands right of its upper half is 、, a comma's tail leaves its lower half left of its head (or at
 * least makes it taller than wide), a dot or a ring stands upright and is 。.
 */
QChar markOf(const QImage &crop, int start, int end, int top, int bottom, int background);

/**
 * The corner bracket a narrow run of ink is, or a null QChar: 「 is a stroke down the left with an arm to the right at
 * its top only, 」 its turn (a stroke down the right, an arm to the left at its bottom only). `[` `]` have arms at both
 * ends, `(` `)` and commas no straight stroke down one side, `T` `J` no stroke at the side of the arm's end, 『 』 a
 * doubled stroke.
 */
QChar cornerOf(const QImage &crop, int start, int end, int top, int bottom, int background);

} // namespace MarkShapes

} // namespace Tessary
