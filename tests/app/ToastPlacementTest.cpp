#include <gtest/gtest.h>

#include "app/toast/ToastPlacement.h"

using namespace Tessary;

namespace {

struct PlacementCase
{
    const char *name;
    QList<ToastScreen> screens;
    qsizetype primary;
    QPoint pointer;
    std::optional<QRect> expected;
};

class ToastPlacementTest : public ::testing::TestWithParam<PlacementCase>
{
};

TEST_P(ToastPlacementTest, PlacesTheToast)
{
    EXPECT_EQ(toastGeometry(GetParam().screens, GetParam().primary, GetParam().pointer), GetParam().expected);
}

// A 1920x1080 laptop panel with a 32 px top bar, and a 2560x1440 monitor to its right with a 40 px panel at the top.
const ToastScreen laptop{QRect(0, 0, 1920, 1080), QRect(0, 32, 1920, 1048)};
const ToastScreen monitor{QRect(1920, 0, 2560, 1440), QRect(1920, 40, 2560, 1400)};
// The same monitor above the laptop, offset, as arranged in the display settings.
const ToastScreen monitorAbove{QRect(400, -1440, 2560, 1440), QRect(400, -1440, 2560, 1400)};

INSTANTIATE_TEST_SUITE_P(
    Screens, ToastPlacementTest,
    ::testing::Values(
        PlacementCase{"singleScreenCentredBelowTheTopBar", {laptop}, 0, QPoint(10, 10), QRect(780, 60, 360, 82)},
        PlacementCase{"followsThePointerToTheSecondScreen",
                      {laptop, monitor},
                      0,
                      QPoint(2000, 900),
                      QRect(1920 + 1280 - 180, 68, 360, 82)},
        PlacementCase{"firstPixelOfTheSecondScreen", {laptop, monitor}, 0, QPoint(1920, 0), QRect(3020, 68, 360, 82)},
        PlacementCase{"lastPixelOfTheFirstScreen", {laptop, monitor}, 0, QPoint(1919, 1079), QRect(780, 60, 360, 82)},
        PlacementCase{"screenAboveWithNegativeCoordinates",
                      {laptop, monitorAbove},
                      0,
                      QPoint(1000, -10),
                      QRect(400 + 1280 - 180, -1440 + 28, 360, 82)},
        PlacementCase{"pointerOutsideEveryScreenUsesThePrimary",
                      {laptop, monitor},
                      1,
                      QPoint(100, 1300),
                      QRect(3020, 68, 360, 82)},
        PlacementCase{"overlappingScreensFirstInOrderWins",
                      {monitor, ToastScreen{QRect(1920, 0, 1280, 720), QRect(1920, 0, 1280, 720)}},
                      0,
                      QPoint(2000, 100),
                      QRect(3020, 68, 360, 82)},
        PlacementCase{"noScreenUnderThePointerAndNoPrimary", {laptop}, -1, QPoint(-5, -5), std::nullopt},
        PlacementCase{"noScreensAtAll", {}, 0, QPoint(0, 0), std::nullopt}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
