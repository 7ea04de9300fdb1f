#pragma once

#include <QObject>

class QDBusVariant;

namespace Tessary {

/**
 * The desktop's light/dark preference as the XDG desktop portal publishes it (org.freedesktop.appearance
 * color-scheme: 1 = prefer dark). The first answer arrives asynchronously; later changes follow the portal's
 * SettingChanged signal. Without a session bus or a portal the preference stays "light".
 *
 * GUI thread only.
 */
class SystemColorScheme final : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /** Asks the portal and starts following its changes; safe to call again. */
    void start();
    bool prefersDark() const;

Q_SIGNALS:
    void prefersDarkChanged(bool prefersDark);

private Q_SLOTS:
    // Connected by name: QtDBus can only deliver bus signals to slots.
    void portalSettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void update(const QVariant &portalValue);

    bool m_started = false;
    bool m_prefersDark = false;
};

} // namespace Tessary
