#pragma once

#include <cstdint>

#include <QByteArray>
#include <QString>
#include <QUrl>

#include "core/Result.h"

namespace Tessary {

/**
 * The update manifest the maker publishes at the manifest URL: a JSON object with exactly these six required
 * keys (others are ignored). Decoding checks only presence and JSON types; whether it may be trusted is
 * NativeUpdatePolicy's decision.
 */
struct NativeUpdateManifest
{
    std::int64_t schemaVersion = 0;
    QString product;
    /** Marketing version, only ever displayed. */
    QString version;
    /** The number that decides whether an update is newer. */
    std::int64_t build = 0;
    QUrl downloadURL;
    /** downloadURL as the manifest wrote it; QUrl lower-cases the scheme, and the policy compares it as written. */
    QString downloadURLText;
    /** SHA-256 of the archive, 64 hexadecimal digits in either case. */
    QString sha256;

    /** Why a document is not a manifest, in the words of the JSON reader (English, like the system's errors). */
    struct DecodeError
    {
        QString description;
    };

    static Result<NativeUpdateManifest, DecodeError> decode(const QByteArray &json);

    bool operator==(const NativeUpdateManifest &) const = default;
};

} // namespace Tessary
