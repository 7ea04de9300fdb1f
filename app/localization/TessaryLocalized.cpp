#include "app/localization/TessaryLocalized.h"

#include <algorithm>
#include <optional>

#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>

#include "core/InterfaceLanguage.h"
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

/** A key with placeholders, as a pattern that recognises the messages made from it. */
struct MessagePattern
{
    QString key;
    QRegularExpression expression;
    /** The placeholders in the order they appear in the key ("%1", "%@", …). */
    QStringList placeholders;
    qsizetype literalLength = 0;
};

const QRegularExpression &placeholderExpression()
{
    static const QRegularExpression expression(u"%[1-9@d]"_s);
    return expression;
}

const QList<MessagePattern> &messagePatterns()
{
    static const QList<MessagePattern> patterns = [] {
        QList<MessagePattern> result;
        const auto table = tables().constFind(u"zh-Hans"_s);
        if (table == tables().constEnd()) {
            return result;
        }
        for (auto it = table->keyBegin(); it != table->keyEnd(); ++it) {
            const QString &key = *it;
            MessagePattern pattern{.key = key};
            QString expression = u"^"_s;
            qsizetype from = 0;
            for (const QRegularExpressionMatch &match : placeholderExpression().globalMatch(key)) {
                const QString literal = key.mid(from, match.capturedStart() - from);
                expression += QRegularExpression::escape(literal) + u"(.+?)"_s;
                pattern.literalLength += literal.size();
                pattern.placeholders.append(match.captured());
                from = match.capturedEnd();
            }
            const QString tail = key.mid(from);
            pattern.literalLength += tail.size();
            // A key that is little more than a placeholder would claim every message.
            if (pattern.placeholders.isEmpty() || pattern.literalLength < 2) {
                continue;
            }
            pattern.expression = QRegularExpression(expression + QRegularExpression::escape(tail) + u"$"_s,
                                                    QRegularExpression::DotMatchesEverythingOption);
            result.append(std::move(pattern));
        }
        // The key with the most fixed text is the most specific one.
        std::ranges::stable_sort(
            result, [](const MessagePattern &a, const MessagePattern &b) { return a.literalLength > b.literalLength; });
        return result;
    }();
    return patterns;
}

/** Puts the parts matched for a pattern's placeholders into the same placeholders of a translated format. */
QString refill(const QString &format, const MessagePattern &pattern, const QStringList &parts)
{
    QString result;
    qsizetype from = 0;
    qsizetype sequential = 0;
    for (const QRegularExpressionMatch &match : placeholderExpression().globalMatch(format)) {
        result += QStringView(format).mid(from, match.capturedStart() - from);
        const QString placeholder = match.captured();
        qsizetype index = -1;
        if (placeholder == u"%@" || placeholder == u"%d") {
            // Unnumbered placeholders are taken in order.
            qsizetype seen = 0;
            for (qsizetype i = 0; i < pattern.placeholders.size(); ++i) {
                if (pattern.placeholders[i] == u"%@" || pattern.placeholders[i] == u"%d") {
                    if (seen++ == sequential) {
                        index = i;
                        break;
                    }
                }
            }
            ++sequential;
        } else {
            index = pattern.placeholders.indexOf(placeholder);
        }
        result += index >= 0 && index < parts.size() ? parts[index] : placeholder;
        from = match.capturedEnd();
    }
    result += QStringView(format).mid(from);
    return result;
}

QString localizedMessage(const QString &message, const QString &language, int depth)
{
    const QHash<QString, StringTable> &loaded = tables();
    const auto simplified = loaded.constFind(u"zh-Hans"_s);
    if (message.isEmpty() || (simplified != loaded.constEnd() && simplified->contains(message))) {
        return tessaryLocalized(message, language);
    }
    // Messages nest ("连接失败：%@" around a polisher's message) but not deeply.
    if (depth > 3) {
        return message;
    }
    for (const MessagePattern &pattern : messagePatterns()) {
        const QRegularExpressionMatch match = pattern.expression.match(message);
        if (!match.hasMatch()) {
            continue;
        }
        QStringList parts;
        for (int i = 1; i <= match.lastCapturedIndex(); ++i) {
            parts.append(localizedMessage(match.captured(i), language, depth + 1));
        }
        return refill(tessaryLocalized(pattern.key, language), pattern, parts);
    }
    return message;
}

/** Only the names of our tables are choices; any other stored value follows the system. */
InterfaceLanguage tableLanguage(const QString &language, const QStringList &preferredLanguages)
{
    const bool chosen = language == u"zh-Hans" || language == u"zh-Hant" || language == u"en";
    return resolveInterfaceLanguage(chosen ? language : u"system"_s, preferredLanguages);
}

} // namespace

UpdaterLanguage tessaryUpdaterLanguage(const QString &language)
{
    return tableLanguage(language, systemPreferredLanguages());
}

QString tessaryLocalizedMessage(const QString &message, const QString &language)
{
    return localizedMessage(message, language, 0);
}

QStringList tessaryLocalizations()
{
    return {u"zh-Hans"_s, u"zh-Hant"_s, u"en"_s};
}

QString tessaryTableLanguage(const QString &language, const QStringList &preferredLanguages)
{
    return interfaceLanguageCode(tableLanguage(language, preferredLanguages));
}

QString tessaryLocalized(const QString &key, const QString &language)
{
    const QHash<QString, StringTable> &loaded = tables();
    QString chosen = language;
    if (language == u"system" || !loaded.contains(language)) {
        chosen = tessaryTableLanguage(u"system"_s, systemPreferredLanguages());
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
