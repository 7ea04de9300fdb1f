#pragma once

#include <QString>

class QWidget;

namespace Tessary {

/** Which configuration the user keeps when switching sync on finds a different one in the sync folder. */
enum class SyncConflictChoice {
    /** Apply the synced configuration here. */
    UseSynced,
    /** Back up the synced file locally, then write this computer's configuration over it. */
    ReplaceSynced,
    /** Leave sync off; nothing is written. */
    Cancel,
};

/**
 * Asks the user, in a modal alert on the GUI thread, which configuration to keep. The first button (the default)
 * keeps the synced one; Escape and closing the alert cancel.
 */
SyncConflictChoice askWhichConfigurationWins(const QString &language, QWidget *parent = nullptr);

} // namespace Tessary
