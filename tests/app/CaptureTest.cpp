// A capture as a user makes one: the running application, its shortcut (X11 grabs or KDE's kglobalaccel5) or
// "tessary --capture", a region dragged over known text (xdotool), the clipboard read by xclip; also a long recognition
// interrupted and a refused polish. Run with a tray host on an X server, and in headless sway with the portal on two
// outputs of different scale (CaptureOutputsTest): the application on sway's own XWayland, the selector a Wayland
// client driven by a virtual pointer.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPainter>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/CodeImage.h"
#include "tests/support/KGlobalAccelDaemon.h"
#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const bool wayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");

class CaptureTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        if (name.starts_with("Wayland") != wayland) {
            GTEST_SKIP() << "a case of another desktop (X11, or sway with two outputs)";
        }
        // A desktop without a panel would get the settings window at the start, over what is read.
        ASSERT_TRUE(m_tray.start()) << "runs under with-xvfb with-keyring, or with-sway";
        if (wayland) {
            // The compositor's socket is not in the private home's runtime folder.
            m_environment.insert(u"WAYLAND_DISPLAY"_s, qEnvironmentVariable("XDG_RUNTIME_DIR") + u'/' +
                                                           qEnvironmentVariable("WAYLAND_DISPLAY"));
        }
        m_home.writeDefaults("language=zh-Hans\n");
        if (!wayland) {
            showSample();
        }
    }

    void TearDown() override
    {
        m_pointer.closeWriteChannel();
        m_pointer.waitForFinished(10000);
        m_app.terminate();
        m_app.waitForFinished(20000);
    }

    /** The sample screenshot at the top left of the screen, as any window showing text would be. */
    void showSample()
    {
        m_sample.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        m_sample.setAlignment(Qt::AlignLeft | Qt::AlignTop);
        m_sample.setStyleSheet(u"background: white"_s);
        m_sample.setPixmap(QPixmap(sourcePath(u"samples/tessary-sample.png"_s)));
        m_sample.adjustSize();
        m_sample.move(0, 0);
        m_sample.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_sample));
    }

    void start(const QStringList &arguments = {})
    {
        if (wayland) {
            // The pointer exists before the selector starts (a client binds a pointer as it connects), in a corner
            // of the screen read first: the compositor draws it into the screenshot.
            const QRect layout = QGuiApplication::primaryScreen()->virtualGeometry();
            m_pointer.start(u"python3"_s, {sourcePath(u"tests/support/virtual_pointer.py"_s),
                                           QString::number(layout.x()), QString::number(layout.y()),
                                           QString::number(layout.width()), QString::number(layout.height())});
            ASSERT_TRUE(pointerAnswered());
            m_pointer.write("move -1 199\n");
            ASSERT_TRUE(pointerAnswered());
        }
        m_app.setProcessEnvironment(m_environment);
        m_app.start(buildPath(u"bin/tessary"_s), arguments);
        ASSERT_TRUE(m_app.waitForStarted());
        if (!wayland) {
            ASSERT_TRUE(QTest::qWaitFor([&] { return !m_tray.statusLine().isEmpty(); }, 20000)) << "no tray item";
        }
    }

    /** Drags over a region (desktop coordinates) once the selector is up on every screen. */
    void select(const QRect &region)
    {
        if (!wayland) {
            ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s, true, 60000));
            drag(region.left(), region.top(), region.right() + 1, region.bottom() + 1);
            return;
        }
        // Up and drawn on every output (a window's first picture may be smaller than its output, and a press
        // beside it is lost): the selector dims the white backgrounds.
        const QList<QScreen *> screens = QGuiApplication::screens();
        const auto dimmed = [](const QScreen *screen) {
            const QImage shown =
                QImage::fromData(runProcess(u"grim"_s, {u"-o"_s, screen->name(), u"-"_s}).standardOutput);
            return !shown.isNull() && shown.pixelColor(10, shown.height() - 10).red() < 200;
        };
        ASSERT_TRUE(QTest::qWaitFor([&] { return std::ranges::all_of(screens, dimmed); }, 60000));
        m_pointer.write(u"drag %1 %2 %3 %4\n"_s.arg(region.left())
                            .arg(region.top())
                            .arg(region.right() + 1)
                            .arg(region.bottom() + 1)
                            .toUtf8());
        ASSERT_TRUE(pointerAnswered());
    }

    /** The virtual pointer's answer to its last command: whether it was carried out. */
    bool pointerAnswered()
    {
        (void)QTest::qWaitFor([&] { return m_pointer.canReadLine() || m_pointer.state() == QProcess::NotRunning; },
                              20000);
        return m_pointer.readLine().trimmed() == "ok";
    }

    /** Drags over the sample once the selector is up; the sample's text is on the clipboard afterwards if copied. */
    void selectTheSample(bool copied = true)
    {
        select(QRect(QPoint(0, 0), m_sample.pixmap().size()));
        if (copied) {
            expectTheSampleCopied();
        }
    }

    void expectTheSampleCopied()
    {
        const QString expected = QString::fromUtf8(fileContents(sourcePath(u"samples/tessary-sample.txt"_s))).trimmed();
        EXPECT_TRUE(QTest::qWaitFor([&] { return clipboardTextElsewhere() == expected; }, 30000))
            << clipboardTextElsewhere().value_or(QString()).toStdString();
        // Only plain text is offered, and no capture file is left behind.
        const auto targets =
            runServingEvents(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s, u"-t"_s, u"TARGETS"_s});
        EXPECT_FALSE(targets.value_or("").contains("image/") || targets.value_or("").contains("text/html"));
        EXPECT_TRUE(QDir(m_home.path(u"tmp"_s)).entryList({u"tessary-*.png"_s}, QDir::Files).isEmpty());
    }

    /** The toast on screen, read as a user reads it (by the application's own recognition, which copies it). */
    QByteArray toastText()
    {
        const QString toast = xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s});
        const QString picture = m_home.path(u"toast.png"_s);
        if (toast.isEmpty() ||
            !QGuiApplication::primaryScreen()->grabWindow(toast.section(u'\n', 0, 0).toULongLong()).save(picture)) {
            return {};
        }
        return runProcess(buildPath(u"bin/tessary"_s), {u"--ocr-file"_s, picture}, m_environment).standardOutput;
    }

    PrivateHome m_home;
    QProcessEnvironment m_environment = m_home.environment();
    TrayHost m_tray;
    QLabel m_sample;
    QProcess m_app;
    QProcess m_pointer;
};

