#pragma once

#include <optional>

#include <QByteArrayList>
#include <QString>

#include "core/Result.h"
#include "helper/update/CodeRequirement.h"

namespace Tessary {

/**
 * The seal of a bundle, our stand-in for a Developer ID code signature. The bundle's _CodeSignature/ folder holds
 *   CodeResources.json  {"identifier", "teamIdentifier", "kind": "developer-id",
 *                        "files": {relative path: {"sha256": lower-case hex, "mode": "0755" | "0644"}}}
 *   developer.sig       Ed25519 signature over the exact bytes of CodeResources.json by the team's developer key
 *   notary.sig          the notary's countersignature (NotarySignature)
 * A team is named by its key: the team identifier is derived from the public key (Ed25519Key::teamIdentifier).
 */
namespace CodeSignature {

inline constexpr auto folderName = "_CodeSignature";
inline constexpr auto resourcesName = "CodeResources.json";
inline constexpr auto developerSignatureName = "developer.sig";
inline constexpr auto notarySignatureName = "notary.sig";

/**
 * Checks the bundle deeply and strictly: the resources file is signed by a trusted developer key of the team it
 * names; it is a Developer ID seal; its identifier is the bundle's; every regular file outside _CodeSignature/ is
 * listed with its hash and mode, nothing listed is missing, and there are no symbolic links, special files or
 * folders without sealed files. With a requirement, its team and identifier must be the sealed ones.
 * The error is a reason for people, in English.
 */
Result<void, QString> verify(const QString &bundlePath, const std::optional<CodeRequirement> &requirement,
                             const QByteArrayList &trustedDeveloperKeys);

/** Reads a file of the signature folder that must be a regular file no larger than maximumSize. */
Result<QByteArray, QString> readSealFile(const QString &bundlePath, const char *name, qint64 maximumSize);

} // namespace CodeSignature

} // namespace Tessary
