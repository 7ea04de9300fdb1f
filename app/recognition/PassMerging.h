#pragma once

#include "app/recognition/RecognitionPass.h"

namespace Tessary {

/**
 * Weighing and combining the passes over one image: Simplified and Traditional Chinese, and English. They find the
 * same lines and words (the same layout analysis runs in each), so a word of one pass has its counterpart in the
 * others at the same place.
 */
namespace PassMerging {

/**
 * How sure the pass is of the Chinese in the image: the mean confidence of its words that hold Han characters or
 * stand where the other pass read Han characters. Words both read as Latin text say nothing about the script and
 * are left out. -1 when neither pass read any Chinese.
 */
double chineseConfidence(const RecognitionPass &pass, const RecognitionPass &other);

/** The mean confidence of the pass's words that hold Han characters; -1 when it has none. */
double hanWordConfidence(const RecognitionPass &pass);

/**
 * The Chinese passes read with their Chinese model alone, and the English model's words are put in afterwards (as
 * Tesseract does within a pass with several models, which reads every line with each of them). A line that neither
 * reading found Chinese in is the English model's to read: it is taken whole from withEnglish when that reading is
 * clearly surer of it. In a line with Chinese, a word without Chinese
 * is replaced by the word of withEnglish at the same place when that one holds none either and is more confident;
 * in words that hold Chinese too, the Latin parts between the Chinese ones are taken where both readings split the
 * word alike. The line texts, character positions and confidences follow.
 */
void takeLatinWords(RecognitionPass &chinese, const RecognitionPass &withEnglish);

} // namespace PassMerging

} // namespace Tessary
