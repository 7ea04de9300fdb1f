#pragma once

#include <QString>
#include <QStringList>

namespace Tessary {

/**
 * Which column of a three-language text the appearance module shows: the interface language the preference resolves
 * to (see resolveInterfaceLanguage).
 */
class NativeAppearanceLanguage
{
public:
    enum Case {
        English,
        SimplifiedChinese,
        TraditionalChinese,
    };

    /** Classifies a language preference value: "system" or a language code. */
    static NativeAppearanceLanguage from(const QString &language);

    /** The same with the preferred languages given, most preferred first (BCP 47 tags such as "zh-Hant-TW"). */
    static NativeAppearanceLanguage from(const QString &language, const QStringList &preferredLanguages);

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
