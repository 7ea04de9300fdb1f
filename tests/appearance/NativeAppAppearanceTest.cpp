// The accent palettes off screen: their values and names, the controller that stores the choice, installs the icon
// and tints windows, the style that paints checked controls in the accent, and the icon's recolouring.

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTest>

#include "appearance/NativeAccentStyle.h"
#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeAppearanceLanguage.h"
#include "appearance/NativeIconRecoloring.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using P = NativeAccentPalette;

namespace {

const QString key = u"tessary.accentPalette"_s;

int distance(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

/** How many of the widget's pixels, as drawn, are within 24 of the colour. */
int pixelsOf(QWidget *widget, const QColor &color)
{
    const QImage image = widget->grab().toImage();
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            count += distance(image.pixelColor(x, y), color) <= 24;
        }
    }
    return count;
}

TEST(NativeAccentPaletteTest, RawValuesNamesLanguagesAndTheStoredChoice)
{
    for (const P palette : P::allCases()) {
        EXPECT_EQ(P::fromRawValue(palette.rawValue()), palette);
    }
    for (const QString &foreign : {u"Ocean"_s, u" ocean"_s, u""_s, u"blue"_s, u"4"_s}) {
        EXPECT_FALSE(P::fromRawValue(foreign).has_value()) << foreign.toStdString();
    }
    // The tests run with LANG=C: no preferred language, so "system" names are the English ones.
    EXPECT_TRUE(NativeAppearanceLanguage::preferredLanguages().isEmpty());
    EXPECT_EQ(P(P::Ocean).title(), u"Ocean"_s);
    EXPECT_EQ(P(P::Ocean).title(u"zh-CN"_s), u"海蓝"_s);
    EXPECT_EQ(P(P::Violet).title(u"zh-Hant"_s), u"紫羅蘭"_s);
    EXPECT_EQ(P(P::Terracotta).title(u"ja"_s), u"Terracotta"_s);
    using L = NativeAppearanceLanguage;
    const std::tuple<QString, QStringList, L> languages[] = {
        {u"zh-Hant"_s, {}, L::TraditionalChinese},
        {u"zh-TW"_s, {}, L::TraditionalChinese},
        {u"zh-HK"_s, {}, L::TraditionalChinese},
        {u"zh-MO"_s, {}, L::TraditionalChinese},
        {u"ZH-HANT-TW"_s, {}, L::TraditionalChinese},
        {u"zh"_s, {}, L::SimplifiedChinese},
        {u"zh-Hans"_s, {}, L::SimplifiedChinese},
        {u"ja"_s, {}, L::English},
        {u"en"_s, {u"zh-Hant"_s}, L::English},
        {u"system"_s, {u"zh-Hant-TW"_s, u"en"_s}, L::TraditionalChinese},
        {u"system"_s, {u"en-US"_s, u"zh-CN"_s}, L::English},
        {u"system"_s, {}, L::English}};
    for (const auto &[language, preferred, expected] : languages) {
        EXPECT_EQ(L::from(language, preferred), expected) << language.toStdString();
    }

    // Only an exact raw value under our own key is a choice; reading writes nothing.
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    const auto current = [&] { return P::current(P::Violet, key, defaults); };
    EXPECT_EQ(current(), P::Violet);
    EXPECT_FALSE(QFile::exists(defaults.path()));
    defaults.setString(key, u"ocean"_s);
    EXPECT_EQ(current(), P::Ocean);
    defaults.setString(key, u"Ocean"_s);
    EXPECT_EQ(current(), P::Violet);
    defaults.setData(key, "forest");
    EXPECT_EQ(current(), P::Violet) << "not text";
    defaults.remove(key);
    defaults.setString(P::standardDefaultsKey(), u"amber"_s);
    EXPECT_EQ(current(), P::Violet) << "another key's value is not ours";
}

// The controller on a real defaults file, with an icon per palette that is a square of its colour.
class NativeAppAppearanceTest : public ::testing::Test
{
protected:
    std::unique_ptr<NativeAppAppearance> makeAppearance()
    {
        return std::make_unique<NativeAppAppearance>(P::Violet, key, m_defaults, [this](P palette) {
            ++m_builds[std::size_t(palette.index())];
            QPixmap pixmap(16, 16);
            pixmap.fill(palette.color());
            return QIcon(pixmap);
        });
    }

