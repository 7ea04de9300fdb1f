#pragma once

#include <QList>
#include <QString>

#include "platform/hotkey/HotKeyBackend.h"

namespace Tessary {

/**
 * The capture shortcut through KDE's global shortcut daemon (org.kde.kglobalaccel), as the action "capture" of the
 * component "md.velmor.tessary". A key that another component holds makes the registration fail and leaves our action
 * without keys. The daemon must already run (Plasma starts it); calls to it block the GUI thread briefly.
 */
class HotKeyKGlobalAccel final : public HotKeyBackend
{
    Q_OBJECT
public:
    explicit HotKeyKGlobalAccel(QObject *parent = nullptr);
    ~HotKeyKGlobalAccel() override;

    bool registerShortcut(const HotKeyCombination &combination) override;
    void unregisterShortcut() override;
    bool canRegister() const override;
    QString description() const override;

    /** The keys sent for a combination: the combination itself, then its shifted-symbol form where that differs. */
    static QList<int> keysFor(const HotKeyCombination &combination);

private Q_SLOTS:
    // Connected by name: the daemon's signal reaches us through QDBusConnection::connect().
    void onGlobalShortcutPressed(const QString &component, const QString &action, qlonglong timestamp);

private:
    QList<int> setKeys(const QList<int> &keys);
    void listenForPresses();

    QString m_componentPath;
    bool m_registered = false;
};

} // namespace Tessary
