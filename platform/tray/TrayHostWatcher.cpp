#include "platform/tray/TrayHostWatcher.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include "platform/tray/TrayHostWatcherX11.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;

} // namespace

TrayHostWatcher::TrayHostWatcher(QObject *parent)
    : QObject(parent)
    , m_x11(std::make_unique<TrayHostWatcherX11>())
{
    connect(m_x11.get(), &TrayHostWatcherX11::managerChanged, this, &TrayHostWatcher::update);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        auto *services = new QDBusServiceWatcher(
            watcherService, bus,
            QDBusServiceWatcher::WatchForRegistration | QDBusServiceWatcher::WatchForUnregistration, this);
        connect(services, &QDBusServiceWatcher::serviceRegistered, this, &TrayHostWatcher::querySni);
        connect(services, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
            m_sniHost = false;
            update();
        });
        // A host may register with a watcher that is already there, or leave it.
        for (const QString &signal : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s}) {
            bus.connect(watcherService, watcherPath, watcherService, signal, this, SLOT(querySni()));
        }
        // At start the answer is needed before the launch goes on: the tray icon, or the settings for want of one.
        const QDBusReply<bool> registered = bus.interface()->isServiceRegistered(watcherService);
        if (registered.isValid() && registered.value()) {
            QDBusMessage get = QDBusMessage::createMethodCall(watcherService, watcherPath,
                                                              u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
            get << watcherService << u"IsStatusNotifierHostRegistered"_s;
            const QDBusMessage reply = bus.call(get, QDBus::Block, 2000);
            m_sniHost = reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
                        reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
        }
    }
    m_available = m_sniHost || m_x11->hasManager();
}

TrayHostWatcher::~TrayHostWatcher() = default;

bool TrayHostWatcher::isAvailable() const
{
    return m_available;
}

void TrayHostWatcher::querySni()
{
    QDBusMessage get =
        QDBusMessage::createMethodCall(watcherService, watcherPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    get << watcherService << u"IsStatusNotifierHostRegistered"_s;
    auto *call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(get, 5000), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *finished) {
        const QDBusPendingReply<QDBusVariant> reply = *finished;
        finished->deleteLater();
        m_sniHost = !reply.isError() && reply.value().variant().toBool();
        update();
    });
}

void TrayHostWatcher::update()
{
    const bool available = m_sniHost || m_x11->hasManager();
    if (available != m_available) {
        m_available = available;
        Q_EMIT availabilityChanged(available);
    }
}

} // namespace Tessary
