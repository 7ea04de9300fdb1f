#include "updater/NativeUpdateArchiveVerification.h"

namespace Tessary::NativeUpdateArchiveVerification {

std::optional<int> runIfRequested(const QStringList &)
{
    // The verification chain arrives with the self-updater (issue #10).
    return std::nullopt;
}

} // namespace Tessary::NativeUpdateArchiveVerification
