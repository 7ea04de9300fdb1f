// The updates pane of the settings window against a real updater and the loopback server: what it shows in each
// state, its switch and its one button, in the interface language the user chose (the updater's dialogs keep the
// system's language, English here).

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include "app/TessaryPreferences.h"
#include "app/settings/SettingsTexts.h"
#include "app/settings/UpdatesPane.h"
#include "tests/updater/NativeUpdaterFixture.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;
using Kind = NativeUpdateState::Kind;

namespace {

/** What a user sees in the pane. */
struct View
{
    QString version;
    QString status;
    QString action;
    bool actionEnabled = false;
    bool automatic = false;
    bool progress = false;

    bool operator==(const View &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const View &view)
{
    return stream << '{' << view.version.toStdString() << " | " << view.status.toStdString() << " | "
                  << view.action.toStdString() << (view.actionEnabled ? "" : " (disabled)")
                  << (view.automatic ? " | auto" : "") << (view.progress ? " | progress" : "") << '}';
}

class UpdatesPaneTest : public NativeUpdaterFixture
{
protected:
    void SetUp() override
    {
        NativeUpdaterFixture::SetUp();
        m_preferences = std::make_unique<TessaryPreferences>(*m_defaults);
        m_texts = std::make_unique<SettingsTexts>(*m_preferences);
    }

    std::unique_ptr<UpdatesPane> makePane(NativeUpdater *updater)
    {
        auto pane = std::make_unique<UpdatesPane>(*m_preferences, *m_texts, updater);
        pane->show();
        return pane;
    }

    static View view(const UpdatesPane &pane)
    {
        const auto *action = pane.findChild<QPushButton *>(u"updateAction"_s);
        const auto *automatic = pane.findChild<QCheckBox *>(u"automaticallyChecksForUpdates"_s);
        const auto *progress = pane.findChild<QProgressBar *>(u"downloadProgress"_s);
        return View{.version = pane.findChild<QLabel *>(u"version"_s)->text(),
                    .status = pane.findChild<QLabel *>(u"updateStatus"_s)->text(),
                    .action = action->text(),
                    .actionEnabled = action->isEnabled(),
                    .automatic = automatic->isChecked(),
                    .progress = progress->isVisible()};
    }

    std::unique_ptr<TessaryPreferences> m_preferences;
    std::unique_ptr<SettingsTexts> m_texts;
};

TEST_F(UpdatesPaneTest, ButtonLeadsFromCheckThroughDownloadToRestartInTheChosenLanguage)
{
    serveRelease({{u"delay"_s, 1}});
    serveManifest();
    m_preferences->setLanguage(u"zh-Hans"_s);
    const auto updater = makeUpdater();
    const auto pane = makePane(updater.get());
    // The pane after every change of the updater's state (the pane has already followed it).
    QList<View> seen;
    QObject::connect(updater.get(), &NativeUpdater::stateChanged, [&] { seen.append(view(*pane)); });

    EXPECT_EQ(view(*pane), (View{u"版本 1.4.0（42）"_s, u"自动提示新版已开启"_s, u"检查更新"_s, true, true, false}));

    m_answerer.answer({1}); // later
    pane->findChild<QPushButton *>(u"updateAction"_s)->click();
    ASSERT_TRUE(waitForState(*updater, Kind::Available));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_answerer.dialogs().size() == 1; }, 5000));
    // The dialog is the updater's, in the system's language.
    EXPECT_EQ(m_answerer.dialogs()[0].text, u"Tessary 1.5.0 is available"_s);

    m_answerer.answer({1}); // later again, at the ready dialog
    pane->findChild<QPushButton *>(u"updateAction"_s)->click();
    ASSERT_TRUE(waitForState(*updater, Kind::Ready));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_answerer.dialogs().size() == 2; }, 5000));

    const QList<View> expected{
        {u"版本 1.4.0（42）"_s, u"正在检查更新…"_s, u"检查更新"_s, false, true, false},
        {u"版本 1.4.0（42）"_s, u"发现新版本 1.5.0"_s, u"下载更新"_s, true, true, false},
        {u"版本 1.4.0（42）"_s, u"正在下载 1.5.0…"_s, u"检查更新"_s, false, true, true},
        {u"版本 1.4.0（42）"_s, u"1.5.0 已下载，等待重启"_s, u"重启并更新"_s, true, true, false},
    };
    EXPECT_EQ(seen, expected);

    // Every text follows the interface language at once.
    m_preferences->setLanguage(u"zh-Hant"_s);
    EXPECT_EQ(view(*pane),
              (View{u"版本 1.4.0（42）"_s, u"1.5.0 已下載，等待重新啟動"_s, u"重新啟動並更新"_s, true, true, false}));
    m_preferences->setLanguage(u"en"_s);
    EXPECT_EQ(view(*pane), (View{u"Version 1.4.0 (42)"_s, u"1.5.0 downloaded; restart to install"_s,
                                 u"Restart and Update"_s, true, true, false}));
}

