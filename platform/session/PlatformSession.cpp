#include "platform/session/PlatformSession.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <xcb/xcb.h>

#include <QByteArray>

namespace Tessary {

namespace {

bool isSet(const char *name)
{
    const char *value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

bool probeX11Display()
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

/** WAYLAND_DISPLAY is a socket name in XDG_RUNTIME_DIR or an absolute path, as libwayland-client reads it. */
bool hasWaylandDisplay()
{
    if (!isSet("WAYLAND_DISPLAY")) {
        return false;
    }
    QByteArray path = qgetenv("WAYLAND_DISPLAY");
    if (!path.startsWith('/')) {
        if (!isSet("XDG_RUNTIME_DIR")) {
            return false;
        }
        path = qgetenv("XDG_RUNTIME_DIR") + '/' + path;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (size_t(path.size()) >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool reachable = fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    if (fd >= 0) {
        close(fd);
    }
    return reachable;
}

} // namespace

SessionType detectSessionType()
{
    const char *sessionType = std::getenv("XDG_SESSION_TYPE");
    if (sessionType != nullptr && std::strcmp(sessionType, "wayland") == 0 && isSet("WAYLAND_DISPLAY")) {
        return SessionType::Wayland;
    }
    return hasX11Display() ? SessionType::X11 : SessionType::Headless;
}

bool hasX11Display()
{
    // One answer per display name: a server too busy to answer a second probe must not turn an X11 session into
    // another kind halfway through the start.
    static std::mutex mutex;
    static std::optional<std::pair<QByteArray, bool>> probed;
    const std::lock_guard lock(mutex);
    const QByteArray display = qgetenv("DISPLAY");
    if (!probed || probed->first != display) {
        probed.emplace(display, probeX11Display());
    }
    return probed->second;
}

void selectQtPlatformPlugin(SessionType session)
{
    if (isSet("QT_QPA_PLATFORM")) {
        return;
    }
    switch (session) {
    case SessionType::X11:
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        break;
    case SessionType::Wayland:
        // A Wayland session without XWayland: native Wayland is all there is.
        setenv("QT_QPA_PLATFORM", hasX11Display() ? "xcb" : "wayland", 1);
        break;
    case SessionType::Headless:
        // The xcb plugin aborts the process when no display can be opened.
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        break;
    }
}

std::optional<QString> unreachableDisplay()
{
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    const QByteArray plugin = chosen.left(chosen.indexOf(':'));
    const SessionType session = detectSessionType();
    // Headless means that DISPLAY, if set, names a server that does not answer.
    const bool needsX11 = plugin == "xcb" || (plugin.isEmpty() && session == SessionType::Headless && isSet("DISPLAY"));
    const bool needsWayland =
        plugin.startsWith("wayland") || (plugin.isEmpty() && session == SessionType::Wayland && !hasX11Display());
    if (needsX11 && !hasX11Display()) {
        return QString::fromLocal8Bit(qgetenv("DISPLAY"));
    }
    if (needsWayland && !hasWaylandDisplay()) {
        return QString::fromLocal8Bit(qgetenv("WAYLAND_DISPLAY"));
    }
    return std::nullopt;
}

void preventSessionBusAutolaunch()
{
    if (isSet("DBUS_SESSION_BUS_ADDRESS")) {
        return;
    }
    const QByteArray socket = qgetenv("XDG_RUNTIME_DIR") + "/bus";
    struct stat status
    {
    };
    if (isSet("XDG_RUNTIME_DIR") && stat(socket.constData(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        setenv("DBUS_SESSION_BUS_ADDRESS", QByteArray("unix:path=" + socket).constData(), 1);
    } else {
        // Both libdbus and GDBus fail to connect to this address, and neither starts a bus instead.
        setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
    }
}

} // namespace Tessary
