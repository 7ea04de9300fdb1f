#pragma once

#include <QString>

namespace Tessary {

struct ConfigurationDecodeError;
struct SecureConfigurationError;

/**
 * What a failure of the configuration sync says to the user, in the interface language: the repository's own
 * reasons through the string tables, the common file-system failures (no permission, read-only disk, full disk,
 * missing file, something other than a file) in the application's words with the path they concern, anything rarer
 * as the system describes it.
 */
namespace SyncErrorText {

QString describe(const SecureConfigurationError &error, const QString &language);
QString describe(const ConfigurationDecodeError &error, const QString &language);
/** A folder could not be created; the reason is taken from errno, where QDir::mkpath() leaves it. */
QString folderNotCreated(const QString &folder, const QString &language);
/** The sync folder itself is missing. */
QString missingFolder(const QString &folder, const QString &language);

} // namespace SyncErrorText

} // namespace Tessary
