#include "app/CapturedShortcut.h"

#include <cmath>
#include <limits>

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

#include "app/JsonText.h"
#include "app/KeyTables.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

std::optional<quint32> unsigned32(const QJsonValue &value)
{
    if (!value.isDouble()) {
        return std::nullopt;
    }
    // Qt parses JSON numbers as doubles, which hold every 32-bit integer exactly.
    const double number = value.toDouble();
    if (number < 0 || number > std::numeric_limits<quint32>::max() || std::floor(number) != number) {
        return std::nullopt;
    }
    return static_cast<quint32>(number);
}

} // namespace

CapturedShortcut CapturedShortcut::defaultShortcut()
{
    return {};
}

QString CapturedShortcut::title() const
{
    QStringList parts;
    for (const ModifierRow &row : KeyTables::modifiers()) {
        if (modifiers & row.carbonBit) {
            parts.append(QString::fromUtf16(row.name));
        }
    }
    // The stored label stays as recorded (a Mac writes "↩" for Return); keys without characters go by their name.
    const char16_t *name = KeyTables::keyName(keyCode);
    parts.append(name != nullptr ? QString::fromUtf16(name) : label);
    return parts.join(u'+');
}

QByteArray CapturedShortcut::encodedJson() const
{
    return "{\"keyCode\":" + QByteArray::number(keyCode) + ",\"modifiers\":" + QByteArray::number(modifiers) +
           ",\"label\":" + JsonText::quoted(label) + "}";
}

std::optional<CapturedShortcut> CapturedShortcut::decodeJson(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return fromJsonObject(document.object());
}

std::optional<CapturedShortcut> CapturedShortcut::fromJsonObject(const QJsonObject &object)
{
    const std::optional<quint32> keyCode = unsigned32(object.value(u"keyCode"_s));
    const std::optional<quint32> modifiers = unsigned32(object.value(u"modifiers"_s));
    const QJsonValue label = object.value(u"label"_s);
    // JSON can escape half of a surrogate pair ("\ud83d"); such a label could not be written back as it was read.
    if (!keyCode || !modifiers || (*modifiers & ~allModifiers) != 0 || !label.isString() ||
        !label.toString().isValidUtf16()) {
        return std::nullopt;
    }
    return CapturedShortcut{.keyCode = *keyCode, .modifiers = *modifiers, .label = label.toString()};
}

} // namespace Tessary
