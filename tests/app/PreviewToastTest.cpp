#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

QString xdotool(const QStringList &arguments)
{
    return QString::fromUtf8(runProcess(u"xdotool"_s, arguments).standardOutput).trimmed();
}

// The launch option as a user runs it: the real application on a private X server and a private home.
TEST(PreviewToastTest, ShowsTheLaunchToastUnderThePointerForAMinute)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    QTemporaryDir home;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home.path());
    environment.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u"config"_s));
    environment.insert(u"XDG_DATA_HOME"_s, home.filePath(u"data"_s));
    environment.insert(u"XDG_RUNTIME_DIR"_s, home.path());
    environment.insert(u"TESSARY_NEW_INSTANCE"_s, u"1"_s);
    ASSERT_EQ(runProcess(u"xdotool"_s, {u"mousemove"_s, u"900"_s, u"600"_s}).exitCode, 0);

    QProcess tessary;
    tessary.setProcessEnvironment(environment);
    tessary.start(buildPath(u"bin/tessary"_s), {u"--preview-toast"_s});
    ASSERT_TRUE(tessary.waitForStarted());
    QElapsedTimer sinceStart;
    sinceStart.start();

    QString window;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return !(window = xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s})).isEmpty();
        },
        20000));
    const QString geometry = xdotool({u"getwindowgeometry"_s, window});
    EXPECT_TRUE(geometry.contains(u"Position: 460,28"_s)) << geometry.toStdString();
    EXPECT_TRUE(geometry.contains(u"Geometry: 360x82"_s)) << geometry.toStdString();

    // Well past the ordinary 1.5 seconds it is still there; a minute after launch it has gone by itself.
    QTest::qWait(3000);
    EXPECT_FALSE(xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s}).isEmpty());
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s}).isEmpty();
        },
        75000));
    EXPECT_GE(sinceStart.elapsed(), 59000);
    EXPECT_EQ(tessary.state(), QProcess::Running) << "the application goes on after its toast";

    tessary.kill();
    tessary.waitForFinished(10000);
}

} // namespace
