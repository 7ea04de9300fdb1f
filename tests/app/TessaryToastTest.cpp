// The toast on a private X server as other programs see it (xdotool, the screen's pixels): in this process, and as
// the real application's launch preview.

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QMouseEvent>
#include <QRegularExpression>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QProcess>
#include <QWidget>

#include "app/TessaryToast.h"
#include "app/toast/ToastPanel.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;

namespace {

/** A plain window under the toast that records where it was clicked. */
class ClickTarget final : public QWidget
{
public:
    QList<QPoint> clicks;

protected:
    void mousePressEvent(QMouseEvent *event) override { clicks.append(event->globalPosition().toPoint()); }
};

/** The toast's X window as other programs find it; empty while it is not mapped. */
QString visibleToastWindow()
{
    return Tessary::Test::xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s});
}

/** Position and size from "xdotool getwindowgeometry". */
QRect windowGeometry(const QString &window)
{
    const QString text = Tessary::Test::xdotool({u"getwindowgeometry"_s, window});
    const QRegularExpressionMatch match = QRegularExpression(uR"(Position: (-?\d+),(-?\d+).*Geometry: (\d+)x(\d+))"_s,
                                                             QRegularExpression::DotMatchesEverythingOption)
                                              .match(text);
    return match.hasMatch() ? QRect(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt(),
                                    match.captured(4).toInt())
                            : QRect();
}

class TessaryToastTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_defaults = std::make_unique<UserDefaults>(m_dir.filePath(u"defaults.ini"_s));
        m_defaults->setString(u"language"_s, u"zh-Hans"_s);
        m_toast = std::make_unique<TessaryToast>(*m_defaults);
        // Long enough for the checks below; the dismissal itself is tested with short periods.
        m_toast->setDismissDelayForTesting(20s);
    }

    const ToastPanel &panel() const { return *static_cast<ToastPanel *>(m_toast->panel()); }

    QTemporaryDir m_dir;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<TessaryToast> m_toast;
};

TEST_F(TessaryToastTest, AppearsNearTheTopCentreWithoutTakingTheFocusAndLetsClicksThrough)
{
    // The 1280x800 Xvfb screen, covered at the top by a window that has the keyboard focus.
    ClickTarget below;
    below.setWindowTitle(u"Toast Click Target"_s);
    below.setGeometry(0, 0, 1280, 300);
    below.show();
    below.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&below));
    const QString focusedBefore = Tessary::Test::xdotool({u"getwindowfocus"_s});

    QCursor::setPos(200, 500);
    m_toast->showCopied(24, false);
    QString window;
    ASSERT_TRUE(QTest::qWaitFor([&] { return !(window = visibleToastWindow()).isEmpty(); }, 5000));
    EXPECT_EQ(windowGeometry(window), QRect(460, 28, 360, 82));
    EXPECT_EQ(Tessary::Test::xdotool({u"getwindowfocus"_s}), focusedBefore);
    EXPECT_TRUE(below.isActiveWindow());

    // A click in the middle of the toast lands on the window below.
    Tessary::Test::xdotool({u"mousemove"_s, u"640"_s, u"69"_s, u"click"_s, u"1"_s});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !below.clicks.isEmpty(); }, 5000));
    EXPECT_EQ(below.clicks.first(), QPoint(640, 69));
    EXPECT_TRUE(m_toast->isShowing());
}

TEST_F(TessaryToastTest, SuccessAndFailureToastsSayWhatHappened)
{
    m_toast->showCopied(12345, true);
    EXPECT_EQ(panel().content().title, u"润色完成，已复制到剪贴板"_s);
    EXPECT_EQ(panel().content().detail, u"12,345 个字 · 按 Ctrl+V 粘贴"_s);
    EXPECT_EQ(panel().content().symbol, u"checkmark.circle.fill"_s);
    EXPECT_EQ(panel().content().color, QColor(u"#34C759"_s));

    m_defaults->setString(u"language"_s, u"en"_s);
    m_toast->showCopied(1, false);
    EXPECT_EQ(panel().content().title, u"Text recognized and copied"_s);
    EXPECT_EQ(panel().content().detail, u"Characters: 1 · Paste with Ctrl+V"_s);

    m_toast->show(u"Could not copy to the clipboard"_s, std::nullopt, u"exclamationmark.triangle.fill"_s,
                  TessaryToast::systemOrange());
    EXPECT_EQ(panel().content().detail, std::nullopt);
    EXPECT_EQ(panel().content().color, QColor(u"#FF9500"_s));
}

