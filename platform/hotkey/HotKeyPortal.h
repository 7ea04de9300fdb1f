#pragma once

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

private Q_SLOTS:
    // Connected by name: QDBusConnection::connect() only takes slot signatures.
    void onActivated(const QDBusObjectPath &session, const QString &shortcutId, qulonglong timestamp,
                     const QVariantMap &options);

private:
    void onSessionCreated(uint response, const QVariantMap &results);
    void onShortcutsBound(uint response, const QVariantMap &results);
    void fail(const QString &detail);
    void closeSession();

    HotKeyCombination m_wanted;
    QString m_sessionPath;
    QPointer<PortalRequest> m_request;
    bool m_bound = false;
};

} // namespace Tessary
