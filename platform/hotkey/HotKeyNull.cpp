#include "platform/hotkey/HotKeyNull.h"

#include <QGuiApplication>

#include "platform/hotkey/HotKeyX11.h"

namespace Tessary {

bool HotKeyNull::registerShortcut(const HotKeyCombination &)
{
    return false;
}

void HotKeyNull::unregisterShortcut()
{
}

bool HotKeyNull::canRegister() const
{
    return false;
}

bool globalHotKeysAvailable(SessionType session)
{
    // Under XWayland a grab only sees keys typed into X11 windows, so Wayland sessions never use the X11 path.
    return session == SessionType::X11 && QGuiApplication::platformName() == u"xcb";
}

std::unique_ptr<HotKeyBackend> createHotKeyBackend(SessionType session)
{
    if (globalHotKeysAvailable(session)) {
        return std::make_unique<HotKeyX11>();
    }
    return std::make_unique<HotKeyNull>();
}

} // namespace Tessary
