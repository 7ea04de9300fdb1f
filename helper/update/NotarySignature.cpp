#include "helper/update/NotarySignature.h"

#include <QCryptographicHash>

#include "helper/update/CodeSignature.h"
#include "helper/update/Ed25519Key.h"

using namespace Qt::StringLiterals;

namespace Tessary::NotarySignature {

QByteArray message(const QByteArray &codeResources, const QByteArray &developerSignature)
{
    QByteArray bytes("tessary-notary-v1");
    bytes.append('\0');
    bytes.append(QCryptographicHash::hash(codeResources, QCryptographicHash::Sha256));
    bytes.append(QCryptographicHash::hash(developerSignature, QCryptographicHash::Sha256));
    return bytes;
}

Result<void, QString> assess(const QString &bundlePath, const QByteArrayList &trustedNotaryKeys,
                             const QByteArrayList &trustedDeveloperKeys)
{
    const auto resources = CodeSignature::readSealFile(bundlePath, CodeSignature::resourcesName, 16 << 20);
    const auto developer = CodeSignature::readSealFile(bundlePath, CodeSignature::developerSignatureName, 1024);
    const auto notary = CodeSignature::readSealFile(bundlePath, CodeSignature::notarySignatureName, 1024);
    if (!resources || !developer) {
        return unexpected(u"not signed"_s);
    }
    if (!notary) {
        return unexpected(u"not notarized: "_s + notary.error());
    }
    const QByteArray signedBytes = message(*resources, *developer);
    const bool countersigned = std::ranges::any_of(trustedNotaryKeys, [&](const QByteArray &pem) {
        const std::optional<Ed25519Key> key = Ed25519Key::fromPem(pem);
        return key && key->verify(signedBytes, *notary);
    });
    if (!countersigned) {
        return unexpected(u"notary signature not made by a trusted notary key"_s);
    }
    return CodeSignature::verify(bundlePath, std::nullopt, trustedDeveloperKeys);
}

} // namespace Tessary::NotarySignature
