#pragma once

#include <QStringList>

namespace Tessary::OpenTool {

/**
 * "open -n BUNDLE": starts the bundle's executable as a new instance, detached from us (its own session), with
 * TESSARY_NEW_INSTANCE=1 so that it does not hand over to an instance already running, in the home folder and
 * without arguments. Exit status 0 once it has started, 1 otherwise.
 */
int run(const QStringList &arguments);

} // namespace Tessary::OpenTool
