#pragma once

#include <QImage>
#include <QString>

namespace Tessary {

/**
 * A screenshot through the desktop portal (org.freedesktop.portal.Screenshot), the only way to read the screen in
 * a Wayland session. Interactive, the desktop lets the user pick the region with its own tools and answers with
 * that region; otherwise it answers with the whole desktop. The portal's own file is deleted once read.
 */
struct PortalScreenshot
{
    enum class Outcome {
        Taken,     // image holds the picture
        Cancelled, // the user backed out of the desktop's dialog
        Refused,   // the desktop refused, or has no screenshot portal at all
        Failed,    // the portal answered but its picture could not be read; detail says why, in English
    };

    Outcome outcome = Outcome::Failed;
    QImage image;
    QString detail;

    /** Asks the portal and waits for its answer, however long the user takes. Needs a Qt application object. */
    static PortalScreenshot take(bool interactive);
};

} // namespace Tessary