    static QRgb windowIconColor() { return QApplication::windowIcon().pixmap(16, 16).toImage().pixel(8, 8); }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    std::array<int, 6> m_builds{};
};

TEST_F(NativeAppAppearanceTest, APickIsStoredAnnouncedAndShownAsTheIcon)
{
    QPixmap black(16, 16);
    black.fill(Qt::black);
    const QIcon sentinel(black);
    QApplication::setWindowIcon(sentinel);
    m_defaults.setString(key, u"Ocean"_s);
    auto appearance = makeAppearance();
    QSignalSpy selectionChanged(appearance.get(), &NativeAppAppearance::selectionChanged);
    EXPECT_EQ(appearance->selection(), P::Violet) << "an unknown stored value is the default";
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), sentinel.cacheKey()) << "the icon waits for the host";
    EXPECT_EQ(m_builds, (std::array<int, 6>{})) << "icons are built on demand";
    appearance->applyApplicationIcon();
    EXPECT_EQ(windowIconColor(), P(P::Violet).color().rgba());
    // Picking the palette shown is no pick: the unknown value stays until the user picks.
    appearance->select(P::Violet);
    EXPECT_EQ(selectionChanged.count(), 0);
    EXPECT_EQ(m_defaults.string(key), u"Ocean"_s);

    QSignalSpy iconChanged(appearance.get(), &NativeAppAppearance::applicationIconChanged);
    appearance->select(P::Ocean);
    EXPECT_EQ(m_defaults.string(key), u"ocean"_s);
    ASSERT_EQ(selectionChanged.count(), 1);
    EXPECT_EQ(selectionChanged[0][0].value<P>(), P::Ocean);
    const qint64 ocean = appearance->icon(P::Ocean).cacheKey();
    ASSERT_EQ(iconChanged.count(), 1);
    EXPECT_EQ(iconChanged[0][0].value<QIcon>().cacheKey(), ocean);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), ocean);
    EXPECT_EQ(windowIconColor(), P(P::Ocean).color().rgba());
    EXPECT_EQ(appearance->property("accent").value<QColor>(), P(P::Ocean).color());
    // Back and forth, and every icon asked for twice: each is built once.
    appearance->select(P::Forest);
    appearance->select(P::Ocean);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), ocean);
    for (const P palette : P::allCases()) {
        appearance->icon(palette);
        appearance->icon(palette);
    }
    EXPECT_EQ(m_builds, (std::array<int, 6>{1, 1, 1, 1, 1, 1}));
}

TEST_F(NativeAppAppearanceTest, TintsWindowsAndWhatTheyOpenFollowingSelectionAndColourMode)
{
    const QPalette applicationPalette = QApplication::palette();
    auto appearance = makeAppearance();
    QWidget window;
    auto *languages = new QComboBox(&window);
    languages->addItems({u"English"_s, u"Deutsch"_s});
    auto *field = new QLineEdit(&window);
    appearance->tint(&window);
    window.show();
    const auto highlight = [](const QWidget *widget, QPalette::ColorGroup group = QPalette::Active) {
        return widget->palette().color(group, QPalette::Highlight);
    };
    EXPECT_EQ(highlight(field), P(P::Violet).color());
    EXPECT_EQ(highlight(field, QPalette::Inactive), P(P::Violet).color());
    EXPECT_EQ(highlight(field, QPalette::Disabled), applicationPalette.color(QPalette::Disabled, QPalette::Highlight));

    // A drop-down list and a context menu are windows of their own; the list's current entry is drawn in the accent.
    languages->showPopup();
    QWidget *list = languages->view()->window();
    ASSERT_NE(list, &window);
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->isVisible(); }, 30000));
    EXPECT_EQ(highlight(list), P(P::Violet).color());
    EXPECT_GT(pixelsOf(languages->view(), P(P::Violet).color()), 0);
    std::unique_ptr<QMenu> menu(field->createStandardContextMenu());
    menu->popup(QPoint(10, 10));
    ASSERT_TRUE(QTest::qWaitFor([&] { return menu->isVisible(); }, 30000));
    EXPECT_EQ(highlight(menu.get()), P(P::Violet).color());
    // A pick reaches the open ones at once.
    appearance->select(P::Coral);
    EXPECT_EQ(highlight(field), P(P::Coral).color());
    EXPECT_EQ(highlight(list), P(P::Coral).color());
    EXPECT_GT(pixelsOf(languages->view(), P(P::Coral).color()), 0);
    EXPECT_EQ(highlight(menu.get()), P(P::Coral).color());
    menu->close();
    languages->hidePopup();

    // A window that nothing tinted opened keeps the application's colours.
    QWidget other;
    QMenu otherMenu(&other);
    otherMenu.addAction(u"Item"_s);
    otherMenu.popup(QPoint(10, 10));
    ASSERT_TRUE(QTest::qWaitFor([&] { return otherMenu.isVisible(); }, 30000));
    EXPECT_EQ(highlight(&otherMenu), applicationPalette.color(QPalette::Highlight));

    // A dark application palette (delivered as posted events) reaches every other role of the tinted window.
    QPalette dark(QColor(0x2B, 0x2B, 0x2D));
    dark.setColor(QPalette::Base, QColor(0x1E, 0x1E, 0x20));
    QApplication::setPalette(dark);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return field->palette().color(QPalette::Base) == QColor(0x1E, 0x1E, 0x20); }, 30000));
    EXPECT_EQ(highlight(field), P(P::Coral).color());
    QApplication::setPalette(applicationPalette);
    QCoreApplication::processEvents();
}

