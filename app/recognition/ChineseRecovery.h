#pragma once

#include <QImage>

#include "app/recognition/ScriptChoice.h"

namespace Tessary {

/**
 * Chinese text that every Tesseract pass missed. At desktop sizes (12 to 16 px) Tesseract reads a short Chinese label
 * now and then as a few Latin letters it is unsure of, or finds no line in it at all. Such short lines, and the ink of
 * an image of one line in which no pass found any, are shown to the line model; where it reads Chinese, the line is
 * Chinese, in the script its glyphs show.
 */
namespace ChineseRecovery {

/** Latin lines below this Tesseract confidence (0 to 100) are shown to the line model. */
constexpr float unsureBelow = 75;

/** Lines wider than this many times their height are not labels and are left as they are. */
constexpr int longestLabel = 12;

/** Replaces the chosen Latin lines the line model reads as Chinese with its reading. image is the screen (RGB888). */
void recover(const QImage &image, ScriptChoice::Choice &choice);

} // namespace ChineseRecovery

} // namespace Tessary
