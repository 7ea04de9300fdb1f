#pragma once

#include <QString>

namespace Tessary {

/**
 * Tessary's desktop entry (md.velmor.tessary.desktop, the launcher entry that `cmake --install` and the packages
 * install) written for a given copy of the program: as the user's launcher entry and as the XDG autostart entry
 * that starts Tessary at login. The autostart entry belongs to this computer; the configuration sync never
 * carries it.
 */
namespace DesktopEntries {

/** The entry's text with both of its Exec lines starting executable, quoted as desktop entries require. */
QString text(const QString &executable);

/** The program file of the copy that is running (a bundle's bin/tessary, /usr/bin/tessary, the build tree's). */
QString runningExecutable();

/** $XDG_CONFIG_HOME/autostart/md.velmor.tessary.desktop. */
QString autostartPath();
/** $XDG_DATA_HOME/applications/md.velmor.tessary.desktop. */
QString launcherPath();

/** Whether an autostart entry is on disk and not switched off ("Hidden=true"). */
bool startsAtLogin();
/**
 * Writes the autostart entry for executable, or removes it. Returns an empty string on success, otherwise what
 * went wrong (the file is then as it was).
 */
QString setStartsAtLogin(bool enabled, const QString &executable);

/** Writes text to path in one step (the folders are made as needed); empty on success, else the reason. */
QString write(const QString &path, const QString &text);

} // namespace DesktopEntries

} // namespace Tessary
