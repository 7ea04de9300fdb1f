#pragma once

#include <memory>

#include <QObject>
#include <QString>

#include "platform/hotkey/HotKeyCombination.h"
#include "platform/session/PlatformSession.h"

namespace Tessary {

/** The ways this desktop can give us a system-wide shortcut, best first. */
enum class HotKeyBackendKind {
    X11,          // passive key grabs on the root windows of a genuine X11 session
    KGlobalAccel, // KDE's global shortcut daemon (Plasma on Wayland)
    Portal,       // the desktop portal's GlobalShortcuts interface; the desktop asks the user to confirm
    None,         // no way in: "tessary --capture" bound in the desktop's keyboard settings is what remains
};

/**
 * The one system-wide capture shortcut. Lives on the GUI thread. Registration either takes the key or fails (another
 * program owns it, or the desktop offers no global shortcuts at all). Presses are reported through pressed(), on the
 * GUI thread, once per press however long the key is held; connect it with Qt::QueuedConnection so that the handler
 * runs after the event that caused it.
 *
 * Where the desktop decides later (the portal shows the user a confirmation), registerShortcut() returns true for a
 * request it has sent, and registrationFailed() follows if the desktop or the user then refuses; nothing follows
 * when the binding is accepted.
 */
class HotKeyBackend : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /**
     * Takes the key, replacing any shortcut this backend held. False when it could not be taken; then nothing of it
     * is held, not even the previous shortcut (register that again if it should stay).
     */
    virtual bool registerShortcut(const HotKeyCombination &combination) = 0;
    /** Lets the key go; safe to call when nothing is registered. */
    virtual void unregisterShortcut() = 0;
    /** False where registration can never succeed (the null backend). */
    virtual bool canRegister() const = 0;
    /** Which mechanism this is, for the log ("X11 key grab", "KDE global shortcuts", …). */
    virtual QString description() const = 0;

Q_SIGNALS:
    void pressed();
    /** The desktop refused, after registerShortcut() returned true; the shortcut is not held any more. */
    void registrationFailed();
};

/**
 * Which backend this session gets: KDE's daemon wherever its bus name has an owner (Plasma, X11 or Wayland); else
 * X11 grabs in a genuine X11 session; on Wayland the portal when it offers GlobalShortcuts; else none. Asks the
 * session bus each time (blocking; the portal may take up to a few seconds when the bus has to start it).
 */
HotKeyBackendKind detectHotKeyBackend(SessionType session);

/** The backend detectHotKeyBackend() picks; the null backend when there is none. GUI thread. */
std::unique_ptr<HotKeyBackend> createHotKeyBackend(SessionType session);
std::unique_ptr<HotKeyBackend> createHotKeyBackend(HotKeyBackendKind kind);

/** Whether this session has any way to register a global shortcut (if not, the settings show the command to bind). */
bool globalHotKeysAvailable(SessionType session);

} // namespace Tessary
