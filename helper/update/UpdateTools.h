#pragma once

#include <optional>

namespace Tessary::UpdateTools {

/**
 * The updater's tools in tessary-helper: "ditto", "codesign", "spctl" and "open", named by the first argument.
 * The updater runs them from the running application's own libexec/, never from a downloaded bundle, and reads
 * only their exit status. Returns no value when argv[1] names none of them. The trusted keys are the ones this
 * executable was built with (helper/UpdateTrust.h).
 */
std::optional<int> runIfRequested(int argc, char **argv);

} // namespace Tessary::UpdateTools
