#include "helper/screencapture/DesktopImage.h"

#include <QPixmap>

namespace Tessary {

QList<RegionSelector::Screen> splitDesktopImage(const QImage &desktop, const QList<QRect> &screenGeometries)
{
    QRect bounds;
    for (const QRect &geometry : screenGeometries) {
        bounds |= geometry;
    }
    QList<RegionSelector::Screen> screens;
    if (desktop.isNull() || bounds.isEmpty()) {
        return screens;
    }
    // The desktop's scale: 2.0 when every logical pixel is two by two physical ones. Screens of mixed density come
    // out at the highest one, which is how the compositor renders a shot of all of them.
    const qreal scale = qreal(desktop.width()) / bounds.width();
    for (const QRect &geometry : screenGeometries) {
        const QRect part(((geometry.topLeft() - bounds.topLeft()).toPointF() * scale).toPoint(),
                         (geometry.size().toSizeF() * scale).toSize());
        QPixmap image = QPixmap::fromImage(desktop.copy(part));
        image.setDevicePixelRatio(scale);
        screens.append({geometry, image});
    }
    return screens;
}

} // namespace Tessary
