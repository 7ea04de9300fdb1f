#pragma once

#include <QImage>
#include <QString>

#include "app/recognition/RecognitionError.h"
#include "core/Result.h"

namespace Tessary {

/**
 * Reads an image file for recognition. The header is checked before any pixels are decoded, so a file that
 * claims to be enormous is refused without allocating memory for it.
 */
namespace ScreenImageLoader {

/** Largest image we decode: a little over four 8K screens side by side. */
constexpr qint64 maximumPixels = 140'000'000;
constexpr int maximumSide = 32767;

Result<QImage, RecognitionError> load(const QString &path);

} // namespace ScreenImageLoader

} // namespace Tessary
