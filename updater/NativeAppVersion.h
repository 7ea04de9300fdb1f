#pragma once

#include <QString>

namespace Tessary {

class NativeBundle;

/** The version line of the settings window. */
namespace NativeAppVersion {

/** "Version 1.4.0 (42)" in the updater's language; "—" stands in for a missing or non-string value. */
QString displayText(const NativeBundle &bundle);

} // namespace NativeAppVersion

} // namespace Tessary
