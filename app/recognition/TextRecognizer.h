#pragma once

#include <chrono>

#include <QImage>
#include <QString>

#include "app/recognition/Recognition.h"
#include "app/recognition/RecognitionError.h"
#include "core/Result.h"

namespace Tessary {

class RecognitionStop;

/**
 * On-device recognition of screen text. Every operation is synchronous and may run on any thread; calls may overlap.
 * The image is first searched for QR codes and barcodes (CodeReading): when it holds one, the result is the content
 * of its codes and no text is read. Otherwise Tesseract finds the lines and reads them with a Simplified Chinese, a
 * Traditional Chinese and an English model, one pass each; the Chinese reading it is more confident of takes its Latin
 * words from the English one, and text without Chinese is the English reading (PassMerging). In Chinese text a neural
 * line model reads again the lines Tesseract is unsure of (LineRouting), and every line is finished from the pixels
 * (underscores, punctuation and digit widths). The result has one line per text line in reading order, joined with
 * "\n", trimmed at both ends; an image without text gives an empty string, which is not an error.
 *
 * A recognition may take timeBudget() for its image; past that, or when the caller cancels it through stop, it ends
 * at its next word or line with RecognitionError::Code::TimedOut or Cancelled.
 */
namespace TextRecognizer {

/** Recognises the image file at path (any format Qt reads; relative paths against the working directory). */
Result<Recognition, RecognitionError> recognize(const QString &path, RecognitionStop *stop = nullptr);

/** Recognises an image that is already in memory. */
Result<Recognition, RecognitionError> recognizeImage(const QImage &image, RecognitionStop *stop = nullptr);

/** How long the recognition of an image of this size may take before it stops. */
std::chrono::milliseconds timeBudget(const QSize &size);

/**
 * Runs one recognition of a small generated image so that the models are loaded, and have read once, before the
 * first real one. Returns true when it recognised anything; false on every failure, and when stop was cancelled
 * before it ended. Needs a QGuiApplication (for the font).
 */
bool prewarm(RecognitionStop *stop = nullptr);

/**
 * Loads every engine and the line model's network that are not loaded yet, without recognising anything: a
 * recognition that starts meanwhile waits for them instead of loading its own. Safe to call from any thread.
 */
void loadEngines();

/**
 * Ends the engines and networks no recognition is using and gives their memory back to the system; the next
 * recognition (or warm-up) loads them again. Safe to call from any thread.
 */
void releaseEngines();

/** The 320 × 90 warm-up image: "截图识字 Tessary" in black on white. */
QImage warmupImage();

} // namespace TextRecognizer

} // namespace Tessary
