#pragma once

#include <functional>

#include <QString>

class QMenu;
class QMenuBar;

namespace Tessary {

/**
 * The standard Edit menu (Undo, Redo, Cut, Copy, Paste, Select All with the desktop's usual shortcuts), acting on
 * whichever text field has the keyboard focus: each item calls the same-named slot of the focus widget (for a spin
 * box or an editable combo box, of its line edit). The items are enabled only when they would do something there:
 * Undo and Redo when the field can undo or redo, Cut and Copy with a selection (never in a password field), Paste
 * in an editable field while the clipboard holds text, Select All when the field has text. A widget this menu does
 * not know gets every item whose slot it has.
 *
 * GUI thread only. The menu belongs to the menu bar.
 */
namespace NativeEditingMenu {

/** Maps a Simplified Chinese title to the title to show. */
using Translate = std::function<QString(const QString &)>;

/**
 * Appends the Edit menu ("编辑") to menuBar and returns it. Every title passes through translate (an empty function
 * shows the Simplified Chinese titles); the menu's title is asked for twice, for the bar's item and for the menu.
 */
QMenu *install(QMenuBar *menuBar, const Translate &translate = {});

/** Titles an Edit menu made by install() anew, as after a change of the interface language. */
void retitle(QMenu *editMenu, const Translate &translate);

} // namespace NativeEditingMenu

} // namespace Tessary
