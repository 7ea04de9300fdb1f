// Shortcuts as stored (the JSON a Mac writes) and the key tables that translate them for the X server, KDE's daemon
// and the portal, checked against the X server's own US keymap.

#include <gtest/gtest.h>

#include <QSet>

#include "app/CapturedShortcut.h"
#include "app/KeyTables.h"

// Last: Xlib's macros (None, KeyPress, Bool) would break the Qt headers.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

constexpr quint32 command = CapturedShortcut::Command;
constexpr quint32 shift = CapturedShortcut::Shift;
constexpr quint32 option = CapturedShortcut::Option;
constexpr quint32 control = CapturedShortcut::Control;

struct EncodingCase
{
    const char *name;
    CapturedShortcut shortcut;
    QByteArray json;
    QString title;
};

class ShortcutEncodingTest : public ::testing::TestWithParam<EncodingCase>
{
};

TEST_P(ShortcutEncodingTest, WritesWhatAMacWritesAndReadsItBack)
{
    EXPECT_EQ(GetParam().shortcut.encodedJson(), GetParam().json);
    EXPECT_EQ(CapturedShortcut::decodeJson(GetParam().json), GetParam().shortcut);
    EXPECT_EQ(GetParam().shortcut.title(), GetParam().title);
}

INSTANTIATE_TEST_SUITE_P(
    Shortcuts, ShortcutEncodingTest,
    ::testing::Values(
        EncodingCase{"defaultShortcut", CapturedShortcut::defaultShortcut(),
                     R"({"keyCode":19,"modifiers":4864,"label":"2"})", u"Ctrl+Shift+Super+2"_s},
        EncodingCase{"commandShiftK",
                     {40, command | shift, u"K"_s},
                     R"({"keyCode":40,"modifiers":768,"label":"K"})",
                     u"Shift+Super+K"_s},
        EncodingCase{"allFourInTitleOrder",
                     {0, command | shift | option | control, u"A"_s},
                     R"({"keyCode":0,"modifiers":6912,"label":"A"})",
                     u"Ctrl+Alt+Shift+Super+A"_s},
        EncodingCase{"controlOptionSpace",
                     {49, control | option, u"Space"_s},
                     R"({"keyCode":49,"modifiers":6144,"label":"Space"})",
                     u"Ctrl+Alt+Space"_s},
        EncodingCase{"returnArrowAsUtf8",
                     {36, command, u"↩"_s},
                     "{\"keyCode\":36,\"modifiers\":256,\"label\":\"\xE2\x86\xA9\"}",
                     u"Super+Return"_s},
        EncodingCase{
            "slashIsEscaped", {44, control, u"/"_s}, R"({"keyCode":44,"modifiers":4096,"label":"\/"})", u"Ctrl+/"_s},
        EncodingCase{"quoteAndBackslashAreEscaped",
                     {42, option, u"\\\""_s},
                     R"({"keyCode":42,"modifiers":2048,"label":"\\\""})",
                     u"Alt+\\\""_s},
        EncodingCase{"keyWithoutCharactersByItsName",
                     {122, control | option, u"按键 122"_s},
                     "{\"keyCode\":122,\"modifiers\":6144,\"label\":\"\xE6\x8C\x89\xE9\x94\xAE 122\"}",
                     u"Ctrl+Alt+F1"_s},
        EncodingCase{"largestKeyCode",
                     {4294967295u, command, u"按键 4294967295"_s},
                     "{\"keyCode\":4294967295,\"modifiers\":256,\"label\":\"\xE6\x8C\x89\xE9\x94\xAE 4294967295\"}",
                     u"Super+按键 4294967295"_s}),
    [](const auto &info) { return std::string(info.param.name); });

struct DecodingCase
{
    const char *name;
    QByteArray json;
    std::optional<CapturedShortcut> expected;
};

class ShortcutDecodingTest : public ::testing::TestWithParam<DecodingCase>
{
};

