#pragma once

#include <functional>

#include <QStringList>

#include "core/Result.h"
#include "updater/NativeUpdateError.h"

namespace Tessary {

/**
 * The updater's helper mode, run by a freshly verified copy of the program to swap it in place of the old one:
 *   PROGRAM --native-update-helper BUNDLE PID
 * It waits (at most 20 s) for the process PID to exit, moves BUNDLE aside to the hidden backup
 * .<name>.previous-<UUID> beside it, moves its own bundle to BUNDLE, starts it and deletes the backup. Whatever
 * fails, the old bundle is put back and started again, so the user is never left without the application.
 * Nothing is printed; the process ends with status 0 in every case.
 */
namespace NativeUpdateHelper {

/** Returns false, doing nothing, unless the arguments form a helper command line; otherwise installs and returns true.
 */
bool runIfRequested(const QStringList &arguments);

/**
 * Puts source in place of current with a backup beside current, and starts it with relaunch. Any failure after
 * current was moved aside restores it before the error is returned; the backup is gone after success.
 */
Result<void, NativeUpdateError>
replaceApplication(const QString &source, const QString &current,
                   const std::function<Result<void, NativeUpdateError>(const QString &)> &relaunch);

/** Starts the bundle as a new instance through its own "tessary-helper open -n"; only the start is checked. */
Result<void, NativeUpdateError> relaunch(const QString &bundle);

} // namespace NativeUpdateHelper

} // namespace Tessary
