#pragma once

#include <chrono>
#include <optional>

#include <QObject>
#include <QString>

namespace Tessary {

/**
 * The toast as a desktop notification (org.freedesktop.Notifications), for the native Wayland platform, where a
 * client cannot place its own window at screen coordinates. Transient and low urgency; each show replaces the
 * previous notification. Without a notification service nothing is shown.
 *
 * GUI thread only.
 */
class ToastNotification final : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    void show(const QString &title, const std::optional<QString> &detail, std::chrono::milliseconds expiry);

private:
    quint32 m_lastId = 0;
};

} // namespace Tessary
