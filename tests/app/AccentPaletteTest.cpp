// The accent palette in the running application: picking a palette in the settings window with real clicks retints the
// window and changes the application icon (which every window shows), the picker's mark and the tray glyph at once;
// the pick survives a restart.

#include <gtest/gtest.h>

#include <memory>

#include <QApplication>
#include <QMainWindow>
#include <QSystemTrayIcon>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/TessaryIcon.h"
#include "app/settings/TessarySettingsWindow.h"
#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeAppearancePicker.h"
#include "appearance/NativeAppearanceTile.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

bool isNear(const QColor &color, const QColor &expected, int tolerance = 3)
{
    return color.alpha() == 255 && std::abs(color.red() - expected.red()) <= tolerance &&
           std::abs(color.green() - expected.green()) <= tolerance &&
           std::abs(color.blue() - expected.blue()) <= tolerance;
}

std::string describe(const QColor &color)
{
    return color.toRgb().name(QColor::HexArgb).toStdString();
}

// The colour of the icon's rounded square: left of the viewfinder (160 of the artwork's 1024 units), halfway up.
QColor squareFill(const QImage &icon)
{
    return icon.pixelColor(icon.width() * 160 / 1024, icon.height() / 2);
}

// The colour of the tray glyph: its ink, the most opaque colour of the icon.
QColor trayGlyphColor(const QSystemTrayIcon *tray)
{
    const QImage image = tray->icon().pixmap(QSize(22, 22), 1.0).toImage();
    QColor strongest(Qt::transparent);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            strongest = image.pixelColor(x, y).alpha() > strongest.alpha() ? image.pixelColor(x, y) : strongest;
        }
    }
    return strongest;
}

class AccentPaletteTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_tray.start()) << "runs under with-xvfb with-keyring";
        m_defaults = std::make_unique<UserDefaults>(m_home.defaultsPath());
        m_defaults->setString(u"language"_s, u"en"_s);
    }

    QByteArray defaultsFile() const { return Tessary::Test::fileContents(m_home.defaultsPath()); }

    void launch()
    {
        m_app = std::make_unique<TessaryApp>(QStringList{u"tessary"_s, u"--open-settings-appearance"_s}, *m_defaults);
        m_app->applicationDidFinishLaunching();
        QMainWindow *window = m_app->settingsWindow()->window();
        ASSERT_NE(window, nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
        m_picker = window->findChild<NativeAppearancePicker *>();
        ASSERT_NE(m_picker, nullptr);
    }

    void quit()
    {
        m_app->applicationWillTerminate();
        m_app.reset();
    }

    QMainWindow *window() const { return m_app->settingsWindow()->window(); }

    NativeAppearanceTile *tile(NativeAccentPalette palette) const { return m_picker->tiles().at(palette.index()); }

    /** Checks every place the palette shows in, as a user would see them right after the pick. */
    void expectShownEverywhere(NativeAccentPalette palette)
    {
        SCOPED_TRACE(palette.rawValue().toStdString());
        const QColor accent = palette.color().toRgb();
        EXPECT_EQ(m_app->appearance().selection(), palette);

        // The window selects in the accent (its fields and what it opens follow it: the library's tests).
        EXPECT_EQ(describe(window()->palette().color(QPalette::Highlight)), describe(accent));

        // The picker marks the pick and only the pick (the tiles' drawing is the picker's own tests').
        for (NativeAppearanceTile *each : m_picker->tiles()) {
            EXPECT_EQ(each->isSelected(), each->accentPalette() == palette) << each->objectName().toStdString();
        }

        EXPECT_TRUE(isNear(squareFill(QApplication::windowIcon().pixmap(QSize(64, 64), 1.0).toImage()), accent));

        ASSERT_NE(m_app->statusItem(), nullptr);
        EXPECT_TRUE(isNear(trayGlyphColor(m_app->statusItem()), TessaryIcon::statusIconColor(palette)))
            << describe(trayGlyphColor(m_app->statusItem()));
    }

    Tessary::Test::TrayHost m_tray;
    Tessary::Test::PrivateHome m_home;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<TessaryApp> m_app;
    NativeAppearancePicker *m_picker = nullptr;
};

TEST_F(AccentPaletteTest, PickingAPaletteRetintsTheWindowAndChangesEveryIconAtOnce)
{
    launch();
    ASSERT_EQ(window()->windowTitle(), u"Tessary Settings"_s);
    expectShownEverywhere(NativeAccentPalette::Violet);
    EXPECT_FALSE(defaultsFile().contains("tessary.accentPalette")) << "the default is not written back";

    // Each tile's palette is the picker's own tests'; here what one pick changes in the application.
    ASSERT_TRUE(Tessary::Test::clickOn(tile(NativeAccentPalette::Forest)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_app->appearance().selection() == NativeAccentPalette::Forest; }, 10000));
    EXPECT_TRUE(defaultsFile().contains("tessary.accentPalette=forest"));
    expectShownEverywhere(NativeAccentPalette::Forest);

    // The next launch starts on the pick, with its icon from the first moment.
    quit();
    m_defaults = std::make_unique<UserDefaults>(m_home.defaultsPath());
    launch();
    expectShownEverywhere(NativeAccentPalette::Forest);
}

} // namespace
