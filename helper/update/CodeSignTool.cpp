#include "helper/update/CodeSignTool.h"

#include <cstdio>

#include "helper/update/CodeSignature.h"

using namespace Qt::StringLiterals;

namespace Tessary::CodeSignTool {

int run(const QStringList &arguments, const QByteArrayList &trustedDeveloperKeys)
{
    const QStringList verify{u"--verify"_s, u"--deep"_s, u"--strict"_s};
    const bool plain = arguments.size() == 4 && arguments.mid(0, 3) == verify;
    const bool withRequirement = arguments.size() == 6 && arguments.mid(0, 3) == verify && arguments[3] == u"-R"_s;
    if (!plain && !withRequirement) {
        std::fputs("usage: tessary-helper codesign --verify --deep --strict [-R REQUIREMENT] BUNDLE\n", stderr);
        return 1;
    }
    std::optional<CodeRequirement> requirement;
    if (withRequirement) {
        requirement = CodeRequirement::parse(arguments[4]);
        if (!requirement) {
            std::fputs("codesign: unsupported requirement\n", stderr);
            return 1;
        }
    }
    const auto verified = CodeSignature::verify(arguments.last(), requirement, trustedDeveloperKeys);
    if (!verified) {
        std::fprintf(stderr, "codesign: %s\n", qPrintable(verified.error()));
        return 1;
    }
    return 0;
}

} // namespace Tessary::CodeSignTool
