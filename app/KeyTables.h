#pragma once

#include <optional>
#include <span>

#include <QString>
#include <QtGlobal>

#include "platform/hotkey/HotKeyCombination.h"

namespace Tessary {

/**
 * A physical key in the three numbering schemes a shortcut meets. A shortcut is stored as the Mac's virtual key code
 * (the "Carbon" code) so that a configuration shared with a Mac means the same keys; on Linux the key is the kernel's
 * evdev code, and X11 key codes are evdev + 8 on every XKB system.
 */
struct KeyRow
{
    quint32 carbonCode;
    quint32 evdevCode;
    /** The X11 keysym name of the key's first level on a US layout ("a", "minus", "Return", "KP_1"). */
    const char *keysym;
    /** The key's display label; null for keys without characters (they are shown by number). */
    const char16_t *label;
};

/** One modifier in the four schemes, in the order shortcut titles list them: Ctrl, Alt, Shift, Super. */
struct ModifierRow
{
    /** The Mac's classic event-modifier bit as stored in a shortcut. */
    quint32 carbonBit;
    /** The X11 modifier mask (Control, Mod1, Shift, Mod4). */
    quint16 x11Mask;
    Qt::KeyboardModifier qtModifier;
    /** The trigger token of the desktop portal's GlobalShortcuts interface. */
    const char *portalToken;
    /** The key's name in shortcut titles, as Linux desktops write it ("Ctrl", "Super"). */
    const char16_t *name;
};

/**
 * The fixed translation tables between stored shortcuts and the keyboard on Linux. Command is the Super key, Option
 * is Alt. Pure data; any thread.
 */
namespace KeyTables {

/** X11 key code = evdev code + this. */
inline constexpr quint32 x11KeycodeOffset = 8;
/** The evdev code of Escape, which cancels a recording. */
inline constexpr quint32 evdevEscape = 1;

std::span<const KeyRow> keys();
std::span<const ModifierRow> modifiers();

const KeyRow *byCarbonCode(quint32 carbonCode);
const KeyRow *byEvdevCode(quint32 evdevCode);

/** The stored modifier bits for Qt modifiers (Keypad and GroupSwitch carry no bit). */
quint32 carbonModifiers(Qt::KeyboardModifiers modifiers);
/** The Qt modifiers for stored bits; unknown bits are dropped. */
Qt::KeyboardModifiers qtModifiers(quint32 carbonModifiers);
/** The X11 modifier mask for stored bits; unknown bits are dropped. */
quint16 x11Modifiers(quint32 carbonModifiers);

/** The Qt key of a row (Qt::Key_K, Qt::Key_F1, Qt::Key_1 for keypad 1); isKeypad tells the keypad keys apart. */
int qtKey(const KeyRow &row);
bool isKeypad(const KeyRow &row);

/**
 * The name of a stored key in shortcut titles: the name Linux desktops give keys without characters ("F1",
 * "Page Up", "Return"), or nothing when the key is written by its label.
 */
const char16_t *keyName(quint32 carbonCode);

/** A stored shortcut in the terms of the global shortcut backends; nothing for a key the tables do not know. */
std::optional<HotKeyCombination> hotKeyCombination(quint32 carbonCode, quint32 carbonModifiers);

} // namespace KeyTables

} // namespace Tessary
