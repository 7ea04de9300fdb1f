#include "helper/update/Ed25519Key.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <QCryptographicHash>

namespace Tessary {

void Ed25519Key::Deleter::operator()(EVP_PKEY *key) const
{
    EVP_PKEY_free(key);
}

Ed25519Key::Ed25519Key(std::shared_ptr<EVP_PKEY> key, QByteArray raw)
    : m_key(std::move(key))
    , m_raw(std::move(raw))
{}

std::optional<Ed25519Key> Ed25519Key::fromPem(const QByteArray &pem)
{
    std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_mem_buf(pem.constData(), int(pem.size())), &BIO_free);
    if (!bio) {
        return std::nullopt;
    }
    std::shared_ptr<EVP_PKEY> key(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr), Deleter());
    if (!key || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_ED25519) {
        return std::nullopt;
    }
    QByteArray raw(32, Qt::Uninitialized);
    size_t length = size_t(raw.size());
    if (EVP_PKEY_get_raw_public_key(key.get(), reinterpret_cast<unsigned char *>(raw.data()), &length) != 1 ||
        length != 32) {
        return std::nullopt;
    }
    return Ed25519Key(std::move(key), std::move(raw));
}

QString Ed25519Key::teamIdentifier() const
{
    const QByteArray digest = QCryptographicHash::hash(m_raw, QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.toHex().toUpper().left(10));
}

bool Ed25519Key::verify(const QByteArray &message, const QByteArray &signature) const
{
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    // Ed25519 hashes internally ("pure" mode), so no digest is named and the message goes in whole.
    if (!context || EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, m_key.get()) != 1) {
        return false;
    }
    return EVP_DigestVerify(context.get(), reinterpret_cast<const unsigned char *>(signature.constData()),
                            size_t(signature.size()), reinterpret_cast<const unsigned char *>(message.constData()),
                            size_t(message.size())) == 1;
}

} // namespace Tessary
