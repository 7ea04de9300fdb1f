#pragma once

#include <QImage>
#include <QStringList>

#include "app/recognition/RecognitionPass.h"

namespace Tessary {

/**
 * Code keeps its indentation: in monospaced text every line starts on the cell grid, and how far it starts to the
 * right of the least indented line, in cells, is the number of spaces in front of it. Tesseract drops leading
 * white space; the positions of the characters, or their ink, still show it. Proportional text has no grid and stays as
 * it is.
 */
namespace LineIndentation {

/**
 * The cell width when the pass's lines are monospaced, 0 otherwise: the steps between neighbouring characters of
 * all lines are one and the same, and a space between two words takes a cell of its own.
 */
double cellOf(const RecognitionPass &pass);

/**
 * The lines (one per line of pass, as finished) with leading spaces for their indentation in monospaced text, and
 * the runs of spaces between their words as wide as the gap on the grid; image is the RGB888 image the pass read.
 */
QStringList indented(const QImage &image, const QStringList &lines, const RecognitionPass &pass);

/** The lines joined with line feeds, without blank lines at either end or white space at the end. */
QString joined(const QStringList &lines);

} // namespace LineIndentation

} // namespace Tessary
