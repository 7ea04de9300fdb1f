#include "app/sync/Configuration.h"

#include <cmath>

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include "app/JsonText.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

using Code = ConfigurationDecodeError::Code;

Unexpected<ConfigurationDecodeError> wrongShape(const QString &key)
{
    return unexpected(ConfigurationDecodeError{Code::WrongShape, key});
}

} // namespace

QByteArray Configuration::encoded() const
{
    return "{\"version\":" + QByteArray::number(version) + ",\"aiBaseURL\":" + JsonText::quoted(aiBaseURL) +
           ",\"aiModel\":" + JsonText::quoted(aiModel) + ",\"polishPrompt\":" + JsonText::quoted(polishPrompt) +
           ",\"hideMenuBarIcon\":" + (hideMenuBarIcon ? "true" : "false") + ",\"shortcut\":" + shortcut.encodedJson() +
           ",\"colorMode\":" + JsonText::quoted(colorMode) + ",\"language\":" + JsonText::quoted(language) +
           ",\"accentPalette\":" + JsonText::quoted(accentPalette) + '}';
}

Result<Configuration, ConfigurationDecodeError> Configuration::decode(const QByteArray &bytes)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return unexpected(ConfigurationDecodeError{Code::NotJson, QString()});
    }
    const QJsonObject object = document.object();

    Configuration configuration;
    const QJsonValue version = object.value(u"version"_s);
    if (!version.isDouble() || std::floor(version.toDouble()) != version.toDouble()) {
        return wrongShape(u"version"_s);
    }
    const auto text = [&](const QString &key, QString &field) {
        const QJsonValue value = object.value(key);
        field = value.toString();
        // Half a surrogate pair ("\ud800") is valid JSON but no text: it could not be written back as it was read.
        return value.isString() && field.isValidUtf16();
    };
    for (const auto &[key, field] :
         {std::pair{u"aiBaseURL"_s, &configuration.aiBaseURL}, std::pair{u"aiModel"_s, &configuration.aiModel},
          std::pair{u"polishPrompt"_s, &configuration.polishPrompt},
          std::pair{u"colorMode"_s, &configuration.colorMode}, std::pair{u"language"_s, &configuration.language},
          std::pair{u"accentPalette"_s, &configuration.accentPalette}}) {
        if (!text(key, *field)) {
            return wrongShape(key);
        }
    }
    const QJsonValue hidden = object.value(u"hideMenuBarIcon"_s);
    if (!hidden.isBool()) {
        return wrongShape(u"hideMenuBarIcon"_s);
    }
    configuration.hideMenuBarIcon = hidden.toBool();
    const std::optional<CapturedShortcut> shortcut =
        CapturedShortcut::fromJsonObject(object.value(u"shortcut"_s).toObject());
    if (!object.value(u"shortcut"_s).isObject() || !shortcut) {
        return wrongShape(u"shortcut"_s);
    }
    configuration.shortcut = *shortcut;
    // Only a file of the one known format is used; a later format may mean something else by the same keys.
    if (version.toDouble() != currentVersion) {
        return unexpected(
            ConfigurationDecodeError{Code::UnsupportedVersion, QString::number(version.toDouble(), 'g', 17)});
    }
    return configuration;
}

} // namespace Tessary
