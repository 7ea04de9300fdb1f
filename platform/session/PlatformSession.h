#pragma once

namespace Tessary {

/** The kind of desktop session the process runs in, decided once from the environment. */
enum class SessionType {
    X11,
    Wayland,
    Headless,
};

/**
 * Reads DISPLAY, WAYLAND_DISPLAY and XDG_SESSION_TYPE; an X11 session needs a server that answers. A Wayland session is
 * recognised by the session type and its socket, never by the Qt platform plugin: our GUI runs on XWayland there and
 * would look like X11.
 */
SessionType detectSessionType();

/** True when an X server answers at DISPLAY (a real X11 session or XWayland). Opens and closes a connection. */
bool hasX11Display();

/**
 * On Wayland sessions the GUI runs through XWayland, so that windows can be placed at exact coordinates and the
 * clipboard can be set without focus. Sets QT_QPA_PLATFORM=xcb unless the user chose a plugin. Without any display
 * the offscreen plugin is selected so that painting still works. Call before the application object exists.
 */
void selectQtPlatformPlugin(SessionType session);

} // namespace Tessary
