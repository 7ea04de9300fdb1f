#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include <QCheckBox>
#include <QPushButton>
#include <QRadioButton>
#include <QStyleFactory>

#include "appearance/NativeAccentPalette.h"
#include "appearance/NativeAccentStyle.h"
#include "appearance/NativeAppAppearance.h"
#include "tests/appearance/AppearanceTestSupport.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

int colorDistance(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

struct Rendering
{
    int accentPixels = 0;
    int whitePixels = 0;
    int area = 0;
};

// The control as drawn in a window tinted with the palette, counted by colour.
Rendering render(QWidget &control, NativeAccentPalette palette, const QString &artifact)
{
    control.setPalette(NativeAppAppearance::accentPalette(palette.color()));
    control.resize(control.sizeHint().expandedTo(QSize(120, 28)));
    const QImage image = control.grab().toImage();
    Tessary::Test::saveArtifact(image, artifact);
    Rendering counted;
    counted.area = image.width() * image.height();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            counted.accentPixels += colorDistance(pixel, palette.color().toRgb()) <= 24 ? 1 : 0;
            counted.whitePixels += colorDistance(pixel, Qt::white) <= 24 ? 1 : 0;
        }
    }
    return counted;
}

struct ControlCase
{
    const char *name;
    std::function<QWidget *()> make;
    // At least this share of the control's pixels is the accent; 0: none may be.
    double accentShare;
};

class NativeAccentStyleTest : public ::testing::TestWithParam<ControlCase>
{
protected:
    NativeAccentStyle m_style{QStyleFactory::create(u"Fusion"_s)};
};

TEST_P(NativeAccentStyleTest, ShowsTheAccentOnCheckedControlsOnly)
{
    for (const NativeAccentPalette palette : {NativeAccentPalette::Coral, NativeAccentPalette::Forest}) {
        std::unique_ptr<QWidget> control(GetParam().make());
        control->setStyle(&m_style);
        const Rendering drawn =
            render(*control, palette,
                   u"accent-style-%1-%2.png"_s.arg(QString::fromLatin1(GetParam().name), palette.rawValue()));
        if (GetParam().accentShare == 0) {
            EXPECT_EQ(drawn.accentPixels, 0) << palette.rawValue().toStdString();
            continue;
        }
        EXPECT_GE(drawn.accentPixels, GetParam().accentShare * drawn.area) << palette.rawValue().toStdString();
        // The mark or the label on the accent is white.
        EXPECT_GT(drawn.whitePixels, 4) << palette.rawValue().toStdString();
    }
}

template <typename Button>
std::function<QWidget *()> button(const QString &text, Qt::CheckState state, bool enabled = true)
{
    return [=]() -> QWidget * {
        auto *control = new Button(text);
        if constexpr (std::is_same_v<Button, QPushButton>) {
            control->setCheckable(true);
            control->setChecked(state == Qt::Checked);
        } else if constexpr (std::is_same_v<Button, QCheckBox>) {
            control->setTristate(state == Qt::PartiallyChecked);
            control->setCheckState(state);
        } else {
            control->setChecked(state == Qt::Checked);
        }
        control->setEnabled(enabled);
        return control;
    };
}

INSTANTIATE_TEST_SUITE_P(Controls, NativeAccentStyleTest,
                         ::testing::Values(
                             // The selected segment of a segmented control: the whole button, its label in white.
                             ControlCase{"checkedButton", button<QPushButton>(u"Light"_s, Qt::Checked), 0.5},
                             ControlCase{"uncheckedButton", button<QPushButton>(u"Light"_s, Qt::Unchecked), 0},
                             ControlCase{"disabledCheckedButton", button<QPushButton>(u"Light"_s, Qt::Checked, false),
                                         0},
                             // Check boxes and radio buttons: only their small indicator.
                             ControlCase{"checkedBox", button<QCheckBox>(u"Hide"_s, Qt::Checked), 0.01},
                             ControlCase{"partlyCheckedBox", button<QCheckBox>(u"Hide"_s, Qt::PartiallyChecked), 0.01},
                             ControlCase{"uncheckedBox", button<QCheckBox>(u"Hide"_s, Qt::Unchecked), 0},
                             ControlCase{"disabledCheckedBox", button<QCheckBox>(u"Hide"_s, Qt::Checked, false), 0},
                             ControlCase{"checkedRadio", button<QRadioButton>(u"One"_s, Qt::Checked), 0.01},
                             ControlCase{"uncheckedRadio", button<QRadioButton>(u"One"_s, Qt::Unchecked), 0}),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
