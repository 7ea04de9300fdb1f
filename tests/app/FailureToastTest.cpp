// The failure toast and the toast of a polish under way.

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryToast.h"
#include "app/toast/ToastPanel.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;

namespace {

// Runs on the display of tests/support/with-xvfb.
class FailureToastTest : public ::testing::Test
{
protected:
    const ToastContent &content() const { return static_cast<ToastPanel *>(m_toast.panel())->content(); }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    TessaryToast m_toast{m_defaults};
};

TEST_F(FailureToastTest, FailureShowsItsReasonInTheWarningColourAndStaysLonger)
{
    EXPECT_GT(m_toast.failureDismissDelay(), m_toast.dismissDelay());
    m_toast.showFailure(u"AI polishing failed; clipboard unchanged"_s, u"Incorrect API key provided."_s);
    ASSERT_TRUE(m_toast.isShowing());
    EXPECT_EQ(content().title, u"AI polishing failed; clipboard unchanged"_s);
    EXPECT_EQ(content().detail, u"Incorrect API key provided."_s);
    EXPECT_EQ(content().symbol, u"exclamationmark.triangle.fill"_s);
    EXPECT_EQ(content().color, TessaryToast::systemOrange());
    // Same place and size as the success toast.
    const QRect failure = m_toast.panel()->geometry();
    m_toast.showCopied(3, false);
    EXPECT_EQ(m_toast.panel()->geometry(), failure);
}

TEST_F(FailureToastTest, ProgressStaysUntilTheOutcomeReplacesIt)
{
    m_toast.setDismissDelayForTesting(50ms);
    QSignalSpy dismissed(&m_toast, &TessaryToast::dismissed);
    m_toast.showProgress(u"Polishing with AI…"_s);
    EXPECT_FALSE(dismissed.wait(500));
    EXPECT_TRUE(m_toast.isShowing());

    // The outcome replaces it and goes away on its own; hiding the progress afterwards leaves the outcome alone.
    m_toast.showFailure(u"failed"_s);
    m_toast.hideProgress();
    EXPECT_TRUE(m_toast.isShowing());
    EXPECT_EQ(content().title, u"failed"_s);
    EXPECT_TRUE(dismissed.wait(5000));
    EXPECT_FALSE(m_toast.isShowing());

    m_toast.showProgress(u"Polishing with AI…"_s);
    m_toast.hideProgress();
    EXPECT_FALSE(m_toast.isShowing());
}

} // namespace
