// A capture as a user makes one: the running application, the real shortcut pressed and a region dragged over a
// window of known text (xdotool), the text read back from the clipboard by another program (xclip).

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPixmap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString python = u"/usr/bin/python3"_s;
const QString hostScript = sourcePath(u"tests/support/sni_host.py"_s);

class CaptureTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY"));
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"));
        m_host.start(python, {hostScript, u"serve"_s});
        ASSERT_TRUE(m_host.waitForReadyRead(10000));

        // The sample screenshot on screen at the top left, as any window showing text would be.
        m_text.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        m_text.setPixmap(QPixmap(sourcePath(u"samples/tessary-sample.png"_s)));
        m_text.move(0, 0);
        m_text.adjustSize();
        m_text.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_text));

        QDir().mkpath(m_config.filePath(u"md.velmor.tessary"_s));
        QFile defaults(m_config.filePath(u"md.velmor.tessary/defaults.ini"_s));
        ASSERT_TRUE(defaults.open(QIODevice::WriteOnly));
        defaults.write("[General]\nlanguage=zh-Hans\n");
        defaults.close();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, m_config.path());
        environment.insert(u"TMPDIR"_s, m_temporary.path());
        m_environment = environment;
        m_app.setProcessEnvironment(environment);
        m_app.start(buildPath(u"bin/tessary"_s), {});
        ASSERT_TRUE(m_app.waitForStarted());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !statusLine().isEmpty(); }, 20000)) << "tray item registered";
    }

    void TearDown() override
    {
        m_app.terminate();
        m_app.waitForFinished(5000);
        m_host.kill();
        m_host.waitForFinished();
    }

    QString statusLine()
    {
        const QByteArray json = runProcess(python, {hostScript, u"item"_s}).standardOutput;
        const QJsonArray rows = QJsonDocument::fromJson(json).object().value(u"rows"_s).toArray();
        return rows.size() > 2 ? rows[2].toObject().value(u"label"_s).toString() : QString();
    }

    static QString clipboard()
    {
        return QString::fromUtf8(runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s}).standardOutput);
    }

    static bool waitForSelector()
    {
        return QTest::qWaitFor(
            [] {
                return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                            .standardOutput.isEmpty();
            },
            10000);
    }

    static QString sampleText()
    {
        QFile file(sourcePath(u"samples/tessary-sample.txt"_s));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return QString::fromUtf8(file.readAll()).trimmed();
    }

    QStringList leftoverCaptures() const
    {
        return QDir(m_temporary.path()).entryList({u"tessary-*.png"_s}, QDir::Files);
    }

    QTemporaryDir m_config;
    QTemporaryDir m_temporary;
    QProcessEnvironment m_environment;
    QProcess m_host;
    QProcess m_app;
    QLabel m_text;
};

TEST_F(CaptureTest, ShortcutAndDragCopyTheTextAndAnnounceIt)
{
    runProcess(u"xdotool"_s, {u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(waitForSelector());
    EXPECT_EQ(statusLine(), u"框选要识别的区域"_s);
    const QSize size = m_text.size();
    runProcess(u"xdotool"_s,
               {u"mousemove"_s, u"0"_s, u"0"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"200"_s, u"100"_s,
                u"mousemove"_s, QString::number(size.width()), QString::number(size.height()), u"mouseup"_s, u"1"_s});
    ASSERT_TRUE(QTest::qWaitFor([&] { return clipboard() == sampleText(); }, 20000)) << clipboard().toStdString();
    EXPECT_TRUE(QTest::qWaitFor([&] { return statusLine() == u"已复制识别文字"_s; }, 5000))
        << statusLine().toStdString();
    EXPECT_FALSE(runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s})
                     .standardOutput.isEmpty());
    // Only plain text is offered.
    const QString targets = QString::fromUtf8(
        runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s, u"-t"_s, u"TARGETS"_s}).standardOutput);
    EXPECT_FALSE(targets.contains(u"image/"_s));
    EXPECT_FALSE(targets.contains(u"text/html"_s));
    EXPECT_TRUE(leftoverCaptures().isEmpty());
}

TEST_F(CaptureTest, EscapeCancelsAndLeavesTheClipboardAlone)
{
    runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-i"_s}, QProcessEnvironment::systemEnvironment(),
               "before");
    ASSERT_TRUE(QTest::qWaitFor([&] { return clipboard() == u"before"_s; }, 5000));

    runProcess(u"xdotool"_s, {u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(waitForSelector());
    // A second start while selecting is ignored: still one selector.
    runProcess(u"xdotool"_s, {u"key"_s, u"ctrl+shift+super+2"_s});
    runProcess(u"xdotool"_s, {u"key"_s, u"Escape"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return statusLine() == u"已取消截图"_s; }, 10000)) << statusLine().toStdString();
    EXPECT_EQ(clipboard(), u"before"_s);
    EXPECT_TRUE(leftoverCaptures().isEmpty());
}

TEST_F(CaptureTest, CaptureOptionStartsACaptureInTheRunningInstance)
{
    const ProcessResult launch = runProcess(buildPath(u"bin/tessary"_s), {u"--capture"_s}, m_environment);
    EXPECT_EQ(launch.exitCode, 0);
    ASSERT_TRUE(waitForSelector());
    runProcess(u"xdotool"_s, {u"key"_s, u"Escape"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return statusLine() == u"已取消截图"_s; }, 10000));
    EXPECT_EQ(m_app.state(), QProcess::Running);
}

} // namespace
