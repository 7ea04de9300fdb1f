#pragma once

#include <optional>

#include <QStringList>

namespace Tessary {

/** Checks a local update archive from the command line with the installer's verification chain. */
namespace NativeUpdateArchiveVerification {

/** No value unless the arguments form a verification command line; otherwise the exit status (0 or 1). */
std::optional<int> runIfRequested(const QStringList &arguments);

} // namespace NativeUpdateArchiveVerification

} // namespace Tessary
