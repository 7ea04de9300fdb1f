// A stand-in application for the update tests, installed as bin/tessary in test bundles. Like tessary it first
// offers its arguments to the updater's helper mode. Otherwise it records how it was started in
// $TESSARY_TEST_RECORD_DIR/launch-<pid> and then
//   - exits at once when it was started as a new instance by the updater (TESSARY_NEW_INSTANCE=1);
//   - with TESSARY_TEST_MANIFEST_URL, runs the updater as the application does (automatic checks, every dialog
//     accepted) and records each failure in $TESSARY_TEST_RECORD_DIR/failed-<pid>, carrying on running;
//   - otherwise stays alive until its standard input closes, so that a test decides when it quits.

#include <cstdio>

#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QStringList>

#include "platform/defaults/UserDefaults.h"
#include "tests/updater/support/DialogAnswerer.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdateHelper.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

void record(const QString &name, const QStringList &lines)
{
    const QString folder = qEnvironmentVariable("TESSARY_TEST_RECORD_DIR");
    if (folder.isEmpty()) {
        return;
    }
    QSaveFile file(folder + u'/' + name + u'-' + QString::number(::getpid()));
    if (file.open(QIODevice::WriteOnly)) {
        file.write((lines.join(u'\n') + u'\n').toUtf8());
        file.commit();
    }
}

void recordLaunch()
{
    const std::optional<NativeBundle> &bundle = NativeBundle::main();
    record(u"launch"_s,
           {
               u"pid=%1"_s.arg(::getpid()),
               u"bundle=%1"_s.arg(bundle ? bundle->path() : QString()),
               u"version=%1"_s.arg(bundle ? bundle->string(u"CFBundleVersion"_s).value_or(QString()) : QString()),
               u"new_instance=%1"_s.arg(qEnvironmentVariable("TESSARY_NEW_INSTANCE")),
               u"cwd=%1"_s.arg(QDir::currentPath()),
           });
}

int runUpdater(int argc, char **argv)
{
    QApplication application(argc, argv);
    // Like the tray application: closing a dialog must not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
    ssl.addCaCertificates(QSslCertificate::fromPath(qEnvironmentVariable("TESSARY_TEST_CA_FILE")));
    QSslConfiguration::setDefaultConfiguration(ssl);

    const std::optional<NativeBundle> &bundle = NativeBundle::main();
    const NativeUpdateConfiguration configuration{
        .product = u"tessary"_s,
        .appName = u"Tessary"_s,
        .bundleIdentifier = u"md.velmor.tessary"_s,
        .teamIdentifier = QStringLiteral(TESSARY_TEST_TEAM),
        .manifestURL = QUrl(qEnvironmentVariable("TESSARY_TEST_MANIFEST_URL")),
        .allowedDownloadHosts = {u"127.0.0.1"_s},
        .isEnabled = bundle && bundle->identifier() == u"md.velmor.tessary"_s,
    };
    UserDefaults defaults;
    defaults.registerDefaults({{u"NativeUpdater.tessary.automaticallyChecksForUpdates"_s, true}});
    NativeUpdater updater(configuration, defaults);
    Test::DialogAnswerer answerer;
    answerer.answer(QList<int>(16, 0));
    QObject::connect(&updater, &NativeUpdater::stateChanged, &updater, [&updater] {
        if (updater.state().kind() == NativeUpdateState::Kind::Failed) {
            record(u"failed"_s, {updater.statusText()});
        }
    });
    updater.startAutomaticChecks();
    return application.exec();
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
    if (qEnvironmentVariableIsSet("TESSARY_TEST_MANIFEST_URL")) {
        return runUpdater(argc, argv);
    }
    while (std::fgetc(stdin) != EOF) {
    }
    return 0;
}
