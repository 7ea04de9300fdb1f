#pragma once

#include <QColor>
#include <QImage>
#include <QString>

#include "app/recognition/RecognitionError.h"
#include "core/Result.h"

namespace Tessary {

/**
 * Reads an image file for recognition. The header is checked before any pixels are decoded, so a file that
 * claims to be larger than any screen is refused without allocating memory for it. What the image libraries
 * would write to standard error while decoding (libpng's "Read Error", for one) is kept out of it: a file that
 * cannot be read gets the loader's own error.
 */
namespace ScreenImageLoader {

/**
 * Largest image we decode: an 8K screen's pixels (a selection over several smaller screens fits), and no side
 * longer than two 8K screens side by side. Above that, a screen region it is not, and the memory of reading it
 * would be.
 */
constexpr qint64 maximumPixels = 7680 * 4320;
constexpr int maximumSide = 16384;

Result<QImage, RecognitionError> load(const QString &path);

/**
 * The image without transparency, as the engines take it (RGB888): translucent pixels composited onto behind (the
 * colour that was behind them; white when nobody knows). An RGB888 image comes back as it is, without a copy.
 */
QImage opaque(const QImage &image, const QColor &behind = Qt::white);

} // namespace ScreenImageLoader

} // namespace Tessary
