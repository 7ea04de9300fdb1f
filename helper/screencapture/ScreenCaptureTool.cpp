#include "helper/screencapture/ScreenCaptureTool.h"

#include <cstdio>

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QScreen>
#include <QStringList>

#include "helper/screencapture/RegionSelector.h"
#include "platform/session/PlatformSession.h"

using namespace Qt::StringLiterals;

namespace Tessary::ScreenCaptureTool {

namespace {

constexpr auto noScreenAccess = "could not create image from rect";

int fail(const char *message)
{
    std::fputs(message, stderr);
    return 1;
}

/** The only form the application uses: -i -x -t png PATH. */
bool parse(const QStringList &arguments, QString *path)
{
    if (arguments.size() != 7 || arguments[2] != u"-i" || arguments[3] != u"-x" || arguments[4] != u"-t"
        || arguments[5] != u"png") {
        return false;
    }
    *path = arguments[6];
    return !path->isEmpty();
}

bool writePng(const QImage &image, const QString &path)
{
    // Written under a temporary name and renamed: the file is whole or absent.
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && image.save(&file, "PNG") && file.commit();
}

} // namespace

int run(int &argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLocal8Bit(argv[i]));
    }
    QString path;
    if (!parse(arguments, &path)) {
        return fail("usage: tessary-helper screencapture -i -x -t png PATH");
    }
    if (!QFileInfo(QFileInfo(path).absolutePath()).isDir()) {
        return fail("the folder for the capture does not exist");
    }
    const SessionType session = detectSessionType();
    if (session == SessionType::Wayland) {
        // Root-window grabs under XWayland come out black: Wayland sessions need the screenshot portal.
        return fail("screen capture on Wayland needs the desktop portal, which is not supported yet");
    }
    if (session == SessionType::Headless) {
        return fail(noScreenAccess);
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);

    QList<RegionSelector::Screen> screens;
    for (QScreen *screen : QGuiApplication::screens()) {
        const QPixmap image = screen->grabWindow(0);
        if (image.isNull()) {
            return fail(noScreenAccess);
        }
        screens.append({screen->geometry(), image});
    }
    if (screens.isEmpty()) {
        return fail(noScreenAccess);
    }

    int status = 1;
    RegionSelector selector(screens);
    QObject::connect(&selector, &RegionSelector::cancelled, &application, [&] {
        status = 1;
        QCoreApplication::quit();
    });
    QObject::connect(&selector, &RegionSelector::selected, &application, [&](const QImage &image) {
        if (writePng(image, path)) {
            status = 0;
        } else {
            std::fputs("the capture could not be written", stderr);
            status = 1;
        }
        QCoreApplication::quit();
    });
    selector.start();
    application.exec();
    return status;
}

} // namespace Tessary::ScreenCaptureTool
