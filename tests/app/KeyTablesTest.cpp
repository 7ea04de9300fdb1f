#include <gtest/gtest.h>

#include <QSet>

#include "app/KeyTables.h"

// Last: Xlib's macros (None, KeyPress, Bool) would break the Qt headers.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>

using namespace Tessary;

using namespace Qt::StringLiterals;

namespace {

TEST(KeyTablesTest, EveryCodeNamesOneKey)
{
    QSet<quint32> carbon;
    QSet<quint32> evdev;
    for (const KeyRow &row : KeyTables::keys()) {
        EXPECT_FALSE(carbon.contains(row.carbonCode)) << "Carbon " << row.carbonCode << " twice";
        EXPECT_FALSE(evdev.contains(row.evdevCode)) << "evdev " << row.evdevCode << " twice";
        carbon.insert(row.carbonCode);
        evdev.insert(row.evdevCode);
        EXPECT_EQ(KeyTables::byCarbonCode(row.carbonCode), &row);
        EXPECT_EQ(KeyTables::byEvdevCode(row.evdevCode), &row);
        EXPECT_NE(KeyTables::qtKey(row), 0) << row.keysym;
    }
    // Letters, digits, 11 punctuation keys and the ISO key, 6 editing keys, F1-F12, 8 navigation keys, keypad digits.
    EXPECT_EQ(KeyTables::keys().size(), 26u + 10 + 12 + 6 + 12 + 8 + 10);
    EXPECT_EQ(KeyTables::byCarbonCode(1000), nullptr);
    EXPECT_EQ(KeyTables::byEvdevCode(29), nullptr) << "Left Ctrl is a modifier, not a key";
}

TEST(KeyTablesTest, ModifiersTranslateBothWays)
{
    EXPECT_EQ(KeyTables::carbonModifiers(Qt::ControlModifier | Qt::ShiftModifier | Qt::MetaModifier), 0x1300u);
    EXPECT_EQ(KeyTables::carbonModifiers(Qt::AltModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier), 0x800u);
    EXPECT_EQ(KeyTables::qtModifiers(0x1300), Qt::ControlModifier | Qt::ShiftModifier | Qt::MetaModifier);
    // Control, Shift, Mod4 (Super), Mod1 (Alt) in X11's masks.
    EXPECT_EQ(KeyTables::x11Modifiers(0x1300), 0x04 | 0x01 | 0x40);
    EXPECT_EQ(KeyTables::x11Modifiers(0x0800 | 0x10000), 0x08);
}

TEST(KeyTablesTest, QtKeysOfSomeRows)
{
    EXPECT_EQ(KeyTables::qtKey(*KeyTables::byCarbonCode(40)), Qt::Key_K);
    EXPECT_EQ(KeyTables::qtKey(*KeyTables::byCarbonCode(19)), Qt::Key_2);
    EXPECT_EQ(KeyTables::qtKey(*KeyTables::byCarbonCode(27)), Qt::Key_Minus);
    EXPECT_EQ(KeyTables::qtKey(*KeyTables::byCarbonCode(111)), Qt::Key_F12);
    EXPECT_EQ(KeyTables::qtKey(*KeyTables::byCarbonCode(121)), Qt::Key_PageDown);
    const KeyRow &keypadOne = *KeyTables::byCarbonCode(83);
    EXPECT_TRUE(KeyTables::isKeypad(keypadOne));
    EXPECT_EQ(KeyTables::qtKey(keypadOne), Qt::Key_1);
}

TEST(KeyTablesTest, StoredShortcutsInTheGlobalShortcutBackendsTerms)
{
    // The default Ctrl+Shift+Super+2: the same physical keys for X11 grabs, KDE's daemon and the portal.
    const std::optional<HotKeyCombination> standard = KeyTables::hotKeyCombination(19, 0x1000 | 0x200 | 0x100);
    ASSERT_TRUE(standard.has_value());
    EXPECT_EQ(standard->x11Keycode, 11u);
    EXPECT_EQ(standard->x11Modifiers, (1 << 2) | (1 << 0) | (1 << 6));
    EXPECT_EQ(standard->qtCombination(), (Qt::META | Qt::CTRL | Qt::SHIFT | Qt::Key_2).toCombined());
    EXPECT_EQ(standard->portalTrigger(), u"CTRL+SHIFT+LOGO+2"_s);

    const std::optional<HotKeyCombination> optionF1 = KeyTables::hotKeyCombination(122, 0x800);
    ASSERT_TRUE(optionF1.has_value());
    EXPECT_EQ(optionF1->qtCombination(), (Qt::ALT | Qt::Key_F1).toCombined());
    EXPECT_EQ(optionF1->portalTrigger(), u"ALT+F1"_s);

    // Keypad 1 is not the 1 above the letters.
    const std::optional<HotKeyCombination> keypadOne = KeyTables::hotKeyCombination(83, 0x1000);
    ASSERT_TRUE(keypadOne.has_value());
    EXPECT_EQ(keypadOne->qtCombination(),
              QKeyCombination(Qt::ControlModifier | Qt::KeypadModifier, Qt::Key_1).toCombined());
    EXPECT_EQ(keypadOne->portalTrigger(), u"CTRL+KP_1"_s);

    EXPECT_EQ(KeyTables::hotKeyCombination(40, 0x100)->portalTrigger(), u"LOGO+k"_s);
    EXPECT_FALSE(KeyTables::hotKeyCombination(0xffff, 0x100).has_value());
}

TEST(KeyTablesTest, AgreesWithTheXServersUsKeyboard)
{
    // The X server's own keymap (Xvfb starts with the evdev rules and a US pc105 layout) is the reference for
    // which key code carries which keysym.
    Display *display = XOpenDisplay(nullptr);
    ASSERT_NE(display, nullptr) << "runs under with-xvfb";
    for (const KeyRow &row : KeyTables::keys()) {
        const KeySym expected = XStringToKeysym(row.keysym);
        ASSERT_NE(expected, static_cast<KeySym>(NoSymbol)) << row.keysym;
        const auto keycode = static_cast<KeyCode>(row.evdevCode + KeyTables::x11KeycodeOffset);
        // Keypad digits are the second level (with NumLock); everything else the first.
        const KeySym level0 = XkbKeycodeToKeysym(display, keycode, 0, 0);
        const KeySym level1 = XkbKeycodeToKeysym(display, keycode, 0, 1);
        EXPECT_TRUE(level0 == expected || (KeyTables::isKeypad(row) && level1 == expected))
            << row.keysym << " expected on X key code " << int(keycode) << ", found " << XKeysymToString(level0);
    }
    XCloseDisplay(display);
}

} // namespace
