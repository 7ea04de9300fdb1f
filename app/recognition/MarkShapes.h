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

} // namespace MarkShapes

} // namespace Tessary
