#pragma once

#include <optional>

#include <QString>

namespace Tessary {

/**
 * The code requirement the updater passes to "codesign -R": a Developer ID signature of one team for one
 * bundle identifier. Only the exact text the updater writes is understood; anything else is refused.
 */
struct CodeRequirement
{
    QString teamIdentifier;
    QString identifier;

    static std::optional<CodeRequirement> parse(const QString &text);
};

} // namespace Tessary