TEST_F(CaptureTest, EscapeCancelsThenShortcutAndDragCopyTheTextAndAnnounceIt)
{
    ASSERT_TRUE(offerClipboardElsewhere("before"));
    // Started from the command line in the running instance; a second start while selecting is ignored.
    start();
    EXPECT_EQ(runProcess(buildPath(u"bin/tessary"_s), {u"--capture"_s}, m_environment).exitCode, 0);
    ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s));
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    xdotool({u"key"_s, u"Escape"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_tray.statusLine() == u"已取消截图"_s; }, 10000))
        << m_tray.statusLine().toStdString();
    EXPECT_TRUE(waitForWindow(u"^Tessary Capture$"_s, false)) << "one selector, gone with Escape";
    EXPECT_EQ(clipboardTextElsewhere(), u"before"_s);

    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s));
    EXPECT_EQ(m_tray.statusLine(), u"框选要识别的区域"_s);
    selectTheSample();
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_tray.statusLine() == u"已复制识别文字"_s; }, 10000))
        << m_tray.statusLine().toStdString();
    ASSERT_TRUE(waitForWindow(u"^Tessary Toast$"_s, true, 0));
    // On the monitor where the selection ended: with two monitors (with-xvfb's TESSARY_X_MONITORS=2), the one left of
    // the primary.
    const QScreen *ended = QGuiApplication::screenAt(QPoint(m_sample.width() - 1, m_sample.height() - 1));
    ASSERT_NE(ended, nullptr);
    EXPECT_TRUE(ended->geometry().contains(shownToast()));
}

