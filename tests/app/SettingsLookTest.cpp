// The settings window follows a change of colour scheme at once: tab symbols in the new text colour, check boxes
// with a visible edge on light and dark windows, colour-scheme segments of one width with room around their titles.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QMainWindow>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTemporaryDir>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

/** The most opaque colour of an image: a symbol's ink. */
QColor ink(const QImage &image)
{
    QColor strongest(Qt::transparent);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).alpha() > strongest.alpha()) {
                strongest = image.pixelColor(x, y);
            }
        }
    }
    return strongest;
}

/** The largest lightness difference between the window colour and a pixel of the check box's indicator. */
int indicatorContrast(QCheckBox *box, const QColor &window)
{
    const QImage image = box->grab(QRect(0, 0, box->height(), box->height())).toImage();
    int contrast = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            contrast = std::max(contrast, std::abs(image.pixelColor(x, y).lightness() - window.lightness()));
        }
    }
    return contrast;
}

TEST(SettingsLookTest, FollowsTheColourSchemeAtOnce)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, u"zh-Hans"_s);
    defaults.setString(u"colorMode"_s, u"light"_s);
    TessaryApp app({u"tessary"_s, u"--open-settings"_s}, defaults);
    app.applicationDidFinishLaunching();
    QMainWindow *window = app.settingsWindow()->window();
    auto *tabs = window->findChild<QTabWidget *>(u"settingsTabs"_s);
    auto *hideIcon = window->findChild<QCheckBox *>(u"hideMenuBarIcon"_s);
    ASSERT_NE(tabs, nullptr);
    ASSERT_NE(hideIcon, nullptr);

    for (const QString &mode : {u"dark"_s, u"light"_s, u"dark"_s}) {
        app.preferences().setColorMode(mode);
        const QPalette palette = QApplication::palette();
        const QColor symbol = ink(tabs->tabIcon(0).pixmap(QSize(16, 16), 1.0).toImage());
        EXPECT_EQ(symbol.rgb(), palette.color(QPalette::WindowText).rgb()) << mode.toStdString();
        EXPECT_GT(indicatorContrast(hideIcon, palette.color(QPalette::Window)), 60) << mode.toStdString();
    }

    // In every language the three segments are as wide as each other, with room beside the longest title.
    app.settingsWindow()->show(TessarySettingsWindow::Appearance);
    for (const QString &language : {u"en"_s, u"zh-Hant"_s}) {
        app.preferences().setLanguage(language);
        const QList<QPushButton *> segments = window->findChildren<QPushButton *>(QRegularExpression(u"^colorMode-"_s));
        ASSERT_EQ(segments.size(), 3);
        for (const QPushButton *segment : segments) {
            EXPECT_EQ(segment->width(), segments[0]->width());
            EXPECT_GE(segment->width(), segment->fontMetrics().horizontalAdvance(segment->text()) + 20)
                << segment->text().toStdString();
        }
    }
}

} // namespace
