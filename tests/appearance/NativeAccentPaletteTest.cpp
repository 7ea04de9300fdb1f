#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "appearance/NativeAccentPalette.h"
#include "appearance/NativeAppearanceLanguage.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

struct PaletteCase
{
    NativeAccentPalette palette;
    QString rawValue;
    QStringList names; // Simplified Chinese, Traditional Chinese, English
    QRgb color;        // the calibrated components as bytes
};

class NativeAccentPaletteTest : public ::testing::TestWithParam<PaletteCase>
{
};

TEST_P(NativeAccentPaletteTest, CarriesItsRawValueNamesAndColour)
{
    const PaletteCase &row = GetParam();
    EXPECT_EQ(row.palette.rawValue(), row.rawValue);
    EXPECT_EQ(NativeAccentPalette::fromRawValue(row.rawValue), row.palette);
    EXPECT_EQ(NativeAccentPalette::allCases()[std::size_t(row.palette.index())], row.palette);
    EXPECT_EQ(row.palette.title(u"zh-CN"_s), row.names[0]);
    EXPECT_EQ(row.palette.title(u"zh-Hant"_s), row.names[1]);
    EXPECT_EQ(row.palette.title(u"ja"_s), row.names[2]);
    // The tests run with LANG=C: no preferred language, so "system" names are the English ones.
    EXPECT_EQ(row.palette.title(), row.names[2]);
    EXPECT_EQ(row.palette.color().rgba(), row.color);
}

INSTANTIATE_TEST_SUITE_P(
    Palettes, NativeAccentPaletteTest,
    ::testing::Values(
        PaletteCase{NativeAccentPalette::Terracotta,
                    u"terracotta"_s,
                    {u"陶土"_s, u"陶土"_s, u"Terracotta"_s},
                    qRgb(180, 91, 67)},
        PaletteCase{NativeAccentPalette::Coral, u"coral"_s, {u"珊瑚"_s, u"珊瑚"_s, u"Coral"_s}, qRgb(213, 68, 77)},
        PaletteCase{NativeAccentPalette::Amber, u"amber"_s, {u"琥珀"_s, u"琥珀"_s, u"Amber"_s}, qRgb(180, 108, 26)},
        PaletteCase{NativeAccentPalette::Forest, u"forest"_s, {u"森林"_s, u"森林"_s, u"Forest"_s}, qRgb(41, 116, 88)},
        PaletteCase{NativeAccentPalette::Ocean, u"ocean"_s, {u"海蓝"_s, u"海藍"_s, u"Ocean"_s}, qRgb(32, 107, 174)},
        PaletteCase{
            NativeAccentPalette::Violet, u"violet"_s, {u"紫罗兰"_s, u"紫羅蘭"_s, u"Violet"_s}, qRgb(104, 77, 167)}),
    [](const auto &info) { return info.param.rawValue.toStdString(); });

TEST(NativeAccentPaletteStoreTest, OnlyAnExactRawValueNamesAPalette)
{
    for (const QString &foreign : {u"Ocean"_s, u" ocean"_s, u""_s, u"blue"_s, u"4"_s}) {
        EXPECT_FALSE(NativeAccentPalette::fromRawValue(foreign).has_value()) << foreign.toStdString();
    }

    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    const QString key = u"tessary.accentPalette"_s;
    const auto current = [&] { return NativeAccentPalette::current(NativeAccentPalette::Violet, key, defaults); };
    EXPECT_EQ(current(), NativeAccentPalette::Violet);
    EXPECT_FALSE(QFile::exists(defaults.path())) << "reading writes nothing";
    defaults.setString(key, u"ocean"_s);
    EXPECT_EQ(current(), NativeAccentPalette::Ocean);
    defaults.setString(key, u"Ocean"_s);
    EXPECT_EQ(current(), NativeAccentPalette::Violet);
    defaults.setData(key, "forest");
    EXPECT_EQ(current(), NativeAccentPalette::Violet) << "not text";
    defaults.remove(key);
    defaults.setString(NativeAccentPalette::standardDefaultsKey(), u"amber"_s);
    EXPECT_EQ(current(), NativeAccentPalette::Violet) << "another key's value is not ours";
}

struct LanguageCase
{
    const char *name;
    QString language;
    QStringList preferred;
    NativeAppearanceLanguage expected;
};

class NativeAppearanceLanguageTest : public ::testing::TestWithParam<LanguageCase>
{
};

TEST_P(NativeAppearanceLanguageTest, Classifies)
{
    EXPECT_EQ(NativeAppearanceLanguage::from(GetParam().language, GetParam().preferred), GetParam().expected);
}

using L = NativeAppearanceLanguage;
INSTANTIATE_TEST_SUITE_P(
    Codes, NativeAppearanceLanguageTest,
    ::testing::Values(LanguageCase{"zhHant", u"zh-Hant"_s, {}, L::TraditionalChinese},
                      LanguageCase{"zhTW", u"zh-TW"_s, {}, L::TraditionalChinese},
                      LanguageCase{"zhHK", u"zh-HK"_s, {}, L::TraditionalChinese},
                      LanguageCase{"zhMO", u"zh-MO"_s, {}, L::TraditionalChinese},
                      LanguageCase{"upperCaseHantTW", u"ZH-HANT-TW"_s, {}, L::TraditionalChinese},
                      LanguageCase{"zh", u"zh"_s, {}, L::SimplifiedChinese},
                      LanguageCase{"zhHans", u"zh-Hans"_s, {}, L::SimplifiedChinese},
                      LanguageCase{"ja", u"ja"_s, {}, L::English},
                      LanguageCase{"codeIgnoresPreferred", u"en"_s, {u"zh-Hant"_s}, L::English},
                      LanguageCase{"systemFirstCounts", u"system"_s, {u"zh-Hant-TW"_s, u"en"_s}, L::TraditionalChinese},
                      LanguageCase{"systemOnlyFirst", u"system"_s, {u"en-US"_s, u"zh-CN"_s}, L::English},
                      LanguageCase{"systemWithoutPreferences", u"system"_s, {}, L::English}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(NativeAppearanceLanguagePreferencesTest, TheCLocaleIsNoPreference)
{
    // The tests run with LANG=C and LANGUAGE empty.
    EXPECT_TRUE(NativeAppearanceLanguage::preferredLanguages().isEmpty())
        << NativeAppearanceLanguage::preferredLanguages().join(u',').toStdString();
}

} // namespace
