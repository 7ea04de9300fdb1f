#include "app/localization/QtStandardTexts.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include <memory>

#include "app/localization/TessaryLocalized.h"
#include "core/InterfaceLanguage.h"

using namespace Qt::StringLiterals;

namespace Tessary {

void applyQtStandardTexts(const QString &language)
{
    static QTranslator *installed = nullptr;
    const QString table = tessaryTableLanguage(language, systemPreferredLanguages());
    const QString catalogue = table == u"zh-Hans"_s   ? u"qtbase_zh_CN"_s
                              : table == u"zh-Hant"_s ? u"qtbase_zh_TW"_s
                                                      : QString();
    if (installed != nullptr && installed->objectName() == catalogue) {
        return;
    }
    if (installed != nullptr) {
        QCoreApplication::removeTranslator(installed);
        delete installed;
        installed = nullptr;
    }
    if (catalogue.isEmpty()) {
        return;
    }
    auto translator = std::make_unique<QTranslator>();
    if (translator->load(catalogue, QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        translator->setObjectName(catalogue);
        installed = translator.release();
        QCoreApplication::installTranslator(installed);
    }
}

} // namespace Tessary
