// The region capture tool in a real Wayland session: headless sway, the desktop portal with its wlroots back end
// started by the bus, and a window of known colours on the compositor. No pointer can be driven on headless sway, so
// our selector shows on the X server that stands in for XWayland and is dragged there (xdotool).

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "platform/capture/ScreenCapturePermission.h"
#include "tests/support/ColouredQuarters.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;

namespace {

class WaylandScreenshotTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) << "runs under with-xvfb with-sway";
        ASSERT_EQ(QGuiApplication::platformName(), u"wayland"_s);
        m_target = m_dir.filePath(u"capture.png"_s);
    }

    /** The tool as the application starts it there: its GUI through XWayland, the session a Wayland one. */
    static QProcessEnvironment toolEnvironment(const QString &desktop)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
        environment.insert(u"XDG_CURRENT_DESKTOP"_s, desktop);
        return environment;
    }

    QStringList arguments() const { return {u"screencapture"_s, u"-i"_s, u"-x"_s, u"-t"_s, u"png"_s, m_target}; }

    /** What the compositor shows now, read with its own screenshot tool. */
    QImage compositorScreen()
    {
        runProcess(u"grim"_s, {m_dir.filePath(u"reference.png"_s)});
        const QImage image(m_dir.filePath(u"reference.png"_s));
        QFile::remove(m_dir.filePath(u"reference.png"_s));
        return image;
    }

    QTemporaryDir m_dir;
    QString m_target;
};

TEST_F(WaylandScreenshotTest, WholeDesktopFromThePortalUnderOurSelector)
{
    Tessary::Test::ColouredQuarters window;
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    // sway tiles the window over the whole output, below its title bar; wait until the compositor shows it.
    QImage reference;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            reference = compositorScreen();
            return !reference.isNull() && reference.pixelColor(300, 300) == QColor(255, 0, 0) &&
                   reference.pixelColor(980, 300) == QColor(0, 255, 0);
        },
        20000));

    QProcess tool;
    tool.setProcessEnvironment(toolEnvironment(u"sway"_s));
    tool.start(buildPath(u"libexec/tessary-helper"_s), arguments());
    ASSERT_TRUE(tool.waitForStarted());
    // The first call starts the portal and its back ends on the bus, which takes a moment.
    ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s, true, 60000)) << tool.readAllStandardError().constData();
    drag(500, 200, 800, 300);
    ASSERT_TRUE(QTest::qWaitFor([&] { return tool.state() == QProcess::NotRunning; }, 20000));
    EXPECT_EQ(tool.exitCode(), 0);
    const QByteArray errors = tool.readAllStandardError();
    EXPECT_TRUE(errors.isEmpty()) << errors.constData();

    const QImage image(m_target);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(300, 100));
    // The compositor's pixels at the selected place: the window's red and green halves meet at x = 640.
    EXPECT_EQ(image.pixelColor(10, 50), QColor(255, 0, 0));
    EXPECT_EQ(image.pixelColor(290, 50), QColor(0, 255, 0));
    for (const QPoint &point : {QPoint(0, 0), QPoint(139, 20), QPoint(141, 99), QPoint(299, 99)}) {
        EXPECT_EQ(image.pixelColor(point), reference.pixelColor(point + QPoint(500, 200)))
            << point.x() << "," << point.y();
    }
    // The portal's own file is gone.
    EXPECT_FALSE(QFile::exists(u"/tmp/out.png"_s));
}

/** A call to the permission store's entry for unsandboxed screenshots. */
QDBusMessage permissionStore(const QString &method, const QVariantList &arguments)
{
    const QString store = u"org.freedesktop.impl.portal.PermissionStore"_s;
    QDBusMessage call =
        QDBusMessage::createMethodCall(store, u"/org/freedesktop/impl/portal/PermissionStore"_s, store, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, 30000);
}

QStringList storedScreenshotPermission()
{
    const QDBusMessage reply = permissionStore(u"GetPermission"_s, {u"screenshot"_s, u"screenshot"_s, QString()});
    return reply.arguments().isEmpty() ? QStringList() : reply.arguments().constFirst().toStringList();
}

TEST_F(WaylandScreenshotTest, RequestingAccessAgainForgetsTheStoredAnswer)
{
    const QDBusMessage stored =
        permissionStore(u"SetPermission"_s, {u"screenshot"_s, true, u"screenshot"_s, QString(), QStringList{u"no"_s}});
    ASSERT_EQ(stored.type(), QDBusMessage::ReplyMessage) << stored.errorMessage().toStdString();
    ASSERT_EQ(storedScreenshotPermission(), QStringList{u"no"_s});
    EXPECT_EQ(screenCapturePermission(SessionType::Wayland), ScreenCapturePermission::Denied);
    EXPECT_EQ(screenCapturePermission(SessionType::X11), ScreenCapturePermission::NotNeeded);

    // X11 has no such permission: nothing to forget. (A call it made would reach the store before our next one.)
    resetScreenCapturePermission(SessionType::X11);
    EXPECT_EQ(storedScreenshotPermission(), QStringList{u"no"_s});
    resetScreenCapturePermission(SessionType::Wayland);
    EXPECT_TRUE(QTest::qWaitFor([] { return storedScreenshotPermission().isEmpty(); }, 10000));
    EXPECT_EQ(screenCapturePermission(SessionType::Wayland), ScreenCapturePermission::Ask);
}

} // namespace
