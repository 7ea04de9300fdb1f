// The application and its updater when it runs from the build tree, as developers run it: there is no installed
// bundle, so the updater is disabled. It must say so in the menu's check and in the settings, and never schedule
// or make a request.

#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/updater/support/DialogAnswerer.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

class TessaryAppUpdaterTest : public ::testing::Test
{
protected:
    std::unique_ptr<TessaryApp> launch(const QStringList &arguments)
    {
        auto app = std::make_unique<TessaryApp>(QStringList{u"tessary"_s} + arguments, m_defaults);
        app->applicationDidFinishLaunching();
        return app;
    }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    Tessary::Test::DialogAnswerer m_answerer;
};

TEST_F(TessaryAppUpdaterTest, BuildTreeCopyExplainsThatItDoesNotUpdate)
{
    m_defaults.setString(u"language"_s, u"en"_s);
    const auto app = launch({u"--open-settings-updates"_s});
    NativeUpdater &updater = app->updater();
    EXPECT_EQ(&updater, &app->updater());
    EXPECT_FALSE(updater.configuration().isEnabled);
    // The fallback registered at launch turns automatic checks on for a new user, without writing it down.
    EXPECT_TRUE(updater.automaticallyChecksForUpdates());
    QFile stored(m_dir.filePath(u"defaults.ini"_s));
    ASSERT_TRUE(stored.open(QIODevice::ReadOnly));
    EXPECT_FALSE(stored.readAll().contains("automaticallyChecksForUpdates"));
    // Nothing is scheduled: a disabled updater starts no timer.
    for (const QTimer *timer : updater.findChildren<QTimer *>()) {
        EXPECT_FALSE(timer->isActive());
    }

    QMainWindow *window = app->settingsWindow()->window();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->findChild<QLabel *>(u"updateStatus"_s)->text(),
              u"Development builds do not update automatically"_s);
    EXPECT_TRUE(window->findChild<QLabel *>(u"version"_s)->text().startsWith(u"Version "_s));
    EXPECT_TRUE(window->findChild<QLabel *>(u"version"_s)->text().endsWith(u" (—)"_s));

    // The tray's check item and the pane's button both explain, and the state does not move.
    QAction *check = nullptr;
    for (QAction *action : app->statusMenu()->actions()) {
        if (action->text() == u"Check for Updates…"_s) {
            check = action;
        }
    }
    ASSERT_NE(check, nullptr);
    check->trigger();
    window->findChild<QPushButton *>(u"updateAction"_s)->click();
    ASSERT_EQ(m_answerer.dialogs().size(), 2);
    for (const Tessary::Test::DialogAnswerer::Dialog &dialog : m_answerer.dialogs()) {
        EXPECT_EQ(dialog.text, u"Development builds do not check for production updates."_s);
        EXPECT_EQ(dialog.buttons, QStringList{u"OK"_s});
    }
    EXPECT_EQ(updater.state(), NativeUpdateState::idle());

    // Turning the switch off and on is remembered, and still schedules nothing.
    auto *automatic = window->findChild<QCheckBox *>(u"automaticallyChecksForUpdates"_s);
    automatic->click();
    EXPECT_EQ(m_defaults.boolean(updater.switchKey()), false);
    automatic->click();
    EXPECT_EQ(m_defaults.boolean(updater.switchKey()), true);
    for (const QTimer *timer : updater.findChildren<QTimer *>()) {
        EXPECT_FALSE(timer->isActive());
    }

    // The pane follows the interface language.
    app->preferences().setLanguage(u"zh-Hans"_s);
    EXPECT_EQ(window->findChild<QLabel *>(u"updateStatus"_s)->text(), u"开发版不自动更新"_s);
    EXPECT_EQ(window->findChild<QPushButton *>(u"updateAction"_s)->text(), u"检查更新"_s);
}

} // namespace
