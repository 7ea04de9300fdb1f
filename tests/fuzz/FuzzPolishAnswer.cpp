// The chat-completions answer of the AI service.
#include <cstdint>
#include <cstdlib>

#include "core/TextPolisher_p.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto text =
        Tessary::TextPolisher::detail::decodeAnswer(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    // An answer is the trimmed, non-empty text; a failure always says why.
    if (text ? text->isEmpty() || *text != text->trimmed() : text.error().description.isEmpty()) {
        std::abort();
    }
    return 0;
}