TEST_F(TessaryToastTest, WithoutACompositorTheCardIsOpaqueAndShaped)
{
    QCursor::setPos(640, 400);
    m_toast->show(u"复制到剪贴板失败"_s, std::nullopt, u"exclamationmark.triangle.fill"_s,
                  TessaryToast::systemOrange());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !visibleToastWindow().isEmpty(); }, 5000));
    EXPECT_FALSE(m_toast->panel()->testAttribute(Qt::WA_TranslucentBackground)) << "Xvfb runs no compositor";

    // Read back from the screen, as anyone would see it: the card's own colour, not black, and a tinted symbol.
    const QColor window = m_toast->panel()->palette().color(QPalette::Window);
    QImage screen;
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            screen = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
            return screen.pixelColor(460 + 300, 28 + 41) == window;
        },
        5000));
    EXPECT_EQ(screen.pixelColor(460 + 180, 28 + 5), window);
    bool orangeFound = false;
    for (int x = 460 + 18; x < 460 + 18 + 28 && !orangeFound; ++x) {
        for (int y = 28 + 27; y < 28 + 55; ++y) {
            orangeFound = orangeFound || screen.pixelColor(x, y) == TessaryToast::systemOrange();
        }
    }
    EXPECT_TRUE(orangeFound);
    // The rounded corner is cut out of the window: the root window shows through.
    EXPECT_NE(screen.pixelColor(460, 28), window);
}

TEST_F(TessaryToastTest, DisappearsByItselfAndEachShowRestartsThePeriod)
{
    QSignalSpy dismissed(m_toast.get(), &TessaryToast::dismissed);
    m_toast->show(u"第一条"_s, std::nullopt, u"checkmark.circle.fill"_s, TessaryToast::systemGreen());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !visibleToastWindow().isEmpty(); }, 5000));
    // The first toast would stay 20 s; the second one's own period is what counts.
    m_toast->setDismissDelayForTesting(400ms);
    QElapsedTimer sinceSecond;
    sinceSecond.start();
    m_toast->show(u"第二条"_s, u"细节"_s, u"checkmark.circle.fill"_s, TessaryToast::systemGreen());
    ASSERT_TRUE(dismissed.wait(10000));
    EXPECT_GE(sinceSecond.elapsed(), 400);
    EXPECT_EQ(dismissed.count(), 1);
    EXPECT_EQ(panel().content().title, u"第二条"_s);
    EXPECT_FALSE(m_toast->isShowing());
    EXPECT_TRUE(Tessary::Test::waitForWindow(u"^Tessary Toast$"_s, false));

    // The same panel comes back for the next toast.
    QWidget *const first = m_toast->panel();
    m_toast->showCopied(3, false);
    EXPECT_EQ(m_toast->panel(), first);
    EXPECT_TRUE(dismissed.wait(10000));
}

// The launch option as a user runs it: the real application on a private X server and a private home.
TEST(PreviewToastTest, ShowsTheLaunchToastUnderThePointerLongerThanAnOrdinaryToast)
{
    Tessary::Test::PrivateHome home;
    QProcessEnvironment environment = home.environment();
    environment.insert(u"TESSARY_NEW_INSTANCE"_s, u"1"_s);
    // Shortened from its minute, but well past an ordinary toast's 1.5 seconds.
    environment.insert(u"TESSARY_PREVIEW_TOAST_MS"_s, u"4000"_s);
    Tessary::Test::xdotool({u"mousemove"_s, u"900"_s, u"600"_s});
    QProcess tessary;
    tessary.setProcessEnvironment(environment);
    QElapsedTimer sinceStart;
    sinceStart.start();
    tessary.start(Tessary::Test::buildPath(u"bin/tessary"_s), {u"--preview-toast"_s});
    QString window;
    ASSERT_TRUE(QTest::qWaitFor([&] { return !(window = visibleToastWindow()).isEmpty(); }, 20000));
    EXPECT_EQ(windowGeometry(window), QRect(460, 28, 360, 82));
    ASSERT_TRUE(Tessary::Test::waitForWindow(u"^Tessary Toast$"_s, false));
    EXPECT_GE(sinceStart.elapsed(), 4000);
    EXPECT_EQ(tessary.state(), QProcess::Running) << "the application goes on after its toast";
    tessary.kill();
    tessary.waitForFinished();
}

} // namespace
