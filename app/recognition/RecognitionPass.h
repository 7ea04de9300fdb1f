#pragma once

#include <atomic>

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QRect>
#include <QStringList>

#include "app/recognition/RecognitionError.h"
#include "core/Result.h"

namespace Tessary {

/** One character as the engine placed it: its text, the middle of its box in image pixels, and how sure it is. */
struct PlacedSymbol
{
    QString text;
    float centre;
    float confidence = 0; // 0 to 100
};

/** One word of a line as the engine read it. */
struct PassWord
{
    QString text;
    QRect box;                   // in image pixels
    float confidence = 0;        // 0 to 100
    QList<PlacedSymbol> symbols; // its characters, left to right
};

/** One text line as an engine pass read it. */
struct PassLine
{
    QString text;          // as the engine wrote it, trailing white space removed
    QList<float> centres;  // for every UTF-16 unit of text, its x position in the image; empty when unknown
    QRect box;             // in image pixels
    QList<PassWord> words; // left to right; their texts appear in text in this order
    int baseline = -1;     // the row the letters stand on, in image pixels; -1 when unknown
    float confidence = 0;  // 0 to 100
};

/** What one engine pass with one set of models read from an image. */
struct RecognitionPass
{
    QByteArray languages;
    QList<PassLine> lines;  // in reading order, without empty lines
    int meanConfidence = 0; // mean word confidence, 0 to 100
};

/**
 * Where every UTF-16 unit of a line's text sits: the symbols are found in the text in order; positions that break
 * the left-to-right order of the others (the engine places a character now and then far from its ink, or several
 * at one spot) and white space take positions spread between their neighbours. Empty when the symbols do not spell
 * the text.
 */
QList<float> characterCentres(const QString &text, const QList<PlacedSymbol> &symbols);

/** Every character of the line's words, left to right. */
QList<PlacedSymbol> symbolsOf(const PassLine &line);

/**
 * Reads an RGB888 image with an engine for the "+"-separated model list, borrowed from the shared pool.
 * Runs on the calling thread; may be called from several threads at once. When stop is given and becomes true
 * while the engine reads, it gives up soon after and the result is an error; so it does when the thread's
 * RecognitionStop asks (the error then says why, see stoppedError). Images larger than a 4K screen are read in
 * bands cut between lines. (A part of an image is read as a copy of its own: Tesseract 5.3's SetRectangle hands
 * the line recogniser rows from the wrong place.)
 */
Result<RecognitionPass, RecognitionError> runRecognitionPass(const QByteArray &languages, const QImage &image,
                                                             const std::atomic<bool> *stop = nullptr);

/** True when runRecognitionPass reads an image of this size in bands (above about a 4K screen's pixels). */
bool readInBands(const QSize &size);

class RecognitionStop;

/** The error a recognition stopped by stop ends with: Cancelled or TimedOut, with its description. */
RecognitionError stoppedError(const RecognitionStop &stop);

} // namespace Tessary
