#pragma once

#include <QString>
#include <QStringList>

namespace Tessary {

/**
 * Which column of a three-language text the appearance module shows. Every language other than Chinese reads
 * English; Chinese splits into Traditional (zh-Hant, zh-TW, zh-HK, zh-MO) and Simplified (everything else).
 */
class NativeAppearanceLanguage
{
public:
    enum Case {
        English,
        SimplifiedChinese,
        TraditionalChinese,
    };

    /**
     * Classifies a language preference value. "system" stands for the first of the user's preferred languages
     * (English when there are none, as with LANG=C); any other value is taken as a language code.
     */
    static NativeAppearanceLanguage from(const QString &language);

    /** The same with the preferred languages given, most preferred first (BCP 47 tags such as "zh-Hant-TW"). */
    static NativeAppearanceLanguage from(const QString &language, const QStringList &preferredLanguages);

    /** The user's preferred languages as BCP 47 tags, without the "C" and "POSIX" locales. */
    static QStringList preferredLanguages();

    constexpr NativeAppearanceLanguage(Case value)
        : m_value(value)
    {}
    constexpr Case value() const { return m_value; }

    /** Picks this language's version of a text given in all three. */
    QString pick(const QString &simplifiedChinese, const QString &traditionalChinese, const QString &english) const;

    friend constexpr bool operator==(NativeAppearanceLanguage, NativeAppearanceLanguage) = default;

private:
    Case m_value;
};

} // namespace Tessary
