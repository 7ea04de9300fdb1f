#include "appearance/NativeAppearanceLanguage.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace Tessary {

NativeAppearanceLanguage NativeAppearanceLanguage::from(const QString &language)
{
    return from(language, language == u"system" ? preferredLanguages() : QStringList());
}

NativeAppearanceLanguage NativeAppearanceLanguage::from(const QString &language, const QStringList &preferredLanguages)
{
    QString code = language;
    if (language == u"system") {
        code = preferredLanguages.isEmpty() ? u"en"_s : preferredLanguages.first();
    }
    code = code.toLower();
    if (!code.startsWith(u"zh")) {
        return English;
    }
    for (const QString &marker : {u"hant"_s, u"-tw"_s, u"-hk"_s, u"-mo"_s}) {
        if (code.contains(marker)) {
            return TraditionalChinese;
        }
    }
    return SimplifiedChinese;
}

QStringList NativeAppearanceLanguage::preferredLanguages()
{
    QStringList languages;
    const QStringList uiLanguages = QLocale::system().uiLanguages();
    for (QString language : uiLanguages) {
        // The C locale is no language choice: with LANG=C the user has expressed no preference.
        if (language == u"C" || language == u"POSIX") {
            continue;
        }
        languages.append(language.replace(u'_', u'-'));
    }
    return languages;
}

QString NativeAppearanceLanguage::pick(const QString &simplifiedChinese, const QString &traditionalChinese,
                                       const QString &english) const
{
    switch (m_value) {
    case SimplifiedChinese:
        return simplifiedChinese;
    case TraditionalChinese:
        return traditionalChinese;
    case English:
        break;
    }
    return english;
}

} // namespace Tessary
