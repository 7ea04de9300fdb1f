#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include "core/Result.h"

namespace Tessary {

/**
 * What an API key may look like before it is stored. Keys of OpenAI-compatible services are printable ASCII without
 * blanks ("sk-…", base64 or hexadecimal tokens); the key travels in an HTTP header, where a control character would
 * end the header or break the request, and a megabyte key would only make every request fail.
 */
namespace ApiKeyFormat {

/** A few times the longest key any service hands out. */
inline constexpr qsizetype maximumLength = 4096;

enum class Problem {
    Missing,
    TooLong,
    NotPrintableAscii,
    ContainsWhiteSpace,
};

/**
 * The key in a line as typed or piped (without or with its line terminator): white space at both ends is removed,
 * the rest must be 1 to maximumLength printable ASCII characters without white space.
 */
Result<QByteArray, Problem> fromLine(QByteArrayView line);

} // namespace ApiKeyFormat

} // namespace Tessary
