#pragma once

#include <QSize>

#include "app/recognition/ScriptChoice.h"

namespace Tessary {

/**
 * Lines that are not text. A panel the selection cuts across (a page's header bar with a tab in it, a toolbar)
 * stays when something on it could be text, as a title bar's title is; the engines then take the whole panel for a
 * line and read one or two characters from its shapes, unsure of them. Such a line reaches from one edge of the
 * screen to the other and is many times longer than its reading.
 */
namespace PanelLines {

/** Drops the lines of choice that are panels, not text. screen is the size of the image the lines were found in. */
void drop(QSize screen, ScriptChoice::Choice &choice);

/** Under this line confidence the engine is unsure enough of a panel's reading for it to go. */
constexpr float unsureBelow = 20;

} // namespace PanelLines

} // namespace Tessary