TEST(NativeAccentStyleTest, ShowsTheAccentOnCheckedControlsOnly)
{
    NativeAccentStyle style(QStyleFactory::create(u"Fusion"_s));
    // At least this share of the control is the accent (the selected segment of a segmented control: the whole
    // button, its label white; check boxes and radio buttons: their small indicator); 0: none of it.
    const auto button = [](bool checked, bool enabled = true) {
        auto *control = new QPushButton(u"Light"_s);
        control->setCheckable(true);
        control->setChecked(checked);
        control->setEnabled(enabled);
        return static_cast<QWidget *>(control);
    };
    const auto box = [](Qt::CheckState state, bool enabled = true) {
        auto *control = new QCheckBox(u"Hide"_s);
        control->setTristate(state == Qt::PartiallyChecked);
        control->setCheckState(state);
        control->setEnabled(enabled);
        return static_cast<QWidget *>(control);
    };
    const auto radio = [](bool checked) {
        auto *control = new QRadioButton(u"One"_s);
        control->setChecked(checked);
        return static_cast<QWidget *>(control);
    };
    const std::pair<QWidget *, double> controls[] = {{button(true), 0.5},
                                                     {button(false), 0},
                                                     {button(true, false), 0},
                                                     {box(Qt::Checked), 0.01},
                                                     {box(Qt::PartiallyChecked), 0.01},
                                                     {box(Qt::Unchecked), 0},
                                                     {box(Qt::Checked, false), 0},
                                                     {radio(true), 0.01},
                                                     {radio(false), 0}};
    for (int i = 0; i < int(std::size(controls)); ++i) {
        std::unique_ptr<QWidget> control(controls[i].first);
        control->setStyle(&style);
        control->resize(control->sizeHint().expandedTo(QSize(120, 28)));
        for (const P palette : {P::Coral, P::Forest}) {
            SCOPED_TRACE(testing::Message() << "control " << i << " " << palette.rawValue().toStdString());
            control->setPalette(NativeAppAppearance::accentPalette(palette.color()));
            const int accent = pixelsOf(control.get(), palette.color());
            EXPECT_TRUE(controls[i].second == 0 ? accent == 0
                                                : accent >= controls[i].second * control->width() * control->height())
                << accent;
            EXPECT_TRUE(controls[i].second == 0 || pixelsOf(control.get(), Qt::white) > 4)
                << "the mark or label on it is white";
        }
    }
}

