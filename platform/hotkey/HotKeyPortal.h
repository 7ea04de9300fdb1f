#pragma once

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include "platform/hotkey/HotKeyBackend.h"

namespace Tessary {

class PortalRequest;

/**
 * The capture shortcut through the desktop portal's GlobalShortcuts interface (version 1): a session of our own
 * with one shortcut "capture" whose preferred trigger is the wanted combination. The desktop shows the user the
 * binding to confirm, so registerShortcut() only tells whether the request went out; registrationFailed() follows
 * when the portal ends without binding it. Changing the shortcut closes the session and opens a new one.
 */
class HotKeyPortal final : public HotKeyBackend
{
    Q_OBJECT
public:
    explicit HotKeyPortal(QObject *parent = nullptr);
    ~HotKeyPortal() override;

    bool registerShortcut(const HotKeyCombination &combination) override;
    void unregisterShortcut() override;
    bool canRegister() const override;
    QString description() const override;

    /** The session's object path once the portal has created it; empty before and after. */
    QString sessionPath() const;
    /** The desktop has confirmed the binding; presses are reported from now on. */
    bool isBound() const;

private Q_SLOTS:
    // Connected by name: QDBusConnection::connect() only takes slot signatures. The whole message, because
    // QtDBus refuses to connect a slot whose parameters include a 64-bit timestamp and an object path.
    void onActivated(const QDBusMessage &activation);

private:
    void onSessionCreated(uint response, const QVariantMap &results);
    void onShortcutsBound(uint response, const QVariantMap &results);
    void fail(const QString &detail);
    void abandon(PortalRequest *request);
    static void closeSession(const QString &sessionPath);

    HotKeyCombination m_wanted;
    QString m_sessionPath;
    QPointer<PortalRequest> m_request;
    bool m_bound = false;
};

} // namespace Tessary
