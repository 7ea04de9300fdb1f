#pragma once

#include <QString>
#include <QStringList>

#include "core/Result.h"

namespace Tessary::DittoTool {

/**
 * "ditto -x -k ZIP FOLDER": unpacks a zip archive into an existing folder. The whole archive is checked before
 * anything is written, and refused (exit status 1, a reason on standard error) when an entry would land outside
 * the folder (absolute paths, ".." components), is a symbolic link, a hard link or a special file, or when the
 * archive is damaged or unreasonably large. Files keep their executable bits; nothing else of the recorded
 * permissions (set-user-ID, group and world write) survives. Files already in the folder are never overwritten.
 */
int run(const QStringList &arguments);

/** The unpacking itself; the error is a reason in English. */
Result<void, QString> extract(const QString &archivePath, const QString &folder);

} // namespace Tessary::DittoTool
