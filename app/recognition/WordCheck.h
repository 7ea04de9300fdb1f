#pragma once

#include <functional>

#include <QImage>
#include <QList>
#include <QStringList>

#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/ScriptChoice.h"

namespace Tessary {

/**
 * Characters of Chinese lines misread as a look-alike (資源 read as 均源, 遺漏 as 遣漏 at 12 px), mended with the
 * word dictionary Tesseract's Chinese models ship with: a reader of small print knows the word, and so does the
 * dictionary. A character that makes no word with its neighbours is replaced by another reading of it (another
 * model's, or a class the line model found nearly as likely) that does, unless its glyph plainly shows the
 * character read.
 */
namespace WordCheck {

/** The script's dictionary: true when it knows word. */
using Lookup = std::function<bool(const QString &word)>;

/** A candidate for one place in a line: the character, and whether its glyph is not plainly against it. */
using Shows = std::function<bool(qsizetype at, QChar candidate)>;

/**
 * line with a character at a place where it makes no word of 2 to 4 characters with its neighbours replaced by the
 * first of its candidates (per place of line, a string of characters, likeliest first) that makes one there and
 * that shows accepts.
 */
QString mended(const QString &line, const QStringList &candidates, const Lookup &knows, const Shows &shows);

/**
 * The chosen lines of Chinese (one per line of choice.pass, after the line model) mended in place. modelReadings
 * holds per line the line model's reading of it, or an empty one. image is the screen the pass read.
 */
void mend(const QImage &image, const ScriptChoice::Choice &choice, const QList<LineReading> &modelReadings,
          QStringList &lines);

} // namespace WordCheck

} // namespace Tessary
