#pragma once

#include <optional>

#include <QByteArray>
#include <QString>

#include "configuration/SecureConfigurationError.h"
#include "core/Result.h"

namespace Tessary {

/** Whole-file reads with a size bound, and all-or-nothing writes. Paths are absolute. */
namespace AtomicFile {

/**
 * The whole file, or nullopt when nothing exists at path. A file larger than limit is refused with TooLarge before
 * its contents are loaded, and so is one that grows past it while being read.
 */
Result<std::optional<QByteArray>, SecureConfigurationError> read(const QString &path, qint64 limit);

/**
 * Replaces the file at path with data so that, whatever happens (a crash, a kill, a full disk), the path holds
 * either the old content or the new one. The new content goes to a hidden temporary file in the same folder
 * ("." + name + ".tessary-" + random + ".tmp"), is flushed to disk and renamed over the target; then the folder is
 * flushed too. An existing file keeps its permission bits; a new file is readable by its owner only.
 */
Result<void, SecureConfigurationError> write(const QString &path, const QByteArray &data);

/** Copies the file at from to to, making the folders of to; the copy is written like write() does. */
Result<void, SecureConfigurationError> copy(const QString &from, const QString &to);

/**
 * Deletes temporary files that a killed write() left beside path. Only safe while holding the folder's lock, when
 * no write of ours can be under way.
 */
void removeLeftovers(const QString &path);

} // namespace AtomicFile

} // namespace Tessary
