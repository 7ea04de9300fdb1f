#include "core/InterfaceLanguage.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace Tessary {

std::optional<InterfaceLanguage> interfaceLanguageOfTag(const QString &tag)
{
    const auto is = [&tag](QStringView prefix) { return tag == prefix || tag.startsWith(prefix + u'-'); };
    if (is(u"zh-Hant") || is(u"zh-TW") || is(u"zh-HK") || is(u"zh-MO")) {
        return InterfaceLanguage::TraditionalChinese;
    }
    if (is(u"zh")) {
        return InterfaceLanguage::SimplifiedChinese;
    }
    if (is(u"en")) {
        return InterfaceLanguage::English;
    }
    return std::nullopt;
}

InterfaceLanguage resolveInterfaceLanguage(const QString &preference, const QStringList &preferredLanguages)
{
    if (preference != u"system") {
        return interfaceLanguageOfTag(preference).value_or(InterfaceLanguage::English);
    }
    for (const QString &preferred : preferredLanguages) {
        if (std::optional<InterfaceLanguage> language = interfaceLanguageOfTag(preferred)) {
            return *language;
        }
    }
    return InterfaceLanguage::English;
}

InterfaceLanguage resolveInterfaceLanguage(const QString &preference)
{
    return resolveInterfaceLanguage(preference, preference == u"system" ? systemPreferredLanguages() : QStringList());
}

QString interfaceLanguageCode(InterfaceLanguage language)
{
    switch (language) {
    case InterfaceLanguage::SimplifiedChinese:
        return u"zh-Hans"_s;
    case InterfaceLanguage::TraditionalChinese:
        return u"zh-Hant"_s;
    case InterfaceLanguage::English:
        break;
    }
    return u"en"_s;
}

QStringList systemPreferredLanguages()
{
    QStringList languages;
    for (QString language : QLocale::system().uiLanguages()) {
        if (language.isEmpty() || language == u"C" || language == u"POSIX") {
            continue;
        }
        language.replace(u'_', u'-');
        if (!languages.contains(language)) {
            languages.append(language);
        }
    }
    return languages;
}

} // namespace Tessary
