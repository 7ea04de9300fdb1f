#include "helper/update/OpenTool.h"

#include <cstdio>

#include <QDir>
#include <QProcess>

#include "updater/NativeBundle.h"

using namespace Qt::StringLiterals;

namespace Tessary::OpenTool {

int run(const QStringList &arguments)
{
    if (arguments.size() != 2 || arguments[0] != u"-n"_s) {
        std::fputs("usage: tessary-helper open -n BUNDLE\n", stderr);
        return 1;
    }
    const std::optional<NativeBundle> bundle = NativeBundle::open(arguments[1]);
    const std::optional<QString> executable = bundle ? bundle->executablePath() : std::nullopt;
    if (!executable) {
        std::fprintf(stderr, "open: no application at %s\n", qPrintable(arguments[1]));
        return 1;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TESSARY_NEW_INSTANCE"_s, u"1"_s);
    QProcess process;
    process.setProgram(*executable);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(QDir::homePath());
    if (!process.startDetached()) {
        std::fprintf(stderr, "open: %s\n", qPrintable(process.errorString()));
        return 1;
    }
    return 0;
}

} // namespace Tessary::OpenTool
