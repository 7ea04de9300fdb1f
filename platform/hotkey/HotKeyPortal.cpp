#include "platform/hotkey/HotKeyPortal.h"

#include <algorithm>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QLoggingCategory>
#include <QRandomGenerator>

#include "platform/portal/PortalRequest.h"

using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(lcHotKey)

namespace Tessary {

namespace {

const QString interfaceName = u"org.freedesktop.portal.GlobalShortcuts"_s;
const QString shortcutId = u"capture"_s;

/** One entry of the portal's a(sa{sv}) shortcut lists. */
struct PortalShortcut
{
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

QString pathOf(const QVariant &value)
{
    // Version 1 of the interface documents the session handle as a string; later portals send an object path.
    if (value.canConvert<QDBusObjectPath>() && value.metaType() == QMetaType::fromType<QDBusObjectPath>()) {
        return value.value<QDBusObjectPath>().path();
    }
    return value.toString();
}

} // namespace

} // namespace Tessary

Q_DECLARE_METATYPE(Tessary::PortalShortcut)

namespace Tessary {

HotKeyPortal::HotKeyPortal(QObject *parent)
    : HotKeyBackend(parent)
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    QDBusConnection::sessionBus().connect(PortalRequest::desktopService(), PortalRequest::desktopPath(), interfaceName,
                                          u"Activated"_s, this, SLOT(onActivated(QDBusMessage)));
}

HotKeyPortal::~HotKeyPortal()
{
    unregisterShortcut();
}

bool HotKeyPortal::canRegister() const
{
    return QDBusConnection::sessionBus().isConnected();
}

QString HotKeyPortal::description() const
{
    return u"desktop portal global shortcuts"_s;
}

QString HotKeyPortal::sessionPath() const
{
    return m_sessionPath;
}

bool HotKeyPortal::isBound() const
{
    return m_bound;
}

bool HotKeyPortal::registerShortcut(const HotKeyCombination &combination)
{
    unregisterShortcut();
    if (combination.portalTrigger().isEmpty() || !canRegister()) {
        return false;
    }
    m_wanted = combination;
    auto *request = new PortalRequest(QDBusConnection::sessionBus(), this);
    m_request = request;
    connect(request, &PortalRequest::responded, this, &HotKeyPortal::onSessionCreated);
    connect(request, &PortalRequest::failed, this, &HotKeyPortal::fail);
    request->start(interfaceName, u"CreateSession"_s, {},
                   {{u"session_handle_token"_s, u"tessary%1"_s.arg(QRandomGenerator::global()->generate())}});
    return true;
}

void HotKeyPortal::onSessionCreated(uint response, const QVariantMap &results)
{
    m_request->deleteLater();
    m_request = nullptr;
    const QString session = pathOf(results.value(u"session_handle"_s));
    if (response != 0 || session.isEmpty()) {
        fail(u"CreateSession answered %1"_s.arg(response));
        return;
    }
    m_sessionPath = session;
    const QVariantMap properties{
        {u"description"_s, u"Capture text from a screen region"_s},
        {u"preferred_trigger"_s, m_wanted.portalTrigger()},
    };
    const QList<PortalShortcut> shortcuts{{shortcutId, properties}};
    auto *request = new PortalRequest(QDBusConnection::sessionBus(), this);
    m_request = request;
    connect(request, &PortalRequest::responded, this, &HotKeyPortal::onShortcutsBound);
    connect(request, &PortalRequest::failed, this, &HotKeyPortal::fail);
    request->start(interfaceName, u"BindShortcuts"_s,
                   {QVariant::fromValue(QDBusObjectPath(m_sessionPath)), QVariant::fromValue(shortcuts), QString()},
                   {});
}

void HotKeyPortal::onShortcutsBound(uint response, const QVariantMap &results)
{
    m_request->deleteLater();
    m_request = nullptr;
    if (response != 0) {
        fail(u"BindShortcuts answered %1"_s.arg(response));
        return;
    }
    QList<PortalShortcut> bound;
    const QVariant shortcuts = results.value(u"shortcuts"_s);
    if (shortcuts.canConvert<QDBusArgument>()) {
        bound = qdbus_cast<QList<PortalShortcut>>(shortcuts.value<QDBusArgument>());
    }
    // The trigger comes back as a description in the desktop's own words ("Ctrl+Shift+Meta+2"), so it cannot be
    // compared with what we asked for; a shortcut without any trigger is one the user left unbound.
    const bool hasTrigger = std::ranges::any_of(bound, [](const PortalShortcut &shortcut) {
        return shortcut.id == shortcutId && !shortcut.properties.value(u"trigger_description"_s).toString().isEmpty();
    });
    if (!hasTrigger) {
        fail(u"the capture shortcut was not bound"_s);
        return;
    }
    m_bound = true;
}

void HotKeyPortal::fail(const QString &detail)
{
    qCWarning(lcHotKey) << "desktop portal global shortcuts:" << detail;
    unregisterShortcut();
    Q_EMIT registrationFailed();
}

void HotKeyPortal::unregisterShortcut()
{
    if (m_request != nullptr) {
        abandon(m_request);
        m_request = nullptr;
    }
    closeSession(m_sessionPath);
    m_sessionPath.clear();
    m_bound = false;
}

void HotKeyPortal::abandon(PortalRequest *request)
{
    // The portal still answers a request we no longer want; a session it creates then would stay open, holding the
    // user's binding, until we quit. Close it as soon as it is known.
    request->disconnect(this);
    connect(request, &PortalRequest::responded, request, [request](uint, const QVariantMap &results) {
        closeSession(pathOf(results.value(u"session_handle"_s)));
        request->deleteLater();
    });
    connect(request, &PortalRequest::failed, request, &QObject::deleteLater);
}

void HotKeyPortal::closeSession(const QString &sessionPath)
{
    if (sessionPath.isEmpty()) {
        return;
    }
    const QDBusMessage close = QDBusMessage::createMethodCall(PortalRequest::desktopService(), sessionPath,
                                                              u"org.freedesktop.portal.Session"_s, u"Close"_s);
    QDBusConnection::sessionBus().call(close, QDBus::NoBlock);
}

void HotKeyPortal::onActivated(const QDBusMessage &activation)
{
    // Activated(o session_handle, s shortcut_id, t timestamp, a{sv} options)
    const QVariantList arguments = activation.arguments();
    if (arguments.size() < 2 || !m_bound) {
        return;
    }
    if (pathOf(arguments.at(0)) == m_sessionPath && arguments.at(1).toString() == shortcutId) {
        Q_EMIT pressed();
    }
}

} // namespace Tessary
