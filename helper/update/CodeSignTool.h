#pragma once

#include <QByteArrayList>
#include <QStringList>

namespace Tessary::CodeSignTool {

/**
 * "codesign --verify --deep --strict [-R REQUIREMENT] BUNDLE": exit status 0 when the bundle's seal holds
 * (CodeSignature::verify) with the given developer keys; otherwise 1 and the reason on standard error.
 */
int run(const QStringList &arguments, const QByteArrayList &trustedDeveloperKeys);

} // namespace Tessary::CodeSignTool