TEST_P(ShortcutDecodingTest, Decodes)
{
    EXPECT_EQ(CapturedShortcut::decodeJson(GetParam().json), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ShortcutDecodingTest,
    ::testing::Values(
        DecodingCase{"anyKeyOrderAndSpacing", R"( { "label" : "K", "modifiers" : 768, "keyCode" : 40 } )",
                     CapturedShortcut{40, command | shift, u"K"_s}},
        DecodingCase{"unknownKeysIgnored", R"({"keyCode":40,"modifiers":768,"label":"K","extra":[1]})",
                     CapturedShortcut{40, command | shift, u"K"_s}},
        DecodingCase{"noModifiersIsAValue", R"({"keyCode":40,"modifiers":0,"label":"K"})",
                     CapturedShortcut{40, 0, u"K"_s}},
        DecodingCase{"missingLabel", R"({"keyCode":40,"modifiers":768})", std::nullopt},
        DecodingCase{"missingKeyCode", R"({"modifiers":768,"label":"K"})", std::nullopt},
        DecodingCase{"labelNotAString", R"({"keyCode":40,"modifiers":768,"label":7})", std::nullopt},
        DecodingCase{"keyCodeAsString", R"({"keyCode":"40","modifiers":768,"label":"K"})", std::nullopt},
        DecodingCase{"negativeKeyCode", R"({"keyCode":-1,"modifiers":768,"label":"K"})", std::nullopt},
        DecodingCase{"keyCodeAbove32Bits", R"({"keyCode":4294967296,"modifiers":768,"label":"K"})", std::nullopt},
        DecodingCase{"fractionalModifiers", R"({"keyCode":40,"modifiers":768.5,"label":"K"})", std::nullopt},
        DecodingCase{"unknownModifierBit", R"({"keyCode":40,"modifiers":65792,"label":"K"})", std::nullopt},
        DecodingCase{"capsLockBit", R"({"keyCode":40,"modifiers":1280,"label":"K"})", std::nullopt},
        DecodingCase{"notJson", "\x01\x02garbage", std::nullopt}, DecodingCase{"empty", "", std::nullopt}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(CapturedShortcutTest, EqualOnlyWhenAllThreeFieldsAre)
{
    const CapturedShortcut shortcut{40, command | shift, u"K"_s};
    EXPECT_EQ(shortcut, (CapturedShortcut{40, command | shift, u"K"_s}));
    EXPECT_NE(shortcut, (CapturedShortcut{40, command | shift, u"k"_s}));
    EXPECT_NE(shortcut, (CapturedShortcut{40, command, u"K"_s}));
    EXPECT_NE(shortcut, (CapturedShortcut{41, command | shift, u"K"_s}));
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

TEST(KeyTablesTest, StoredShortcutsInTheGlobalShortcutBackendsTerms)
{
    // The default ⌃⇧⌘2: the same physical keys for X11 grabs, KDE's daemon and the portal.
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

TEST(KeyTablesTest, EveryRowNamesOneKeyThatTheXServersUsKeyboardAgreesWith)
{
    // The X server's own keymap (Xvfb starts with the evdev rules and a US pc105 layout) is the reference for
    // which key code carries which keysym.
    Display *display = XOpenDisplay(nullptr);
    ASSERT_NE(display, nullptr) << "runs under with-xvfb";
    QSet<quint32> carbon;
    QSet<quint32> evdev;
    for (const KeyRow &row : KeyTables::keys()) {
        EXPECT_FALSE(carbon.contains(row.carbonCode) || evdev.contains(row.evdevCode)) << row.keysym << " twice";
        carbon.insert(row.carbonCode);
        evdev.insert(row.evdevCode);
        EXPECT_EQ(KeyTables::byCarbonCode(row.carbonCode), &row);
        EXPECT_EQ(KeyTables::byEvdevCode(row.evdevCode), &row);
        EXPECT_NE(KeyTables::qtKey(row), 0) << row.keysym;
        const KeySym expected = XStringToKeysym(row.keysym);
        const auto keycode = static_cast<KeyCode>(row.evdevCode + KeyTables::x11KeycodeOffset);
        // Keypad digits are the second level (with NumLock); everything else the first.
        const KeySym level0 = XkbKeycodeToKeysym(display, keycode, 0, 0);
        EXPECT_TRUE(level0 == expected ||
                    (KeyTables::isKeypad(row) && XkbKeycodeToKeysym(display, keycode, 0, 1) == expected))
            << row.keysym << " expected on X key code " << int(keycode) << ", found " << XKeysymToString(level0);
    }
    XCloseDisplay(display);
    EXPECT_EQ(KeyTables::byCarbonCode(1000), nullptr);
    EXPECT_EQ(KeyTables::byEvdevCode(29), nullptr) << "Left Ctrl is a modifier, not a key";
}

} // namespace
