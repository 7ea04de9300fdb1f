#pragma once

#include "platform/session/PlatformSession.h"

namespace Tessary {

/**
 * Makes the desktop ask the user again whether we may capture the screen. On Wayland the screenshot portal keeps the
 * user's answer in its permission store; forgetting our entry there brings its question back on the next capture.
 * X11 has no such permission, so there is nothing to do. Returns at once; the store's answer and any error (no
 * store, no entry) are ignored. GUI thread or any thread with access to the session bus.
 */
void resetScreenCapturePermission(SessionType session);

} // namespace Tessary
