#pragma once

#include <QImage>
#include <QString>

#include <ZXing/BarcodeFormat.h>
#include <ZXing/CharacterSet.h>

namespace Tessary::Test {

/**
 * A code holding content (in encoding), black on white with its quiet zone, scale pixels to a module (linear codes
 * 60 tall).
 */
QImage codeImage(ZXing::BarcodeFormat format, const QString &content, int scale,
                 ZXing::CharacterSet encoding = ZXing::CharacterSet::UTF8);

/** above with below under it, left-aligned on white, as one screen might show them. */
QImage stacked(const QImage &above, const QImage &below);

} // namespace Tessary::Test
