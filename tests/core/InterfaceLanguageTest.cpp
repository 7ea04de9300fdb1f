#include "core/InterfaceLanguage.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace Qt::StringLiterals;

namespace Tessary {
namespace {

TEST(InterfaceLanguageTest, ResolvesPreferencesAndPreferredSystemLanguages)
{
    using L = InterfaceLanguage;
    const std::tuple<QString, QStringList, L> rows[] = {
        {u"zh-Hant"_s, {}, L::TraditionalChinese},
        {u"zh-TW"_s, {}, L::TraditionalChinese},
        {u"zh-HK"_s, {}, L::TraditionalChinese},
        {u"zh-MO"_s, {}, L::TraditionalChinese},
        {u"zh-Hant-TW"_s, {}, L::TraditionalChinese},
        {u"zh"_s, {}, L::SimplifiedChinese},
        {u"zh-Hans"_s, {}, L::SimplifiedChinese},
        {u"zh-Hans-HK"_s, {}, L::SimplifiedChinese},
        {u"ja"_s, {u"zh-Hant"_s}, L::English},
        {u"System"_s, {u"zh-Hant"_s}, L::English},
        {u"system"_s, {u"zh-Hant-HK"_s, u"en"_s}, L::TraditionalChinese},
        {u"system"_s, {u"en-US"_s, u"zh-CN"_s}, L::English},
        // Languages we have no texts in are passed over, so the whole interface speaks the next one.
        {u"system"_s, {u"fr-FR"_s, u"zh-MO"_s}, L::TraditionalChinese},
        {u"system"_s, {}, L::English},
    };
    for (const auto &[preference, preferred, expected] : rows) {
        EXPECT_EQ(resolveInterfaceLanguage(preference, preferred), expected)
            << preference.toStdString() << " / " << preferred.join(u',').toStdString();
    }
    // The tests run with LANG=C, which names no language at all.
    EXPECT_TRUE(systemPreferredLanguages().isEmpty()) << systemPreferredLanguages().join(u' ').toStdString();
    EXPECT_EQ(resolveInterfaceLanguage(u"system"_s), L::English);
}

} // namespace
} // namespace Tessary
