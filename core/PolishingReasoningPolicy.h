#pragma once

#include <QString>

namespace Tessary {

/**
 * Which request field, if any, switches a chat model's thinking off so that a short correction comes back quickly.
 * Providers each have their own field and accept it only for some models; this is the one place that knows them.
 * Pure functions, any thread.
 */
namespace PolishingReasoningPolicy {

/** The extra field a polishing request carries. */
enum class Control {
    /** "thinking": {"type": "disabled"} */
    thinkingDisabled,
    /** "enable_thinking": false */
    enableThinkingFalse,
    /** "reasoning_effort": "none" */
    reasoningEffortNone,
    /** "reasoning": {"enabled": false} */
    reasoningDisabled,
    /** no extra field */
    unchanged,
};

/**
 * The control for a service host (without port; empty when the URL has none) and a model name (already trimmed).
 * Both are compared case-insensitively. Unknown hosts and models get Control::unchanged.
 */
Control control(const QString &host, const QString &model);

} // namespace PolishingReasoningPolicy

} // namespace Tessary
