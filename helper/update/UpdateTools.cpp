#include "helper/update/UpdateTools.h"

#include <QFile>
#include <QStringList>

#include "helper/UpdateTrust.h"
#include "helper/update/CodeSignTool.h"
#include "helper/update/DittoTool.h"
#include "helper/update/NotaryTool.h"
#include "helper/update/OpenTool.h"

using namespace Qt::StringLiterals;

namespace Tessary::UpdateTools {

std::optional<int> runIfRequested(int argc, char **argv)
{
    if (argc < 2) {
        return std::nullopt;
    }
    const QString tool = QFile::decodeName(argv[1]);
    QStringList arguments;
    for (int i = 2; i < argc; ++i) {
        arguments.append(QFile::decodeName(argv[i]));
    }
    if (tool == u"ditto"_s) {
        return DittoTool::run(arguments);
    }
    if (tool == u"codesign"_s) {
        return CodeSignTool::run(arguments, UpdateTrust::developerPublicKeys());
    }
    if (tool == u"spctl"_s) {
        return NotaryTool::run(arguments, UpdateTrust::notaryPublicKeys(), UpdateTrust::developerPublicKeys());
    }
    if (tool == u"open"_s) {
        return OpenTool::run(arguments);
    }
    return std::nullopt;
}

} // namespace Tessary::UpdateTools
