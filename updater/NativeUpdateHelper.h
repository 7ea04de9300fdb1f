#pragma once

#include <QStringList>

namespace Tessary {

/**
 * The updater's helper mode, run by a freshly verified copy of the program to swap it in place of the old one.
 * Offered every launch before anything else.
 */
namespace NativeUpdateHelper {

/** Returns false, doing nothing, unless the arguments form a helper command line; otherwise installs and returns true. */
bool runIfRequested(const QStringList &arguments);

} // namespace NativeUpdateHelper

} // namespace Tessary
