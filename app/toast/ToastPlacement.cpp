#include "app/toast/ToastPlacement.h"

#include <algorithm>

namespace Tessary {

std::optional<QRect> toastGeometry(const QList<ToastScreen> &screens, qsizetype primaryIndex, const QPoint &pointer)
{
    const auto underPointer =
        std::ranges::find_if(screens, [&](const ToastScreen &screen) { return screen.geometry.contains(pointer); });
    const ToastScreen *screen = nullptr;
    if (underPointer != screens.end()) {
        screen = &*underPointer;
    } else if (primaryIndex >= 0 && primaryIndex < screens.size()) {
        screen = &screens[primaryIndex];
    } else {
        return std::nullopt;
    }
    // The exact middle: QRect::center() rounds towards the left for even widths.
    const int x = screen->geometry.x() + screen->geometry.width() / 2 - toastSize.width() / 2;
    const int y = screen->availableGeometry.top() + toastTopMargin;
    return QRect(QPoint(x, y), toastSize);
}

} // namespace Tessary
