// The colour mode against the real desktop portal (xdg-desktop-portal with its GTK back end, which reads GNOME's
// colour-scheme setting from dconf), activated on the private session bus of with-keyring, on the private X server of
// with-xvfb: "light" and "dark" hold whatever the desktop prefers, any other mode follows the desktop.

#include <gtest/gtest.h>

#include <QTest>
#include <QTemporaryDir>

#include "app/ColorModePalettes.h"
#include "app/TessaryPreferences.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::runProcess;

namespace {

void setDesktopScheme(const QString &scheme)
{
    const auto set =
        runProcess(u"gsettings"_s, {u"set"_s, u"org.gnome.desktop.interface"_s, u"color-scheme"_s, scheme});
    ASSERT_EQ(set.exitCode, 0) << set.standardError.toStdString();
}

TEST(SystemColorSchemeTest, ExactModesHoldAndAnyOtherFollowsTheDesktop)
{
    qputenv("XDG_CURRENT_DESKTOP", "GNOME");
    qputenv("GSETTINGS_BACKEND", "dconf");
    const auto updated =
        runProcess(u"dbus-update-activation-environment"_s,
                   {u"DISPLAY"_s, u"XDG_CURRENT_DESKTOP"_s, u"GSETTINGS_BACKEND"_s, u"HOME"_s, u"XDG_CONFIG_HOME"_s,
                    u"XDG_DATA_HOME"_s, u"XDG_CACHE_HOME"_s, u"XDG_RUNTIME_DIR"_s});
    ASSERT_EQ(updated.exitCode, 0) << "runs under with-xvfb and with-keyring: " << updated.standardError.toStdString();
    setDesktopScheme(u"prefer-dark"_s);
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"colorMode"_s, u"light"_s);
    TessaryPreferences preferences(defaults);
    preferences.applyColorMode();
    EXPECT_FALSE(ColorModePalettes::isDarkApplied());

    preferences.setColorMode(u"system"_s);
    EXPECT_TRUE(QTest::qWaitFor([] { return ColorModePalettes::isDarkApplied(); }, 15000));
    setDesktopScheme(u"default"_s);
    EXPECT_TRUE(QTest::qWaitFor([] { return !ColorModePalettes::isDarkApplied(); }, 10000));
    preferences.setColorMode(u"dark"_s);
    EXPECT_TRUE(ColorModePalettes::isDarkApplied());
    preferences.setColorMode(u"Dark"_s);
    EXPECT_FALSE(ColorModePalettes::isDarkApplied()) << "an unknown mode follows the desktop, which prefers light now";
    EXPECT_EQ(UserDefaults(dir.filePath(u"defaults.ini"_s)).string(u"colorMode"_s), u"Dark"_s) << "stored as given";
}

} // namespace
