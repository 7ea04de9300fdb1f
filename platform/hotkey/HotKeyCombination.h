#pragma once

#include <QString>
#include <QtGlobal>

namespace Tessary {

/**
 * One key with its modifiers, in the terms each hot-key backend needs. The caller translates its stored shortcut
 * once (the app does that with its key tables); the backends derive the rest from these fields.
 */
struct HotKeyCombination
{
    /** X11 key code: the kernel's evdev code + 8 (the same on XWayland). */
    quint32 x11Keycode = 0;
    /** X11 modifier mask, only Shift, Control, Mod1 (Alt) and Mod4 (Super). */
    quint16 x11Modifiers = 0;
    /** The Qt key of the key's unshifted US symbol (Qt::Key_2, Qt::Key_K, Qt::Key_F1); 0 when unknown. */
    int qtKey = 0;
    /** The key is on the keypad (its Qt key then is the digit's). */
    bool keypad = false;
    /** The X11 keysym name of the key's unshifted US symbol ("2", "k", "Return", "KP_1"). */
    QString keysym;

    /** The Qt modifiers of x11Modifiers (Mod4 is Meta, Mod1 is Alt). */
    Qt::KeyboardModifiers qtModifiers() const;
    /** Key and modifiers as one int, the form KDE's global shortcuts take; 0 without a Qt key. */
    int qtCombination() const;
    /** The trigger in the desktop portal's shortcut syntax ("CTRL+SHIFT+LOGO+2"); empty without a keysym. */
    QString portalTrigger() const;

    friend bool operator==(const HotKeyCombination &, const HotKeyCombination &) = default;
};

} // namespace Tessary
