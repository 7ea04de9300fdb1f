#include "app/toast/ToastNotification.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace Tessary {

void ToastNotification::show(const QString &title, const std::optional<QString> &detail,
                             std::chrono::milliseconds expiry)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s,
                                       u"org.freedesktop.Notifications"_s, u"Notify"_s);
    const QVariantMap hints{{u"transient"_s, true}, {u"urgency"_s, QVariant::fromValue<uchar>(0)}};
    call << u"Tessary"_s << m_lastId << QString() << title << detail.value_or(QString()) << QStringList() << hints
         << static_cast<qint32>(expiry.count());
    // The reply only carries the id to replace next time; nothing waits for it.
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *finished) {
        const QDBusPendingReply<quint32> reply = *finished;
        if (reply.isValid()) {
            m_lastId = reply.value();
        }
        finished->deleteLater();
    });
}

} // namespace Tessary