TEST_F(UpdatesPaneTest, DownloadShowsProgressAndAFailureStaysReadable)
{
    serveRelease({{u"delay"_s, 1}});
    serveManifest({{u"sha256"_s, QString(64, u'a')}});
    m_preferences->setLanguage(u"en"_s);
    const auto updater = makeUpdater();
    const auto pane = makePane(updater.get());
    auto *progress = pane->findChild<QProgressBar *>(u"downloadProgress"_s);
    bool sawProgress = false;
    QObject::connect(updater.get(), &NativeUpdater::downloadProgressChanged, [&](double value) {
        if (value > 0 && progress->isVisible() && progress->maximum() > 0) {
            sawProgress = sawProgress || progress->value() == int(value * progress->maximum());
        }
    });

    m_answerer.answer({0}); // download now; the failure alert is then dismissed with its only button
    pane->findChild<QPushButton *>(u"updateAction"_s)->click();
    ASSERT_TRUE(waitForState(*updater, Kind::Failed));
    EXPECT_TRUE(sawProgress);
    const QString failure = u"Update download failed: The update archive is damaged. Download it again."_s;
    EXPECT_EQ(view(*pane), (View{u"Version 1.4.0 (42)"_s, failure, u"Check for Updates"_s, true, true, false}));
    // A failure follows a change of language like every other text.
    m_preferences->setLanguage(u"zh-Hans"_s);
    EXPECT_EQ(view(*pane).status, u"下载更新失败：更新包已损坏，请重新下载。"_s);
    EXPECT_EQ(view(*pane).action, u"检查更新"_s);
}

TEST_F(UpdatesPaneTest, SwitchIsStoredAndSchedulesTheFirstCheck)
{
    serveManifest({{u"build"_s, 42}});
    m_preferences->setLanguage(u"en"_s);
    m_defaults->setBoolean(switchKey(), false);
    const auto updater = makeUpdater();
    const auto pane = makePane(updater.get());
    auto *automatic = pane->findChild<QCheckBox *>(u"automaticallyChecksForUpdates"_s);
    EXPECT_EQ(automatic->text(), u"Check for updates automatically"_s);
    ASSERT_FALSE(automatic->isChecked());
    EXPECT_EQ(view(*pane).status, u"Automatic update checks are off"_s);

    updater->startAutomaticChecks();
    automatic->click();
    EXPECT_EQ(m_defaults->boolean(switchKey()), true);
    EXPECT_EQ(view(*pane).status, u"Automatic update checks are on"_s);
    // The first automatic check follows the switch: up to date, and no dialog for an automatic check.
    ASSERT_TRUE(waitForState(*updater, Kind::Current));
    EXPECT_EQ(view(*pane).status, u"You're up to date"_s);
    EXPECT_TRUE(m_answerer.dialogs().isEmpty());

    automatic->click();
    EXPECT_EQ(m_defaults->boolean(switchKey()), false);
    EXPECT_EQ(view(*pane).status, u"Automatic update checks are off"_s);
    // Switched from elsewhere (a synced change, another window): the pane follows.
    updater->setAutomaticallyChecksForUpdates(true);
    EXPECT_TRUE(automatic->isChecked());
}

} // namespace
