#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QMouseEvent>
#include <QRegularExpression>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
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

QString xdotool(const QStringList &arguments)
{
    const Tessary::Test::ProcessResult result = Tessary::Test::runProcess(u"xdotool"_s, arguments);
    return QString::fromUtf8(result.standardOutput).trimmed();
}

/** The toast's X window as other programs find it; empty while it is not mapped. */
QString visibleToastWindow()
{
    return xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s});
}

/** Position and size from "xdotool getwindowgeometry". */
QRect windowGeometry(const QString &window)
{
    const QString text = xdotool({u"getwindowgeometry"_s, window});
    const QRegularExpressionMatch position = QRegularExpression(uR"(Position: (-?\d+),(-?\d+))"_s).match(text);
    const QRegularExpressionMatch size = QRegularExpression(uR"(Geometry: (\d+)x(\d+))"_s).match(text);
    if (!position.hasMatch() || !size.hasMatch()) {
        return {};
    }
    return QRect(position.captured(1).toInt(), position.captured(2).toInt(), size.captured(1).toInt(),
                 size.captured(2).toInt());
}

class TessaryToastTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
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
    const QString focusedBefore = xdotool({u"getwindowfocus"_s});

    QCursor::setPos(200, 500);
    m_toast->showCopied(24, false);
    QString window;
    ASSERT_TRUE(QTest::qWaitFor([&] { return !(window = visibleToastWindow()).isEmpty(); }, 5000));
    EXPECT_EQ(windowGeometry(window), QRect(460, 28, 360, 82));
    EXPECT_EQ(xdotool({u"getwindowfocus"_s}), focusedBefore);
    EXPECT_TRUE(below.isActiveWindow());

    // A click in the middle of the toast lands on the window below.
    ASSERT_EQ(Tessary::Test::runProcess(u"xdotool"_s, {u"mousemove"_s, u"640"_s, u"69"_s, u"click"_s, u"1"_s}).exitCode,
              0);
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
    QTest::qWait(50);

    // Read back from the screen, as anyone would see it: the card's own colour, not black, and a tinted symbol.
    const QImage screen = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
    const QColor window = m_toast->panel()->palette().color(QPalette::Window);
    EXPECT_EQ(screen.pixelColor(460 + 300, 28 + 41), window);
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
    m_toast->setDismissDelayForTesting(400ms);
    QSignalSpy dismissed(m_toast.get(), &TessaryToast::dismissed);
    m_toast->show(u"第一条"_s, std::nullopt, u"checkmark.circle.fill"_s, TessaryToast::systemGreen());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !visibleToastWindow().isEmpty(); }, 5000));
    QTest::qWait(200);

    QElapsedTimer sinceSecond;
    sinceSecond.start();
    m_toast->show(u"第二条"_s, u"细节"_s, u"checkmark.circle.fill"_s, TessaryToast::systemGreen());
    ASSERT_TRUE(dismissed.wait(5000));
    EXPECT_GE(sinceSecond.elapsed(), 400) << "the second toast gets its own full period";
    EXPECT_EQ(dismissed.count(), 1);
    EXPECT_EQ(panel().content().title, u"第二条"_s);
    EXPECT_FALSE(m_toast->isShowing());
    EXPECT_TRUE(QTest::qWaitFor([&] { return visibleToastWindow().isEmpty(); }, 5000));

    // The same panel comes back for the next toast.
    QWidget *const first = m_toast->panel();
    m_toast->showCopied(3, false);
    EXPECT_EQ(m_toast->panel(), first);
    EXPECT_TRUE(dismissed.wait(5000));
}

} // namespace
