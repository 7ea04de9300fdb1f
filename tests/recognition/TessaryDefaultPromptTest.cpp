#include <gtest/gtest.h>

#include "app/recognition/TessaryDefaultPrompt.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

const QString simplified = u"你是一位审慎的文字润色编辑。"_s;
const QString traditional = u"你是一位審慎的文字潤飾編輯。"_s;
const QString english = u"You are a careful copy editor."_s;

// Which tags name which language is InterfaceLanguageTest's; here each language's prompt and the prompt's own rules.
TEST(TessaryDefaultPromptTest, FollowsTheLanguage)
{
    const std::tuple<QString, QStringList, QString> rows[] = {
        {u"zh-Hans"_s, {}, simplified},
        {u"zh-Hant"_s, {}, traditional},
        {u"en"_s, {}, english},
        {u"system"_s, {u"zh-Hant-HK"_s, u"en"_s}, traditional},
        // A system that names no language gets the language the prompts are written in, not English.
        {u"system"_s, {}, simplified},
    };
    for (const auto &[language, preferred, beginning] : rows) {
        const QString prompt = TessaryDefaultPrompt::forLanguage(language, preferred);
        EXPECT_TRUE(prompt.startsWith(beginning)) << language.toStdString() << ": " << prompt.toStdString();
    }
    // The tests run with LANG=C.UTF-8 and an empty LANGUAGE: the C locale names no language.
    EXPECT_TRUE(TessaryDefaultPrompt::forLanguage(u"system"_s).startsWith(simplified));
}

} // namespace
