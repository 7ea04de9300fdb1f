#pragma once

#include <QString>

namespace Tessary {

/**
 * Where the running executable finds its companions. In a bundle and in the build tree the layout is
 * <root>/bin/tessary and <root>/libexec/tessary-helper; a distribution package keeps the helper in a folder of
 * its own, <prefix>/libexec/tessary/tessary-helper.
 */
namespace BundleLayout {

/** Absolute path of the helper executable beside the running program; empty before QCoreApplication exists. */
QString helperExecutable();

/** The helper beside a program in programFolder (its bin/): the bundle's place when it exists, else the package's. */
QString helperExecutable(const QString &programFolder);

} // namespace BundleLayout

} // namespace Tessary
