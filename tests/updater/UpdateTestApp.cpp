// A stand-in application for the update tests, installed as bin/tessary in test bundles. Like tessary it first
// offers its arguments to the updater's helper mode. Otherwise it records how it was started in
// $TESSARY_TEST_RECORD_DIR/launch-<pid> and then
//   - exits at once when it was started as a new instance by the updater (TESSARY_NEW_INSTANCE=1);
//   - otherwise stays alive until its standard input closes, so that a test decides when the "old" application
//     quits.

#include <cstdio>

#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStringList>

#include "updater/NativeBundle.h"
#include "updater/NativeUpdateHelper.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

void recordLaunch()
{
    const QString folder = qEnvironmentVariable("TESSARY_TEST_RECORD_DIR");
    if (folder.isEmpty()) {
        return;
    }
    const std::optional<NativeBundle> &bundle = NativeBundle::main();
    QStringList lines {
        u"pid=%1"_s.arg(::getpid()),
        u"bundle=%1"_s.arg(bundle ? bundle->path() : QString()),
        u"version=%1"_s.arg(bundle ? bundle->string(u"CFBundleVersion"_s).value_or(QString()) : QString()),
        u"new_instance=%1"_s.arg(qEnvironmentVariable("TESSARY_NEW_INSTANCE")),
        u"cwd=%1"_s.arg(QDir::currentPath()),
    };
    QSaveFile file(folder + u"/launch-%1"_s.arg(::getpid()));
    if (file.open(QIODevice::WriteOnly)) {
        file.write((lines.join(u'\n') + u'\n').toUtf8());
        file.commit();
    }
}

} // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QFile::decodeName(argv[i]));
    }
    if (NativeUpdateHelper::runIfRequested(arguments)) {
        return 0;
    }
    recordLaunch();
    if (qEnvironmentVariable("TESSARY_NEW_INSTANCE") == u"1"_s) {
        return 0;
    }
    while (std::fgetc(stdin) != EOF) {
    }
    return 0;
}
