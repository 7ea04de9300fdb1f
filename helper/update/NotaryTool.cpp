#include "helper/update/NotaryTool.h"

#include <cstdio>

#include "helper/update/NotarySignature.h"

using namespace Qt::StringLiterals;

namespace Tessary::NotaryTool {

int run(const QStringList &arguments, const QByteArrayList &trustedNotaryKeys,
        const QByteArrayList &trustedDeveloperKeys)
{
    if (arguments.size() != 4 || arguments.mid(0, 3) != QStringList{u"--assess"_s, u"--type"_s, u"execute"_s}) {
        std::fputs("usage: tessary-helper spctl --assess --type execute BUNDLE\n", stderr);
        return 1;
    }
    const auto assessed = NotarySignature::assess(arguments[3], trustedNotaryKeys, trustedDeveloperKeys);
    if (!assessed) {
        std::fprintf(stderr, "spctl: %s\n", qPrintable(assessed.error()));
        return 1;
    }
    return 0;
}

} // namespace Tessary::NotaryTool
