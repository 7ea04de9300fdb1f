#include "app/toast/ToastCompositing.h"

#include <cstdlib>
#include <memory>
#include <string>

#include <xcb/xcb.h>

#include <QGuiApplication>

namespace Tessary {

bool isCompositingManagerRunning()
{
    if (QGuiApplication::platformName() != u"xcb") {
        return false;
    }
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
    if (!connection) {
        return false;
    }
    const int screenCount = xcb_setup_roots_length(xcb_get_setup(connection));
    for (int screen = 0; screen < screenCount; ++screen) {
        const std::string name = "_NET_WM_CM_S" + std::to_string(screen);
        const xcb_intern_atom_cookie_t atomCookie =
            xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.c_str());
        std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
            xcb_intern_atom_reply(connection, atomCookie, nullptr), &std::free);
        if (!atom || atom->atom == XCB_ATOM_NONE) {
            continue;
        }
        std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
            xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr),
            &std::free);
        if (owner && owner->owner != XCB_WINDOW_NONE) {
            return true;
        }
    }
    return false;
}

} // namespace Tessary