// Expectations in terms of hue, saturation and value as QColor measures them. A 1×1 image per pixel.
TEST(NativeIconRecoloringTest, RecoloursOnlyWhatBelongsToTheDominantHueKeepingShadingAndAlpha)
{
    struct Row
    {
        QColor source; // alpha included
        double baseHue;
        P target;
        std::optional<double> hueOffset; // from the target's hue; none: the pixel comes back byte for byte
    };
    const auto hsv = [](double h, double s, double v, int alpha = 255) {
        return QColor::fromHsvF(float(h), float(s), float(v), float(alpha / 255.0));
    };
    const Row rows[] = {
        {QColor(0, 0, 0, 0), 0.0, P::Ocean, std::nullopt},
        {QColor(255, 0, 0, 2), 0.0, P::Ocean, std::nullopt}, // alpha 2 is below the threshold
        {QColor(255, 0, 0, 3), 0.0, P::Ocean, 0.0},
        {hsv(0.02, 0.8, 0.6, 100), 0.0, P::Violet, 0.02 * 0.18},
        {QColor(128, 128, 128), 0.0, P::Ocean, std::nullopt},
        {QColor(255, 255, 255), 0.0, P::Amber, std::nullopt},
        {QColor(0, 0, 0), 0.0, P::Coral, std::nullopt},
        {QColor(255, 210, 210), 0.0, P::Ocean, std::nullopt}, // saturation 45/255 is at or below 0.18
        {QColor(255, 209, 209), 0.0, P::Ocean, 0.0},
        {hsv(0.6, 0.3, 0.9), 0.6, P::Ocean, 0.0}, // pale: saturation × 0.82 is below 0.72 × the target's
        {hsv(0.5, 1.0, 1.0), 0.3, P::Ocean, 0.036},
        {hsv(0.1, 1.0, 1.0), 0.3, P::Ocean, -0.036},
        {hsv(0.55, 1.0, 1.0), 0.3, P::Ocean, std::nullopt},
        {hsv(0.05, 1.0, 1.0), 0.95, P::Forest, 0.1 * 0.18}, // distances wrap around the hue circle
        {hsv(0.9, 1.0, 1.0), 0.05, P::Amber, -0.15 * 0.18},
        {hsv(0.7, 1.0, 1.0), 0.95, P::Amber, std::nullopt},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.source.name(QColor::HexArgb).toStdString());
        QImage image(1, 1, QImage::Format_RGBA8888_Premultiplied);
        image.setPixelColor(0, 0, row.source);
        const QColor before = image.pixelColor(0, 0);
        const QImage recoloured = NativeIconRecoloring::replacingDominantHue(image, row.baseHue, row.target.color(), 1)
                                      .convertToFormat(QImage::Format_RGBA8888_Premultiplied);
        if (!row.hueOffset) {
            EXPECT_EQ(recoloured.pixel(0, 0), image.pixel(0, 0));
            continue;
        }
        const QColor after = recoloured.pixelColor(0, 0);
        EXPECT_NE(recoloured.pixel(0, 0), image.pixel(0, 0));
        EXPECT_EQ(after.alpha(), before.alpha()) << "alpha is never changed";
        // Rounding to bytes (worse the more transparent the pixel) bounds the precision.
        const double tolerance = 3.0 / 255 / (before.alpha() / 255.0);
        double hue = after.hsvHueF() - row.target.color().hsvHueF();
        hue -= std::round(hue);
        EXPECT_NEAR(hue, *row.hueOffset, tolerance);
        EXPECT_NEAR(after.hsvSaturationF(),
                    std::max(before.hsvSaturationF() * 0.82, row.target.color().hsvSaturationF() * 0.72), tolerance);
        EXPECT_NEAR(after.valueF(), before.valueF(), tolerance / 2) << "shading is kept";
    }

    // Scaled into the requested square; sizes it cannot allocate give the source back.
    QImage source(64, 32, QImage::Format_ARGB32_Premultiplied);
    source.fill(hsv(0.0, 1.0, 1.0));
    for (const int size : {1, 100}) {
        const QImage result = NativeIconRecoloring::replacingDominantHue(source, 0.0, P(P::Forest).color(), size);
        ASSERT_EQ(result.size(), QSize(size, size));
        EXPECT_NEAR(result.pixelColor(size - 1, size - 1).hsvHueF(), P(P::Forest).color().hsvHueF(), 0.01);
    }
    for (const int size : {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::max() / 2}) {
        EXPECT_EQ(NativeIconRecoloring::replacingDominantHue(source, 0.0, Qt::blue, size).cacheKey(), source.cacheKey())
            << size;
    }
    EXPECT_TRUE(NativeIconRecoloring::replacingDominantHue(QImage(), 0.0, Qt::blue, 16).isNull());
}

} // namespace
