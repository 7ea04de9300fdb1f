#pragma once

#include <optional>

#include <QStringList>

namespace Tessary {

struct NativeUpdateConfiguration;

/**
 * Checks a local update archive from the command line with the installer's verification chain, installing
 * nothing:
 *   PROGRAM --verify-update-archive ZIP VERSION BUILD SHA256
 * Prints "UPDATE VERIFY PASS: …" (exit status 0) or "UPDATE VERIFY FAILED: <reason>" on standard error (1), the
 * reason in the updater's language. A passed check removes its work folder; a failed one leaves it for study.
 */
namespace NativeUpdateArchiveVerification {

/** No value unless the arguments form a verification command line; otherwise the exit status (0 or 1). */
std::optional<int> runIfRequested(const NativeUpdateConfiguration &configuration, const QStringList &arguments);

} // namespace NativeUpdateArchiveVerification

} // namespace Tessary
