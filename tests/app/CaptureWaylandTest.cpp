// A capture in a Wayland session as a user makes one: headless sway showing a window of known text, the desktop
// portal started by the bus, the application on the X server that stands in for XWayland, its selector dragged there
// (xdotool, since headless sway has no pointer to drive), and the text read back from the clipboard (xclip).

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPixmap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

QString clipboard()
{
    return QString::fromUtf8(runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s}).standardOutput);
}

bool selectorShown()
{
    return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                .standardOutput.isEmpty();
}

TEST(CaptureWaylandTest, CaptureOptionReadsTheCompositorsScreenThroughThePortal)
{
    if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || qEnvironmentVariableIsEmpty("DISPLAY")) {
        GTEST_SKIP() << "needs headless sway and an X server (runs under with-xvfb with-sway)";
    }
    ASSERT_EQ(QGuiApplication::platformName(), u"wayland"_s);
    // The sample text at the top left of the compositor's screen; nothing on the X server.
    QLabel text;
    text.setAlignment(Qt::AlignLeft | Qt::AlignTop);
    text.setStyleSheet(u"background: white"_s);
    const QPixmap sample(sourcePath(u"samples/tessary-sample.png"_s));
    text.setPixmap(sample);
    text.showFullScreen();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&text));
    QTemporaryDir shots;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const QString path = shots.filePath(u"screen.png"_s);
            runProcess(u"grim"_s, {path});
            const QImage screen(path);
            return !screen.isNull() &&
                   screen.copy(QRect(QPoint(0, 0), sample.size())) == sample.toImage().convertToFormat(screen.format());
        },
        20000));

    QTemporaryDir config;
    QTemporaryDir temporary;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CONFIG_HOME"_s, config.path());
    environment.insert(u"TMPDIR"_s, temporary.path());
    // As the desktop starts it: the application picks XWayland itself.
    environment.remove(u"QT_QPA_PLATFORM"_s);
    QProcess app;
    app.setProcessEnvironment(environment);
    app.setProcessChannelMode(QProcess::ForwardedChannels);
    app.start(buildPath(u"bin/tessary"_s), {u"--capture"_s});
    ASSERT_TRUE(app.waitForStarted());
    // The first call starts the portal and its back ends on the bus, which takes a moment.
    ASSERT_TRUE(QTest::qWaitFor(selectorShown, 60000));
    runProcess(u"xdotool"_s, {u"mousemove"_s, u"0"_s, u"0"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"200"_s,
                              u"100"_s, u"mousemove"_s, QString::number(sample.width()),
                              QString::number(sample.height()), u"mouseup"_s, u"1"_s});
    QFile expected(sourcePath(u"samples/tessary-sample.txt"_s));
    ASSERT_TRUE(expected.open(QIODevice::ReadOnly));
    const QString sampleText = QString::fromUtf8(expected.readAll()).trimmed();
    EXPECT_TRUE(QTest::qWaitFor([&] { return clipboard() == sampleText; }, 30000)) << clipboard().toStdString();
    EXPECT_TRUE(QDir(temporary.path()).entryList({u"tessary-*.png"_s}, QDir::Files).isEmpty());
    EXPECT_FALSE(QFile::exists(u"/tmp/out.png"_s)) << "the portal's file";

    app.terminate();
    EXPECT_TRUE(app.waitForFinished(20000));
}

} // namespace
