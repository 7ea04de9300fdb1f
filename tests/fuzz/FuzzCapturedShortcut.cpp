// The shortcut as stored in the user defaults and inside config.json.
#include <cstdint>
#include <cstdlib>

#include "app/CapturedShortcut.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using Tessary::CapturedShortcut;
    const auto shortcut =
        CapturedShortcut::decodeJson(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (shortcut) {
        (void)shortcut->title();
        if (CapturedShortcut::decodeJson(shortcut->encodedJson()) != shortcut) {
            std::abort();
        }
    }
    return 0;
}
