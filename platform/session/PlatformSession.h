#pragma once

#include <optional>

#include <QString>

namespace Tessary {

/** The kind of desktop session the process runs in, decided once from the environment. */
enum class SessionType {
    X11,
    Wayland,
    Headless,
};

/**
 * Reads DISPLAY, WAYLAND_DISPLAY and XDG_SESSION_TYPE; a session needs a server that answers. A Wayland session is
 * recognised by the session type and its socket, never by the Qt platform plugin: our GUI runs on XWayland there and
 * would look like X11.
 */
SessionType detectSessionType();

/** True when an X server answers at DISPLAY (a real X11 session or XWayland). Probed once per display name. */
bool hasX11Display();

/**
 * On Wayland sessions the GUI runs through XWayland, so that windows can be placed at exact coordinates and the
 * clipboard can be set without focus. Sets QT_QPA_PLATFORM=xcb unless the user chose a plugin; native Wayland only
 * in a Wayland session without XWayland. Without any display the offscreen plugin is selected so that painting
 * still works. Call before the application object exists.
 */
void selectQtPlatformPlugin(SessionType session);

/**
 * The display the Qt platform plugin would open but cannot, when QT_QPA_PLATFORM (the user's choice or
 * selectQtPlatformPlugin's) names xcb or wayland without a server that answers, or when DISPLAY names a server that
 * does not answer and nothing else is there. Qt aborts the process when its plugin cannot connect, so the
 * application asks first.
 */
std::optional<QString> unreachableDisplay();

/**
 * Without DBUS_SESSION_BUS_ADDRESS, the D-Bus libraries (Qt's, GLib's under libsecret) start a bus of their own in
 * an X11 session ("dbus-launch --autolaunch"), and that bus outlives the process. Points the variable at the user's
 * bus socket ($XDG_RUNTIME_DIR/bus) when there is one, which is where they would look first, and disables the
 * session bus otherwise. For command-line modes, before anything touches D-Bus; child processes inherit it.
 */
void preventSessionBusAutolaunch();

} // namespace Tessary
