// A long recognition in the running tray application: a new capture and quitting both stop it, and its text never
// reaches the clipboard. The application, a tray host, xdotool and xclip are real; a screen of dense text makes
// the recognition long.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString python = u"/usr/bin/python3"_s;
const QString hostScript = sourcePath(u"tests/support/sni_host.py"_s);

ProcessResult xdotool(const QStringList &arguments)
{
    return runProcess(u"xdotool"_s, arguments);
}

QString clipboard()
{
    return QString::fromUtf8(runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s}).standardOutput);
}

class RecognitionInterruptTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_host.start(python, {hostScript, u"serve"_s});
        ASSERT_TRUE(m_host.waitForReadyRead(10000));

        // The whole screen covered with the sample screenshot, tiled.
        const QImage sample(sourcePath(u"samples/tessary-sample.png"_s));
        QPixmap screen(1280, 800);
        QPainter painter(&screen);
        for (int y = 0; y < screen.height(); y += sample.height()) {
            for (int x = 0; x < screen.width(); x += sample.width()) {
                painter.drawImage(x, y, sample);
            }
        }
        painter.end();
        m_text.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        m_text.setPixmap(screen);
        m_text.setGeometry(0, 0, 1280, 800);
        m_text.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_text));

        QDir().mkpath(m_config.filePath(u"md.velmor.tessary"_s));
        QFile defaults(m_config.filePath(u"md.velmor.tessary/defaults.ini"_s));
        ASSERT_TRUE(defaults.open(QIODevice::WriteOnly));
        defaults.write("[General]\nlanguage=zh-Hans\n");
        defaults.close();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, m_config.path());
        environment.insert(u"QT_LOGGING_RULES"_s, u"tessary.recognition.debug=true"_s);
        m_app.setProcessEnvironment(environment);
        m_app.start(buildPath(u"bin/tessary"_s), {});
        ASSERT_TRUE(m_app.waitForStarted());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !statusLine().isEmpty(); }, 20000)) << "tray item registered";

        runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-i"_s}, QProcessEnvironment::systemEnvironment(),
                   "before");
        ASSERT_TRUE(QTest::qWaitFor([] { return clipboard() == u"before"_s; }, 5000));
    }

    void TearDown() override
    {
        if (m_app.state() != QProcess::NotRunning) {
            m_app.kill();
            m_app.waitForFinished();
        }
        m_host.kill();
        m_host.waitForFinished();
    }

    QString statusLine()
    {
        const QByteArray json = runProcess(python, {hostScript, u"item"_s}).standardOutput;
        const QJsonArray rows = QJsonDocument::fromJson(json).object().value(u"rows"_s).toArray();
        return rows.size() > 2 ? rows[2].toObject().value(u"label"_s).toString() : QString();
    }

    static bool selectorShown()
    {
        return QTest::qWaitFor(
            [] {
                return !xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                            .standardOutput.isEmpty();
            },
            10000);
    }

    /** Selects the whole screen and waits until its text is being read. */
    void startLongRecognition()
    {
        xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
        ASSERT_TRUE(selectorShown());
        xdotool({u"mousemove"_s, u"0"_s, u"0"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"640"_s, u"400"_s,
                 u"mousemove"_s, u"1279"_s, u"799"_s, u"mouseup"_s, u"1"_s});
        ASSERT_TRUE(QTest::qWaitFor([&] { return statusLine() == u"正在识别文字…"_s; }, 10000))
            << statusLine().toStdString();
    }

    bool logged(const QByteArray &line)
    {
        return QTest::qWaitFor(
            [&] {
                m_log += m_app.readAllStandardError();
                return m_log.contains(line);
            },
            10000);
    }

    QTemporaryDir m_config;
    QProcess m_host;
    QProcess m_app;
    QLabel m_text;
    QByteArray m_log;
};

TEST_F(RecognitionInterruptTest, ANewCaptureAndQuittingStopTheRecognition)
{
    startLongRecognition();
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(selectorShown()) << "a new capture starts while the old one is read";
    EXPECT_TRUE(logged("recognition stopped (cancelled)")) << m_log.toStdString();
    xdotool({u"key"_s, u"Escape"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return statusLine() == u"已取消截图"_s; }, 10000)) << statusLine().toStdString();

    startLongRecognition();
    m_app.terminate();
    ASSERT_TRUE(m_app.waitForFinished(10000));
    EXPECT_EQ(m_app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_app.exitCode(), 0);
    EXPECT_EQ(clipboard(), u"before"_s) << "no text from either stopped recognition";
}

} // namespace
