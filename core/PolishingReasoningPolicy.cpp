#include "core/PolishingReasoningPolicy.h"

#include <array>

using namespace Qt::StringLiterals;

namespace Tessary::PolishingReasoningPolicy {

namespace {

// The providers' public API hosts for their OpenAI-compatible endpoints.
constexpr QStringView deepSeekHost = u"api.deepseek.com";
constexpr QStringView openAIHost = u"api.openai.com";
constexpr QStringView geminiHost = u"generativelanguage.googleapis.com";
constexpr QStringView dashScopeHost = u"dashscope.aliyuncs.com";
constexpr QStringView dashScopeInternationalHost = u"dashscope-intl.aliyuncs.com";
// Model Studio workspaces get their own sub-domains, such as <workspace>.ap-southeast-1.maas.aliyuncs.com.
constexpr QStringView alibabaMaaSSuffix = u".maas.aliyuncs.com";
constexpr QStringView moonshotGlobalHost = u"api.moonshot.ai";
constexpr QStringView moonshotChinaHost = u"api.moonshot.cn";
constexpr QStringView anthropicHost = u"api.anthropic.com";
constexpr QStringView miniMaxInternationalHost = u"api.minimax.io";
constexpr QStringView miniMaxChinaHost = u"api.minimaxi.com";
constexpr QStringView zhipuInternationalHost = u"api.z.ai";
constexpr QStringView zhipuBigModelHost = u"open.bigmodel.cn";
constexpr QStringView openRouterHost = u"openrouter.ai";
constexpr QStringView openRouterApiHost = u"api.openrouter.ai";

constexpr std::array<QStringView, 6> glmFamily = {u"glm-4.5", u"glm-4.6", u"glm-4.7", u"glm-5", u"glm-5.1", u"glm-5.2"};

// The predicates take the lower-cased model name.

bool supportsDeepSeekFastMode(const QString &m)
{
    if (m.contains(u"vision")) {
        return false;
    }
    return m == u"deepseek-flash" || m == u"deepseek-chat" || m.startsWith(u"deepseek-v4-flash") ||
           m.startsWith(u"deepseek-v4-pro");
}

bool supportsOpenAIFastMode(const QString &m)
{
    if (m.contains(u"-pro") || m.contains(u"-codex") || m.contains(u"-chat")) {
        return false;
    }
    if (m.startsWith(u"gpt-6-sol") || m.startsWith(u"gpt-6-luna")) {
        return true;
    }
    const QStringView prefix = u"gpt-5.";
    if (!m.startsWith(prefix)) {
        return false;
    }
    // The minor version is the run of numeric characters after the prefix; only 1 to 6 know "none".
    qsizetype end = prefix.size();
    bool onlyAsciiDigits = true;
    while (end < m.size() && m[end].isNumber()) {
        onlyAsciiDigits = onlyAsciiDigits && m[end] >= u'0' && m[end] <= u'9';
        ++end;
    }
    const QStringView run = QStringView(m).sliced(prefix.size(), end - prefix.size());
    if (run.isEmpty() || !onlyAsciiDigits) {
        return false;
    }
    bool parsed = false;
    const qlonglong minor = run.toLongLong(&parsed, 10);
    if (!parsed || minor < 1 || minor > 6) {
        return false;
    }
    return end == m.size() || m[end] == u'-';
}

bool supportsQwenFastMode(const QString &m)
{
    return m.startsWith(u"qwen3") && !m.contains(u"thinking") && !m.contains(u"coder");
}

bool supportsGLMFastMode(const QString &m)
{
    for (const QStringView name : glmFamily) {
        if (m == name || (m.startsWith(name) && m.size() > name.size() && m[name.size()] == u'-')) {
            return true;
        }
    }
    return false;
}

bool isFastKimi(const QString &m)
{
    return m.startsWith(u"kimi-k2.5") && !m.contains(u"thinking");
}

bool isFastGemini(const QString &m)
{
    return m.startsWith(u"gemini-2.5-flash") && !m.contains(u"image");
}

bool supportsAlibabaFastMode(const QString &m)
{
    return supportsQwenFastMode(m) || supportsDeepSeekFastMode(m) || isFastKimi(m) || supportsGLMFastMode(m);
}

Control when(bool fast, Control control)
{
    return fast ? control : Control::unchanged;
}

/** OpenRouter names models "vendor/name"; the vendor decides which rule applies to the name. */
Control openRouterControl(const QString &m)
{
    qsizetype start = 0;
    while (start < m.size() && m[start] == u'/') {
        ++start;
    }
    const qsizetype slash = m.indexOf(u'/', start);
    if (slash < 0) {
        return Control::unchanged;
    }
    const QString vendor = m.sliced(start, slash - start);
    const QString name = m.sliced(slash + 1);
    if (vendor.isEmpty() || name.isEmpty()) {
        return Control::unchanged;
    }
    bool fast = false;
    if (vendor == u"deepseek") {
        fast = supportsDeepSeekFastMode(name);
    } else if (vendor == u"openai") {
        fast = supportsOpenAIFastMode(name);
    } else if (vendor == u"google") {
        fast = isFastGemini(name);
    } else if (vendor == u"qwen" || vendor == u"alibaba") {
        fast = supportsQwenFastMode(name);
    } else if (vendor == u"moonshotai" || vendor == u"moonshot") {
        fast = isFastKimi(name);
    } else if (vendor == u"anthropic") {
        fast = name == u"claude-sonnet-5";
    } else if (vendor == u"minimax") {
        fast = name == u"minimax-m3";
    } else if (vendor == u"z-ai") {
        fast = supportsGLMFastMode(name);
    }
    return when(fast, Control::reasoningDisabled);
}

} // namespace

Control control(const QString &host, const QString &model)
{
    const QString h = host.toLower();
    const QString m = model.toLower();

    if (h == deepSeekHost) {
        return when(supportsDeepSeekFastMode(m), Control::thinkingDisabled);
    }
    if (h == openAIHost) {
        return when(supportsOpenAIFastMode(m), Control::reasoningEffortNone);
    }
    if (h == geminiHost) {
        return when(isFastGemini(m), Control::reasoningEffortNone);
    }
    if (h == dashScopeHost || h == dashScopeInternationalHost || h.endsWith(alibabaMaaSSuffix)) {
        // Alibaba hosts other vendors' models too; MiniMax there takes the MiniMax field.
        if (m == u"minimax-m3") {
            return Control::thinkingDisabled;
        }
        return when(supportsAlibabaFastMode(m), Control::enableThinkingFalse);
    }
    if (h == moonshotGlobalHost || h == moonshotChinaHost) {
        return when(isFastKimi(m), Control::thinkingDisabled);
    }
    if (h == anthropicHost) {
        return when(m == u"claude-sonnet-5", Control::thinkingDisabled);
    }
    if (h == miniMaxInternationalHost || h == miniMaxChinaHost) {
        return when(m == u"minimax-m3", Control::thinkingDisabled);
    }
    if (h == zhipuInternationalHost || h == zhipuBigModelHost) {
        return when(supportsGLMFastMode(m), Control::thinkingDisabled);
    }
    if (h == openRouterHost || h == openRouterApiHost) {
        return openRouterControl(m);
    }
    return Control::unchanged;
}

} // namespace Tessary::PolishingReasoningPolicy
