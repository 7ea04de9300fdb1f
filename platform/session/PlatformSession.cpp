#include "platform/session/PlatformSession.h"

#include <cstdlib>
#include <cstring>

#include <xcb/xcb.h>

namespace Tessary {

namespace {

bool isSet(const char *name)
{
    const char *value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

} // namespace

SessionType detectSessionType()
{
    const char *sessionType = std::getenv("XDG_SESSION_TYPE");
    if (sessionType != nullptr && std::strcmp(sessionType, "wayland") == 0 && isSet("WAYLAND_DISPLAY")) {
        return SessionType::Wayland;
    }
    if (hasX11Display()) {
        return SessionType::X11;
    }
    return SessionType::Headless;
}

bool hasX11Display()
{
    if (!isSet("DISPLAY")) {
        return false;
    }
    // DISPLAY may name a server that is gone; Qt's xcb plugin would abort the process on it.
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    const bool reachable = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return reachable;
}

void selectQtPlatformPlugin(SessionType session)
{
    if (isSet("QT_QPA_PLATFORM")) {
        return;
    }
    if (session == SessionType::Headless) {
        // The xcb plugin aborts the process when no display can be opened.
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    } else if (hasX11Display()) {
        setenv("QT_QPA_PLATFORM", "xcb", 1);
    } else {
        // A Wayland session without XWayland: native Wayland is all there is.
        setenv("QT_QPA_PLATFORM", "wayland", 1);
    }
}

} // namespace Tessary
