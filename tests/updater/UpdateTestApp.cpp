// A stand-in application for the helper tests, installed as bin/tessary in test bundles. Like tessary it first
// offers its arguments to the updater's helper mode. Otherwise it records how it was started in
// $TESSARY_TEST_RECORD_DIR/launch-<pid>, then exits at once when started as a new instance by the updater
// (TESSARY_NEW_INSTANCE=1), or stays until its standard input closes, so that a test decides when it quits.

#include <cstdio>

#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include "updater/NativeBundle.h"
#include "updater/NativeUpdateHelper.h"

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QFile::decodeName(argv[i]));
    }
    if (Tessary::NativeUpdateHelper::runIfRequested(arguments)) {
        return 0;
    }
    const std::optional<Tessary::NativeBundle> &bundle = Tessary::NativeBundle::main();
    QSaveFile record(qEnvironmentVariable("TESSARY_TEST_RECORD_DIR") + u"/launch-"_s + QString::number(::getpid()));
    if (record.open(QIODevice::WriteOnly)) {
        record.write(u"bundle=%1\nversion=%2\nnew_instance=%3\ncwd=%4\n"_s
                         .arg(bundle ? bundle->path() : QString(),
                              bundle ? bundle->string(u"CFBundleVersion"_s).value_or(QString()) : QString(),
                              qEnvironmentVariable("TESSARY_NEW_INSTANCE"), QDir::currentPath())
                         .toUtf8());
        record.commit();
    }
    while (qEnvironmentVariable("TESSARY_NEW_INSTANCE") != u"1"_s && std::fgetc(stdin) != EOF) {
    }
    return 0;
}
