#pragma once

#include <QImage>
#include <QList>
#include <QRect>

#include "helper/screencapture/RegionSelector.h"

namespace Tessary {

/**
 * Cuts one picture of the whole desktop (what the screenshot portal answers with when it does not select) into the
 * screens' parts for the region selector. The picture spans the bounding box of the screens' logical geometries, in
 * physical pixels, at one scale for all of them (the highest screen's); a screen of lower pixel density (its device
 * pixel ratio, second of each pair; 0 when unknown) gets its part brought back to its own pixels. GUI thread (makes
 * pixmaps).
 */
QList<RegionSelector::Screen> splitDesktopImage(const QImage &desktop, const QList<std::pair<QRect, qreal>> &screens);

} // namespace Tessary
