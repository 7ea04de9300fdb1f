#pragma once

#include <QImage>

#include "app/recognition/ScriptChoice.h"

namespace Tessary {

/**
 * Lines no pass found. Tesseract takes a line of quote marks alone (the """ or ''' that opens a Python docstring)
 * for noise beside the lines of text around it, and the line model reads nothing there either. A band of ink
 * between, above or below the lines found that holds only short ticks at the top of a line's height is such a row
 * of two marks or more, each a character cell apart: double ones where a mark spans two ticks. The ";;" that closes a
 * shell case fares the same, or comes back as letters ("a9", ">>"): its ink is a dot over a comma in every cell. So
 * does a brace alone on its row in code ("}," read "i,", "};" read "is"): one stroke taller than the letters, pointing
 * out to one side in the middle. A lone closing quote, its two ticks run together by anti-aliasing, is such a row too;
 * other rows of a sign or two no pass found ("=:", "];") are shown to the line model at the place the lines' pitch
 * gives them and kept where it reads signs only, as many as the band has cells. A rule of "*" or "=" across a
 * comment comes back as letters ("RnRn", "SEES"): its cells of ink are all alike, and the sign is told from one.
 */
namespace MissedLines {

/** Adds the lines the passes missed to choice, in reading order. image is the screen (RGB888). */
void add(const QImage &image, ScriptChoice::Choice &choice);

/**
 * Quote marks the passes missed within a monospaced line: Tesseract reads a run of them ("""Set) as one mark. Where
 * the room around a quote mark holds more marks of its kind, a cell apart, each becomes a character of its own.
 */
void completeQuoteRuns(const QImage &image, RecognitionPass &pass);

} // namespace MissedLines

} // namespace Tessary
