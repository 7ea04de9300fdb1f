// The X11 capture shortcut against a real X server: real key presses through the XTEST extension (xdotool). A key
// another client holds is tested through the application (RefusedShortcutTest), with a shortcut registered before.

#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QSignalSpy>
#include <QTest>

#include "platform/hotkey/HotKeyBackend.h"
#include "platform/hotkey/HotKeyX11.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

// Ctrl+Shift+Super+2: evdev 3 ("2") + 8.
const HotKeyCombination defaultCombination{11, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_4};

void xdotool(const QStringList &arguments)
{
    Tessary::Test::runProcess(u"xdotool"_s, arguments);
}

class HotKeyX11Test : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {
            GTEST_SKIP() << "needs an X server (runs under with-xvfb)";
        }
    }
};

TEST_F(HotKeyX11Test, PressReachesUsOncePerPressWhateverTheLockKeys)
{
    HotKeyX11 hotKey;
    ASSERT_TRUE(hotKey.registerShortcut(defaultCombination));
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);

    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 1; }, 3000));

    // With Num Lock and Caps Lock on, the same chord still counts.
    xdotool({u"key"_s, u"Num_Lock"_s});
    xdotool({u"key"_s, u"Caps_Lock"_s});
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 2; }, 3000));
    xdotool({u"key"_s, u"Num_Lock"_s});
    xdotool({u"key"_s, u"Caps_Lock"_s});

    // Another modifier set is not our shortcut.
    xdotool({u"key"_s, u"ctrl+super+2"_s});
    QTest::qWait(300);
    EXPECT_EQ(pressed.count(), 2);

    // Held down, the key repeats; that is still one press.
    xdotool({u"keydown"_s, u"ctrl+shift+super+2"_s});
    xdotool({u"keydown"_s, u"--delay"_s, u"50"_s, u"2"_s, u"2"_s, u"2"_s});
    xdotool({u"keyup"_s, u"ctrl+shift+super+2"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 3; }, 3000));
    QTest::qWait(300);
    EXPECT_EQ(pressed.count(), 3);

    hotKey.unregisterShortcut();
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    QTest::qWait(300);
    EXPECT_EQ(pressed.count(), 3);
}

TEST_F(HotKeyX11Test, BackendForTheSession)
{
    EXPECT_TRUE(createHotKeyBackend(SessionType::X11)->canRegister());
    const auto none = createHotKeyBackend(SessionType::Wayland);
    EXPECT_FALSE(none->canRegister());
    EXPECT_FALSE(none->registerShortcut(defaultCombination));
}

} // namespace
