#pragma once

#include <QRegularExpression>
#include <QString>

namespace Tessary {

/**
 * Conflict copies that sync tools leave beside a file when two devices changed it at once. While one exists, the
 * user has a conflict to settle, and the file itself may not hold the version they want.
 */
namespace ConflictCopies {

/**
 * True when name (a file name, no folder) is a conflict copy of fileName as these tools name it, in any case:
 * Syncthing "config.sync-conflict-20240101-120000-ABCDEFG.json" (seven-character device id);
 * Nextcloud and ownCloud "config (conflicted copy 2024-01-01 120000).json", older
 * "config_conflict-20240101-120000.json"; Dropbox "config (Laptop's conflicted copy 2024-01-01).json", optionally
 * numbered "… 2024-01-01) (1).json".
 */
bool isConflictCopy(const QString &name, const QString &fileName);

/** Matches exactly the names isConflictCopy() accepts; for callers that test many names. */
QRegularExpression expression(const QString &fileName);

/** True when the folder holds a conflict copy of fileName. */
bool exist(const QString &folder, const QString &fileName);

} // namespace ConflictCopies

} // namespace Tessary
