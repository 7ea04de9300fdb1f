#include <gtest/gtest.h>

#include <QTest>
#include <QTemporaryDir>

#include "app/ColorModePalettes.h"
#include "app/TessaryPreferences.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

// The real desktop portal (xdg-desktop-portal with its GTK back end, which reads GNOME's colour-scheme setting from
// dconf), activated on the private session bus of with-keyring, on the private X server of with-xvfb.
class SystemColorSchemeTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        qputenv("XDG_CURRENT_DESKTOP", "GNOME");
        qputenv("GSETTINGS_BACKEND", "dconf");
        const Tessary::Test::ProcessResult updated = Tessary::Test::runProcess(
            u"dbus-update-activation-environment"_s,
            {u"DISPLAY"_s, u"XDG_CURRENT_DESKTOP"_s, u"GSETTINGS_BACKEND"_s, u"HOME"_s, u"XDG_CONFIG_HOME"_s,
             u"XDG_DATA_HOME"_s, u"XDG_CACHE_HOME"_s, u"XDG_RUNTIME_DIR"_s});
        ASSERT_EQ(updated.exitCode, 0) << updated.standardError.toStdString();
    }

    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb and with-keyring";
        setDesktopScheme("default");
    }

    static void setDesktopScheme(const char *scheme)
    {
        const Tessary::Test::ProcessResult set =
            Tessary::Test::runProcess(u"gsettings"_s, {u"set"_s, u"org.gnome.desktop.interface"_s, u"color-scheme"_s,
                                                       QString::fromLatin1(scheme)});
        ASSERT_EQ(set.exitCode, 0) << set.standardError.toStdString();
    }
};

TEST_F(SystemColorSchemeTest, ReadsTheDesktopsPreferenceAndTheSystemColorModeFollowsIt)
{
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"colorMode"_s, u"light"_s);
    TessaryPreferences preferences(defaults);
    preferences.applyColorMode();
    setDesktopScheme("prefer-dark");
    ASSERT_FALSE(ColorModePalettes::isDarkApplied());

    preferences.setColorMode(u"system"_s);
    EXPECT_TRUE(QTest::qWaitFor([] { return ColorModePalettes::isDarkApplied(); }, 15000));

    preferences.setColorMode(u"Dark"_s);
    EXPECT_TRUE(ColorModePalettes::isDarkApplied()) << "an unknown mode follows the desktop, which prefers dark";
    setDesktopScheme("default");
    EXPECT_TRUE(QTest::qWaitFor([] { return !ColorModePalettes::isDarkApplied(); }, 10000));
}

} // namespace
