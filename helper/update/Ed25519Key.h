#pragma once

#include <memory>
#include <optional>

#include <QByteArray>
#include <QString>

typedef struct evp_pkey_st EVP_PKEY;

namespace Tessary {

/** An Ed25519 public key (OpenSSL 3) that checks signatures. */
class Ed25519Key
{
public:
    /** The key in a PEM "PUBLIC KEY" block; none for anything that is not an Ed25519 public key. */
    static std::optional<Ed25519Key> fromPem(const QByteArray &pem);

    /** The 32 raw key bytes. */
    QByteArray raw() const { return m_raw; }

    /** The team a key stands for: the first ten characters of the upper-case hexadecimal SHA-256 of raw(). */
    QString teamIdentifier() const;

    /** Whether signature is this key's signature over exactly message. */
    bool verify(const QByteArray &message, const QByteArray &signature) const;

private:
    struct Deleter
    {
        void operator()(EVP_PKEY *key) const;
    };
    Ed25519Key(std::shared_ptr<EVP_PKEY> key, QByteArray raw);

    std::shared_ptr<EVP_PKEY> m_key;
    QByteArray m_raw;
};

} // namespace Tessary
