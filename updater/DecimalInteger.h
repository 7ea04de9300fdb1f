#pragma once

#include <cstdint>
#include <optional>

#include <QStringView>

namespace Tessary {

/**
 * Reads a whole string as a decimal integer: an optional leading "+" or "-", then one or more ASCII digits,
 * nothing else (no spaces, no grouping). No value when the text is empty, malformed or outside 64 bits.
 * Build numbers and process identifiers on our command lines and in bundle metadata are read this way.
 */
std::optional<std::int64_t> parseDecimalInteger(QStringView text);

} // namespace Tessary
