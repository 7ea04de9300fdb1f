#include <gtest/gtest.h>

#include <QApplication>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

#include "app/TessaryIcon.h"
#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeAppearancePicker.h"
#include "appearance/NativeAppearanceTile.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

bool isWhite(const QColor &color)
{
    return color.alpha() == 255 && color.red() > 235 && color.green() > 235 && color.blue() > 235;
}

bool isNear(const QColor &color, const QColor &expected, int tolerance = 2)
{
    return color.alpha() == 255 && std::abs(color.red() - expected.red()) <= tolerance &&
           std::abs(color.green() - expected.green()) <= tolerance &&
           std::abs(color.blue() - expected.blue()) <= tolerance;
}

// A point of the artwork's 1024-unit canvas (origin bottom left, y upwards) in an image of side pixels.
QPoint at(int side, qreal x, qreal y)
{
    return {int(x * side / 1024), int((1024 - y) * side / 1024)};
}

// Saves a rendering for a person to look at when TESSARY_TEST_ARTIFACTS names a folder.
void saveArtifact(const QImage &image, const QString &name)
{
    const QString folder = qEnvironmentVariable("TESSARY_TEST_ARTIFACTS");
    if (!folder.isEmpty()) {
        image.save(folder + u'/' + name, "PNG");
    }
}

class TessaryIconTest : public ::testing::TestWithParam<std::tuple<NativeAccentPalette, int>>
{
};

TEST_P(TessaryIconTest, DrawsTheRoundedSquareViewfinderAndCursor)
{
    const auto [palette, side] = GetParam();
    const QImage image = TessaryIcon::render(palette, side);
    saveArtifact(image, u"tessary-icon-%1-%2.png"_s.arg(palette.rawValue()).arg(side));
    ASSERT_EQ(image.size(), QSize(side, side));

    const QColor fill = palette.color().toRgb();
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0) << "outside the rounded corner";
    EXPECT_EQ(image.pixelColor(side - 1, side - 1).alpha(), 0);
    // Between the viewfinder's corners, and between the frame and the cursor: the palette's colour.
    EXPECT_TRUE(isNear(image.pixelColor(at(side, 512, 880)), fill)) << side;
    EXPECT_TRUE(isNear(image.pixelColor(at(side, 160, 512)), fill)) << side;
    EXPECT_TRUE(isNear(image.pixelColor(at(side, 340, 512)), fill)) << side;
    // The cursor's stem in the middle: white, or at small sizes where it straddles two pixels, clearly lighter.
    const QColor stem = image.pixelColor(at(side, 512, 506));
    EXPECT_GT(stem.lightness(), fill.lightness() + 60) << side;
    if (side >= 128 || side == 16) {
        EXPECT_TRUE(isWhite(stem)) << side;
    }
    if (side >= 128) {
        // The corners of the viewfinder and the cursor's bars, drawn the right way up: in the artwork's coordinates
        // the wider bar is the upper one.
        EXPECT_TRUE(isWhite(image.pixelColor(at(side, 264, 760)))) << "upper left corner";
        EXPECT_TRUE(isWhite(image.pixelColor(at(side, 760, 260)))) << "lower right corner";
        EXPECT_TRUE(isWhite(image.pixelColor(at(side, 368, 650)))) << "upper bar reaches further left";
        EXPECT_TRUE(isNear(image.pixelColor(at(side, 368, 362)), fill)) << "lower bar is shorter";
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, TessaryIconTest,
                         ::testing::Combine(::testing::Values(NativeAccentPalette(NativeAccentPalette::Violet),
                                                              NativeAccentPalette(NativeAccentPalette::Amber)),
                                            ::testing::Values(16, 32, 128, 512)),
                         [](const auto &info) {
                             return std::get<0>(info.param).rawValue().toStdString() +
                                    std::to_string(std::get<1>(info.param));
                         });

