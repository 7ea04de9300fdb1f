#pragma once

#include <optional>

#include <QString>
#include <QtGlobal>

namespace Tessary::ReservedShortcuts {

/**
 * Why a shortcut may not become the global capture shortcut, as a message key whose "%@" takes the shortcut's
 * title: the editing shortcuts every application has (Ctrl+C, Ctrl+V, Ctrl+Z…) and the desktops' own (Alt+Tab,
 * Alt+F4, Super+L…). A global grab would take them from every other program. Nothing when the shortcut is free to
 * use. carbonCode and modifiers are in the stored form (see CapturedShortcut).
 */
std::optional<QString> reason(quint32 carbonCode, quint32 modifiers);

/** The message key for the Print key, with any modifiers: the desktops take screenshots with it. */
QString printKeyReason();

/** The message key for Super pressed and released on its own: it opens the desktop's overview. */
QString superAloneReason();

} // namespace Tessary::ReservedShortcuts
