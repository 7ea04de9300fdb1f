#include "appearance/NativeAppearanceLanguage.h"

#include "core/InterfaceLanguage.h"

namespace Tessary {

NativeAppearanceLanguage NativeAppearanceLanguage::from(const QString &language)
{
    return from(language, language == u"system" ? systemPreferredLanguages() : QStringList());
}

NativeAppearanceLanguage NativeAppearanceLanguage::from(const QString &language, const QStringList &preferredLanguages)
{
    switch (resolveInterfaceLanguage(language, preferredLanguages)) {
    case InterfaceLanguage::SimplifiedChinese:
        return SimplifiedChinese;
    case InterfaceLanguage::TraditionalChinese:
        return TraditionalChinese;
    case InterfaceLanguage::English:
        break;
    }
    return English;
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