TEST(TessaryIconImageTest, RendersAtTheDevicePixelSizeAsked)
{
    const QIcon icon = TessaryIcon::image(NativeAccentPalette::Ocean);
    EXPECT_FALSE(icon.isNull());
    EXPECT_FALSE(icon.availableSizes().isEmpty()) << "window managers get a set of sizes";

    // HiDPI: 32 logical pixels at twice the density is a 64-pixel drawing, not an enlarged 32-pixel one.
    const QPixmap hiDpi = icon.pixmap(QSize(32, 32), 2.0);
    EXPECT_EQ(hiDpi.size(), QSize(64, 64));
    EXPECT_EQ(hiDpi.devicePixelRatio(), 2.0);
    EXPECT_EQ(hiDpi.toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied),
              TessaryIcon::render(NativeAccentPalette::Ocean, 64));
    EXPECT_EQ(icon.pixmap(QSize(16, 16), 1.0).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied),
              TessaryIcon::render(NativeAccentPalette::Ocean, 16));

    const QImage disabled = icon.pixmap(QSize(64, 64), 1.0, QIcon::Disabled).toImage();
    const QColor faded = disabled.pixelColor(at(64, 160, 512));
    EXPECT_EQ(faded.red(), faded.green());
    EXPECT_EQ(faded.green(), faded.blue());
    EXPECT_LT(faded.alpha(), 255);

    // Painted into a widget on a HiDPI device, it is drawn at that density too.
    QImage canvas(QSize(96, 96), QImage::Format_ARGB32_Premultiplied);
    canvas.setDevicePixelRatio(3.0);
    canvas.fill(Qt::transparent);
    {
        QPainter painter(&canvas);
        icon.paint(&painter, QRect(0, 0, 32, 32));
    }
    canvas.setDevicePixelRatio(1.0);
    EXPECT_EQ(canvas, TessaryIcon::render(NativeAccentPalette::Ocean, 96));
}

TEST(TessaryIconImageTest, IsTheApplicationIconOfTheAppearanceController)
{
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    NativeAppAppearance appearance(NativeAccentPalette::Violet, u"tessary.accentPalette"_s, defaults,
                                   &TessaryIcon::image);
    appearance.applyApplicationIcon();
    const auto windowIconFill = [] {
        return QApplication::windowIcon().pixmap(QSize(64, 64), 1.0).toImage().pixelColor(at(64, 160, 512));
    };
    EXPECT_TRUE(isNear(windowIconFill(), NativeAccentPalette(NativeAccentPalette::Violet).color().toRgb()));
    appearance.select(NativeAccentPalette::Forest);
    EXPECT_TRUE(isNear(windowIconFill(), NativeAccentPalette(NativeAccentPalette::Forest).color().toRgb()));
}

TEST(TessaryIconImageTest, ShowsInThePickerInEveryPalette)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    NativeAppAppearance appearance(NativeAccentPalette::Violet, u"tessary.accentPalette"_s, defaults,
                                   &TessaryIcon::image);
    QWidget window;
    window.setWindowTitle(u"Appearance"_s);
    auto *layout = new QVBoxLayout(&window);
    layout->setContentsMargins(20, 20, 20, 20);
    auto *picker = new NativeAppearancePicker(appearance, u"zh-Hans"_s, &window);
    layout->addWidget(picker);
    layout->addStretch(1);
    window.resize(560, 230);
    appearance.tint(&window);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));

    const QImage screenshot = window.grab().toImage();
    saveArtifact(screenshot, u"appearance-picker.png"_s);
    for (NativeAppearanceTile *tile : picker->tiles()) {
        // The icon sits 11 pixels in from the tile's left edge, 38 pixels square, vertically centred.
        const QPoint iconTopLeft = tile->mapTo(&window, QPoint(11, (tile->height() - 38) / 2));
        const QPoint fillPoint = iconTopLeft + at(38, 160, 512);
        const qreal ratio = screenshot.devicePixelRatio();
        EXPECT_TRUE(isNear(screenshot.pixelColor((QPointF(fillPoint) * ratio).toPoint()),
                           tile->accentPalette().color().toRgb(), 3))
            << tile->objectName().toStdString();
    }
}

} // namespace
