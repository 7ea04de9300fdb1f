#pragma once

#include <optional>

#include <QStringList>

namespace Tessary {

struct NativeUpdateConfiguration;

/**
 * "tessary --install-bundle ARCHIVE": the first install of the self-updating bundle. The archive (a release zip,
 * as tools/make-release writes it) goes through the same checks as an update, with the keys of the copy that runs
 * the command; the verified bundle then replaces ~/.local/opt/<appName>.app (a previous one is kept until the new
 * one is in place), and the user's launcher entry and icon are written to start it. Prints one line: what was
 * installed where (exit 0), or why nothing was (exit 1).
 */
namespace BundleInstall {

/** None unless arguments are exactly the program, "--install-bundle" and the archive; otherwise the exit status. */
std::optional<int> runIfRequested(const NativeUpdateConfiguration &configuration, const QStringList &arguments);

/** Where the bundle is installed: $HOME/.local/opt/<appName>.app. */
QString installPath(const NativeUpdateConfiguration &configuration);

} // namespace BundleInstall

} // namespace Tessary
