#pragma once

#include <QByteArray>
#include <QString>

#include "app/CapturedShortcut.h"
#include "core/Result.h"

namespace Tessary {

/** Why bytes are not a configuration file this version can use. */
struct ConfigurationDecodeError
{
    enum class Code {
        /** Not a JSON object at all. */
        NotJson,
        /** A required key is missing or has the wrong type; field names it. */
        WrongShape,
        /** A "version" other than 1; field holds the version found. */
        UnsupportedVersion,
    };
    Code code;
    QString field;
};

/**
 * The shared configuration file: the portable preferences and the accent palette, one JSON object that a Linux and a
 * Mac installation read and write alike. Written with the keys in this order, compact, exactly as the Mac's encoder
 * writes it; read in any key order, with all nine keys required. The AI key, the sync switch and the sync folder are
 * never part of it.
 */
struct Configuration
{
    static constexpr int currentVersion = 1;

    int version = currentVersion;
    QString aiBaseURL;
    QString aiModel;
    QString polishPrompt;
    bool hideMenuBarIcon = false;
    CapturedShortcut shortcut;
    QString colorMode;
    QString language;
    /** A palette's raw value ("violet"); kept as text, so that an unknown one survives decoding. */
    QString accentPalette;

    QByteArray encoded() const;
    static Result<Configuration, ConfigurationDecodeError> decode(const QByteArray &bytes);

    friend bool operator==(const Configuration &, const Configuration &) = default;
};

} // namespace Tessary
