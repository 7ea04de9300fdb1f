#pragma once

#include <QImage>

#include "app/recognition/RecognitionPass.h"

namespace Tessary {

/**
 * What a glyph's height shows in monospaced text, where the engines go by its shape alone. Letters whose capital is
 * the small letter drawn larger (c o s v w x z) are read in the wrong case now and then (a lone "x" at the start of a
 * line of code as "X"): a small letter reaches the x-height, a capital the capitals' height, both measured on the
 * same text's letters that show their case by their shape. A dollar sign is read as an S ("$cur" as "Scur"): its bar
 * reaches below the baseline, where an S stands on it. A glyph the engine read twice ("Xx", "$S") is read once first.
 */
namespace GlyphHeights {

/**
 * Settles the letters and signs above in the pass's monospaced lines; image is the RGB888 screen the pass read. A
 * glyph is measured in its own cell of the word's grid, and only where its ink stays inside that cell; a height near
 * neither of the two leaves a letter as read.
 */
void settle(const QImage &image, RecognitionPass &pass);

} // namespace GlyphHeights

} // namespace Tessary
