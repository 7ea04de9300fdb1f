#pragma once

#include <QString>

#include "core/ApiKeyFormat.h"

namespace Tessary {

/** Why a key was not stored, in the interface language (a language preference value, see tessaryLocalized). */
QString aiKeyRefusal(ApiKeyFormat::Problem problem, const QString &language);

} // namespace Tessary
