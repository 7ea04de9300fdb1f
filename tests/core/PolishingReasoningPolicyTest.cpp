#include <gtest/gtest.h>

#include "core/PolishingReasoningPolicy.h"

using namespace Qt::StringLiterals;
using Tessary::PolishingReasoningPolicy::Control;
using Tessary::PolishingReasoningPolicy::control;

namespace {

struct PolicyCase
{
    const char *name;
    const char *host;
    const char *model;
    Control expected;
};

void PrintTo(const PolicyCase &row, std::ostream *out)
{
    *out << row.host << " " << row.model;
}

class PolishingReasoningPolicyTest : public ::testing::TestWithParam<PolicyCase>
{
};

TEST_P(PolishingReasoningPolicyTest, ChoosesTheProvidersField)
{
    const PolicyCase &row = GetParam();
    EXPECT_EQ(control(QString::fromUtf8(row.host), QString::fromUtf8(row.model)), row.expected);
}

constexpr auto thinking = Control::thinkingDisabled;
constexpr auto enableFalse = Control::enableThinkingFalse;
constexpr auto effortNone = Control::reasoningEffortNone;
constexpr auto reasoningOff = Control::reasoningDisabled;
constexpr auto unchanged = Control::unchanged;

INSTANTIATE_TEST_SUITE_P(
    DeepSeek, PolishingReasoningPolicyTest,
    ::testing::Values(PolicyCase{"flash", "api.deepseek.com", "deepseek-flash", thinking},
                      PolicyCase{"chat", "api.deepseek.com", "deepseek-chat", thinking},
                      PolicyCase{"v4FlashPrefix", "api.deepseek.com", "deepseek-v4-flash-2026", thinking},
                      PolicyCase{"v4Pro", "api.deepseek.com", "deepseek-v4-pro", thinking},
                      PolicyCase{"mixedCaseModel", "api.deepseek.com", "DeepSeek-Chat", thinking},
                      PolicyCase{"upperCaseHost", "API.DEEPSEEK.COM", "deepseek-chat", thinking},
                      PolicyCase{"visionFirst", "api.deepseek.com", "deepseek-vl2-vision", unchanged},
                      PolicyCase{"visionBeatsPrefix", "api.deepseek.com", "deepseek-v4-flash-vision", unchanged},
                      PolicyCase{"reasoner", "api.deepseek.com", "deepseek-reasoner", unchanged},
                      PolicyCase{"chatIsExact", "api.deepseek.com", "deepseek-chat-v2", unchanged},
                      PolicyCase{"subDomainIsNotTheHost", "eu.api.deepseek.com", "deepseek-chat", unchanged}),
    [](const auto &info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(OpenAI, PolishingReasoningPolicyTest,
                         ::testing::Values(PolicyCase{"gpt51", "api.openai.com", "gpt-5.1", effortNone},
                                           PolicyCase{"gpt54Mini", "api.openai.com", "gpt-5.4-mini", effortNone},
                                           PolicyCase{"gpt56", "api.openai.com", "gpt-5.6", effortNone},
                                           PolicyCase{"leadingZero", "api.openai.com", "gpt-5.01", effortNone},
                                           PolicyCase{"mixedCase", "api.openai.com", "GPT-5.2", effortNone},
                                           PolicyCase{"gpt6Sol", "api.openai.com", "gpt-6-sol", effortNone},
                                           PolicyCase{"gpt6LunaMini", "api.openai.com", "gpt-6-luna-mini", effortNone},
                                           PolicyCase{"gpt5", "api.openai.com", "gpt-5", unchanged},
                                           PolicyCase{"gpt5Dot", "api.openai.com", "gpt-5.", unchanged},
                                           PolicyCase{"gpt50", "api.openai.com", "gpt-5.0", unchanged},
                                           PolicyCase{"gpt57", "api.openai.com", "gpt-5.7", unchanged},
                                           PolicyCase{"gpt510", "api.openai.com", "gpt-5.10", unchanged},
                                           PolicyCase{"hugeMinor", "api.openai.com", "gpt-5.99999999999999999999",
                                                      unchanged},
                                           PolicyCase{"letterAfterRun", "api.openai.com", "gpt-5.1x", unchanged},
                                           PolicyCase{"dotAfterRun", "api.openai.com", "gpt-5.1.2", unchanged},
                                           PolicyCase{"fullWidthDigit", "api.openai.com", "gpt-5.１", unchanged},
                                           PolicyCase{"codex", "api.openai.com", "gpt-5.1-codex", unchanged},
                                           PolicyCase{"pro", "api.openai.com", "gpt-5.2-pro", unchanged},
                                           PolicyCase{"chatLatest", "api.openai.com", "gpt-5.1-chat-latest", unchanged},
                                           PolicyCase{"proBeforeGpt6", "api.openai.com", "gpt-6-sol-pro", unchanged},
                                           PolicyCase{"gpt4o", "api.openai.com", "gpt-4o", unchanged}),
                         [](const auto &info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Gemini, PolishingReasoningPolicyTest,
    ::testing::Values(PolicyCase{"flash", "generativelanguage.googleapis.com", "gemini-2.5-flash", effortNone},
                      PolicyCase{"flashLite", "generativelanguage.googleapis.com", "gemini-2.5-flash-lite", effortNone},
                      PolicyCase{"flashImage", "generativelanguage.googleapis.com", "gemini-2.5-flash-image",
                                 unchanged},
                      PolicyCase{"pro", "generativelanguage.googleapis.com", "gemini-2.5-pro", unchanged}),
    [](const auto &info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Alibaba, PolishingReasoningPolicyTest,
    ::testing::Values(PolicyCase{"qwen3Max", "dashscope.aliyuncs.com", "qwen3-max", enableFalse},
                      PolicyCase{"qwen3Coder", "dashscope.aliyuncs.com", "qwen3-coder-plus", unchanged},
                      PolicyCase{"qwen3Thinking", "dashscope.aliyuncs.com", "qwen3-235b-a22b-thinking-2507", unchanged},
                      PolicyCase{"qwen25", "dashscope.aliyuncs.com", "qwen2.5-max", unchanged},
                      PolicyCase{"deepSeek", "dashscope.aliyuncs.com", "deepseek-v4-flash", enableFalse},
                      PolicyCase{"kimi", "dashscope.aliyuncs.com", "kimi-k2.5", enableFalse},
                      PolicyCase{"kimiThinking", "dashscope.aliyuncs.com", "kimi-k2.5-thinking", unchanged},
                      PolicyCase{"glm", "dashscope.aliyuncs.com", "glm-4.6", enableFalse},
                      PolicyCase{"miniMax", "dashscope.aliyuncs.com", "minimax-m3", thinking},
                      PolicyCase{"miniMaxIsExact", "dashscope.aliyuncs.com", "minimax-m3-turbo", unchanged},
                      PolicyCase{"international", "dashscope-intl.aliyuncs.com", "qwen3-max", enableFalse},
                      PolicyCase{"maasWorkspace", "ws-1.ap-southeast-1.maas.aliyuncs.com", "qwen3-max", enableFalse},
                      PolicyCase{"maasUpperCase", "WS-1.CN-HONGKONG.MAAS.ALIYUNCS.COM", "glm-5", enableFalse},
                      PolicyCase{"maasWithoutDot", "maas.aliyuncs.com", "qwen3-max", unchanged},
                      PolicyCase{"otherAliyunHost", "oss.aliyuncs.com", "qwen3-max", unchanged}),
    [](const auto &info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OtherProviders, PolishingReasoningPolicyTest,
    ::testing::Values(PolicyCase{"moonshotGlobal", "api.moonshot.ai", "kimi-k2.5", thinking},
                      PolicyCase{"moonshotChina", "api.moonshot.cn", "Kimi-K2.5-Preview", thinking},
                      PolicyCase{"moonshotThinking", "api.moonshot.ai", "kimi-k2.5-thinking", unchanged},
                      PolicyCase{"moonshotOlder", "api.moonshot.cn", "kimi-k2", unchanged},
                      PolicyCase{"anthropic", "api.anthropic.com", "claude-sonnet-5", thinking},
                      PolicyCase{"anthropicExact", "api.anthropic.com", "claude-sonnet-5-latest", unchanged},
                      PolicyCase{"miniMaxInternational", "api.minimax.io", "MiniMax-M3", thinking},
                      PolicyCase{"miniMaxChina", "api.minimaxi.com", "minimax-m3", thinking},
                      PolicyCase{"miniMaxOther", "api.minimax.io", "minimax-m2", unchanged},
                      PolicyCase{"zhipuInternational", "api.z.ai", "glm-4.5-air", thinking},
                      PolicyCase{"bigModel", "open.bigmodel.cn", "glm-5.2", thinking},
                      PolicyCase{"glmFamilyMemberNeedsDash", "open.bigmodel.cn", "glm-4.50", unchanged},
                      PolicyCase{"glmUnknownVersion", "api.z.ai", "glm-4.4", unchanged},
                      PolicyCase{"glmDashOnly", "api.z.ai", "glm-5-", thinking},
                      PolicyCase{"qwenOnZhipu", "api.z.ai", "qwen3-max", unchanged}),
    [](const auto &info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OpenRouter, PolishingReasoningPolicyTest,
    ::testing::Values(PolicyCase{"openAI", "openrouter.ai", "openai/gpt-5.2", reasoningOff},
                      PolicyCase{"apiSubDomain", "api.openrouter.ai", "openai/gpt-5.2", reasoningOff},
                      PolicyCase{"noVendor", "openrouter.ai", "gpt-5.2", unchanged},
                      PolicyCase{"nameKeepsItsSlash", "openrouter.ai", "openai/gpt-5.2/extra", unchanged},
                      PolicyCase{"leadingSlashSkipped", "openrouter.ai", "/openai/gpt-5.2", reasoningOff},
                      PolicyCase{"manyLeadingSlashes", "openrouter.ai", "///openai/gpt-5.2", reasoningOff},
                      PolicyCase{"emptyName", "openrouter.ai", "openai/", unchanged},
                      PolicyCase{"slashesOnly", "openrouter.ai", "//", unchanged},
                      PolicyCase{"doubleSlashName", "openrouter.ai", "openai//gpt-5.2", unchanged},
                      PolicyCase{"deepSeek", "openrouter.ai", "deepseek/deepseek-chat", reasoningOff},
                      PolicyCase{"deepSeekVision", "openrouter.ai", "deepseek/deepseek-v4-flash-vision", unchanged},
                      PolicyCase{"google", "openrouter.ai", "google/gemini-2.5-flash", reasoningOff},
                      PolicyCase{"googleImage", "openrouter.ai", "google/gemini-2.5-flash-image", unchanged},
                      PolicyCase{"qwen", "openrouter.ai", "qwen/qwen3-max", reasoningOff},
                      PolicyCase{"alibaba", "openrouter.ai", "alibaba/qwen3-max", reasoningOff},
                      PolicyCase{"qwenCoder", "openrouter.ai", "qwen/qwen3-coder", unchanged},
                      PolicyCase{"qwenVendorKnowsNoGlm", "openrouter.ai", "qwen/glm-4.6", unchanged},
                      PolicyCase{"moonshotAI", "openrouter.ai", "moonshotai/kimi-k2.5", reasoningOff},
                      PolicyCase{"moonshot", "openrouter.ai", "moonshot/kimi-k2.5", reasoningOff},
                      PolicyCase{"moonshotThinking", "openrouter.ai", "moonshotai/kimi-k2.5-thinking", unchanged},
                      PolicyCase{"anthropic", "openrouter.ai", "anthropic/claude-sonnet-5", reasoningOff},
                      PolicyCase{"anthropicOther", "openrouter.ai", "anthropic/claude-opus-5", unchanged},
                      PolicyCase{"miniMax", "openrouter.ai", "minimax/minimax-m3", reasoningOff},
                      PolicyCase{"zAI", "openrouter.ai", "z-ai/glm-4.5-air", reasoningOff},
                      PolicyCase{"zAIUnknown", "openrouter.ai", "z-ai/glm-4.50", unchanged},
                      PolicyCase{"unknownVendor", "openrouter.ai", "mistralai/mistral-large", unchanged},
                      PolicyCase{"vendorMixedCase", "OpenRouter.AI", "OpenAI/GPT-5.2", reasoningOff}),
    [](const auto &info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    UnknownHosts, PolishingReasoningPolicyTest,
    ::testing::Values(PolicyCase{"selfHostedDeepSeek", "llm.example.internal", "deepseek-chat", unchanged},
                      PolicyCase{"selfHostedGpt", "127.0.0.1", "gpt-5.2", unchanged},
                      PolicyCase{"selfHostedOpenRouterName", "localhost", "openai/gpt-5.2", unchanged},
                      PolicyCase{"emptyHost", "", "deepseek-chat", unchanged},
                      PolicyCase{"hostWithPortIsNotAHost", "api.deepseek.com:443", "deepseek-chat", unchanged},
                      PolicyCase{"emptyModel", "api.deepseek.com", "", unchanged}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
