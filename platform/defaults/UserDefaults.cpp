#include "platform/defaults/UserDefaults.h"

#include <QSettings>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace Tessary {

QString UserDefaults::standardPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/md.velmor.tessary/defaults.ini"_s;
}

UserDefaults::UserDefaults(const QString &path)
    : m_settings(std::make_unique<QSettings>(path, QSettings::IniFormat))
{}

UserDefaults::~UserDefaults() = default;

QString UserDefaults::path() const
{
    return m_settings->fileName();
}

std::optional<QVariant> UserDefaults::stored(const QString &key) const
{
    // Another process may have written the file since we last looked.
    m_settings->sync();
    if (m_settings->contains(key)) {
        return m_settings->value(key);
    }
    if (m_fallbacks.contains(key)) {
        return m_fallbacks.value(key);
    }
    return std::nullopt;
}

bool UserDefaults::contains(const QString &key) const
{
    return stored(key).has_value();
}

std::optional<QString> UserDefaults::string(const QString &key) const
{
    const std::optional<QVariant> value = stored(key);
    if (!value || value->typeId() != QMetaType::QString) {
        return std::nullopt;
    }
    return value->toString();
}

std::optional<bool> UserDefaults::boolean(const QString &key) const
{
    const std::optional<QVariant> value = stored(key);
    if (!value) {
        return std::nullopt;
    }
    if (value->typeId() == QMetaType::Bool) {
        return value->toBool();
    }
    if (value->typeId() == QMetaType::QString) {
        const QString text = value->toString();
        if (text == u"true") {
            return true;
        }
        if (text == u"false") {
            return false;
        }
    }
    return std::nullopt;
}

std::optional<QByteArray> UserDefaults::data(const QString &key) const
{
    const std::optional<QVariant> value = stored(key);
    if (!value || value->typeId() != QMetaType::QByteArray) {
        return std::nullopt;
    }
    return value->toByteArray();
}

void UserDefaults::setString(const QString &key, const QString &value)
{
    m_settings->setValue(key, value);
    written();
}

void UserDefaults::setBoolean(const QString &key, bool value)
{
    m_settings->setValue(key, value);
    written();
}

void UserDefaults::setData(const QString &key, const QByteArray &value)
{
    m_settings->setValue(key, value);
    written();
}

void UserDefaults::remove(const QString &key)
{
    m_settings->remove(key);
    written();
}

void UserDefaults::registerDefaults(const QVariantMap &fallbacks)
{
    for (auto it = fallbacks.cbegin(); it != fallbacks.cend(); ++it) {
        m_fallbacks.insert(it.key(), it.value());
    }
}

bool UserDefaults::lastWriteFailed() const
{
    return m_lastWriteFailed;
}

void UserDefaults::written()
{
    m_settings->sync();
    m_lastWriteFailed = m_settings->status() != QSettings::NoError;
}

} // namespace Tessary
