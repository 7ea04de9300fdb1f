#pragma once

#include "platform/session/PlatformSession.h"

namespace Tessary {

/** What the desktop answers when we capture the screen. */
enum class ScreenCapturePermission {
    NotNeeded, // X11: every client may read the screen; there is nothing to grant
    Granted,   // the user allowed it and the desktop remembers that
    Denied,    // the user refused and the desktop remembers that
    Ask,       // nothing remembered: the desktop asks at the next capture
};

/** Whether this session has a capture permission at all (the screenshot portal's, on Wayland). */
bool screenCapturePermissionApplies(SessionType session);

/**
 * The answer the screenshot portal's permission store keeps for us (an application outside a sandbox is known to
 * it by the empty id). Ask when there is no store or no entry. Blocks for the store's reply, at most a second.
 */
ScreenCapturePermission screenCapturePermission(SessionType session);

/**
 * Makes the desktop ask the user again whether we may capture the screen: forgets our entry in the portal's
 * permission store, so its question comes back at the next capture. X11 has no such permission, so there is
 * nothing to do. Waits for the store (at most a second) so that a following screenCapturePermission() sees the
 * change; a missing store or entry is not an error. GUI thread or any thread with access to the session bus.
 */
void resetScreenCapturePermission(SessionType session);

} // namespace Tessary
