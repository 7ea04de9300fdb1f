#include "updater/NativeUpdateManifest.h"

#include <cmath>

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QString notInCorrectFormat = u"The data couldn’t be read because it isn’t in the correct format."_s;
const QString missing = u"The data couldn’t be read because it is missing."_s;

// JSON numbers arrive as doubles; only whole numbers that a signed 64-bit integer holds exactly count.
std::optional<std::int64_t> integer(const QJsonValue &value)
{
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    if (!std::isfinite(number) || std::trunc(number) != number || std::fabs(number) > 9007199254740992.0) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

} // namespace

Result<NativeUpdateManifest, NativeUpdateManifest::DecodeError> NativeUpdateManifest::decode(const QByteArray &json)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        return unexpected(DecodeError{notInCorrectFormat});
    }
    const QJsonObject object = document.object();
    for (const QString &key :
         {u"schemaVersion"_s, u"product"_s, u"version"_s, u"build"_s, u"downloadURL"_s, u"sha256"_s}) {
        if (!object.contains(key)) {
            return unexpected(DecodeError{missing});
        }
    }

    const std::optional<std::int64_t> schemaVersion = integer(object.value(u"schemaVersion"_s));
    const std::optional<std::int64_t> build = integer(object.value(u"build"_s));
    const QJsonValue product = object.value(u"product"_s);
    const QJsonValue version = object.value(u"version"_s);
    const QJsonValue downloadURL = object.value(u"downloadURL"_s);
    const QJsonValue sha256 = object.value(u"sha256"_s);
    if (!schemaVersion || !build || !product.isString() || !version.isString() || !downloadURL.isString() ||
        !sha256.isString()) {
        return unexpected(DecodeError{notInCorrectFormat});
    }
    const QUrl url(downloadURL.toString(), QUrl::StrictMode);
    if (downloadURL.toString().isEmpty() || !url.isValid()) {
        return unexpected(DecodeError{notInCorrectFormat});
    }
    return NativeUpdateManifest{
        .schemaVersion = *schemaVersion,
        .product = product.toString(),
        .version = version.toString(),
        .build = *build,
        .downloadURL = url,
        .downloadURLText = downloadURL.toString(),
        .sha256 = sha256.toString(),
    };
}

} // namespace Tessary
