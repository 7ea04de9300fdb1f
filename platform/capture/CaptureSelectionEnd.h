#pragma once

#include <optional>

#include <QPoint>

class QImage;
class QString;

namespace Tessary {

/**
 * Where the user let go of the selection, in the desktop's logical coordinates, carried in the capture's PNG as a
 * text entry. The application places what it shows about the capture there: while the selector ran as a native
 * Wayland client, the application's own idea of the pointer (through XWayland) is stale.
 */
void setCaptureSelectionEnd(QImage &image, const QPoint &end);

/** The point stored in a capture file; nothing when there is none or the file cannot be read. */
std::optional<QPoint> captureSelectionEnd(const QString &path);

} // namespace Tessary
