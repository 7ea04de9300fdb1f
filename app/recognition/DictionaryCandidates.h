#pragma once

#include <QImage>
#include <QString>

namespace tesseract {
class TessBaseAPI;
}

namespace Tessary {

/**
 * Characters no model read, proposed by a word dictionary and decided by the glyph. At 12 to 14 px the line model
 * reads some characters as a look-alike with no runner-up (衝突 as 街突, 邏輯 as 還輯), so no reading offers the right
 * one; the dictionary knows which few characters make a word with the neighbours, and a drawing of each, fitted to
 * the glyph on the screen, tells whether the glyph is one of them.
 */
namespace DictionaryCandidates {

/**
 * The characters that make a word of 2 or 3 Chinese characters the dictionary knows with the neighbours of the
 * place at in text, before or after it or both, in the order of the code chart; never the character at the place.
 */
QString proposed(const QString &text, qsizetype at, const tesseract::TessBaseAPI &dictionary);

/**
 * How well the drawing of the character read matches the glyph (ink bright on black, drawn at about em pixels): a
 * quick first look, a normalised correlation up to 1.
 */
double readMatch(const QImage &ink, int em, QChar read);

/** True when a glyph matched by the drawing of the character read this well plainly is that character. */
bool isPlainlyRead(double readMatch);

/**
 * Of the proposals, the one whose drawing fits the glyph (ink bright on black, drawn at about em pixels) clearly
 * better than the character read; a null character when none does, or where the drawings fit the glyph poorly.
 */
QChar fittest(const QImage &ink, int em, QChar read, const QString &proposals);

} // namespace DictionaryCandidates

} // namespace Tessary
