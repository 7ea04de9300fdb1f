// The seal of a downloaded update. An input that starts with "{" is CodeResources.json, signed with this harness's
// developer key ("@TEAM@" becomes its team); any other input is the notary's signature over a valid seal.
#include <cstdint>
#include <cstdlib>

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "helper/update/CodeSignature.h"
#include "helper/update/Ed25519Key.h"
#include "helper/update/NotarySignature.h"

namespace {

struct Signer
{
    EVP_PKEY *key;
    QByteArray pem;
};

Signer signer(unsigned char seed)
{
    const unsigned char raw[32] = {seed};
    EVP_PKEY *key = EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, raw, sizeof raw);
    BIO *bio = BIO_new(BIO_s_mem());
    PEM_write_bio_PUBKEY(bio, key);
    char *pem = nullptr;
    const long length = BIO_get_mem_data(bio, &pem);
    Signer result{key, QByteArray(pem, length)};
    BIO_free(bio);
    return result;
}

QByteArray sign(const Signer &signer, const QByteArray &message)
{
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    unsigned char signature[64];
    size_t length = sizeof signature;
    EVP_DigestSignInit(context, nullptr, nullptr, nullptr, signer.key);
    EVP_DigestSign(context, signature, &length, reinterpret_cast<const unsigned char *>(message.constData()),
                   size_t(message.size()));
    EVP_MD_CTX_free(context);
    return QByteArray(reinterpret_cast<const char *>(signature), qsizetype(length));
}

void put(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size()) {
        std::abort();
    }
}

Signer s_developer;
Signer s_notary;
QString s_bundle;
QByteArray s_team;
const QByteArray s_validSeal =
    R"({"identifier":"md.velmor.tessary","teamIdentifier":"@TEAM@","kind":"developer-id","files":{"bin/tessary":)"
    R"({"sha256":"2d711642b726b04401627ca9fbac32f5c8530fb1903cc4db02258717921a4881","mode":"0755"}}})";

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    s_developer = signer(1);
    s_notary = signer(2);
    s_team = Tessary::Ed25519Key::fromPem(s_developer.pem)->teamIdentifier().toLatin1();
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/fuzz-seal-XXXXXX"));
    s_bundle = dir.filePath(QStringLiteral("Tessary.app"));
    QDir().mkpath(s_bundle + QStringLiteral("/_CodeSignature"));
    QDir().mkpath(s_bundle + QStringLiteral("/bin"));
    put(s_bundle + QStringLiteral("/Info.json"),
        R"({"CFBundleIdentifier":"md.velmor.tessary","CFBundleExecutable":"bin/tessary"})");
    put(s_bundle + QStringLiteral("/bin/tessary"), "x");
    QFile::setPermissions(s_bundle + QStringLiteral("/bin/tessary"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup |
                              QFile::ReadOther | QFile::ExeOther);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace Tessary;
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    const bool isSeal = input.startsWith('{');
    QByteArray resources = isSeal ? input : s_validSeal;
    resources.replace("@TEAM@", s_team);
    const QByteArray developerSignature = sign(s_developer, resources);
    const QString seal = s_bundle + QStringLiteral("/_CodeSignature/");
    put(seal + QLatin1StringView(CodeSignature::resourcesName), resources);
    put(seal + QLatin1StringView(CodeSignature::developerSignatureName), developerSignature);
    // Anything else is the notary's signature over a valid seal.
    if (!isSeal) {
        put(seal + QLatin1StringView(CodeSignature::notarySignatureName), input);
    }
    const auto verdict = isSeal ? CodeSignature::verify(s_bundle, std::nullopt, {s_developer.pem})
                                : NotarySignature::assess(s_bundle, {s_notary.pem}, {s_developer.pem});
    if (!verdict && verdict.error().isEmpty()) {
        std::abort();
    }
    return 0;
}
