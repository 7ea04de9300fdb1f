#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QStringList>

#include "app/recognition/RecognitionError.h"
#include "core/Result.h"

namespace Tessary {

/** What one engine pass with one set of models read from an image. */
struct RecognitionPass
{
    QByteArray languages;
    QStringList lines;      // cleaned, without empty lines
    int meanConfidence = 0; // mean word confidence, 0 to 100
};

/**
 * Reads an RGB888 image with an engine for the "+"-separated model list, borrowed from the shared pool.
 * Runs on the calling thread; may be called from several threads at once.
 */
Result<RecognitionPass, RecognitionError> runRecognitionPass(const QByteArray &languages, const QImage &image);

} // namespace Tessary
