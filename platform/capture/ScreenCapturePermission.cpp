#include "platform/capture/ScreenCapturePermission.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QMap>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr int storeTimeoutMs = 1000;

// Table "screenshot", entry "screenshot"; an application outside a sandbox is the empty id.
QDBusMessage storeCall(const QString &method)
{
    QDBusMessage message = QDBusMessage::createMethodCall(u"org.freedesktop.impl.portal.PermissionStore"_s,
                                                          u"/org/freedesktop/impl/portal/PermissionStore"_s,
                                                          u"org.freedesktop.impl.portal.PermissionStore"_s, method);
    message << u"screenshot"_s << u"screenshot"_s;
    return message;
}

} // namespace

bool screenCapturePermissionApplies(SessionType session)
{
    return session == SessionType::Wayland;
}

ScreenCapturePermission screenCapturePermission(SessionType session)
{
    if (!screenCapturePermissionApplies(session)) {
        return ScreenCapturePermission::NotNeeded;
    }
    // Lookup(table, id) -> (a{sas} permissions, v data).
    const QDBusMessage reply = QDBusConnection::sessionBus().call(storeCall(u"Lookup"_s), QDBus::Block, storeTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return ScreenCapturePermission::Ask;
    }
    QMap<QString, QStringList> permissions;
    reply.arguments().constFirst().value<QDBusArgument>() >> permissions;
    const QStringList ours = permissions.value(QString());
    if (ours.contains(u"yes"_s)) {
        return ScreenCapturePermission::Granted;
    }
    if (ours.contains(u"no"_s)) {
        return ScreenCapturePermission::Denied;
    }
    return ScreenCapturePermission::Ask;
}

void resetScreenCapturePermission(SessionType session)
{
    if (!screenCapturePermissionApplies(session)) {
        return;
    }
    QDBusMessage message = storeCall(u"DeletePermission"_s);
    message << QString();
    QDBusConnection::sessionBus().call(message, QDBus::Block, storeTimeoutMs);
}

} // namespace Tessary
