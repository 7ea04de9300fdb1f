// The appearance module: the accent palettes, the controller that stores the choice, installs the icon and tints
// windows, the style that paints checked controls in the accent and the icon's recolouring; then the picker and the
// Edit menu in real windows on the X server, driven with real clicks and key presses (xdotool), with another
// program (xclip) on the other side of the clipboard.

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

#include "appearance/NativeAccentStyle.h"
#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeAppearancePicker.h"
#include "appearance/NativeAppearanceTile.h"
#include "appearance/NativeEditingMenu.h"
#include "appearance/NativeIconRecoloring.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/appearance/AppearanceTestSupport.h"

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
    // The tests run with LANG=C: no preferred language, so "system" names are the English ones.
    EXPECT_EQ(P(P::Ocean).title(), u"Ocean"_s);
    EXPECT_EQ(P(P::Violet).title(u"zh-Hant"_s), u"紫羅蘭"_s);

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

/** An icon per palette that is a square of its colour. */
QIcon paletteIcon(P palette)
{
    QPixmap pixmap(64, 64);
    pixmap.fill(palette.color());
    return QIcon(pixmap);
}

TEST(NativeAppAppearanceTest, TintsWindowsAndWhatTheyOpenFollowingSelectionAndColourMode)
{
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    NativeAppAppearance appearance(P::Violet, key, defaults, &paletteIcon);
    const QPalette applicationPalette = QApplication::palette();
    QWidget window;
    auto *languages = new QComboBox(&window);
    languages->addItems({u"English"_s, u"Deutsch"_s});
    auto *field = new QLineEdit(&window);
    appearance.tint(&window);
    window.show();
    const auto highlight = [](const QWidget *widget, QPalette::ColorGroup group = QPalette::Active) {
        return widget->palette().color(group, QPalette::Highlight);
    };
    EXPECT_EQ(highlight(field), P(P::Violet).color());
    EXPECT_EQ(highlight(field, QPalette::Disabled), applicationPalette.color(QPalette::Disabled, QPalette::Highlight));

    // A drop-down list and a context menu are windows of their own; the list's current entry is drawn in the accent.
    languages->showPopup();
    QWidget *list = languages->view()->window();
    ASSERT_NE(list, &window);
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->isVisible(); }, 30000));
    EXPECT_EQ(highlight(list), P(P::Violet).color());
    std::unique_ptr<QMenu> menu(field->createStandardContextMenu());
    menu->popup(QPoint(10, 10));
    ASSERT_TRUE(QTest::qWaitFor([&] { return menu->isVisible(); }, 30000));
    EXPECT_EQ(highlight(menu.get()), P(P::Violet).color());
    // A pick reaches the open ones at once.
    appearance.select(P::Coral);
    EXPECT_EQ(highlight(field), P(P::Coral).color());
    EXPECT_EQ(highlight(list), P(P::Coral).color());
    EXPECT_GT(pixelsOf(languages->view(), P(P::Coral).color()), 0);
    EXPECT_EQ(highlight(menu.get()), P(P::Coral).color());
    menu->close();
    languages->hidePopup();

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
    const auto checked = [](QAbstractButton *control, bool on) {
        control->setCheckable(true);
        control->setChecked(on);
        return control;
    };
    const std::pair<QWidget *, double> controls[] = {{checked(new QPushButton(u"Light"_s), true), 0.5},
                                                     {checked(new QPushButton(u"Light"_s), false), 0},
                                                     {checked(new QCheckBox(u"Hide"_s), true), 0.01},
                                                     {checked(new QCheckBox(u"Hide"_s), false), 0},
                                                     {checked(new QRadioButton(u"One"_s), true), 0.01}};
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
        {QColor(255, 0, 0, 2), 0.0, P::Ocean, std::nullopt}, // alpha 2 is below the threshold
        {hsv(0.02, 0.8, 0.6, 100), 0.0, P::Violet, 0.02 * 0.18},
        {QColor(128, 128, 128), 0.0, P::Ocean, std::nullopt},
        {QColor(255, 210, 210), 0.0, P::Ocean, std::nullopt}, // saturation 45/255 is at or below 0.18
        {hsv(0.6, 0.3, 0.9), 0.6, P::Ocean, 0.0},             // pale: saturation × 0.82 is below 0.72 × the target's
        {hsv(0.1, 1.0, 1.0), 0.3, P::Ocean, -0.036},
        {hsv(0.55, 1.0, 1.0), 0.3, P::Ocean, std::nullopt},
        {hsv(0.05, 1.0, 1.0), 0.95, P::Forest, 0.1 * 0.18}, // distances wrap around the hue circle
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
    const QImage result = NativeIconRecoloring::replacingDominantHue(source, 0.0, P(P::Forest).color(), 100);
    ASSERT_EQ(result.size(), QSize(100, 100));
    EXPECT_NEAR(result.pixelColor(99, 99).hsvHueF(), P(P::Forest).color().hsvHueF(), 0.01);
    for (const int size : {0, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(NativeIconRecoloring::replacingDominantHue(source, 0.0, Qt::blue, size).cacheKey(), source.cacheKey())
            << size;
    }
}

