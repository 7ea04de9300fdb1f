#include "platform/clipboard/Clipboard.h"

#include <QGuiApplication>

#include "platform/clipboard/ClipboardNull.h"
#include "platform/clipboard/ClipboardX11.h"

namespace Tessary {

std::unique_ptr<Clipboard> createClipboard(SessionType session)
{
    // Under XWayland the xcb plugin is in use too; only a missing display leaves us without a clipboard.
    if (session == SessionType::Headless || QGuiApplication::platformName() != u"xcb") {
        return std::make_unique<ClipboardNull>();
    }
    return std::make_unique<ClipboardX11>();
}

} // namespace Tessary
