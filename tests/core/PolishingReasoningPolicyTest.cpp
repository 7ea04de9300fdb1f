#include <gtest/gtest.h>

#include <QHash>

#include "core/PolishingReasoningPolicy.h"

using namespace Qt::StringLiterals;
using Tessary::PolishingReasoningPolicy::Control;
using Tessary::PolishingReasoningPolicy::control;

namespace {

// Per host, "model:field" pairs: T "thinking", E "enable_thinking", R "reasoning_effort", O "reasoning" (off),
// U nothing.
const std::pair<const char *, const char *> table[] = {
    {"api.deepseek.com", "deepseek-flash:T deepseek-chat:T deepseek-v4-flash-2026:T deepseek-v4-pro:T DeepSeek-Chat:T "
                         "deepseek-vl2-vision:U deepseek-v4-flash-vision:U deepseek-reasoner:U deepseek-chat-v2:U :U"},
    {"API.DEEPSEEK.COM", "deepseek-chat:T"},
    {"eu.api.deepseek.com", "deepseek-chat:U"},
    {"api.deepseek.com:443", "deepseek-chat:U"},
    {"api.openai.com", "gpt-5.1:R gpt-5.4-mini:R gpt-5.6:R gpt-5.01:R GPT-5.2:R gpt-6-sol:R gpt-6-luna-mini:R gpt-5:U "
                       "gpt-5.:U gpt-5.0:U gpt-5.7:U gpt-5.10:U gpt-5.99999999999999999999:U gpt-5.1x:U gpt-5.1.2:U "
                       "gpt-5.１:U gpt-5.1-codex:U gpt-5.2-pro:U gpt-5.1-chat-latest:U gpt-6-sol-pro:U gpt-4o:U"},
    {"generativelanguage.googleapis.com",
     "gemini-2.5-flash:R gemini-2.5-flash-lite:R gemini-2.5-flash-image:U gemini-2.5-pro:U"},
    {"dashscope.aliyuncs.com", "qwen3-max:E qwen3-coder-plus:U qwen3-235b-a22b-thinking-2507:U qwen2.5-max:U "
                               "deepseek-v4-flash:E kimi-k2.5:E kimi-k2.5-thinking:U glm-4.6:E minimax-m3:T "
                               "minimax-m3-turbo:U"},
    {"dashscope-intl.aliyuncs.com", "qwen3-max:E"},
    {"ws-1.ap-southeast-1.maas.aliyuncs.com", "qwen3-max:E"},
    {"WS-1.CN-HONGKONG.MAAS.ALIYUNCS.COM", "glm-5:E"},
    {"maas.aliyuncs.com", "qwen3-max:U"},
    {"oss.aliyuncs.com", "qwen3-max:U"},
    {"api.moonshot.ai", "kimi-k2.5:T kimi-k2.5-thinking:U"},
    {"api.moonshot.cn", "Kimi-K2.5-Preview:T kimi-k2:U"},
    {"api.anthropic.com", "claude-sonnet-5:T claude-sonnet-5-latest:U"},
    {"api.minimax.io", "MiniMax-M3:T minimax-m2:U"},
    {"api.minimaxi.com", "minimax-m3:T"},
    {"api.z.ai", "glm-4.5-air:T glm-4.4:U glm-5-:T qwen3-max:U"},
    {"open.bigmodel.cn", "glm-5.2:T glm-4.50:U"},
    {"openrouter.ai", "openai/gpt-5.2:O gpt-5.2:U openai/gpt-5.2/extra:U /openai/gpt-5.2:O ///openai/gpt-5.2:O "
                      "openai/:U //:U openai//gpt-5.2:U deepseek/deepseek-chat:O deepseek/deepseek-v4-flash-vision:U "
                      "google/gemini-2.5-flash:O google/gemini-2.5-flash-image:U qwen/qwen3-max:O alibaba/qwen3-max:O "
                      "qwen/qwen3-coder:U qwen/glm-4.6:U moonshotai/kimi-k2.5:O moonshot/kimi-k2.5:O "
                      "moonshotai/kimi-k2.5-thinking:U anthropic/claude-sonnet-5:O anthropic/claude-opus-5:U "
                      "minimax/minimax-m3:O z-ai/glm-4.5-air:O z-ai/glm-4.50:U mistralai/mistral-large:U"},
    {"api.openrouter.ai", "openai/gpt-5.2:O"},
    {"OpenRouter.AI", "OpenAI/GPT-5.2:O"},
    {"llm.example.internal", "deepseek-chat:U"},
    {"127.0.0.1", "gpt-5.2:U"},
    {"localhost", "openai/gpt-5.2:U"},
    {"", "deepseek-chat:U"},
};

TEST(PolishingReasoningPolicyTest, ChoosesTheProvidersField)
{
    const QHash<QChar, Control> fields{{u'T', Control::thinkingDisabled},
                                       {u'E', Control::enableThinkingFalse},
                                       {u'R', Control::reasoningEffortNone},
                                       {u'O', Control::reasoningDisabled},
                                       {u'U', Control::unchanged}};
    for (const auto &[host, models] : table) {
        for (const QString &pair : QString::fromUtf8(models).split(u' ')) {
            SCOPED_TRACE(std::string(host) + " " + pair.toStdString());
            const QString model = pair.left(pair.lastIndexOf(u':'));
            EXPECT_EQ(control(QString::fromUtf8(host), model), fields.value(pair.back()));
        }
    }
}

} // namespace