/** Another program owns the clipboard with the data, until someone else takes it. */
void offerElsewhere(const QByteArray &data, const QString &type = u"UTF8_STRING"_s)
{
    QSignalSpy changed(QGuiApplication::clipboard(), &QClipboard::dataChanged);
    ASSERT_TRUE(Tessary::Test::offerClipboardElsewhere(data, type));
    ASSERT_TRUE(QTest::qWaitFor([&] { return changed.count() > 0; }, 30000));
}

void show(QWidget &window)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
}

TEST(NativeAppearancePickerTest, ClicksAndArrowKeysPickAndTheTilesShowIt)
{
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    auto appearance = std::make_unique<NativeAppAppearance>(P::Violet, u"key"_s, defaults, &paletteIcon);
    QWidget window;
    auto *picker = new NativeAppearancePicker(*appearance, u"zh-Hant"_s, &window);
    (new QVBoxLayout(&window))->addWidget(picker);
    window.resize(560, 240);
    show(window);
    const auto tile = [&](P palette) { return picker->tiles().at(palette.index()); };
    EXPECT_EQ(picker->findChild<QLabel *>(u"title"_s)->text(), u"圖示與強調色"_s);
    EXPECT_EQ(tile(P::Ocean)->accessibleName(), u"海藍圖示顏色"_s);
    EXPECT_EQ(tile(P::Violet)->accessibleDescription(), u"已選取"_s);
    picker->setLanguage(u"ja"_s);
    EXPECT_EQ(picker->findChild<QLabel *>(u"title"_s)->text(), u"Icon & Accent Color"_s);

    // A real click selects; clicking the selected tile again changes nothing.
    QSignalSpy selectionChanged(appearance.get(), &NativeAppAppearance::selectionChanged);
    for (int click = 0; click < 2; ++click) {
        ASSERT_TRUE(Tessary::Test::clickOn(tile(P::Forest)));
        ASSERT_TRUE(QTest::qWaitFor([&] { return tile(P::Forest)->hasFocus(); }, 30000));
    }
    EXPECT_EQ(selectionChanged.count(), 1);
    // Only the selection is marked: its check mark's disc in its colour.
    for (NativeAppearanceTile *each : picker->tiles()) {
        SCOPED_TRACE(each->objectName().toStdString());
        const bool selected = each->accentPalette() == P::Forest;
        EXPECT_EQ(each->accessibleDescription(), selected ? u"Selected"_s : u"Not selected"_s);
        const QImage drawn = each->grab().toImage();
        const qreal ratio = drawn.devicePixelRatio();
        const QColor check = drawn.pixelColor(QPointF((each->width() - 20) * ratio, 24 * ratio).toPoint());
        EXPECT_EQ(distance(check, each->accentPalette().color()) < 20, selected);
    }
    // The arrow keys move the selection as in a group of radio buttons.
    ASSERT_TRUE(Tessary::Test::pressKeys(u"Right"_s));
    ASSERT_TRUE(QTest::qWaitFor([&] { return appearance->selection() == P::Ocean; }, 30000));
}

