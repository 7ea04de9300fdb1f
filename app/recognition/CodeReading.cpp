#include "app/recognition/CodeReading.h"

#include <algorithm>

#include <QRect>

// The utf8 form of zxing-cpp's text accessors; without it they return wide strings.
#define ZX_USE_UTF8
#include <ZXing/ReadBarcode.h>

using namespace Qt::StringLiterals;

namespace Tessary::CodeReading {

namespace {

struct Found
{
    QRect box;
    QString kind;
    QString content;
};

QString kindOf(ZXing::BarcodeFormat format)
{
    using ZXing::BarcodeFormat;
    switch (format) {
    case BarcodeFormat::QRCode:
        return u"二维码"_s;
    case BarcodeFormat::MicroQRCode:
        return u"微型二维码"_s;
    case BarcodeFormat::DataMatrix:
        return u"Data Matrix"_s;
    case BarcodeFormat::Code128:
        return u"Code 128"_s;
    case BarcodeFormat::Code39:
        return u"Code 39"_s;
    case BarcodeFormat::Code93:
        return u"Code 93"_s;
    case BarcodeFormat::DataBar:
        return u"GS1 DataBar"_s;
    case BarcodeFormat::DataBarExpanded:
        return u"GS1 DataBar Expanded"_s;
    default:
        // EAN-13, EAN-8, UPC-A, UPC-E, ITF, Codabar, Aztec, PDF417, MaxiCode: zxing's names are the usual ones.
        return QString::fromLatin1(ZXing::ToString(format));
    }
}

/** The content as text that may be copied and printed; empty for data. */
QString textOf(const ZXing::Result &code)
{
    const ZXing::ContentType type = code.contentType();
    if (type == ZXing::ContentType::Binary || type == ZXing::ContentType::UnknownECI) {
        return {};
    }
    QString text = QString::fromStdString(code.text());
    text.replace(u"\r\n"_s, u"\n"_s).replace(u'\r', u'\n');
    text.removeIf([](QChar c) {
        const char16_t unit = c.unicode();
        return (unit < 0x20 && unit != u'\n' && unit != u'\t') || (unit >= 0x7f && unit <= 0x9f);
    });
    return text.trimmed();
}

QRect boxOf(const ZXing::Position &position)
{
    int left = position.topLeft().x;
    int right = left;
    int top = position.topLeft().y;
    int bottom = top;
    for (const ZXing::PointI &corner : position) {
        left = std::min(left, corner.x);
        right = std::max(right, corner.x);
        top = std::min(top, corner.y);
        bottom = std::max(bottom, corner.y);
    }
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

/** Rows of codes top to bottom (a code whose middle is beside the row's first code is in its row), each left to right.
 */
void putInReadingOrder(QList<Found> &codes)
{
    std::ranges::sort(codes, {}, [](const Found &code) { return code.box.top(); });
    for (qsizetype first = 0; first < codes.size();) {
        qsizetype end = first + 1;
        while (end < codes.size() && codes[end].box.center().y() <= codes[first].box.bottom()) {
            ++end;
        }
        std::sort(codes.begin() + first, codes.begin() + end,
                  [](const Found &a, const Found &b) { return a.box.left() < b.box.left(); });
        first = end;
    }
}

} // namespace

Recognition read(const QImage &image)
{
    if (image.isNull() || image.format() != QImage::Format_RGB888) {
        return {};
    }
    ZXing::DecodeHints hints;
    // Without the thorough search a linear code is looked for only on rows near the middle of the image.
    hints.setFormats(ZXing::BarcodeFormat::Any)
        .setTryHarder(qint64(image.width()) * image.height() <= thoroughPixels)
        .setTryRotate(false)
        .setMaxNumberOfSymbols(maximumCodes);
    const ZXing::ImageView view(image.constBits(), image.width(), image.height(), ZXing::ImageFormat::RGB,
                                int(image.bytesPerLine()));
    QList<Found> codes;
    for (const ZXing::Result &code : ZXing::ReadBarcodes(view, hints)) {
        QString content = textOf(code);
        if (!content.isEmpty()) {
            codes.append({boxOf(code.position()), kindOf(code.format()), std::move(content)});
        }
    }
    putInReadingOrder(codes);
    Recognition found;
    QStringList lines;
    for (const Found &code : std::as_const(codes)) {
        lines.append(code.content);
        if (!found.codeKinds.contains(code.kind)) {
            found.codeKinds.append(code.kind);
        }
    }
    found.text = lines.join(u'\n');
    return found;
}

} // namespace Tessary::CodeReading
