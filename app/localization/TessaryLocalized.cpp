#include "app/localization/TessaryLocalized.h"

#include <optional>

#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include "app/recognition/TessaryDefaultPrompt.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

using StringTable = QHash<QString, QString>;

std::optional<StringTable> loadTable(const QString &language)
{
    QFile file(u":/i18n/"_s + language + u".lproj/Localizable.json"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject()) {
        return std::nullopt;
    }
    StringTable table;
    const QJsonObject object = document.object();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (it.value().isString()) {
            table.insert(it.key(), it.value().toString());
        }
    }
    return table;
}

// Loaded once, on first use, by whichever thread gets there first; read-only afterwards.
const QHash<QString, StringTable> &tables()
{
    static const QHash<QString, StringTable> loaded = [] {
        QHash<QString, StringTable> result;
        for (const QString &language : tessaryLocalizations()) {
            if (std::optional<StringTable> table = loadTable(language)) {
                result.insert(language, std::move(*table));
            }
        }
        return result;
    }();
    return loaded;
}

std::optional<QString> tableServing(const QString &preferred)
{
    if (preferred.startsWith(u"zh-Hant") || preferred.startsWith(u"zh-TW") || preferred.startsWith(u"zh-HK") ||
        preferred.startsWith(u"zh-MO")) {
        return u"zh-Hant"_s;
    }
    if (preferred == u"zh" || preferred.startsWith(u"zh-")) {
        return u"zh-Hans"_s;
    }
    if (preferred == u"en" || preferred.startsWith(u"en-")) {
        return u"en"_s;
    }
    return std::nullopt;
}

QString fill(const QString &format, QStringView placeholder, const QString &replacement)
{
    // One pass, so that a replacement that itself contains a placeholder stays as it is.
    QString result;
    result.reserve(format.size() + replacement.size());
    qsizetype from = 0;
    for (qsizetype at = format.indexOf(placeholder); at >= 0; at = format.indexOf(placeholder, from)) {
        result += QStringView(format).mid(from, at - from);
        result += replacement;
        from = at + placeholder.size();
    }
    result += QStringView(format).mid(from);
    return result;
}

} // namespace

QStringList tessaryLocalizations()
{
    return {u"zh-Hans"_s, u"zh-Hant"_s, u"en"_s};
}

QString tessaryTableLanguage(const QString &language, const QStringList &preferredLanguages)
{
    if (language != u"system" && tessaryLocalizations().contains(language)) {
        return language;
    }
    if (preferredLanguages.isEmpty()) {
        return u"zh-Hans"_s;
    }
    for (const QString &preferred : preferredLanguages) {
        if (std::optional<QString> table = tableServing(preferred)) {
            return *table;
        }
    }
    return u"en"_s;
}

QString tessaryLocalized(const QString &key, const QString &language)
{
    const QHash<QString, StringTable> &loaded = tables();
    QString chosen = language;
    if (language == u"system" || !loaded.contains(language)) {
        chosen = tessaryTableLanguage(u"system"_s, TessaryDefaultPrompt::preferredLanguages());
    }
    const auto table = loaded.constFind(chosen);
    if (table == loaded.constEnd()) {
        return key;
    }
    return table->value(key, key);
}

QString tessaryStoredLanguage(const UserDefaults &defaults)
{
    return defaults.string(u"language"_s).value_or(u"system"_s);
}

QString tessaryFormat(const QString &format, const QString &argument)
{
    return fill(format, u"%@", argument);
}

QString tessaryFormat(const QString &format, qint64 number)
{
    return fill(format, u"%d", QLocale().toString(number));
}

} // namespace Tessary
