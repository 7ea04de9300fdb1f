#pragma once

class QPalette;

namespace Tessary {

/**
 * The application's two looks. Qt 6.4 cannot follow the desktop's colour scheme by itself, so the application uses
 * the Fusion style everywhere with a light or a dark palette of its own.
 */
namespace ColorModePalettes {

QPalette light();
QPalette dark();

/**
 * Switches the whole application (a QApplication) to Fusion, its checked controls in the accent colour
 * (NativeAccentStyle), with the light or dark palette.
 */
void apply(bool dark);

/** Whether the application's current palette is the dark one. */
bool isDarkApplied();

} // namespace ColorModePalettes

} // namespace Tessary
