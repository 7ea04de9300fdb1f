#pragma once

#include <memory>

#include <QString>

#include "platform/session/PlatformSession.h"

namespace Tessary {

/**
 * The desktop's clipboard ("CLIPBOARD" selection). Used on the GUI thread only, after the QGuiApplication exists.
 */
class Clipboard
{
public:
    virtual ~Clipboard() = default;

    /** Replaces the clipboard with plain text only. Returns false when the text could not be placed there. */
    virtual bool setText(const QString &text) = 0;

    /**
     * For processes that exit right after setText(): makes sure the text stays available once this process
     * is gone, either through the desktop's clipboard manager or by handing it to a detached helper that serves it
     * until another program takes the clipboard. Returns false when neither is possible.
     */
    virtual bool keepAfterExit(const QString &text) = 0;
};

/** The backend for the session: X11 (also under XWayland) or one that always fails when there is no display. */
std::unique_ptr<Clipboard> createClipboard(SessionType session);

} // namespace Tessary