// A settings-like window with the Edit menu and several kinds of fields.
class NativeEditingMenuTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_edit = NativeEditingMenu::install(m_window.menuBar());
        auto *central = new QWidget(&m_window);
        auto *layout = new QVBoxLayout(central);
        m_readOnly->setReadOnly(true);
        for (QWidget *widget :
             std::initializer_list<QWidget *>{m_name, m_other, m_readOnly, m_notes, m_number, m_button}) {
            layout->addWidget(widget);
        }
        m_window.setCentralWidget(central);
        show(m_window);
        // Start from text on the clipboard, owned by another program.
        offerElsewhere("from elsewhere");
    }

    QAction *item(const QString &name) const { return m_edit->findChild<QAction *>(name); }

    /** The enabled items, by name, in menu order. */
    QStringList enabledItems() const
    {
        QStringList enabled;
        for (const QAction *action : m_edit->actions()) {
            if (action->isEnabled()) {
                enabled.append(action->objectName());
            }
        }
        return enabled;
    }

    void focus(QWidget *widget)
    {
        widget->setFocus(Qt::TabFocusReason);
        ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == widget; }, 30000));
    }

    QMainWindow m_window;
    QMenu *m_edit = nullptr;
    QLineEdit *m_name = new QLineEdit(u"hello world"_s);
    QLineEdit *m_other = new QLineEdit;
    QLineEdit *m_readOnly = new QLineEdit(u"fixed text"_s);
    QPlainTextEdit *m_notes = new QPlainTextEdit;
    QSpinBox *m_number = new QSpinBox;
    QPushButton *m_button = new QPushButton(u"Button"_s);
};

// The application retitles the menu whenever the interface language changes.
TEST_F(NativeEditingMenuTest, ItemsTakeTheirTitlesThroughTheTranslation)
{
    NativeEditingMenu::retitle(m_edit, [](const QString &title) -> QString { return u"["_s + title + u"]"_s; });
    EXPECT_EQ(m_edit->menuAction()->text(), u"[编辑]"_s);
    for (const QAction *action : m_edit->actions()) {
        EXPECT_TRUE(action->text().startsWith(u'[')) << action->text().toStdString();
    }
}

TEST_F(NativeEditingMenuTest, ItemsFollowTheFocusedFieldAndActOnIt)
{
    focus(m_name);
    m_name->deselect();
    EXPECT_EQ(enabledItems(), (QStringList{u"paste"_s, u"selectAll"_s})) << "no selection, nothing typed yet";
    ASSERT_TRUE(Tessary::Test::pressKeys(u"ctrl+a"_s));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_name->selectedText() == u"hello world"_s; }, 30000));
    EXPECT_EQ(enabledItems(), (QStringList{u"cut"_s, u"copy"_s, u"paste"_s, u"selectAll"_s}));
    ASSERT_TRUE(Tessary::Test::pressKeys(u"ctrl+c"_s));
    ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::clipboard()->text() == u"hello world"_s; }, 30000));
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"hello world"_s) << "another program reads the copy";

    // Another field: the selection of the first does not count there.
    focus(m_other);
    EXPECT_EQ(enabledItems(), (QStringList{u"paste"_s}));
    ASSERT_TRUE(Tessary::Test::pressKeys(u"ctrl+v"_s));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"hello world"_s; }, 30000));
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s, u"selectAll"_s}));

    // The menu's items act on the focused field too.
    focus(m_notes);
    item(u"paste"_s)->trigger();
    EXPECT_EQ(m_notes->toPlainText(), u"hello world"_s);
    item(u"undo"_s)->trigger();
    EXPECT_TRUE(m_notes->toPlainText().isEmpty());
    EXPECT_EQ(enabledItems(), (QStringList{u"redo"_s, u"paste"_s}));
    // Read-only text can be copied, not cut or pasted into; a spin box edits through its line edit.
    focus(m_readOnly);
    m_readOnly->selectAll();
    EXPECT_EQ(enabledItems(), (QStringList{u"copy"_s, u"selectAll"_s}));
    focus(m_number);
    EXPECT_TRUE(item(u"selectAll"_s)->isEnabled() && item(u"paste"_s)->isEnabled());
}

TEST_F(NativeEditingMenuTest, PasteFollowsWhatTheClipboardHolds)
{
    // An image, no text: nothing to paste into a text field, also when it came while no field had the focus.
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    focus(m_other);
    ASSERT_TRUE(item(u"paste"_s)->isEnabled());
    offerElsewhere(png, u"image/png"_s);
    EXPECT_FALSE(item(u"paste"_s)->isEnabled());
    focus(m_button);
    offerElsewhere("and text");
    focus(m_other);
    EXPECT_TRUE(item(u"paste"_s)->isEnabled());
}

} // namespace
