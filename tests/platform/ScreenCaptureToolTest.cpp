// The region capture tool as the application runs it: a child process on a real X server, real drags and keys
// (xdotool). On Wayland the portal is a stand-in for the documented Screenshot interface on a private bus (the real
// one is in CaptureOutputsTest); our selector shows on the X server as it would on XWayland.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QLabel>
#include <QPainter>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include "tests/support/PortalStandIn.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QByteArray noScreenAccess = "could not create image from rect";

/** Red and green side by side over blue and yellow, so that captured pixels tell where they came from. */
QImage colouredQuarters(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    const int w = size.width() / 2, h = size.height() / 2;
    painter.fillRect(0, 0, w, h, Qt::red);
    painter.fillRect(w, 0, size.width() - w, h, Qt::green);
    painter.fillRect(0, h, w, size.height() - h, Qt::blue);
    painter.fillRect(w, h, size.width() - w, size.height() - h, Qt::yellow);
    return image;
}

class ScreenCaptureToolTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_portal.start(PortalStandIn::Screenshot));
        m_portalFile = m_portal.directory() + u"/Screenshot from the portal.png"_s;
    }

    /** The session as the tool sees it from its environment: X11, or Wayland of the named desktop. */
    static QProcessEnvironment session(const QString &waylandDesktop)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!waylandDesktop.isEmpty()) {
            environment.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
            environment.insert(u"WAYLAND_DISPLAY"_s, u"wayland-stand-in"_s);
            environment.insert(u"XDG_CURRENT_DESKTOP"_s, waylandDesktop);
            environment.remove(u"QT_QPA_PLATFORM"_s);
        }
        return environment;
    }

    void startTool(const QProcessEnvironment &environment, const QString &target)
    {
        m_tool.setProcessEnvironment(environment);
        m_tool.start(buildPath(u"libexec/tessary-helper"_s),
                     {u"screencapture"_s, u"-i"_s, u"-x"_s, u"-t"_s, u"png"_s, target});
        ASSERT_TRUE(m_tool.waitForStarted());
    }

    /** Waits for the tool's end; its exit code, and its standard error in error. */
    int finishTool(QByteArray *error)
    {
        const bool ended = QTest::qWaitFor([&] { return m_tool.state() == QProcess::NotRunning; }, 30000);
        *error = m_tool.readAllStandardError();
        return ended ? m_tool.exitCode() : -1;
    }

    /** The portal answers with a picture it saved, as desktops do. */
    void answerWithPicture(const QImage &picture)
    {
        ASSERT_TRUE(picture.save(m_portalFile, "PNG"));
        m_portal.setAnswers({{u"Screenshot"_s, QJsonObject{{u"response"_s, 0},
                                                           {u"uri"_s, QUrl::fromLocalFile(m_portalFile).toString()}}}});
    }

    QJsonArray firstScreenshotCall() const
    {
        return m_portal.calls(u"Screenshot"_s).value(0).value(u"args"_s).toArray();
    }

    QStringList files() const { return QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden); }

    PortalStandIn m_portal;
    QTemporaryDir m_dir;
    QString m_portalFile;
    QString m_target = m_dir.filePath(u"capture.png"_s);
    QProcess m_tool;
};

TEST_F(ScreenCaptureToolTest, DragWritesTheRegionInPhysicalPixels)
{
    // On X11 the screen shows the quarters; on wlroots the portal hands over the whole desktop (twice the X server's
    // 1280x800 at scale 2) and our selector cuts the region from it.
    QLabel screen;
    screen.setPixmap(QPixmap::fromImage(colouredQuarters({1280, 800})));
    screen.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    screen.setGeometry(0, 0, 1280, 800);
    screen.show();
    ASSERT_TRUE(QTest::qWaitFor(
        [] { return QGuiApplication::primaryScreen()->grabWindow(0).toImage().pixelColor(900, 100) == Qt::green; },
        10000));
    for (const auto &[desktop, scale] : {std::pair(QString(), 1), std::pair(u"sway"_s, 1), std::pair(u"sway"_s, 2)}) {
        SCOPED_TRACE(desktop.toStdString() + " at scale " + std::to_string(scale));
        if (!desktop.isEmpty()) {
            answerWithPicture(colouredQuarters(QSize(1280, 800) * scale));
        }
        startTool(session(desktop), m_target);
        ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s));
        // From the red quarter across into the green one: 600 → 700 crosses the middle at 640.
        drag(600, 100, 700, 200);
        QByteArray error;
        EXPECT_EQ(finishTool(&error), 0);
        EXPECT_TRUE(error.isEmpty()) << error.constData();
        const QImage image(m_target);
        EXPECT_EQ(image.size(), QSize(100, 100) * scale);
        // Frozen, undimmed screen pixels.
        EXPECT_EQ(image.pixelColor(5 * scale, 50 * scale), QColor(255, 0, 0));
        EXPECT_EQ(image.pixelColor(95 * scale, 50 * scale), QColor(0, 255, 0));
        EXPECT_EQ(files(), QStringList{u"capture.png"_s});
        EXPECT_FALSE(QFile::exists(m_portalFile));
        if (!desktop.isEmpty()) {
            EXPECT_EQ(firstScreenshotCall().at(1).toObject().value(u"interactive"_s), QJsonValue(false));
        }
        QFile::remove(m_target);
    }
}

