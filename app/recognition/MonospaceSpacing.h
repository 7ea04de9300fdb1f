#pragma once

#include <QList>
#include <QString>

namespace Tessary {

/**
 * In a monospaced font every character, a space too, takes one cell of the same width. Tesseract now and then
 * writes a space where the ink only leaves a wider gap than usual, as after a parenthesis before a colon
 * ("def f(x) :"); the character positions show there is no cell for it.
 */
namespace MonospaceSpacing {

/**
 * The cell width of text when its characters stand at one regular pitch (centres in image pixels, one per UTF-16
 * unit), or 0 when they do not or the line is too short to tell.
 */
double cellOf(const QString &text, const QList<float> &centres);

/** Removes every space between two characters that stand in neighbouring cells; centres are kept in step. */
void dropSpacesWithoutRoom(QString &text, QList<float> &centres);

/**
 * Keeps one of two like characters (a letter in both cases, or a dollar sign and an S) that stand within a third of
 * a cell of each other: the engine read one glyph twice ("Xx = 1", "$Scur"). The dollar sign is kept, else the
 * first; it stands between the two. Centres are kept in step.
 */
void dropDoubledLetters(QString &text, QList<float> &centres);

} // namespace MonospaceSpacing

} // namespace Tessary
