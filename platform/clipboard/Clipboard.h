#pragma once

#include <functional>
#include <memory>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include "platform/session/PlatformSession.h"

class QObject;

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

    /** The MIME types of image data ("image/png", …) the clipboard's owner offers, in its order; empty when none. */
    virtual QStringList imageTypes() const = 0;

    /** The clipboard's data in one of the types its owner offers; empty when the owner does not give it. */
    virtual QByteArray data(const QString &mimeType) const = 0;

    /**
     * Calls changed whenever the clipboard's content changes (another program's or ours), until receiver is
     * destroyed.
     */
    virtual void watchChanges(QObject *receiver, std::function<void()> changed) = 0;
};

/** The backend for the session: X11 (also under XWayland) or one that always fails when there is no display. */
std::unique_ptr<Clipboard> createClipboard(SessionType session);

} // namespace Tessary
