#include "platform/capture/ScreenCapturePermission.h"

#include <QDBusConnection>
#include <QDBusMessage>

using namespace Qt::StringLiterals;

namespace Tessary {

void resetScreenCapturePermission(SessionType session)
{
    if (session != SessionType::Wayland) {
        return;
    }
    // Table "screenshot", entry "screenshot"; an application outside a sandbox is known to the store by the empty id.
    QDBusMessage message = QDBusMessage::createMethodCall(
        u"org.freedesktop.impl.portal.PermissionStore"_s, u"/org/freedesktop/impl/portal/PermissionStore"_s,
        u"org.freedesktop.impl.portal.PermissionStore"_s, u"DeletePermission"_s);
    message << u"screenshot"_s << u"screenshot"_s << QString();
    QDBusConnection::sessionBus().call(message, QDBus::NoBlock);
}

} // namespace Tessary
