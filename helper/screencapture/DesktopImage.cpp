#include "helper/screencapture/DesktopImage.h"

#include <QPixmap>

namespace Tessary {

QList<RegionSelector::Screen> splitDesktopImage(const QImage &desktop, const QList<std::pair<QRect, qreal>> &screens)
{
    QRect bounds;
    for (const auto &[geometry, ratio] : screens) {
        bounds |= geometry;
    }
    QList<RegionSelector::Screen> parts;
    if (desktop.isNull() || bounds.isEmpty()) {
        return parts;
    }
    // The desktop's scale: 2.0 when every logical pixel is two by two physical ones. Screens of mixed density come
    // out at the highest one, which is how the compositor renders a shot of all of them.
    const qreal scale = qreal(desktop.width()) / bounds.width();
    for (const auto &[geometry, ratio] : screens) {
        const QRect part(((geometry.topLeft() - bounds.topLeft()).toPointF() * scale).toPoint(),
                         (geometry.size().toSizeF() * scale).toSize());
        QImage image = desktop.copy(part);
        qreal density = scale;
        // A screen at scale 1 beside one at scale 2 was drawn twice as large into the shot: its own pixels are
        // what the user saw and what is read.
        if (ratio > 0 && ratio < scale - 0.01) {
            image = image.scaled((geometry.size().toSizeF() * ratio).toSize(), Qt::IgnoreAspectRatio,
                                 Qt::SmoothTransformation);
            density = ratio;
        }
        QPixmap pixmap = QPixmap::fromImage(image);
        pixmap.setDevicePixelRatio(density);
        parts.append({geometry, pixmap});
    }
    return parts;
}

} // namespace Tessary
