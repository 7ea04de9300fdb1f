#pragma once

#include <QByteArray>
#include <QImage>

#include "app/recognition/RecognitionError.h"
#include "app/recognition/RecognitionPass.h"
#include "core/Result.h"

namespace Tessary {

class RecognitionStop;

/**
 * Tesseract's passes over one image, one per model, on both cores. Every model reads on its own: Simplified and
 * Traditional Chinese in separate passes (a model set holding both turns one script into the other) and English in
 * a third. Tesseract would read every line with each model of a set and keep the better words; we do that choice
 * ourselves (ScriptChoice, PassMerging), and so read each line with the English model once instead of in both
 * Chinese passes.
 */
namespace ModelPasses {

constexpr auto simplifiedModel = "chi_sim";
constexpr auto traditionalModel = "chi_tra";
constexpr auto englishModel = "eng";

using Reading = Result<RecognitionPass, RecognitionError>;

/** The readings of one image; a model that is not installed, or whose pass was not needed, gives an error. */
struct Readings
{
    Reading simplified;
    Reading traditional;
    Reading english;
};

/**
 * Reads image (the prepared screen scaled by scale for the engines) with every installed model; the readings'
 * positions are brought back to the screen's pixels. The other Chinese pass stops early when the first one finds
 * no Chinese. Fails when stop is requested, or when neither the first Chinese pass nor the English one succeeded.
 */
Result<Readings, RecognitionError> read(const QImage &image, double scale, RecognitionStop &stop);

} // namespace ModelPasses

} // namespace Tessary
