#pragma once

#include <QIcon>
#include <QImage>

#include "appearance/NativeAccentPalette.h"

class QPainter;
class QRectF;

namespace Tessary {

/**
 * The application's icon artwork: a rounded square in the accent palette's colour with a white viewfinder and text
 * cursor. It is drawn afresh for every size asked for, so it stays sharp from a 16 px title bar to a 512 px
 * launcher and on HiDPI screens.
 */
namespace TessaryIcon {

/** The icon in a palette (the appearance controller's icon builder). Renderings are kept per size. */
QIcon image(NativeAccentPalette palette);

/** The artwork as a square image of pixelSize × pixelSize device pixels, transparent around the rounded square. */
QImage render(NativeAccentPalette palette, int pixelSize);

/** Draws the artwork into the square rect (in the painter's coordinates). */
void paint(QPainter &painter, const QRectF &rect, NativeAccentPalette palette);

/**
 * The tray's icon in a palette: the application icon, the white viewfinder on a tile of the palette's colour, which
 * reads on light and dark panels alike and follows the user's accent.
 */
QIcon statusIcon(NativeAccentPalette palette);

/** The colour of the tray icon's tile in a palette. */
QColor statusIconColor(NativeAccentPalette palette);

} // namespace TessaryIcon

} // namespace Tessary
