#pragma once

#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

namespace Tessary {

/** What the neural line model read from one text line. */
struct LineReading
{
    QString text;
    QList<float> confidences; // one per character of text (code point), 0 to 1
    QList<float> centres;     // one per character: where the model saw it, in pixels of the crop from its left edge
    QStringList alternatives; // one per character: the characters the model found next likeliest there, best first
    float meanConfidence = 0;
};

/**
 * A convolutional/attention text-line model with a CTC head (PP-OCRv4's recogniser, rewritten at build time for
 * OpenCV's DNN module). It reads one line of Chinese and Latin text from a crop that holds that line only; it
 * cannot find lines itself. Safe to call from several threads at once: every call borrows a network of its own.
 */
namespace NeuralLineRecognizer {

/** True when the model files were found (next to the executable or in the build tree). */
bool isAvailable();

/** Loads count networks now so that the first lines do not pay for it. False when the model cannot be loaded. */
bool prepare(int count = 1);

/** Frees the networks nobody is using (they are loaded again on the next use). */
void release();

/**
 * Reads the text line in crop, which should hold the line with a small margin of background around it and
 * dark text on a light ground. An empty reading when the model is unavailable or the thread's recognition was
 * asked to stop (RecognitionStop).
 */
LineReading read(const QImage &crop);

} // namespace NeuralLineRecognizer

} // namespace Tessary
