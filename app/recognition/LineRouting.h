#pragma once

#include <QImage>
#include <QStringList>

#include "app/recognition/NeuralLineRecognizer.h"
#include "app/recognition/RecognitionPass.h"
#include "app/recognition/ScriptChoice.h"

namespace Tessary {

/**
 * Second opinions on the lines of a Tesseract pass. Tesseract finds the lines and reads Latin text and
 * Traditional Chinese well, but misreads much Simplified Chinese (and whole lines of it as Latin gibberish). Those
 * lines, and every line Tesseract is unsure of, are read again by the neural line model from a tight crop.
 */
namespace LineRouting {

/** Lines below this Tesseract confidence (0 to 100) are read again whatever their script. */
constexpr float unsureBelow = 75;

/**
 * A Chinese word below this confidence is read again by the line model, however sure Tesseract is of the rest of
 * its line.
 */
constexpr float unsureWordBelow = 50;

/**
 * Chinese lines of Simplified text below this confidence are read again. Above it Tesseract's Simplified models
 * read as well as the line model; below it they misread about one character in ten. This holds only when the text
 * was rightly taken for Simplified, which the passes' mean confidences tell reliably from two lines of Chinese on;
 * a single line (a label) is always read again, since the line model keeps Traditional characters better.
 */
constexpr float simplifiedUnsureBelow = 90;

using Script = Tessary::Script;

/** True when any line of the pass holds a Chinese character. */
bool hasChinese(const RecognitionPass &pass);

/**
 * The pass's lines in order, each one either as Tesseract read it or as the line model read it. image is the
 * RGB888 image the pass read. The line model writes Simplified characters: in Simplified text it reads again the
 * Chinese lines Tesseract is not sure of and every line it is unsure of; in Traditional text only the unsure lines; in
 * Latin text none.
 * A Latin line is only replaced when the line model sees Chinese in it.
 */
QStringList refinedLines(const QImage &image, const RecognitionPass &pass, Script script);

/**
 * The same with a script for every line of the pass. otherReadings holds, per line, the other Chinese pass's reading
 * of it, or nothing: a short line of Chinese characters that has one is read by the line model too, and the three
 * readings vote on its characters. modelReadings, when given, receives per line the line model's reading of it
 * (empty where it did not read the line).
 */
QStringList refinedLines(const QImage &image, const RecognitionPass &pass, const QList<Script> &scripts,
                         const QStringList &otherReadings = {}, QList<LineReading> *modelReadings = nullptr);

/**
 * A Tesseract line as it is shown: underscores and full-width marks the engine lost put back, punctuation and
 * digits at the width the screen shows, no spaces between Chinese characters.
 */
QString finishedLine(const QImage &image, const PassLine &line, int background);

/** The median grey (0 to 255) of the image's border pixels: the screen's background. */
int backgroundGrey(const QImage &image);

/**
 * The tight box of the ink inside box, with a margin of a tenth of its height on every side: the line model reads
 * best from such crops.
 */
QRect inkBox(const QImage &image, const QRect &box, int background);

/**
 * Puts a space back into text wherever the pass found a gap between two words wide enough to be one. centres
 * holds, for every UTF-16 unit of text, its x position relative to cropLeft.
 */
QString restoreWordSpaces(const QString &text, const QList<float> &centres, int cropLeft, const PassLine &line);

} // namespace LineRouting

} // namespace Tessary
