#include "app/SystemColorScheme.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QString portalService = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString settingsInterface = u"org.freedesktop.portal.Settings"_s;
const QString appearanceGroup = u"org.freedesktop.appearance"_s;
const QString colorSchemeKey = u"color-scheme"_s;

QVariant unwrapped(QVariant value)
{
    // Read() wraps the value in one variant more than the signal does.
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>()) {
        value = qvariant_cast<QDBusVariant>(value).variant();
    }
    return value;
}

} // namespace

void SystemColorScheme::start()
{
    if (m_started) {
        return;
    }
    m_started = true;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return;
    }
    // Any sender: matching the portal's name would miss the changes when the portal is only being started by the
    // Read below (QtDBus resolves the name's owner when connecting).
    // The slot is found by its signature, which needs QDBusVariant known by name before QtDBus first uses it.
    qRegisterMetaType<QDBusVariant>();
    bus.connect(QString(), portalPath, settingsInterface, u"SettingChanged"_s, this,
                SLOT(portalSettingChanged(QString, QString, QDBusVariant)));

    QDBusMessage read = QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface, u"Read"_s);
    read << appearanceGroup << colorSchemeKey;
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(read), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *finished) {
        const QDBusPendingReply<QDBusVariant> reply = *finished;
        if (reply.isValid()) {
            update(reply.argumentAt(0));
        }
        finished->deleteLater();
    });
}

bool SystemColorScheme::prefersDark() const
{
    return m_prefersDark;
}

void SystemColorScheme::portalSettingChanged(const QString &group, const QString &key, const QDBusVariant &value)
{
    if (group == appearanceGroup && key == colorSchemeKey) {
        update(value.variant());
    }
}

void SystemColorScheme::update(const QVariant &portalValue)
{
    const QVariant value = unwrapped(portalValue);
    bool ok = false;
    const uint scheme = value.toUInt(&ok);
    const bool dark = ok && scheme == 1;
    if (dark != m_prefersDark) {
        m_prefersDark = dark;
        Q_EMIT prefersDarkChanged(dark);
    }
}

} // namespace Tessary
