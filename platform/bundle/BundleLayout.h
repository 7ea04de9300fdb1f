#pragma once

#include <QString>

namespace Tessary {

/**
 * Where the running executable finds its companions. Installed and in the build tree alike the layout is
 * <root>/bin/tessary and <root>/libexec/tessary-helper.
 */
namespace BundleLayout {

/** Absolute path of the helper executable beside the running program; empty before QCoreApplication exists. */
QString helperExecutable();

} // namespace BundleLayout

} // namespace Tessary
