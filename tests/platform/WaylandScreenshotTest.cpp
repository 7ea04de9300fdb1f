// The region capture tool in a real Wayland session: headless sway, the desktop portal with its wlroots back end
// started by the bus, and a window of known colours on the compositor. No pointer can be driven on headless sway, so
// our selector shows on the X server that stands in for XWayland and is dragged there (xdotool).

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

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
        if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || qEnvironmentVariableIsEmpty("DISPLAY")) {
            GTEST_SKIP() << "needs headless sway and an X server (runs under with-xvfb with-sway)";
        }
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
        const QString path = m_dir.filePath(u"reference.png"_s);
        runProcess(u"grim"_s, {path});
        QImage image(path);
        QFile::remove(path);
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
    ASSERT_TRUE(QTest::qWaitFor(
        [] {
            return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                        .standardOutput.isEmpty();
        },
        60000))
        << tool.readAllStandardError().constData();
    runProcess(u"xdotool"_s, {u"mousemove"_s, u"500"_s, u"200"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"650"_s,
                              u"250"_s, u"mousemove"_s, u"800"_s, u"300"_s, u"mouseup"_s, u"1"_s});
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

TEST_F(WaylandScreenshotTest, PortalThatCannotSelectRefusesAndTheToolSaysSo)
{
    if (!QStandardPaths::findExecutable(u"slurp"_s).isEmpty()) {
        GTEST_SKIP() << "with slurp installed the wlroots portal waits for a pointer that headless sway lacks";
    }
    // Asked to select, as on a desktop that selects itself, the wlroots portal runs a picker that is not there.
    const ProcessResult result =
        runProcess(buildPath(u"libexec/tessary-helper"_s), arguments(), toolEnvironment(u"GNOME"_s));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, QByteArray("could not create image from rect"));
    EXPECT_TRUE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden).isEmpty());
}

/** The permission store's entry for unsandboxed screenshots, or nothing. */
std::optional<QStringList> storedScreenshotPermission()
{
    QDBusMessage lookup = QDBusMessage::createMethodCall(
        u"org.freedesktop.impl.portal.PermissionStore"_s, u"/org/freedesktop/impl/portal/PermissionStore"_s,
        u"org.freedesktop.impl.portal.PermissionStore"_s, u"GetPermission"_s);
    lookup << u"screenshot"_s << u"screenshot"_s << QString();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(lookup);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    const QStringList values = reply.arguments().constFirst().toStringList();
    return values.isEmpty() ? std::nullopt : std::optional(values);
}

TEST_F(WaylandScreenshotTest, RequestingAccessAgainForgetsTheStoredAnswer)
{
    QDBusMessage set = QDBusMessage::createMethodCall(
        u"org.freedesktop.impl.portal.PermissionStore"_s, u"/org/freedesktop/impl/portal/PermissionStore"_s,
        u"org.freedesktop.impl.portal.PermissionStore"_s, u"SetPermission"_s);
    set << u"screenshot"_s << true << u"screenshot"_s << QString() << QStringList{u"no"_s};
    const QDBusMessage stored = QDBusConnection::sessionBus().call(set, QDBus::Block, 30000);
    ASSERT_EQ(stored.type(), QDBusMessage::ReplyMessage) << stored.errorMessage().toStdString();
    ASSERT_EQ(storedScreenshotPermission(), QStringList{u"no"_s});
    EXPECT_EQ(screenCapturePermission(SessionType::Wayland), ScreenCapturePermission::Denied);
    EXPECT_EQ(screenCapturePermission(SessionType::X11), ScreenCapturePermission::NotNeeded);

    // X11 has no such permission: nothing to forget.
    resetScreenCapturePermission(SessionType::X11);
    QTest::qWait(300);
    EXPECT_EQ(storedScreenshotPermission(), QStringList{u"no"_s});

    resetScreenCapturePermission(SessionType::Wayland);
    EXPECT_TRUE(QTest::qWaitFor([] { return !storedScreenshotPermission().has_value(); }, 10000));
    EXPECT_EQ(screenCapturePermission(SessionType::Wayland), ScreenCapturePermission::Ask);
}

} // namespace
