#pragma once

#include <QByteArrayList>
#include <QStringList>

namespace Tessary::NotaryTool {

/**
 * "spctl --assess --type execute BUNDLE": exit status 0 when the bundle is notarized (NotarySignature::assess);
 * otherwise 1 and the reason on standard error.
 */
int run(const QStringList &arguments, const QByteArrayList &trustedNotaryKeys,
        const QByteArrayList &trustedDeveloperKeys);

} // namespace Tessary::NotaryTool
