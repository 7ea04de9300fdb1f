#include "app/recognition/CodeReading.h"

#include <algorithm>
#include <array>
#include <vector>

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

/** Whether runs (dark, light, dark, light, dark) have the widths 1:1:3:1:1 of a finder pattern's middle. */
bool acrossFinder(const std::array<int, 5> &runs, double *module)
{
    *module = (runs[0] + runs[1] + runs[2] + runs[3] + runs[4]) / 7.0;
    constexpr int modules[] = {1, 1, 3, 1, 1};
    for (size_t i = 0; i < runs.size(); ++i) {
        if (std::abs(runs[i] - *module * modules[i]) >= *module * modules[i] / 2) {
            return false;
        }
    }
    return true;
}

/** The runs up and down from (x, y), in the middle of a dark run, as acrossFinder takes them. */
std::array<int, 5> columnRuns(const QImage &grey, int x, int y, int threshold)
{
    const auto dark = [&](int row) { return grey.constScanLine(row)[x] < threshold; };
    std::array<int, 5> runs{};
    int row = y;
    for (int run = 2; run >= 0; --run) {
        for (; row >= 0 && dark(row) == (run != 1); --row) {
            ++runs[run];
        }
    }
    row = y + 1;
    for (int run = 2; run < 5; ++run) {
        for (; row < grey.height() && dark(row) == (run != 3); ++row) {
            ++runs[run];
        }
    }
    return runs;
}

/**
 * About how many QR finder patterns (a dark square in a light ring in a dark ring: runs of 1:1:3:1:1 modules across
 * its middle, both ways) the greyscale image shows. Each one is crossed by as many rows as its middle square is
 * tall, three modules; a row counts only where it holds both dark and light (24 grey levels apart).
 */
double finderPatterns(const QImage &grey)
{
    double found = 0;
    std::vector<int> runs;
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *row = grey.constScanLine(y);
        const auto [darkest, lightest] = std::minmax_element(row, row + grey.width());
        if (*lightest - *darkest < 24) {
            continue;
        }
        const int threshold = (*darkest + *lightest) / 2;
        // Lengths of the runs of one shade, from the left edge.
        runs.clear();
        int length = 1;
        for (int x = 1; x < grey.width(); ++x) {
            if ((row[x] < threshold) != (row[x - 1] < threshold)) {
                runs.push_back(length);
                length = 0;
            }
            ++length;
        }
        runs.push_back(length);
        int x = 0;
        for (size_t i = 0; i + 5 <= runs.size(); x += runs[i++]) {
            double module = 0;
            double down = 0;
            if (row[x] < threshold &&
                acrossFinder({runs[i], runs[i + 1], runs[i + 2], runs[i + 3], runs[i + 4]}, &module) &&
                acrossFinder(columnRuns(grey, x + runs[i] + runs[i + 1] + runs[i + 2] / 2, y, threshold), &down)) {
                found += 1 / (3 * module);
            }
        }
    }
    return found;
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
    // Read as zxing-cpp reads it, in one shade of grey per pixel.
    const QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
    // zxing-cpp tries every three finder patterns as the corners of a QR code, and a Micro QR code's one finder
    // costs much to follow: an image tiled with them would keep it busy for hours. More than the codes we look for
    // could have are no codes of these kinds.
    using ZXing::BarcodeFormat;
    const ZXing::BarcodeFormats formats = finderPatterns(grey) <= 3 * maximumCodes
                                              ? ZXing::BarcodeFormats(BarcodeFormat::Any)
                                              : BarcodeFormat::LinearCodes | BarcodeFormat::Aztec |
                                                    BarcodeFormat::DataMatrix | BarcodeFormat::MaxiCode |
                                                    BarcodeFormat::PDF417;
    ZXing::DecodeHints hints;
    // The thorough search looks for linear codes on every row, not only on those near the middle of the image.
    hints.setFormats(formats).setTryHarder(true).setTryRotate(false).setMaxNumberOfSymbols(maximumCodes);
    const ZXing::ImageView view(grey.constBits(), grey.width(), grey.height(), ZXing::ImageFormat::Lum,
                                int(grey.bytesPerLine()));
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
