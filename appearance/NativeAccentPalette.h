#pragma once

#include <array>
#include <optional>

#include <QColor>
#include <QMetaType>
#include <QString>

namespace Tessary {

class UserDefaults;

/**
 * One of the six accent palettes a user can pick. A small value type: it converts from its cases
 * (NativeAccentPalette::Ocean), compares, and is stored as its raw value ("ocean").
 *
 * The names come in three languages carried here, so the module needs no string tables of the host.
 */
class NativeAccentPalette
{
    Q_GADGET
public:
    enum Case : quint8 {
        Terracotta,
        Coral,
        Amber,
        Forest,
        Ocean,
        Violet,
    };
    Q_ENUM(Case)

    /** The key a host may store the selection under when it has no key of its own. */
    static QString standardDefaultsKey();

    /** Every palette, in the order pickers show them. */
    static const std::array<NativeAccentPalette, 6> &allCases();

    /** The palette whose raw value is exactly rawValue (case matters); none for anything else. */
    static std::optional<NativeAccentPalette> fromRawValue(const QString &rawValue);

    /**
     * The palette stored under key in defaults, or defaultPalette when nothing is stored there, the stored value is
     * not text, or it is not the raw value of a palette.
     */
    static NativeAccentPalette current(NativeAccentPalette defaultPalette, const QString &key,
                                       const UserDefaults &defaults);

    /** The first palette; exists so the type can travel in a QVariant. */
    constexpr NativeAccentPalette() = default;
    constexpr NativeAccentPalette(Case value)
        : m_value(value)
    {}

    constexpr Case value() const { return m_value; }
    /** Position in allCases(), 0 to 5. */
    constexpr int index() const { return int(m_value); }

    /** "terracotta", "coral", …: what is stored. */
    QString rawValue() const;
    /** The identity of a palette: its raw value. */
    QString id() const;

    /** The name in the user's preferred language. */
    QString title() const;
    /** The name for a language preference value: "system" or a language code ("zh-Hans", "zh-Hant-TW", "en"). */
    QString title(const QString &language) const;

    /** The palette's colour, fully opaque. */
    QColor color() const;

    friend constexpr bool operator==(NativeAccentPalette, NativeAccentPalette) = default;

private:
    Case m_value = Terracotta;
};

} // namespace Tessary

Q_DECLARE_METATYPE(Tessary::NativeAccentPalette)
