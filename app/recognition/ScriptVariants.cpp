#include "app/recognition/ScriptVariants.h"

#include <algorithm>

#include <QHash>

namespace Tessary::ScriptVariants {

namespace {

#include "app/recognition/ScriptVariants.inc"

using Table = QHash<char16_t, QString>;

/** Each entry of the list: a character, then its forms in the other script. */
Table parsed(const char *list)
{
    Table table;
    for (const QString &entry : QString::fromUtf8(list).split(u' ', Qt::SkipEmptyParts)) {
        table.insert(entry.at(0).unicode(), entry.mid(1));
    }
    return table;
}

const Table &simplified()
{
    static const Table table = parsed(simplifiedOnly);
    return table;
}

const Table &traditional()
{
    static const Table table = parsed(traditionalOnly);
    return table;
}

} // namespace

bool isSimplifiedOnly(char16_t c)
{
    return simplified().contains(c);
}

bool isTraditionalOnly(char16_t c)
{
    return traditional().contains(c);
}

bool areVariants(char16_t a, char16_t b)
{
    const auto listed = [](const Table &table, char16_t key, char16_t form) {
        const auto found = table.constFind(key);
        return found != table.cend() && found->contains(QChar(form));
    };
    return a != b && (listed(simplified(), a, b) || listed(simplified(), b, a) || listed(traditional(), a, b) ||
                      listed(traditional(), b, a));
}

QString toTraditional(const QString &text, const QString &hint)
{
    QString converted = text;
    for (qsizetype i = 0; i < converted.size(); ++i) {
        // A character the Traditional reading holds as it is stands in Traditional text too (咤 beside 吒).
        const auto found = simplified().constFind(converted.at(i).unicode());
        if (found == simplified().cend() || hint.contains(converted.at(i))) {
            continue;
        }
        const auto hinted =
            std::find_if(found->cbegin(), found->cend(), [&](QChar form) { return hint.contains(form); });
        converted[i] = hinted != found->cend() ? *hinted : found->at(0);
    }
    return converted;
}

QString toSimplified(const QString &text)
{
    QString converted = text;
    for (qsizetype i = 0; i < converted.size(); ++i) {
        const auto found = traditional().constFind(converted.at(i).unicode());
        if (found != traditional().cend()) {
            converted[i] = found->at(0);
        }
    }
    return converted;
}

} // namespace Tessary::ScriptVariants
