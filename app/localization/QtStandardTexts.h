#pragma once

#include <QString>

namespace Tessary {

/**
 * Puts the texts Qt draws itself (the file dialog's labels, standard buttons, the line edit's menu) into the
 * interface language: the system's Qt translations for the language preference value (see tessaryLocalized), when
 * they are installed, replacing the ones loaded before. English, and a system without them, keep Qt's own English.
 * Call on the GUI thread.
 */
void applyQtStandardTexts(const QString &language);

} // namespace Tessary
