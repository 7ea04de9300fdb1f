#include "app/TessaryApp.h"

#include <QApplication>
#include <QThreadPool>
#include <QTimer>

#include "app/AICommandLine.h"
#include "app/OcrCommandLine.h"
#include "app/recognition/TextRecognizer.h"
#include "core/TlsTrust.h"
#include "platform/session/PlatformSession.h"
#include "platform/signals/TerminationSignals.h"

using namespace Qt::StringLiterals;

namespace Tessary {

int TessaryApp::main(int &argc, char **argv, const QStringList &arguments)
{
    if (const std::optional<int> status = AICommandLine::runIfRequested(argc, argv, arguments)) {
        return *status;
    }
    if (const std::optional<int> status = OcrCommandLine::runIfRequested(argc, argv, arguments)) {
        return *status;
    }

    selectQtPlatformPlugin(detectSessionType());
    QApplication application(argc, argv);
    QApplication::setApplicationName(u"Tessary"_s);
    QApplication::setOrganizationDomain(u"velmor.md"_s);
    QGuiApplication::setDesktopFileName(u"md.velmor.tessary"_s);
    TlsTrust::addRootsFromEnvironment();
    // The settings window closes to hide; only Quit ends the application.
    QApplication::setQuitOnLastWindowClosed(false);

    TerminationSignals signals;
    TessaryApp delegate(arguments);
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &delegate, &TessaryApp::applicationWillTerminate);
    QTimer::singleShot(0, &delegate, &TessaryApp::applicationDidFinishLaunching);
    application.exec();
    return 0;
}

TessaryApp::TessaryApp(QStringList arguments, QObject *parent)
    : QObject(parent)
    , m_arguments(std::move(arguments))
{
}

void TessaryApp::applicationDidFinishLaunching()
{
    // Loading the recognition models takes a moment; do it now, at low priority, so the first capture is quick.
    QThreadPool::globalInstance()->start([] {
        QThread::currentThread()->setPriority(QThread::LowPriority);
        TextRecognizer::prewarm();
        QThread::currentThread()->setPriority(QThread::InheritPriority);
    });
}

void TessaryApp::applicationWillTerminate()
{
}

} // namespace Tessary