TEST_F(CaptureTest, AQrCodeUnderTheTextIsWhatIsCopiedAndTheToastNamesIt)
{
    const QString link = u"https://example.org/截图?a=1&b=2"_s;
    m_sample.setPixmap(
        QPixmap::fromImage(stacked(m_sample.pixmap().toImage(), codeImage(ZXing::BarcodeFormat::QRCode, link, 3))));
    m_sample.adjustSize();
    m_home.writeDefaults("language=en\n");
    // Every success toast of this run stays a minute, so that it can be read.
    start({u"--preview-toast"_s});
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s, true, 60000));
    drag(0, 0, m_sample.width(), m_sample.height());
    EXPECT_TRUE(QTest::qWaitFor([&] { return clipboardTextElsewhere() == link; }, 30000))
        << clipboardTextElsewhere().value_or(QString()).toStdString();
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_tray.statusLine() == u"Code content copied"_s; }, 10000));
    // The toast: the code's kind where the character count would be.
    const QByteArray shown = toastText();
    EXPECT_TRUE(shown.contains("QR code") && !shown.contains("Characters")) << shown.data();
}

TEST_F(CaptureTest, ANewCaptureAndQuittingStopALongRecognition)
{
    // The whole screen covered with the sample, tiled: reading it takes long.
    QPixmap screen(1280, 800);
    QPainter painter(&screen);
    painter.drawTiledPixmap(screen.rect(), m_sample.pixmap());
    painter.end();
    m_sample.setPixmap(screen);
    m_sample.adjustSize();
    ASSERT_TRUE(offerClipboardElsewhere("before"));
    m_environment.insert(u"QT_LOGGING_RULES"_s, u"tessary.recognition.debug=true"_s);
    start();
    const auto startLongRecognition = [&] {
        xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
        ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s));
        drag(0, 0, 1279, 799);
        ASSERT_TRUE(QTest::qWaitFor([&] { return m_tray.statusLine() == u"正在识别文字…"_s; }, 10000))
            << m_tray.statusLine().toStdString();
    };
    startLongRecognition();
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(waitForWindow(u"^Tessary Capture$"_s)) << "a new capture starts while the old one is read";
    QByteArray log;
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return (log += m_app.readAllStandardError()).contains("recognition stopped (cancelled)"); }, 10000))
        << log.toStdString();
    xdotool({u"key"_s, u"Escape"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_tray.statusLine() == u"已取消截图"_s; }, 10000));

    startLongRecognition();
    m_app.terminate();
    ASSERT_TRUE(m_app.waitForFinished(10000));
    EXPECT_EQ(m_app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_app.exitCode(), 0);
    EXPECT_EQ(clipboardTextElsewhere(), u"before"_s) << "no text from either stopped recognition";
}

TEST_F(CaptureTest, RefusedPolishShowsTheServicesReasonInAToastAndLeavesTheClipboard)
{
    LoopbackHttpsServer server;
    ASSERT_TRUE(server.start());
    server.setRoute(u"/v1/chat/completions"_s,
                    {{u"status"_s, 401},
                     {u"body"_s, uR"({"error":{"message":"Incorrect API key provided: sk-wrong.","type":"x"}})"_s}});
    m_home.writeDefaults("language=en\naiModel=m\naiBaseURL=" + server.baseUrl().toString().toUtf8() + "/v1\n");
    m_environment.insert(u"SSL_CERT_FILE"_s, server.caCertificatePath());
    ASSERT_EQ(runProcess(buildPath(u"bin/tessary"_s), {u"--set-ai-key-stdin"_s}, m_environment, "sk-wrong\n").exitCode,
              0);
    ASSERT_TRUE(offerClipboardElsewhere("before"));
    start();
    m_tray.click(translated(u"en"_s, u"选区识字并 AI 润色"_s));
    selectTheSample(false);

    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return m_tray.statusLine().contains(u"Incorrect API key provided: sk-wrong."_s); }, 30000))
        << m_tray.statusLine().toStdString();
    EXPECT_EQ(clipboardTextElsewhere(), u"before"_s);
    EXPECT_EQ(server.requests().size(), 1);
    // The failure toast, not the one of the polish under way.
    EXPECT_TRUE(QTest::qWaitFor([&] { return toastText().contains("failed"); }, 20000));
}

TEST_F(CaptureTest, ShortcutThroughKdesDaemonCopiesTheTextAndQuitLetsTheKeyGo)
{
    KGlobalAccelDaemon daemon;
    ASSERT_TRUE(daemon.start());
    start();
    ASSERT_TRUE(QTest::qWaitFor(
        [] { return !KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty(); }, 20000));
    xdotool({u"key"_s, u"ctrl+shift+super+2"_s});
    selectTheSample();
    m_app.terminate();
    ASSERT_TRUE(m_app.waitForFinished(20000));
    EXPECT_TRUE(KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty());
}

