#pragma once

namespace Tessary {

/**
 * Whether translucent windows can be shown: true on X11 when a compositing manager owns a _NET_WM_CM_S<n>
 * selection. Without one, translucent pixels come out black, so the toast paints itself opaque. False on other
 * platforms (offscreen, native Wayland), which the toast does not draw translucently.
 */
bool isCompositingManagerRunning();

} // namespace Tessary
