#include "helper/screencapture/ScreenCaptureTool.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QScreen>
#include <QStringList>

#include "helper/screencapture/DesktopImage.h"
#include "helper/screencapture/PortalScreenshot.h"
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
    if (arguments.size() != 7 || arguments[2] != u"-i" || arguments[3] != u"-x" || arguments[4] != u"-t" ||
        arguments[5] != u"png") {
        return false;
    }
    *path = arguments[6];
    return !path->isEmpty();
}

bool writePng(const QImage &image, const QString &path)
{
    // Written under a temporary name and renamed: the file is whole or absent. The file lives for a moment only:
    // zlib's fastest level (quality 80 in Qt's terms) takes half the time of the default on a full-HD screen (about
    // 65 instead of 130 ms here) for a file a seventh larger, and it decodes faster too.
    constexpr int fastCompression = 80;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && image.save(&file, "PNG", fastCompression) && file.commit();
}

/** Runs the selector over frozen screens and writes what the user selects; the exit status of the tool. */
int selectAndWrite(QApplication &application, const QList<RegionSelector::Screen> &screens, const QString &path)
{
    int status = 1;
    RegionSelector selector(screens);
    QObject::connect(&selector, &RegionSelector::cancelled, &application, [&] {
        status = 1;
        QCoreApplication::quit();
    });
    QObject::connect(&selector, &RegionSelector::selected, &application, [&](const QImage &image) {
        if (writePng(image, path)) {
            // The application is waiting for this process to end before it reads the file; taking the windows and
            // the display connection down one by one would only keep it waiting (about 10 ms). The system does it.
            std::fflush(nullptr);
            std::_Exit(0);
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

/** The exit status for a portal answer that brought no picture. */
int portalFailure(const PortalScreenshot &shot)
{
    switch (shot.outcome) {
    case PortalScreenshot::Outcome::Cancelled:
        return 1;
    case PortalScreenshot::Outcome::Refused:
        return fail(noScreenAccess);
    case PortalScreenshot::Outcome::Failed:
    case PortalScreenshot::Outcome::Taken:
        break;
    }
    return fail(shot.detail.toUtf8().constData());
}

/**
 * Desktops whose screenshot portal is the wlroots one: asked to select, it runs a picker of its own that may not be
 * installed, so we ask for the whole desktop and select over it ourselves. The names are those its portal serves.
 */
bool portalCannotSelect()
{
    static const QStringList wlrootsDesktops{u"wlroots"_s, u"sway"_s,  u"wayfire"_s,
                                             u"river"_s,   u"phosh"_s, u"hyprland"_s};
    const QStringList desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").toLower().split(u':', Qt::SkipEmptyParts);
    return std::ranges::any_of(desktops, [](const QString &desktop) { return wlrootsDesktops.contains(desktop); });
}

int runOnWayland(int &argc, char **argv, const QString &path)
{
    if (!portalCannotSelect()) {
        // The desktop's own selection (GNOME, KDE): its answer is the region.
        QCoreApplication application(argc, argv);
        const PortalScreenshot shot = PortalScreenshot::take(true);
        if (shot.outcome != PortalScreenshot::Outcome::Taken) {
            return portalFailure(shot);
        }
        return writePng(shot.image, path) ? 0 : fail("the capture could not be written");
    }
    // Our selector is a native Wayland client here, unlike the application's windows: XWayland cannot take the
    // pointer to an output left of or above the origin (its root window starts there), and it draws on a scaled
    // output at scale 1. The compositor puts a full-screen window on each output, wherever that output is.
    qputenv("QT_QPA_PLATFORM", "wayland;xcb");
    QApplication application(argc, argv);
    const PortalScreenshot shot = PortalScreenshot::take(false);
    if (shot.outcome != PortalScreenshot::Outcome::Taken) {
        return portalFailure(shot);
    }
    // Through XWayland (no Wayland socket to reach) every screen claims scale 1, whatever its output's is.
    const bool nativeScale = QGuiApplication::platformName() == u"wayland";
    QList<std::pair<QRect, qreal>> outputs;
    for (const QScreen *screen : QGuiApplication::screens()) {
        outputs.append({screen->geometry(), nativeScale ? screen->devicePixelRatio() : 0});
    }
    const QList<RegionSelector::Screen> screens = splitDesktopImage(shot.image, outputs);
    if (screens.isEmpty()) {
        return fail(noScreenAccess);
    }
    return selectAndWrite(application, screens, path);
}

} // namespace

int run(int &argc, char **argv)
{
    // Standard error is the tool's answer to the application, which shows any text there as the reason a capture
    // failed: Qt's own warnings (a runtime folder's permissions, a missing font) must not end up there.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
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
        // Root-window grabs under XWayland come out black: only the desktop portal can read a Wayland screen.
        return runOnWayland(argc, argv, path);
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
    return selectAndWrite(application, screens, path);
}

} // namespace Tessary::ScreenCaptureTool
