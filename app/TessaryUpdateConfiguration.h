#pragma once

#include "updater/NativeUpdateConfiguration.h"

namespace Tessary {

/** The application's own update configuration, computed each time it is asked for. */
NativeUpdateConfiguration tessaryUpdateConfiguration();

} // namespace Tessary