TEST_F(ScreenCaptureToolTest, DesktopThatSelectsHandsOverItsRegion)
{
    const QImage region = colouredQuarters({120, 80});
    answerWithPicture(region);
    startTool(session(u"GNOME"_s), m_target);
    QByteArray error;
    EXPECT_EQ(finishTool(&error), 0);
    EXPECT_TRUE(error.isEmpty()) << error.constData();
    EXPECT_EQ(QImage(m_target).convertToFormat(QImage::Format_RGB32), region);
    // The portal's copy (GNOME's lands in the Pictures folder) is not left behind.
    EXPECT_FALSE(QFile::exists(m_portalFile));
    ASSERT_EQ(m_portal.calls(u"Screenshot"_s).size(), 1);
    EXPECT_EQ(firstScreenshotCall().at(1).toObject().value(u"interactive"_s), QJsonValue(true));
}

struct Outcome
{
    const char *name;
    QString desktop;   // empty: X11
    int portalAnswer;  // the portal's response code; -1 answers with a missing picture, -2 stops the portal
    QStringList input; // what the user does over our selector (xdotool), if anything
    QByteArray error;  // the standard error; "?" for any one line other than noScreenAccess
};

TEST_F(ScreenCaptureToolTest, CancelsAndFailuresWriteNothingAndKeepTheToolsContract)
{
    const QList<Outcome> outcomes{
        {"escape", {}, 0, {u"key"_s, u"Escape"_s}, {}},
        {"click is a drag of no size", {}, 0, {u"mousemove"_s, u"300"_s, u"300"_s, u"click"_s, u"1"_s}, {}},
        {"cancelled in the desktop's dialog", u"GNOME"_s, 1, {}, {}},
        {"refused", u"GNOME"_s, 2, {}, noScreenAccess},
        {"picture not there", u"GNOME"_s, -1, {}, "?"},
        {"no portal", u"GNOME"_s, -2, {}, noScreenAccess},
    };
    for (const Outcome &outcome : outcomes) {
        SCOPED_TRACE(outcome.name);
        QProcessEnvironment environment = session(outcome.desktop);
        // Qt complains about a runtime folder others may read; the application would show that as the reason.
        QTemporaryDir runtime;
        QFile::setPermissions(runtime.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                  QFile::ReadOther | QFile::ExeOther);
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime.path());
        if (outcome.portalAnswer == -2) {
            m_portal.stop();
        } else if (outcome.portalAnswer == -1) {
            answerWithPicture(colouredQuarters({1280, 800}));
            QFile::remove(m_portalFile);
        } else if (outcome.portalAnswer == 0) {
            answerWithPicture(colouredQuarters({1280, 800}));
        } else {
            m_portal.setAnswers({{u"Screenshot"_s, QJsonObject{{u"response"_s, outcome.portalAnswer}}}});
        }
        startTool(environment, m_target);
        if (!outcome.input.isEmpty()) {
            ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s));
            xdotool(outcome.input);
        }
        QByteArray error;
        EXPECT_EQ(finishTool(&error), 1);
        EXPECT_TRUE(outcome.error == "?" ? !error.isEmpty() && error != noScreenAccess : error == outcome.error);
        EXPECT_FALSE(error.trimmed().contains('\n')) << error.constData();
        EXPECT_TRUE(files().isEmpty());
    }
}

} // namespace
