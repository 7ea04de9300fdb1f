#pragma once

#include <QImage>
#include <QList>
#include <QRect>

#include "helper/screencapture/RegionSelector.h"

namespace Tessary {

/**
 * Cuts one picture of the whole desktop (what the screenshot portal answers with when it does not select) into the
 * screens' parts for the region selector. The picture spans the bounding box of the screens' logical geometries, in
 * physical pixels; its scale against that box becomes each part's pixel density. GUI thread (makes pixmaps).
 */
QList<RegionSelector::Screen> splitDesktopImage(const QImage &desktop, const QList<QRect> &screenGeometries);

} // namespace Tessary
