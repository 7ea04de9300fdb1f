// The toast: where it goes on any arrangement of screens, and on a private X server as other programs see it
// (xdotool): success and failure in the interface language, progress, and its own end.

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QMouseEvent>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryToast.h"
#include "app/toast/ToastPanel.h"
#include "app/toast/ToastPlacement.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;

namespace {

struct PlacementCase
{
    QList<ToastScreen> screens;
    qsizetype primary;
    QPoint pointer;
    std::optional<QRect> expected;
};

class ToastPlacementTest : public ::testing::TestWithParam<PlacementCase>
{
};

TEST_P(ToastPlacementTest, PlacesTheToast)
{
    EXPECT_EQ(toastGeometry(GetParam().screens, GetParam().primary, GetParam().pointer), GetParam().expected);
}

// A 1920x1080 laptop panel with a 32 px top bar, and a 2560x1440 monitor to its right with a 40 px panel at the top:
// the screen under the pointer, else the primary one, else none.
const ToastScreen laptop{QRect(0, 0, 1920, 1080), QRect(0, 32, 1920, 1048)};
const ToastScreen monitor{QRect(1920, 0, 2560, 1440), QRect(1920, 40, 2560, 1400)};

INSTANTIATE_TEST_SUITE_P(
    Screens, ToastPlacementTest,
    ::testing::Values(PlacementCase{{laptop, monitor}, 0, QPoint(1920, 0), QRect(3020, 68, 360, 82)},
                      PlacementCase{{laptop, monitor}, 1, QPoint(100, 1300), QRect(3020, 68, 360, 82)},
                      PlacementCase{{laptop}, -1, QPoint(-5, -5), std::nullopt}));

/** A plain window under the toast that records where it was clicked. */
class ClickTarget final : public QWidget
{
public:
    QList<QPoint> clicks;

protected:
    void mousePressEvent(QMouseEvent *event) override { clicks.append(event->globalPosition().toPoint()); }
};

class TessaryToastTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_defaults.setString(u"language"_s, u"zh-Hans"_s);
        // Long enough for the checks below; the dismissal itself is tested with short periods.
        m_toast.setDismissDelayForTesting(20s);
    }

    const ToastContent &content() const { return static_cast<ToastPanel *>(m_toast.panel())->content(); }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    TessaryToast m_toast{m_defaults};
};

TEST_F(TessaryToastTest, AppearsNearTheTopCentreWithoutTakingTheFocusAndLetsClicksThrough)
{
    // The 1280x800 Xvfb screen, covered at the top by a window that has the keyboard focus.
    ClickTarget below;
    below.setGeometry(0, 0, 1280, 300);
    below.show();
    below.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&below));
    const QString focusedBefore = Tessary::Test::xdotool({u"getwindowfocus"_s});

    QCursor::setPos(200, 500);
    m_toast.showCopied(24, false);
    ASSERT_TRUE(QTest::qWaitFor([] { return Tessary::Test::shownToast() == QRect(460, 28, 360, 82); }, 10000))
        << "at the top";
    EXPECT_EQ(Tessary::Test::xdotool({u"getwindowfocus"_s}), focusedBefore);

    // A click in the middle of the toast lands on the window below.
    Tessary::Test::xdotool({u"mousemove"_s, u"640"_s, u"69"_s, u"click"_s, u"1"_s});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !below.clicks.isEmpty(); }, 10000));
    EXPECT_EQ(below.clicks.first(), QPoint(640, 69));
}

TEST_F(TessaryToastTest, SuccessAndFailureSayWhatHappenedInTheInterfaceLanguage)
{
    m_toast.showCopied(12345, true);
    EXPECT_EQ(content().title, u"润色完成，已复制到剪贴板"_s);
    EXPECT_EQ(content().detail, u"12,345 个字 · 按 Ctrl+V 粘贴"_s);
    EXPECT_EQ(content().color, QColor(u"#34C759"_s));
    const QRect success = m_toast.panel()->geometry();

    m_defaults.setString(u"language"_s, u"en"_s);
    m_toast.showCopied(1, false);
    EXPECT_EQ(content().title, u"Text recognized and copied"_s);
    EXPECT_EQ(content().detail, u"Characters: 1 · Paste with Ctrl+V"_s);
    // The content of codes: their kinds instead of the count.
    m_toast.showCopied(13, false, {u"二维码"_s, u"EAN-13"_s});
    EXPECT_EQ(content().detail, u"QR code, EAN-13 · Paste with Ctrl+V"_s);

    // A failure: the reason, in the warning colour, same place and size.
    m_toast.showFailure(u"AI polishing failed; clipboard unchanged"_s, u"Incorrect API key provided."_s);
    EXPECT_EQ(content().title, u"AI polishing failed; clipboard unchanged"_s);
    EXPECT_EQ(content().detail, u"Incorrect API key provided."_s);
    EXPECT_EQ(content().symbol, u"exclamationmark.triangle.fill"_s);
    EXPECT_EQ(content().color, TessaryToast::systemOrange());
    EXPECT_EQ(m_toast.panel()->geometry(), success);
}

TEST_F(TessaryToastTest, ProgressStaysAndEachOutcomeEndsByItselfAfterItsOwnPeriod)
{
    QSignalSpy dismissed(&m_toast, &TessaryToast::dismissed);
    m_toast.setDismissDelayForTesting(400ms);
    m_toast.showProgress(u"Polishing with AI…"_s);
    ASSERT_TRUE(QTest::qWaitFor([] { return Tessary::Test::shownToast().isValid(); }, 10000));
    EXPECT_FALSE(dismissed.wait(1000)) << "progress stays until its outcome";
    QElapsedTimer sinceOutcome;
    sinceOutcome.start();
    m_toast.showFailure(u"failed"_s);
    m_toast.hideProgress();
    EXPECT_TRUE(m_toast.isShowing()) << "hiding the progress leaves the outcome alone";
    ASSERT_TRUE(dismissed.wait(10000));
    EXPECT_GE(sinceOutcome.elapsed(), 400);
    EXPECT_EQ(dismissed.count(), 1);
    EXPECT_TRUE(Tessary::Test::waitForWindow(u"^Tessary Toast$"_s, false));

    m_toast.showProgress(u"Polishing with AI…"_s);
    m_toast.hideProgress();
    EXPECT_FALSE(m_toast.isShowing());
}

} // namespace
