#pragma once

#include <memory>
#include <optional>

#include <QByteArray>
#include <QString>
#include <QVariantMap>

class QSettings;

namespace Tessary {

/**
 * The application's user defaults: one INI file, normally ~/.config/md.velmor.tessary/defaults.ini, shared by every
 * part of the application under their own key names. Every write is flushed at once, because other processes
 * (the command-line modes, a second instance) read the same file.
 *
 * INI files keep no types, so readers are strict: a Boolean is only "true" or "false", data is only a value written
 * as data. A value of the wrong type reads as absent, and the caller falls back to its default.
 *
 * Not thread-safe: used on the thread that created it (the GUI thread in the application).
 */
class UserDefaults
{
public:
    /** The defaults file of the user: $XDG_CONFIG_HOME/md.velmor.tessary/defaults.ini. */
    static QString standardPath();

    /** Opens the file at path (created on the first write). */
    explicit UserDefaults(const QString &path = standardPath());
    ~UserDefaults();
    UserDefaults(const UserDefaults &) = delete;
    UserDefaults &operator=(const UserDefaults &) = delete;

    QString path() const;

    bool contains(const QString &key) const;
    std::optional<QString> string(const QString &key) const;
    std::optional<bool> boolean(const QString &key) const;
    std::optional<QByteArray> data(const QString &key) const;

    void setString(const QString &key, const QString &value);
    void setBoolean(const QString &key, bool value);
    void setData(const QString &key, const QByteArray &value);
    void remove(const QString &key);

    /**
     * Fallback values returned by the readers while the file has no value for a key. They are never written.
     * Values are QString, bool or QByteArray.
     */
    void registerDefaults(const QVariantMap &fallbacks);

    /** True when the last write could not be saved (for example a read-only folder). The value still reads back. */
    bool lastWriteFailed() const;

private:
    std::optional<QVariant> stored(const QString &key) const;
    void written();

    std::unique_ptr<QSettings> m_settings;
    QVariantMap m_fallbacks;
    bool m_lastWriteFailed = false;
};

} // namespace Tessary
