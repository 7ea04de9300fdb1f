#include "core/ApiKeyFormat.h"

#include <algorithm>

namespace Tessary::ApiKeyFormat {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

} // namespace

Result<QByteArray, Problem> fromLine(QByteArrayView line)
{
    while (!line.isEmpty() && isBlank(line.front())) {
        line = line.sliced(1);
    }
    while (!line.isEmpty() && isBlank(line.back())) {
        line.chop(1);
    }
    if (line.isEmpty()) {
        return unexpected(Problem::Missing);
    }
    if (line.size() > maximumLength) {
        return unexpected(Problem::TooLong);
    }
    // Bytes outside 0x20..0x7e are control characters, DEL, or part of a multi-byte (or broken) UTF-8 sequence.
    if (std::ranges::any_of(line, [](char c) { return isBlank(c); })) {
        return unexpected(Problem::ContainsWhiteSpace);
    }
    if (std::ranges::any_of(line, [](char c) { return uchar(c) < 0x20 || uchar(c) > 0x7e; })) {
        return unexpected(Problem::NotPrintableAscii);
    }
    return line.toByteArray();
}

} // namespace Tessary::ApiKeyFormat
