// The capture shortcut on an X11 desktop, against a real X server with real key presses through XTEST (xdotool):
// X11 grabs. KDE's global shortcut daemon, and a key another client holds, are tested through the application
// (DesktopShortcutTest, TessaryAppTest).

#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QSignalSpy>
#include <QTest>

#include "platform/hotkey/HotKeyBackend.h"
#include "platform/hotkey/HotKeyX11.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::xdotool;

namespace {

// Ctrl+Shift+Super+2: evdev 3 ("2") + 8.
const HotKeyCombination x11Combination{11, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_4};

TEST(HotKeyX11Test, PressReachesUsOncePerPressWhateverTheLockKeys)
{
    HotKeyX11 hotKey;
    ASSERT_TRUE(hotKey.registerShortcut(x11Combination));
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);
    // A second grab (Shift+Super+F12) marks the end of the presses before it: the server delivers them in order.
    HotKeyX11 marker;
    ASSERT_TRUE(marker.registerShortcut({96, XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_4}));
    QSignalSpy marked(&marker, &HotKeyBackend::pressed);
    const auto expectPressesAfterTheMarker = [&](int count) {
        const int before = int(marked.count());
        xdotool({u"key"_s, u"shift+super+F12"_s});
        ASSERT_TRUE(QTest::qWaitFor([&] { return marked.count() > before; }, 10000));
        EXPECT_EQ(pressed.count(), count);
    };

    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    expectPressesAfterTheMarker(1);
    // With Num Lock and Caps Lock on, the same chord still counts.
    xdotool({u"key"_s, u"Num_Lock"_s, u"Caps_Lock"_s, u"ctrl+shift+super+2"_s, u"Num_Lock"_s, u"Caps_Lock"_s});
    expectPressesAfterTheMarker(2);
    // Another modifier set is not our shortcut.
    xdotool({u"key"_s, u"ctrl+super+2"_s});
    expectPressesAfterTheMarker(2);
    // Held down a second, past the X server's auto-repeat delay, the key repeats; that is still one press.
    xdotool({u"keydown"_s, u"ctrl+shift+super+2"_s, u"sleep"_s, u"1"_s, u"keyup"_s, u"ctrl+shift+super+2"_s});
    expectPressesAfterTheMarker(3);

    hotKey.unregisterShortcut();
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    expectPressesAfterTheMarker(3);
}

} // namespace
