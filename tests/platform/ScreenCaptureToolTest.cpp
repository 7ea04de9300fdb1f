// The region capture tool as the application runs it: a real child process on a real X server, driven by real
// mouse drags and key presses (xdotool).

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include "tests/support/ColouredQuarters.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

class ScreenCaptureToolTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {
            GTEST_SKIP() << "needs an X server (runs under with-xvfb)";
        }
        m_screen.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        m_screen.setGeometry(0, 0, 1280, 800);
        m_screen.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_screen));
        QTest::qWait(200);
    }

    void startTool(const QString &path)
    {
        m_tool.start(buildPath(u"libexec/tessary-helper"_s),
                     {u"screencapture"_s, u"-i"_s, u"-x"_s, u"-t"_s, u"png"_s, path});
        ASSERT_TRUE(m_tool.waitForStarted());
        // The selector is up once its windows exist.
        ASSERT_TRUE(QTest::qWaitFor(
            [] {
                return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                            .standardOutput.isEmpty();
            },
            10000));
    }

    void finishTool()
    {
        ASSERT_TRUE(QTest::qWaitFor([&] { return m_tool.state() == QProcess::NotRunning; }, 10000));
    }

    QTemporaryDir m_dir;
    Tessary::Test::ColouredQuarters m_screen;
    QProcess m_tool;
};

TEST_F(ScreenCaptureToolTest, DragWritesTheRegionInPhysicalPixels)
{
    const QString path = m_dir.filePath(u"region.png"_s);
    startTool(path);
    // From the red quarter across into the green one: 600 → 700 crosses the middle at 640.
    runProcess(u"xdotool"_s, {u"mousemove"_s, u"600"_s, u"100"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"650"_s,
                              u"150"_s, u"mousemove"_s, u"700"_s, u"200"_s, u"mouseup"_s, u"1"_s});
    finishTool();
    EXPECT_EQ(m_tool.exitCode(), 0);
    EXPECT_TRUE(m_tool.readAllStandardError().isEmpty());
    const QImage image(path);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(100, 100));
    // Frozen, undimmed screen pixels.
    EXPECT_EQ(image.pixelColor(5, 50), QColor(255, 0, 0));
    EXPECT_EQ(image.pixelColor(95, 50), QColor(0, 255, 0));
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"region.png"_s});
}

TEST_F(ScreenCaptureToolTest, CancellingLeavesNoFileAndSaysNothing)
{
    const QList<QStringList> cancels{
        {u"key"_s, u"Escape"_s},
        {u"mousemove"_s, u"300"_s, u"300"_s, u"click"_s, u"3"_s},
        // A click is a drag of no size.
        {u"mousemove"_s, u"300"_s, u"300"_s, u"click"_s, u"1"_s},
    };
    for (const QStringList &cancel : cancels) {
        const QString path = m_dir.filePath(u"cancelled.png"_s);
        startTool(path);
        runProcess(u"xdotool"_s, cancel);
        finishTool();
        EXPECT_EQ(m_tool.exitCode(), 1) << cancel.join(u' ').toStdString();
        EXPECT_TRUE(m_tool.readAllStandardError().isEmpty()) << cancel.join(u' ').toStdString();
        EXPECT_TRUE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden).isEmpty());
    }
}

TEST_F(ScreenCaptureToolTest, MissingFolderIsAnErrorWithOneLine)
{
    const ProcessResult result =
        runProcess(buildPath(u"libexec/tessary-helper"_s),
                   {u"screencapture"_s, u"-i"_s, u"-x"_s, u"-t"_s, u"png"_s, m_dir.filePath(u"gone/x.png"_s)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_FALSE(result.standardError.isEmpty());
    EXPECT_FALSE(result.standardError.trimmed().contains('\n'));
    EXPECT_FALSE(QFile::exists(m_dir.filePath(u"gone/x.png"_s)));
}

} // namespace
