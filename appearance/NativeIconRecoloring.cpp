#include "appearance/NativeIconRecoloring.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <QColor>
#include <QImage>

namespace Tessary::NativeIconRecoloring {

namespace {

constexpr double alphaThreshold = 0.01;
constexpr double saturationThreshold = 0.18;
constexpr double hueWindow = 0.24;
constexpr double hueDeviationKept = 0.18;
constexpr double saturationScale = 0.82;
constexpr double saturationFloorScale = 0.72;
constexpr double channelScale = 255.0;

struct HueSaturation
{
    double hue;
    double saturation;
};

// Fractional part keeping the sign, then moved into [0, 1).
double wrapUnit(double value)
{
    double wrapped = std::fmod(value, 1.0);
    if (wrapped < 0) {
        wrapped += 1.0;
    }
    return wrapped;
}

HueSaturation rgbToHSV(double red, double green, double blue)
{
    const double max = std::max({red, green, blue});
    const double min = std::min({red, green, blue});
    const double delta = max - min;
    if (!(delta > 0)) {
        return {0, 0};
    }
    double hue = 0;
    if (max == red) {
        hue = std::fmod((green - blue) / delta, 6.0);
    } else if (max == green) {
        hue = (blue - red) / delta + 2;
    } else {
        hue = (red - green) / delta + 4;
    }
    return {wrapUnit(hue / 6), delta / max};
}

struct Rgb
{
    double red;
    double green;
    double blue;
};

Rgb hsvToRgb(double hue, double saturation, double value)
{
    const double sector = std::floor(hue * 6);
    const int i = int(std::fmod(sector, 6.0));
    const double f = hue * 6 - sector;
    const double p = value * (1 - saturation);
    const double q = value * (1 - saturation * f);
    const double t = value * (1 - saturation * (1 - f));
    switch (i) {
    case 0:
        return {value, t, p};
    case 1:
        return {q, value, p};
    case 2:
        return {p, value, t};
    case 3:
        return {p, q, value};
    case 4:
        return {t, p, value};
    default:
        return {value, p, q};
    }
}

uchar premultipliedByte(double component, double alpha)
{
    return uchar(std::clamp(std::round(component * alpha * channelScale), 0.0, channelScale));
}

} // namespace

void recolorPremultipliedRgba(uchar *pixels, qsizetype pixelCount, double baseHue, const QColor &color)
{
    const QColor target = color.isValid() ? color.toRgb() : color;
    const HueSaturation targetHS = rgbToHSV(target.redF(), target.greenF(), target.blueF());
    const double saturationFloor = targetHS.saturation * saturationFloorScale;

    for (qsizetype index = 0; index < pixelCount; ++index) {
        uchar *pixel = pixels + index * 4;
        const double alpha = pixel[3] / channelScale;
        if (alpha <= alphaThreshold) {
            continue;
        }
        const double red = std::min(pixel[0] / channelScale / alpha, 1.0);
        const double green = std::min(pixel[1] / channelScale / alpha, 1.0);
        const double blue = std::min(pixel[2] / channelScale / alpha, 1.0);
        const double value = std::max({red, green, blue});
        const HueSaturation own = rgbToHSV(red, green, blue);

        // Shortest signed distance around the hue circle.
        double distance = own.hue - baseHue;
        if (distance > 0.5) {
            distance -= 1;
        }
        if (distance < -0.5) {
            distance += 1;
        }
        if (own.saturation <= saturationThreshold || std::abs(distance) >= hueWindow) {
            continue;
        }

        const double hue = wrapUnit(targetHS.hue + distance * hueDeviationKept);
        const double saturation = std::max(own.saturation * saturationScale, saturationFloor);
        const Rgb recoloured = hsvToRgb(hue, saturation, value);
        pixel[0] = premultipliedByte(recoloured.red, alpha);
        pixel[1] = premultipliedByte(recoloured.green, alpha);
        pixel[2] = premultipliedByte(recoloured.blue, alpha);
    }
}

QImage replacingDominantHue(const QImage &image, double baseHue, const QColor &color, int size)
{
    if (image.isNull() || size < 1) {
        return image;
    }
    // The buffer's byte count must be representable, and QImage addresses rows with an int.
    qsizetype bytes = 0;
    if (__builtin_mul_overflow(qsizetype(size), qsizetype(size), &bytes) ||
        __builtin_mul_overflow(bytes, qsizetype(4), &bytes) || size > std::numeric_limits<int>::max() / 4) {
        return image;
    }

    QImage scaled = image.size() == QSize(size, size)
                        ? image
                        : image.scaled(size, size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage buffer = scaled.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    if (buffer.isNull() || buffer.size() != QSize(size, size)) {
        return image;
    }
    // Rows of a 4-byte format are never padded, so the pixels form one run.
    recolorPremultipliedRgba(buffer.bits(), qsizetype(size) * size, baseHue, color);
    buffer.setDevicePixelRatio(1.0);
    return buffer;
}

} // namespace Tessary::NativeIconRecoloring
