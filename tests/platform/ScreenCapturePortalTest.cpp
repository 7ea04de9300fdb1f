// The region capture tool in a Wayland session, where only the desktop portal may read the screen. The portal here is
// a stand-in implementing the documented Screenshot interface on a private session bus (the real one on a real
// compositor is tested in WaylandScreenshotTest); our selector shows on a private X server as it would on XWayland
// and is driven by real mouse drags and key presses (xdotool).

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include "tests/support/PortalStandIn.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QByteArray noScreenAccess = "could not create image from rect";

/** Four coloured quarters: captured pixels tell where in the picture they came from. */
QImage quarters(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    const int w = size.width() / 2;
    const int h = size.height() / 2;
    painter.fillRect(0, 0, w, h, QColor(255, 0, 0));
    painter.fillRect(w, 0, size.width() - w, h, QColor(0, 255, 0));
    painter.fillRect(0, h, w, size.height() - h, QColor(0, 0, 255));
    painter.fillRect(w, h, size.width() - w, size.height() - h, QColor(255, 255, 0));
    return image;
}

class ScreenCapturePortalTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DISPLAY") || qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
            GTEST_SKIP() << "needs an X server and a private session bus (runs under with-xvfb with-session-bus)";
        }
        ASSERT_TRUE(m_portal.start(PortalStandIn::Screenshot));
        m_portalFile = m_portal.directory() + u"/Screenshot from the portal.png"_s;
        m_target = m_dir.filePath(u"capture.png"_s);
    }

    /** A Wayland session of the named desktop, as the tool sees it from its environment. */
    static QProcessEnvironment waylandSession(const QString &desktop)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
        environment.insert(u"WAYLAND_DISPLAY"_s, u"wayland-stand-in"_s);
        environment.insert(u"XDG_CURRENT_DESKTOP"_s, desktop);
        environment.remove(u"QT_QPA_PLATFORM"_s);
        return environment;
    }

    QStringList arguments() const { return {u"screencapture"_s, u"-i"_s, u"-x"_s, u"-t"_s, u"png"_s, m_target}; }

    /** The portal answers with a picture it saved, as desktops do. */
    void answerWithPicture(const QImage &picture)
    {
        ASSERT_TRUE(picture.save(m_portalFile, "PNG"));
        m_portal.setAnswers({{u"Screenshot"_s, QJsonObject{{u"response"_s, 0},
                                                           {u"uri"_s, QUrl::fromLocalFile(m_portalFile).toString()}}}});
    }

    /** The options of the last Screenshot call. */
    QJsonObject lastOptions() const
    {
        const QList<QJsonObject> calls = m_portal.calls(u"Screenshot"_s);
        return calls.isEmpty() ? QJsonObject() : calls.constLast().value(u"args"_s).toArray().at(1).toObject();
    }

    bool targetFolderEmpty() const { return QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden).isEmpty(); }

    PortalStandIn m_portal;
    QTemporaryDir m_dir;
    QString m_portalFile;
    QString m_target;
};

TEST_F(ScreenCapturePortalTest, DesktopThatSelectsHandsOverItsRegion)
{
    const QImage region = quarters({120, 80});
    answerWithPicture(region);
    const ProcessResult result =
        runProcess(buildPath(u"libexec/tessary-helper"_s), arguments(), waylandSession(u"GNOME"_s));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.standardError.isEmpty()) << result.standardError.constData();
    EXPECT_EQ(QImage(m_target).convertToFormat(QImage::Format_RGB32), region);
    // The portal's copy (GNOME's lands in the Pictures folder) is not left behind.
    EXPECT_FALSE(QFile::exists(m_portalFile));

    const QList<QJsonObject> calls = m_portal.calls(u"Screenshot"_s);
    ASSERT_EQ(calls.size(), 1);
    EXPECT_EQ(calls.constFirst().value(u"args"_s).toArray().at(0).toString(), QString()) << "no parent window";
    const QJsonObject options = lastOptions();
    EXPECT_EQ(options.value(u"interactive"_s), QJsonValue(true));
    EXPECT_EQ(options.value(u"modal"_s), QJsonValue(true));
    EXPECT_FALSE(options.value(u"handle_token"_s).toString().isEmpty());
}

