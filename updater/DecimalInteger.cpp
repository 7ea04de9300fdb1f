#include "updater/DecimalInteger.h"

#include <limits>

namespace Tessary {

std::optional<std::int64_t> parseDecimalInteger(QStringView text)
{
    bool negative = false;
    if (!text.isEmpty() && (text.front() == u'+' || text.front() == u'-')) {
        negative = text.front() == u'-';
        text = text.mid(1);
    }
    if (text.isEmpty()) {
        return std::nullopt;
    }
    // Accumulate towards the negative side so that the most negative value fits as well.
    std::int64_t value = 0;
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    for (const QChar character : text) {
        if (character < u'0' || character > u'9') {
            return std::nullopt;
        }
        const int digit = character.unicode() - u'0';
        if (value < (lowest + digit) / 10) {
            return std::nullopt;
        }
        value = value * 10 - digit;
    }
    if (!negative) {
        if (value == lowest) {
            return std::nullopt;
        }
        value = -value;
    }
    return value;
}

} // namespace Tessary
