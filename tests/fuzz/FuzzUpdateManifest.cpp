// The update manifest, fetched from the network before anything about it is trusted.
#include <cstdint>
#include <cstdlib>

#include "updater/NativeUpdateManifest.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto manifest =
        Tessary::NativeUpdateManifest::decode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (manifest && manifest->downloadURLText.isEmpty() != manifest->downloadURL.isEmpty()) {
        std::abort();
    }
    return 0;
}
