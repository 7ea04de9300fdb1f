#include "platform/portal/PortalRequest.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QString requestInterface = u"org.freedesktop.portal.Request"_s;
constexpr int portalStartTimeoutMs = 120000;

QString newToken()
{
    // Unique within our connection; the portal refuses a token that is still in use.
    static quint32 counter = 0;
    return u"tessary%1_%2"_s.arg(++counter).arg(QRandomGenerator::global()->generate());
}

} // namespace

PortalRequest::PortalRequest(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{}

QString PortalRequest::desktopService()
{
    return u"org.freedesktop.portal.Desktop"_s;
}

QString PortalRequest::desktopPath()
{
    return u"/org/freedesktop/portal/desktop"_s;
}

QString PortalRequest::handlePath() const
{
    return m_path;
}

void PortalRequest::start(const QString &interface, const QString &method, const QVariantList &arguments,
                          QVariantMap options)
{
    const QString token = newToken();
    options.insert(u"handle_token"_s, token);
    // ":1.42" becomes "1_42" in the request's path.
    QString sender = m_bus.baseService();
    sender.remove(0, sender.startsWith(u':') ? 1 : 0).replace(u'.', u'_');
    listenOn(desktopPath() + u"/request/"_s + sender + u'/' + token);

    m_serviceWatcher =
        new QDBusServiceWatcher(desktopService(), m_bus, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(m_serviceWatcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        if (!m_finished) {
            finish();
            Q_EMIT failed(u"the desktop portal stopped before answering"_s);
        }
    });

    QDBusMessage message = QDBusMessage::createMethodCall(desktopService(), desktopPath(), interface, method);
    QVariantList all = arguments;
    all.append(options);
    message.setArguments(all);
    // The user's answer comes later, in Response, however long it takes. The method's own reply is quick once the
    // portal runs, but the first call of a session starts the portal and its back ends, which has been seen to take
    // longer than the bus's usual 25 seconds.
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, portalStartTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, &PortalRequest::onCallFinished);
}

void PortalRequest::onCallFinished(QDBusPendingCallWatcher *watcher)
{
    watcher->deleteLater();
    if (m_finished) {
        return;
    }
    const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
    if (reply.isError()) {
        finish();
        Q_EMIT failed(reply.error().message().isEmpty() ? reply.error().name() : reply.error().message());
        return;
    }
    // Portals older than the handle_token convention answer on a path of their own choosing.
    const QString path = reply.value().path();
    if (!path.isEmpty() && path != m_path) {
        stopListening();
        listenOn(path);
    }
}

void PortalRequest::listenOn(const QString &path)
{
    m_path = path;
    m_bus.connect(desktopService(), m_path, requestInterface, u"Response"_s, this, SLOT(onResponse(uint, QVariantMap)));
}

void PortalRequest::stopListening()
{
    m_bus.disconnect(desktopService(), m_path, requestInterface, u"Response"_s, this,
                     SLOT(onResponse(uint, QVariantMap)));
}

void PortalRequest::onResponse(uint response, const QVariantMap &results)
{
    if (m_finished) {
        return;
    }
    finish();
    Q_EMIT responded(response, results);
}

void PortalRequest::finish()
{
    m_finished = true;
    stopListening();
    if (m_serviceWatcher != nullptr) {
        m_serviceWatcher->deleteLater();
        m_serviceWatcher = nullptr;
    }
}

} // namespace Tessary
