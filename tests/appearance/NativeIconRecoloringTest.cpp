#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include <QColor>
#include <QImage>

#include "appearance/NativeAccentPalette.h"
#include "appearance/NativeIconRecoloring.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

// Expectations are stated in terms of hue, saturation and value as QColor measures them, not by re-running the
// arithmetic of the implementation.

struct Rgba
{
    int red;
    int green;
    int blue;
    int alpha;
    friend bool operator==(const Rgba &, const Rgba &) = default;
};

std::ostream &operator<<(std::ostream &out, const Rgba &pixel)
{
    return out << '(' << pixel.red << ',' << pixel.green << ',' << pixel.blue << ',' << pixel.alpha << ')';
}

// A colour given by hue, saturation and value (0 to 1), premultiplied by alpha into bytes.
Rgba fromHsv(double hue, double saturation, double value, int alpha = 255)
{
    const QColor color = QColor::fromHsvF(float(hue), float(saturation), float(value));
    const double a = alpha / 255.0;
    return {int(std::lround(color.redF() * a * 255)), int(std::lround(color.greenF() * a * 255)),
            int(std::lround(color.blueF() * a * 255)), alpha};
}

// A square image of the pixels (side × side of them) in the working format, bytes as given.
QImage imageOf(const QList<Rgba> &pixels, int side)
{
    QImage image(side, side, QImage::Format_RGBA8888_Premultiplied);
    uchar *bytes = image.bits();
    for (const Rgba &pixel : pixels) {
        for (const int value : {pixel.red, pixel.green, pixel.blue, pixel.alpha}) {
            *bytes++ = uchar(value);
        }
    }
    return image;
}

