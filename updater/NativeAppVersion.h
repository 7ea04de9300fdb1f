#pragma once

#include <QString>

#include "updater/UpdaterCopy.h"

namespace Tessary {

class NativeBundle;

/** The version line of the settings window. */
namespace NativeAppVersion {

/** "Version 1.4.0 (42)" in the updater's language; "—" stands in for a missing or non-string value. */
QString displayText(const NativeBundle &bundle);
/** The same in a language of the caller's choice. */
QString displayText(const NativeBundle &bundle, UpdaterLanguage language);

/** The line for a program without a bundle: the version it was built as, and "—" for the build number. */
QString displayText(const QString &shortVersion, const QString &build, UpdaterLanguage language);

} // namespace NativeAppVersion

} // namespace Tessary
