#pragma once

#include <QString>

#include "core/Result.h"
#include "updater/NativeUpdateError.h"

namespace Tessary {

/**
 * Moves a file or folder to a path where nothing is yet. Within one file system this is a single rename. Across
 * file systems (the update's work folder in a tmpfs /tmp, the application in the home folder) the tree is first
 * copied to a hidden sibling of the destination and renamed into place, so the destination never holds half a
 * bundle; only then is the source deleted. On failure the destination is left as it was and the source intact.
 */
Result<void, NativeUpdateError> moveItem(const QString &source, const QString &destination);

/** Deletes a file or a folder with everything in it; true when nothing is left. */
bool removeItem(const QString &path);

} // namespace Tessary
