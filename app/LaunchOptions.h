#pragma once

#include <optional>

#include <QByteArray>
#include <QStringList>

namespace Tessary::LaunchOptions {

/**
 * "--help" and "--version", each as the only argument: prints the usage or "Tessary VERSION (build N)" to standard
 * output and gives exit status 0. Neither starts the application nor speaks to a running one. Nothing for any
 * other arguments.
 */
std::optional<int> runIfRequested(const QStringList &arguments);

/** "Tessary 1.0.0 (build 1)": the installed bundle's version and build, else those this program was built as. */
QString versionLine();

/**
 * The request a launch hands to the running instance: the options it understands after a normal launch
 * ("--open-settings…", "--preview-toast", "--capture"), space-separated in the order given, or "reopen" when there
 * are none. One line, no newline.
 */
QByteArray instanceRequest(const QStringList &arguments);

/** The options of a request made by instanceRequest(); empty for "reopen". */
QStringList requestedOptions(const QByteArray &request);

/**
 * The settings pane an argument list asks for: "--open-settings-ai" 1, "--open-settings-appearance" 2,
 * "--open-settings-updates" 3, tested in that order; 0 otherwise.
 */
int settingsTab(const QStringList &arguments);

/** Whether any argument begins with "--open-settings". */
bool opensSettings(const QStringList &arguments);

} // namespace Tessary::LaunchOptions
