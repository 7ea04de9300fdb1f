#include "platform/hotkey/HotKeyBackend.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QLoggingCategory>

#include "platform/hotkey/HotKeyKGlobalAccel.h"
#include "platform/hotkey/HotKeyNull.h"
#include "platform/hotkey/HotKeyPortal.h"
#include "platform/hotkey/HotKeyX11.h"

using namespace Qt::StringLiterals;

// Silent unless asked for (QT_LOGGING_RULES="tessary.*=true"): the application writes nothing to a log of its own.
Q_LOGGING_CATEGORY(lcHotKey, "tessary.hotkey", QtCriticalMsg)

namespace Tessary {

namespace {

// The portal is started on demand by the bus, which can take a moment on the first call of a session.
constexpr int portalProbeTimeoutMs = 3000;

bool portalOffersGlobalShortcuts(const QDBusConnection &bus)
{
    // The portal front end only exports an interface for which the desktop has a back end.
    QDBusMessage probe =
        QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                                       u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    probe << u"org.freedesktop.portal.GlobalShortcuts"_s << u"version"_s;
    const QDBusMessage reply = bus.call(probe, QDBus::Block, portalProbeTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return false;
    }
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toUInt() >= 1;
}

} // namespace

HotKeyBackendKind detectHotKeyBackend(SessionType session)
{
    if (session == SessionType::Headless) {
        return HotKeyBackendKind::None;
    }
    const QDBusConnection bus = QDBusConnection::sessionBus();
    // KDE's daemon owns the desktop's shortcuts on Plasma, X11 or Wayland: it shows ours beside the others in the
    // desktop's settings and tells when a key is taken. A running daemon only: elsewhere it may be installed and
    // startable on demand, and would then grab keys behind the desktop's back.
    if (bus.isConnected() && bus.interface()->isServiceRegistered(u"org.kde.kglobalaccel"_s)) {
        return HotKeyBackendKind::KGlobalAccel;
    }
    if (session == SessionType::X11) {
        // In a genuine X11 session our GUI runs on xcb; anything else (offscreen) has no X connection to grab with.
        return QGuiApplication::platformName() == u"xcb" ? HotKeyBackendKind::X11 : HotKeyBackendKind::None;
    }
    // Under XWayland a grab only sees keys typed into X11 windows: Wayland sessions go through the session bus.
    if (bus.isConnected() && portalOffersGlobalShortcuts(bus)) {
        return HotKeyBackendKind::Portal;
    }
    return HotKeyBackendKind::None;
}

std::unique_ptr<HotKeyBackend> createHotKeyBackend(HotKeyBackendKind kind)
{
    std::unique_ptr<HotKeyBackend> backend;
    switch (kind) {
    case HotKeyBackendKind::X11:
        backend = std::make_unique<HotKeyX11>();
        break;
    case HotKeyBackendKind::KGlobalAccel:
        backend = std::make_unique<HotKeyKGlobalAccel>();
        break;
    case HotKeyBackendKind::Portal:
        backend = std::make_unique<HotKeyPortal>();
        break;
    case HotKeyBackendKind::None:
        backend = std::make_unique<HotKeyNull>();
        break;
    }
    qCInfo(lcHotKey) << "global shortcut backend:" << backend->description();
    return backend;
}

std::unique_ptr<HotKeyBackend> createHotKeyBackend(SessionType session)
{
    return createHotKeyBackend(detectHotKeyBackend(session));
}

bool globalHotKeysAvailable(SessionType session)
{
    return detectHotKeyBackend(session) != HotKeyBackendKind::None;
}

} // namespace Tessary
