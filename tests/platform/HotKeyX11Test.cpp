// The X11 capture shortcut against a real X server: real key presses through the XTEST extension (xdotool) and a
// second X client that holds the key first.

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
const HotKeyCombination defaultCombination{11, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_4};

TEST(HotKeyX11Test, PressReachesUsOncePerPressWhateverTheLockKeys)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    HotKeyX11 hotKey;
    ASSERT_TRUE(hotKey.registerShortcut(defaultCombination));
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

TEST(HotKeyX11Test, KeyHeldByAnotherClientFailsAndLeavesNothingGrabbed)
{
    xcb_connection_t *other = xcb_connect(nullptr, nullptr);
    ASSERT_EQ(xcb_connection_has_error(other), 0);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
    const auto grab = [&](quint16 modifiers) {
        return xcb_request_check(other, xcb_grab_key_checked(other, 1, root, modifiers, defaultCombination.x11Keycode,
                                                             XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    };
    // The other client holds only the Num Lock variant; any variant taken must fail the whole registration.
    ASSERT_EQ(grab(defaultCombination.x11Modifiers | XCB_MOD_MASK_2), nullptr);
    HotKeyX11 hotKey;
    EXPECT_FALSE(hotKey.registerShortcut(defaultCombination));

    // Once the other client lets go, the key is free: our failed attempt left no half of it behind.
    xcb_ungrab_key(other, defaultCombination.x11Keycode, root, defaultCombination.x11Modifiers | XCB_MOD_MASK_2);
    xcb_generic_error_t *error = grab(defaultCombination.x11Modifiers);
    EXPECT_EQ(error, nullptr) << "our failed registration kept a grab";
    free(error);
    xcb_disconnect(other);
    EXPECT_TRUE(hotKey.registerShortcut(defaultCombination));

    EXPECT_TRUE(createHotKeyBackend(SessionType::X11)->canRegister());
    EXPECT_FALSE(createHotKeyBackend(SessionType::Wayland)->registerShortcut(defaultCombination));
}

} // namespace