Rgba pixelAt(const QImage &image, int index)
{
    const QImage rgba = image.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    const uchar *pixel = rgba.constBits() + index * 4;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

Rgba recolorOne(const Rgba &pixel, double baseHue, const QColor &target)
{
    return pixelAt(NativeIconRecoloring::replacingDominantHue(imageOf({pixel}, 1), baseHue, target, 1), 0);
}

// Hue distance with sign, the short way round.
double hueDistance(double from, double to)
{
    double distance = to - from;
    distance -= std::round(distance);
    return distance;
}

QColor unpremultiplied(const Rgba &pixel)
{
    const double a = pixel.alpha / 255.0;
    return QColor::fromRgbF(float(std::min(pixel.red / 255.0 / a, 1.0)), float(std::min(pixel.green / 255.0 / a, 1.0)),
                            float(std::min(pixel.blue / 255.0 / a, 1.0)));
}

struct RecolorCase
{
    const char *name;
    Rgba source;
    double baseHue;
    NativeAccentPalette target;
    // Without a value the pixel must come back byte for byte; with one, the result's hue lies this far from the
    // target's hue.
    std::optional<double> expectedHueOffset;
};

class NativeIconRecoloringPixelTest : public ::testing::TestWithParam<RecolorCase>
{
};

TEST_P(NativeIconRecoloringPixelTest, RecoloursOnlyWhatBelongsToTheDominantHue)
{
    const RecolorCase &row = GetParam();
    const QColor target = row.target.color();
    const Rgba result = recolorOne(row.source, row.baseHue, target);
    if (!row.expectedHueOffset) {
        EXPECT_EQ(result, row.source);
        return;
    }

    EXPECT_NE(result, row.source);
    EXPECT_EQ(result.alpha, row.source.alpha) << "alpha is never changed";
    for (const int channel : {result.red, result.green, result.blue}) {
        EXPECT_LE(channel, result.alpha) << "colour is written back premultiplied";
    }
    const QColor before = unpremultiplied(row.source);
    const QColor after = unpremultiplied(result);
    // Rounding to bytes (worse the more transparent the pixel) bounds the precision.
    const double tolerance = 1.5 / 255 / (row.source.alpha / 255.0);
    EXPECT_NEAR(hueDistance(target.hsvHueF(), after.hsvHueF()), *row.expectedHueOffset, tolerance * 2)
        << result << " hue " << after.hsvHueF();
    const double expectedSaturation = std::max(before.hsvSaturationF() * 0.82, target.hsvSaturationF() * 0.72);
    EXPECT_NEAR(after.hsvSaturationF(), expectedSaturation, tolerance * 2) << result;
    EXPECT_NEAR(after.valueF(), before.valueF(), tolerance) << "shading is kept";
}

INSTANTIATE_TEST_SUITE_P(
    Pixels, NativeIconRecoloringPixelTest,
    ::testing::Values(
        // Transparency.
        RecolorCase{"fullyTransparent", {0, 0, 0, 0}, 0.0, NativeAccentPalette::Ocean, std::nullopt},
        RecolorCase{"alphaTwoIsBelowTheThreshold", {2, 0, 0, 2}, 0.0, NativeAccentPalette::Ocean, std::nullopt},
        RecolorCase{"alphaThreeIsAbove", {3, 0, 0, 3}, 0.0, NativeAccentPalette::Ocean, 0.0},
        RecolorCase{"halfTransparent", fromHsv(0.0, 1.0, 1.0, 128), 0.0, NativeAccentPalette::Forest, 0.0},
        RecolorCase{"halfTransparentShaded", fromHsv(0.02, 0.8, 0.6, 100), 0.0, NativeAccentPalette::Violet,
                    0.02 * 0.18},
        // Neutrals keep their colour for any target.
        RecolorCase{"greyToOcean", {128, 128, 128, 255}, 0.0, NativeAccentPalette::Ocean, std::nullopt},
        RecolorCase{"whiteToAmber", {255, 255, 255, 255}, 0.0, NativeAccentPalette::Amber, std::nullopt},
        RecolorCase{"blackToCoral", {0, 0, 0, 255}, 0.0, NativeAccentPalette::Coral, std::nullopt},
        // The saturation threshold: 45/255 is at or below 0.18, 46/255 above.
        RecolorCase{"saturationJustBelow", {255, 210, 210, 255}, 0.0, NativeAccentPalette::Ocean, std::nullopt},
        RecolorCase{"saturationJustAbove", {255, 209, 209, 255}, 0.0, NativeAccentPalette::Ocean, 0.0},
        // The dominant hue and the window around it.
        RecolorCase{"atTheDominantHue", fromHsv(0.6, 1.0, 1.0), 0.6, NativeAccentPalette::Terracotta, 0.0},
        // A pale pixel: its own saturation × 0.82 is below the floor of 0.72 × the target's.
        RecolorCase{"paleTakesTheFloor", fromHsv(0.6, 0.3, 0.9), 0.6, NativeAccentPalette::Ocean, 0.0},
        RecolorCase{"twoTenthsAbove", fromHsv(0.5, 1.0, 1.0), 0.3, NativeAccentPalette::Ocean, 0.036},
        RecolorCase{"twoTenthsBelow", fromHsv(0.1, 1.0, 1.0), 0.3, NativeAccentPalette::Ocean, -0.036},
        RecolorCase{"quarterTurnAway", fromHsv(0.55, 1.0, 1.0), 0.3, NativeAccentPalette::Ocean, std::nullopt},
        // Distances wrap around the hue circle.
        RecolorCase{"wrapsForwards", fromHsv(0.05, 1.0, 1.0), 0.95, NativeAccentPalette::Forest, 0.1 * 0.18},
        RecolorCase{"wrapsBackwards", fromHsv(0.9, 1.0, 1.0), 0.05, NativeAccentPalette::Amber, -0.15 * 0.18},
        RecolorCase{"wrapsBeyondTheWindow", fromHsv(0.7, 1.0, 1.0), 0.95, NativeAccentPalette::Amber, std::nullopt}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(NativeIconRecoloringTest, AnImageWithoutTheDominantHueComesBackUnchanged)
{
    // Greys, white, black, transparency and colours far from the dominant hue: nothing to recolour.
    const QList<Rgba> pixels{
        {0, 0, 0, 255},         {100, 100, 100, 255},    {255, 255, 255, 255},        {0, 0, 0, 0},
        {1, 0, 1, 2},           fromHsv(0.33, 1.0, 1.0), fromHsv(0.5, 0.9, 0.5, 200), {60, 60, 60, 128},
        fromHsv(0.95, 0.1, 1.0)};
    const QImage source = imageOf(pixels, 3);
    const QImage result = NativeIconRecoloring::replacingDominantHue(
        source, 0.95, NativeAccentPalette(NativeAccentPalette::Ocean).color(), 3);
    ASSERT_EQ(result.size(), QSize(3, 3));
    for (int i = 0; i < pixels.size(); ++i) {
        EXPECT_EQ(pixelAt(result, i), pixels[i]) << "pixel " << i;
    }
}

TEST(NativeIconRecoloringTest, ScalesTheIconIntoTheRequestedSquare)
{
    QImage source(64, 32, QImage::Format_ARGB32_Premultiplied);
    source.fill(QColor::fromHsvF(0.0f, 1.0f, 1.0f));
    const QColor forest = NativeAccentPalette(NativeAccentPalette::Forest).color();
    for (const int size : {1, 100}) {
        const QImage result = NativeIconRecoloring::replacingDominantHue(source, 0.0, forest, size);
        ASSERT_EQ(result.size(), QSize(size, size));
        for (const QPoint corner : {QPoint(0, 0), QPoint(size - 1, size - 1)}) {
            const QColor pixel = result.pixelColor(corner);
            EXPECT_NEAR(hueDistance(forest.hsvHueF(), pixel.hsvHueF()), 0.0, 0.01) << size;
            EXPECT_EQ(pixel.alpha(), 255);
        }
    }
}

TEST(NativeIconRecoloringTest, RefusesSizesItCannotAllocateAndReturnsTheSource)
{
    const QImage source = imageOf({fromHsv(0.0, 1.0, 1.0), fromHsv(0.0, 1.0, 1.0), {0, 0, 0, 0}, {9, 9, 9, 255}}, 2);
    const QColor ocean = NativeAccentPalette(NativeAccentPalette::Ocean).color();
    for (const int size : {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::max() / 2}) {
        const QImage result = NativeIconRecoloring::replacingDominantHue(source, 0.0, ocean, size);
        EXPECT_EQ(result.cacheKey(), source.cacheKey()) << size;
    }
    const QImage none = NativeIconRecoloring::replacingDominantHue(QImage(), 0.0, ocean, 16);
    EXPECT_TRUE(none.isNull());
}

} // namespace
