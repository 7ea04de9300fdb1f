#include "updater/NativeUpdateHelper.h"

namespace Tessary::NativeUpdateHelper {

bool runIfRequested(const QStringList &)
{
    // The installer and its helper command line arrive with the self-updater (issue #10).
    return false;
}

} // namespace Tessary::NativeUpdateHelper
