// The capture shortcut through the desktop portal's GlobalShortcuts interface. No desktop in Debian 12 offers that
// interface outside KDE (where the daemon is used instead), so the portal here is a stand-in implementing the
// documented interface on a private session bus; the backend under test is the real one. Letting go, which closes
// the session, and the user declining the binding are DesktopShortcutTest's, through the application.

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>

#include "platform/hotkey/HotKeyBackend.h"
#include "platform/hotkey/HotKeyPortal.h"
#include "tests/support/PortalStandIn.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::PortalStandIn;

namespace {

// Ctrl+Shift+Super+2, as the application translates its default shortcut.
HotKeyCombination defaultCombination()
{
    return {11, (1 << 2) | (1 << 0) | (1 << 6), Qt::Key_2, false, u"2"_s};
}

class HotKeyPortalTest : public ::testing::Test
{
protected:
    PortalStandIn m_portal;
};

TEST_F(HotKeyPortalTest, BindsTheShortcutReportsItsActivationsAndReplacesTheSessionOnAChange)
{
    ASSERT_TRUE(m_portal.start(PortalStandIn::GlobalShortcuts));
    HotKeyPortal hotKey;
    QSignalSpy pressed(&hotKey, &HotKeyBackend::pressed);
    QSignalSpy failed(&hotKey, &HotKeyBackend::registrationFailed);
    ASSERT_TRUE(hotKey.registerShortcut(defaultCombination()));
    ASSERT_TRUE(QTest::qWaitFor([&] { return hotKey.isBound(); }, 20000));

    // One shortcut in the session the portal created, offered with the trigger the desktop shows the user.
    EXPECT_EQ(m_portal.sessions(), QStringList{hotKey.sessionPath()});
    const QJsonArray shortcuts = m_portal.calls(u"BindShortcuts"_s).constFirst()[u"args"_s][1].toArray();
    ASSERT_EQ(shortcuts.size(), 1);
    EXPECT_EQ(shortcuts.at(0)[0].toString(), u"capture"_s);
    EXPECT_EQ(shortcuts.at(0)[1][u"preferred_trigger"_s].toString(), u"CTRL+SHIFT+LOGO+2"_s);

    m_portal.activate(hotKey.sessionPath(), u"capture"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() == 1; }, 5000));
    // Another shortcut id, or the same id in someone else's session, is not ours; the last one marks the end.
    m_portal.activate(hotKey.sessionPath(), u"other"_s);
    m_portal.activate(u"/org/freedesktop/portal/desktop/session/1_99/someone"_s, u"capture"_s);
    m_portal.activate(hotKey.sessionPath(), u"capture"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return pressed.count() >= 2; }, 5000));
    EXPECT_EQ(pressed.count(), 2);

    // A new shortcut is a new session, bound once the desktop confirms it.
    const QString first = hotKey.sessionPath();
    const HotKeyCombination altK{45, 1 << 3, Qt::Key_K, false, u"k"_s};
    ASSERT_TRUE(hotKey.registerShortcut(altK));
    EXPECT_FALSE(hotKey.isBound()) << "until the desktop confirms the new binding";
    ASSERT_TRUE(QTest::qWaitFor([&] { return hotKey.isBound(); }, 20000));
    EXPECT_NE(hotKey.sessionPath(), first);
    EXPECT_EQ(m_portal.sessions(), QStringList{hotKey.sessionPath()});
    EXPECT_EQ(m_portal.calls(u"BindShortcuts"_s).constLast()[u"args"_s][1][0][1][u"preferred_trigger"_s].toString(),
              u"ALT+k"_s);

    EXPECT_EQ(failed.count(), 0);
}

TEST_F(HotKeyPortalTest, RefusalsFromTheDesktopOrTheUserEndTheRegistration)
{
    ASSERT_TRUE(m_portal.start(PortalStandIn::GlobalShortcuts));
    const QList<std::pair<const char *, QJsonObject>> refusals{
        {"bound without a trigger", {{u"BindShortcuts"_s, QJsonObject{{u"trigger_description"_s, u""_s}}}}},
        {"no session", {{u"CreateSession"_s, QJsonObject{{u"response"_s, 2}}}}},
    };
    for (const auto &[what, answers] : refusals) {
        SCOPED_TRACE(what);
        m_portal.setAnswers(answers);
        HotKeyPortal hotKey;
        QSignalSpy failed(&hotKey, &HotKeyBackend::registrationFailed);
        ASSERT_TRUE(hotKey.registerShortcut(defaultCombination()));
        ASSERT_TRUE(QTest::qWaitFor([&] { return failed.count() == 1; }, 20000));
        EXPECT_TRUE(hotKey.sessionPath().isEmpty());
        // Nothing of ours stays behind in the portal.
        EXPECT_TRUE(QTest::qWaitFor([&] { return m_portal.sessions().isEmpty(); }, 5000));
    }
}

} // namespace
