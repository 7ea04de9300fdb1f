#include <gtest/gtest.h>

#include "app/recognition/TessaryDefaultPrompt.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

enum class Script { Simplified, Traditional, English };

QString prompt(Script script)
{
    return TessaryDefaultPrompt::currentPrompts().at(int(script));
}

struct LanguageCase
{
    const char *name;
    const char *language;
    QStringList preferred;
    Script expected;
};

class TessaryDefaultPromptTest : public ::testing::TestWithParam<LanguageCase>
{
};

TEST_P(TessaryDefaultPromptTest, FollowsTheLanguage)
{
    const LanguageCase &row = GetParam();
    EXPECT_EQ(TessaryDefaultPrompt::forLanguage(QString::fromUtf8(row.language), row.preferred), prompt(row.expected));
}

INSTANTIATE_TEST_SUITE_P(
    Languages, TessaryDefaultPromptTest,
    // Which tags name which language is InterfaceLanguageTest's; here each language's prompt and the prompt's own
    // rules.
    ::testing::Values(LanguageCase{"simplified", "zh-Hans", {}, Script::Simplified},
                      LanguageCase{"traditional", "zh-Hant", {}, Script::Traditional},
                      LanguageCase{"english", "en", {}, Script::English},
                      LanguageCase{"caseMatters", "ZH-Hans", {}, Script::English},
                      LanguageCase{"empty", "", {}, Script::English},
                      LanguageCase{"systemHongKong", "system", {u"zh-Hant-HK"_s, u"en"_s}, Script::Traditional},
                      LanguageCase{"systemWithoutLanguages", "system", {}, Script::Simplified},
                      LanguageCase{"systemIsExact", "System", {u"zh-Hant"_s}, Script::English}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(TessaryDefaultPromptSets, ThreeCurrentAndThreeLegacyPromptsAllDifferent)
{
    const QStringList current = TessaryDefaultPrompt::currentPrompts();
    const QStringList legacy = TessaryDefaultPrompt::legacyPrompts();
    ASSERT_EQ(current.size(), 3);
    ASSERT_EQ(legacy.size(), 3);
    QStringList all = current + legacy;
    all.removeDuplicates();
    EXPECT_EQ(all.size(), 6);
    EXPECT_TRUE(current[0].startsWith(u"你是一位审慎的文字润色编辑。"));
    EXPECT_TRUE(current[1].startsWith(u"你是一位審慎的文字潤飾編輯。"));
    EXPECT_TRUE(current[2].startsWith(u"You are a careful copy editor."));
    EXPECT_TRUE(legacy[0].endsWith(u"只输出处理后的文字。"));
    EXPECT_TRUE(legacy[1].endsWith(u"只輸出處理後的文字。"));
    EXPECT_TRUE(legacy[2].endsWith(u"Output only the corrected text."));
}

// The tests run with LANG=C.UTF-8 and an empty LANGUAGE: the C locale names no language.
TEST(TessaryDefaultPromptSystem, CLocaleHasNoPreferredLanguage)
{
    EXPECT_TRUE(TessaryDefaultPrompt::preferredLanguages().isEmpty())
        << TessaryDefaultPrompt::preferredLanguages().join(u' ').toStdString();
    EXPECT_EQ(TessaryDefaultPrompt::forLanguage(u"system"_s), prompt(Script::Simplified));
}

} // namespace
