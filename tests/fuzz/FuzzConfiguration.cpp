// The synced config.json, written by another installation (or anyone with access to the sync folder).
#include <cstdint>
#include <cstdlib>

#include "app/sync/Configuration.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using Tessary::Configuration;
    const auto decoded = Configuration::decode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    // Whatever was accepted is written back so that it reads the same.
    if (decoded) {
        const auto again = Configuration::decode(decoded->encoded());
        if (!again || *again != *decoded) {
            std::abort();
        }
    }
    return 0;
}
