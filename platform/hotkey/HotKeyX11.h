#pragma once

#include <QAbstractNativeEventFilter>
#include <QList>

#include "platform/hotkey/HotKeyBackend.h"

namespace Tessary {

/**
 * The capture shortcut as a passive key grab on the root window of every X screen, in all four Caps Lock /
 * Num Lock variants so that the lock keys do not get in the way. A grab that another client holds already makes the
 * registration fail and leaves nothing grabbed. Auto-repeat does not repeat the press.
 */
class HotKeyX11 final : public HotKeyBackend, public QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    explicit HotKeyX11(QObject *parent = nullptr);
    ~HotKeyX11() override;

    bool registerShortcut(const HotKeyCombination &combination) override;
    void unregisterShortcut() override;
    bool canRegister() const override;
    QString description() const override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    struct Grab
    {
        quint32 root;
        quint16 modifiers;
    };

    quint16 numLockMask() const;
    /** Releases grabs of keycode; never 0, which X11 reads as "any key". */
    void ungrab(const QList<Grab> &grabs, quint32 keycode);

    HotKeyCombination m_combination;
    QList<Grab> m_grabs;
    bool m_keyDown = false;
    // When the key last went up: the server's auto-repeat sends a release and a press at one time.
    quint32 m_releaseTime = 0;
};

} // namespace Tessary
