#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

namespace Tessary {

/**
 * One of our bundled monochrome symbols (":/symbols/<name>.svg") drawn in a colour, at every size a view asks for.
 * We never take these from the icon theme: their look must not depend on the desktop.
 */
QIcon symbolIcon(const QString &name, const QColor &color);

/**
 * The symbol in the application palette's text colour at the moment it is drawn, so that it follows a change of
 * colour scheme without being set again (tab icons, which are drawn anew on every paint).
 */
QIcon symbolIcon(const QString &name);

/** The same symbol as an image of the given size in device pixels. */
QImage symbolImage(const QString &name, const QColor &color, const QSize &size);

} // namespace Tessary
