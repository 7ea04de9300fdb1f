#pragma once

#include <memory>

#include <QObject>

#include "platform/session/PlatformSession.h"

namespace Tessary {

/** A key with its modifiers in X11 terms: key code (evdev + 8) and modifier mask (Shift, Control, Mod1, Mod4). */
struct HotKeyCombination
{
    quint32 x11Keycode = 0;
    quint16 x11Modifiers = 0;
};

/**
 * The one system-wide capture shortcut. Registration happens on the GUI thread and either takes the key or fails
 * (another program owns it, or the desktop offers no global shortcuts at all); presses are reported through pressed(),
 * on the GUI thread, once per press however long the key is held.
 */
class HotKeyBackend : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /** Replaces nothing: call unregisterShortcut() first. False when the key could not be taken. */
    virtual bool registerShortcut(const HotKeyCombination &combination) = 0;
    virtual void unregisterShortcut() = 0;
    /** False where the desktop has no way for us to register a global shortcut (GNOME on Wayland). */
    virtual bool canRegister() const = 0;

Q_SIGNALS:
    void pressed();
};

/** X11 key grabs in an X11 session; a backend that always refuses elsewhere (use "tessary --capture" there). */
std::unique_ptr<HotKeyBackend> createHotKeyBackend(SessionType session);

/** Whether createHotKeyBackend() gives a backend that can register anything in this session. */
bool globalHotKeysAvailable(SessionType session);

} // namespace Tessary
