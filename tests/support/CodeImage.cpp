#include "tests/support/CodeImage.h"

#include <algorithm>

#include <QPainter>

#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>

namespace Tessary::Test {

QImage codeImage(ZXing::BarcodeFormat format, const QString &content, int scale, ZXing::CharacterSet encoding)
{
    const ZXing::BitMatrix modules =
        ZXing::MultiFormatWriter(format).setMargin(10).setEncoding(encoding).encode(content.toStdWString(), 0, 0);
    const bool linear = ZXing::BarcodeFormats(ZXing::BarcodeFormat::LinearCodes).testFlag(format);
    QImage image(modules.width(), linear ? 1 : modules.height(), QImage::Format_Grayscale8);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            image.scanLine(y)[x] = modules.get(x, y) ? 0 : 255;
        }
    }
    return image.scaled(image.width() * scale, linear ? 60 : image.height() * scale);
}

QImage stacked(const QImage &above, const QImage &below)
{
    QImage image(std::max(above.width(), below.width()), above.height() + below.height(), QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.drawImage(0, 0, above);
    painter.drawImage(0, above.height(), below);
    return image;
}

} // namespace Tessary::Test
