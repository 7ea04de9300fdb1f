#pragma once

#include <QString>

namespace Tessary {

class NativeBundle;

/** The version line of the settings window. */
namespace NativeAppVersion {

/** "Version 1.4.0 (42)" in the updater's language; "—" stands in for a missing or non-string value. */
QString displayText(const NativeBundle &bundle);

/** The same line for a program without a bundle: the version it was built as, and "—" for the build number. */
QString displayText(const QString &shortVersion, const QString &build);

} // namespace NativeAppVersion

} // namespace Tessary