TEST_F(ScreenCapturePortalTest, CancelRefusalAndMissingPortalKeepTheToolsContract)
{
    const QString helper = buildPath(u"libexec/tessary-helper"_s);

    m_portal.setAnswers({{u"Screenshot"_s, QJsonObject{{u"response"_s, 1}}}});
    ProcessResult result;
    for (const QString &desktop : {u"GNOME"_s, u"sway"_s}) {
        QProcessEnvironment environment = waylandSession(desktop);
        // Qt complains about such a folder on standard error; the application would show that as the reason.
        QTemporaryDir runtime;
        QFile::setPermissions(runtime.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                  QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther |
                                                  QFile::ExeOther);
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime.path());
        result = runProcess(helper, arguments(), environment);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.standardError.isEmpty())
            << "cancelled on " << desktop.toStdString() << ": " << result.standardError.constData();
        EXPECT_TRUE(targetFolderEmpty());
    }

    m_portal.setAnswers({{u"Screenshot"_s, QJsonObject{{u"response"_s, 2}}}});
    for (const QString &desktop : {u"GNOME"_s, u"sway"_s}) {
        result = runProcess(helper, arguments(), waylandSession(desktop));
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.standardError, noScreenAccess) << "refused on " << desktop.toStdString();
        EXPECT_TRUE(targetFolderEmpty());
    }

    // A picture that is not there: one line of its own, not the permission message.
    m_portal.setAnswers(
        {{u"Screenshot"_s, QJsonObject{{u"response"_s, 0}, {u"uri"_s, QUrl::fromLocalFile(m_portalFile).toString()}}}});
    result = runProcess(helper, arguments(), waylandSession(u"GNOME"_s));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_FALSE(result.standardError.isEmpty());
    EXPECT_NE(result.standardError, noScreenAccess);
    EXPECT_FALSE(result.standardError.trimmed().contains('\n'));
    EXPECT_TRUE(targetFolderEmpty());

    // No portal at all on the bus.
    m_portal.stop();
    result = runProcess(helper, arguments(), waylandSession(u"GNOME"_s));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, noScreenAccess);
    EXPECT_TRUE(targetFolderEmpty());
}

TEST_F(ScreenCapturePortalTest, OnWlrootsOurSelectorCutsTheRegionFromTheWholeDesktop)
{
    // The X server is 1280x800; a portal picture twice that size is a desktop at scale 2.
    for (const int scale : {1, 2}) {
        SCOPED_TRACE(scale);
        answerWithPicture(quarters(QSize(1280, 800) * scale));
        QProcess tool;
        tool.setProcessEnvironment(waylandSession(u"sway"_s));
        tool.start(buildPath(u"libexec/tessary-helper"_s), arguments());
        ASSERT_TRUE(tool.waitForStarted());
        ASSERT_TRUE(QTest::qWaitFor(
            [] {
                return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                            .standardOutput.isEmpty();
            },
            20000));
        EXPECT_EQ(lastOptions().value(u"interactive"_s), QJsonValue(false));
        // From the red quarter into the green one: 600 → 700 crosses the middle at 640.
        runProcess(u"xdotool"_s, {u"mousemove"_s, u"600"_s, u"100"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"650"_s,
                                  u"150"_s, u"mousemove"_s, u"700"_s, u"200"_s, u"mouseup"_s, u"1"_s});
        ASSERT_TRUE(QTest::qWaitFor([&] { return tool.state() == QProcess::NotRunning; }, 20000));
        EXPECT_EQ(tool.exitCode(), 0);
        EXPECT_TRUE(tool.readAllStandardError().isEmpty());
        const QImage image(m_target);
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.size(), QSize(100, 100) * scale);
        EXPECT_EQ(image.pixelColor(5 * scale, 50 * scale), QColor(255, 0, 0));
        EXPECT_EQ(image.pixelColor(95 * scale, 50 * scale), QColor(0, 255, 0));
        EXPECT_FALSE(QFile::exists(m_portalFile));
        QFile::remove(m_target);
    }

    // Escape over our selector is a cancel like the portal's own.
    answerWithPicture(quarters({1280, 800}));
    QProcess tool;
    tool.setProcessEnvironment(waylandSession(u"sway"_s));
    tool.start(buildPath(u"libexec/tessary-helper"_s), arguments());
    ASSERT_TRUE(QTest::qWaitFor(
        [] {
            return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                        .standardOutput.isEmpty();
        },
        20000));
    runProcess(u"xdotool"_s, {u"key"_s, u"Escape"_s});
    ASSERT_TRUE(QTest::qWaitFor([&] { return tool.state() == QProcess::NotRunning; }, 20000));
    EXPECT_EQ(tool.exitCode(), 1);
    EXPECT_TRUE(tool.readAllStandardError().isEmpty());
    EXPECT_TRUE(targetFolderEmpty());
}

} // namespace
