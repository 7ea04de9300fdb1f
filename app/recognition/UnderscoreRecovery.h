#pragma once

#include <QImage>
#include <QList>
#include <QRect>
#include <QString>

namespace Tessary {

/**
 * Puts back the underscores an engine lost. At screen sizes an underscore is a one- or two-pixel rule below the
 * baseline; Tesseract often takes it for the gap between two words ("option tuples") or reads a run of two as one
 * ("_length_hint_"). The ink settles it: a stretch of columns whose only ink is a thin rule below the baseline is a
 * run of underscores, as many as the line's character pitch fits into it. A rule that goes on under the letters
 * beside it (an underlined link) is not.
 */
namespace UnderscoreRecovery {

/** One run of underscores seen in the ink: its columns in image pixels and how many underscores it holds. */
struct Run
{
    int left = 0;
    int right = 0; // inclusive
    int count = 0;
};

/**
 * The underscore runs in the line of image (RGB888) inside box whose letters stand on baseline. pitch is the width
 * of one character; background the grey of the screen behind the text.
 */
QList<Run> findRuns(const QImage &image, const QRect &box, int baseline, double pitch, int background);

/**
 * The usual distance between neighbouring letters in text (centres in image pixels, one per UTF-16 unit), or 0 when
 * the line has too few of them to tell.
 */
double pitchOf(const QString &text, const QList<float> &centres);

/**
 * Makes text (with its centres, kept in step) hold each run's underscores: the nearest stretch of spaces and
 * underscores the engine wrote becomes that many underscores (a space stays where the gap is wider than the
 * run); where it wrote nothing, the underscores go between the two letters nearest to the run.
 */
void apply(const QList<Run> &runs, double pitch, QString &text, QList<float> &centres);

/**
 * Turns back into spaces the underscores the engine wrote where the screen shows no ink below the baseline (it
 * sometimes reads a plain gap as "_"). box and baseline as for findRuns.
 */
void dropPhantoms(const QImage &image, const QRect &box, int baseline, double pitch, int background, QString &text,
                  const QList<float> &centres);

} // namespace UnderscoreRecovery

} // namespace Tessary
