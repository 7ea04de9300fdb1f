// The capture shortcut on an X11 desktop, against a real X server with real key presses through XTEST (xdotool):
// X11 grabs, and KDE's global shortcut daemon (the real kglobalaccel5 on a private session bus) with a second program
// holding the key first. The daemon's key forms, and a key another client grabs, are tested through the application
// (DesktopShortcutTest, TessaryAppTest).

#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QSignalSpy>
#include <QTest>

#include "platform/hotkey/HotKeyBackend.h"
#include "platform/hotkey/HotKeyKGlobalAccel.h"
#include "platform/hotkey/HotKeyX11.h"
#include "tests/support/KGlobalAccelDaemon.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::KGlobalAccelDaemon;
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

// Ctrl+Shift+Super+2 as the application translates its default shortcut, and the two key forms sent for it.
const HotKeyCombination defaultCombination{11, (1 << 2) | (1 << 0) | (1 << 6), Qt::Key_2, false, u"2"_s};
constexpr int ctrlShiftMeta2 = 0x16000032;
constexpr int ctrlMetaAt = 0x14000040;

const auto storedKeys = &KGlobalAccelDaemon::storedKeys;

class HotKeyKGlobalAccelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(detectHotKeyBackend(SessionType::X11), HotKeyBackendKind::X11) << "no daemon yet: X11 grabs";
        ASSERT_TRUE(m_daemon.start());
    }

    KGlobalAccelDaemon m_daemon;
};

TEST_F(HotKeyKGlobalAccelTest, KeyHeldByAnotherProgramIsTaken)
{
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"other.program"_s, {ctrlShiftMeta2}));
    HotKeyKGlobalAccel hotKey;
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);
    EXPECT_FALSE(hotKey.registerShortcut(defaultCombination));
    // Nothing of ours is left holding keys, and the other program keeps its key.
    EXPECT_TRUE(storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty());
    EXPECT_EQ(storedKeys(u"other.program"_s, u"grab"_s), QList<int>{ctrlShiftMeta2});

    // Half of the shortcut is not enough either: the held form may be the one the desktop reports.
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"third.program"_s, {ctrlMetaAt}));
    ASSERT_TRUE(KGlobalAccelDaemon::holdKeys(u"other.program"_s, {}));
    EXPECT_FALSE(hotKey.registerShortcut(defaultCombination));
}

} // namespace