TEST_F(CaptureTest, WaylandTwoOutputsOfMixedScaleGiveTheTextOfEachAndTheToastFollowsTheSelection)
{
    // sway's layout: HEADLESS-2 at scale 2 is left of and above the origin.
    const QScreen *left = QGuiApplication::screenAt({-320, 0});
    ASSERT_TRUE(left != nullptr && left->geometry() == QRect(-640, -200, 640, 400) && left->devicePixelRatio() == 2);
    // The sample as each output's background (windows come and go with full-screen selectors): at the top left of
    // the output at scale 2 in its own pixels, lower and further right on the other, so that a region read from the
    // wrong output does not give the same text.
    const QImage sample(sourcePath(u"samples/tessary-sample.png"_s));
    QTemporaryDir shared(u"/tmp/tessary-outputs-XXXXXX"_s);
    QFile::setPermissions(shared.path(),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
    const QPoint inset(400, 300);
    for (const auto &[output, at] : {std::pair(u"HEADLESS-1"_s, inset), std::pair(u"HEADLESS-2"_s, QPoint(40, 40))}) {
        QImage background(1280, 800, QImage::Format_RGB32);
        background.fill(Qt::white);
        QPainter(&background).drawImage(at, sample);
        ASSERT_TRUE(background.save(shared.filePath(output + u".png"_s)));
        runProcess(u"swaymsg"_s, {u"output"_s, output, u"bg"_s, shared.filePath(output + u".png"_s), u"stretch"_s});
    }
    const auto shows = [&](const QString &output, const QPoint &at) {
        runProcess(u"grim"_s, {u"-o"_s, output, m_home.path(u"screen.png"_s)});
        const QImage screen(m_home.path(u"screen.png"_s));
        return !screen.isNull() && screen.copy(QRect(at, sample.size())) == sample.convertToFormat(screen.format());
    };
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return shows(u"HEADLESS-1"_s, inset) && shows(u"HEADLESS-2"_s, {40, 40});
        },
        20000));

    m_environment.remove(u"QT_QPA_PLATFORM"_s);
    start({u"--capture"_s});
    select(QRect(-620, -180, 270, 89));
    // The toast is on the output where the selection ended (sway's XWayland places it as the layout does).
    ASSERT_TRUE(waitForWindow(u"^Tessary Toast$"_s, true, 60000)) << m_tray.statusLine().toStdString();
    EXPECT_TRUE(left->geometry().contains(shownToast()));
    expectTheSampleCopied();

    // A second capture, on the output at scale 1.
    ASSERT_TRUE(offerClipboardElsewhere("before"));
    EXPECT_EQ(runProcess(buildPath(u"bin/tessary"_s), {u"--capture"_s}, m_environment).exitCode, 0);
    select(QRect(inset, sample.size()));
    expectTheSampleCopied();

    // Across the border: both samples, each at its output's scale, read as one picture. Headless sway redraws the
    // output at scale 2 for new windows only while the pointer is on it.
    m_pointer.write("move -1 199\n");
    ASSERT_TRUE(pointerAnswered());
    ASSERT_TRUE(waitForWindow(u"^Tessary Toast$"_s, false));
    ASSERT_TRUE(offerClipboardElsewhere("before"));
    EXPECT_EQ(runProcess(buildPath(u"bin/tessary"_s), {u"--capture"_s}, m_environment).exitCode, 0);
    select(QRect(QPoint(-620, -180), inset + QPoint(sample.width() - 1, sample.height() - 1)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return clipboardTextElsewhere() != u"before"_s; }, 60000));
    // The part at scale 2 first, exactly; the other, enlarged to match, is read less well (its heading is lost).
    const QString expected = QString::fromUtf8(fileContents(sourcePath(u"samples/tessary-sample.txt"_s))).trimmed();
    const QString both = clipboardTextElsewhere().value_or(QString());
    EXPECT_TRUE(both.startsWith(expected) && both.count(u"框选区域"_s) == 2) << both.toStdString();
    EXPECT_FALSE(QFile::exists(u"/tmp/out.png"_s)) << "the portal's file";
}

} // namespace
