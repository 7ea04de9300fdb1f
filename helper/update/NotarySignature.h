#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include "core/Result.h"

namespace Tessary {

/**
 * The notary's countersignature, our stand-in for notarization: _CodeSignature/notary.sig is an Ed25519 signature
 * by a notary key over "tessary-notary-v1", a NUL byte, SHA-256(CodeResources.json) and SHA-256(developer.sig)
 * (raw digests). The notary key is kept by the release pipeline apart from the developer key, so a developer key
 * alone cannot produce an installable update.
 */
namespace NotarySignature {

/** The bytes the notary signs for a seal and its developer signature. */
QByteArray message(const QByteArray &codeResources, const QByteArray &developerSignature);

/** Checks the countersignature and then the code signature (without a requirement). Error: a reason in English. */
Result<void, QString> assess(const QString &bundlePath, const QByteArrayList &trustedNotaryKeys,
                             const QByteArrayList &trustedDeveloperKeys);

} // namespace NotarySignature

} // namespace Tessary
