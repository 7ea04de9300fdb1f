#pragma once

#include <QString>

namespace Tessary::NativeUpdateDialogs {

enum class Style {
    /** Something to know ("up to date"): the information icon. */
    Informational,
    /** A failure: the warning icon. */
    Warning,
    /** A question about the application itself (an update to install): the application's icon. */
    Application,
};

/**
 * Runs a modal alert on the GUI thread and returns whether the first button was chosen; closing the alert in any
 * other way declines. The first button is the default. Blocks (in a nested event loop) until it is answered.
 */
bool run(Style style, const QString &windowTitle, const QString &message, const QString &informativeText,
         const QString &firstButton, const QString &secondButton = {});

} // namespace Tessary::NativeUpdateDialogs
