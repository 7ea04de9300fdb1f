#include <gtest/gtest.h>

#include "app/CapturedShortcut.h"

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
        DecodingCase{"nullValues", R"({"keyCode":null,"modifiers":null,"label":null})", std::nullopt},
        DecodingCase{"array", R"([40,768,"K"])", std::nullopt},
        DecodingCase{"truncated", R"({"keyCode":40,"modifiers":7)", std::nullopt},
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

} // namespace
