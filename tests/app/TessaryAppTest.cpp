#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QJsonDocument>
#include <QLabel>
#include <QJsonObject>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

QString translated(const QString &language, const QString &key)
{
    QFile file(Tessary::Test::sourcePath(u"app/resources/i18n/%1.lproj/Localizable.json"_s.arg(language)));
    if (!file.open(QIODevice::ReadOnly)) {
        return key;
    }
    return QJsonDocument::fromJson(file.readAll()).object().value(key).toString(key);
}

QStringList titles(const QMenu *menu)
{
    QStringList result;
    for (const QAction *action : menu->actions()) {
        result.append(action->isSeparator() ? u"-"_s : action->text());
    }
    return result;
}

class TessaryAppTest : public ::testing::Test
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
};

TEST_F(TessaryAppTest, StatusMenuHasItsRowsInOrderWithInformationRowsDisabled)
{
    m_defaults.setString(u"language"_s, u"zh-Hans"_s);
    const auto app = launch({});
    const QMenu *menu = app->statusMenu();
    ASSERT_NE(menu, nullptr);
    const QString zh = u"zh-Hans"_s;
    EXPECT_EQ(titles(menu),
              (QStringList{translated(zh, u"选区识字并复制"_s), translated(zh, u"选区识字并 AI 润色"_s),
                           translated(zh, u"就绪"_s), translated(zh, u"快捷键：%@"_s).replace(u"%@"_s, u"⌃⇧⌘2"_s),
                           u"-"_s, translated(zh, u"设置…"_s), translated(zh, u"检查更新…"_s),
                           translated(zh, u"打开屏幕录制权限设置…"_s), translated(zh, u"退出 Tessary"_s)}));
    const QList<QAction *> rows = menu->actions();
    EXPECT_TRUE(rows[0]->isEnabled());
    EXPECT_TRUE(rows[1]->isEnabled());
    EXPECT_FALSE(rows[2]->isEnabled());
    EXPECT_FALSE(rows[3]->isEnabled());
    EXPECT_EQ(app->statusItem()->toolTip(), translated(zh, u"就绪"_s));
}

TEST_F(TessaryAppTest, ChangingTheLanguageRelabelsMenusStatusLineAndWindowTitle)
{
    m_defaults.setString(u"language"_s, u"zh-Hans"_s);
    const auto app = launch({u"--open-settings"_s});
    app->showStatus(u"未识别到文字"_s);
    const QString formatted = u"识别失败：磁盘已满"_s;

    for (const QString &language : {u"en"_s, u"zh-Hant"_s, u"zh-Hans"_s}) {
        app->preferences().setLanguage(language);
        const QMenu *menu = app->statusMenu();
        EXPECT_EQ(menu->actions()[0]->text(), translated(language, u"选区识字并复制"_s)) << language.toStdString();
        EXPECT_EQ(menu->actions()[2]->text(), translated(language, u"未识别到文字"_s));
        EXPECT_EQ(menu->actions().last()->text(), translated(language, u"退出 Tessary"_s));
        const QMenu *appMenu = app->applicationMenu()->actions().first()->menu();
        EXPECT_EQ(appMenu->title(), u"Tessary"_s);
        EXPECT_EQ(appMenu->actions().first()->text(), translated(language, u"设置…"_s));
        EXPECT_EQ(app->settingsWindow()->window()->windowTitle(), translated(language, u"Tessary 设置"_s));
    }
    // A message formatted from a key follows the language too; the part filled in stays as it is.
    app->showStatus(formatted);
    app->preferences().setLanguage(u"en"_s);
    EXPECT_EQ(app->statusMenu()->actions()[2]->text(),
              translated(u"en"_s, u"识别失败：%@"_s).replace(u"%@"_s, u"磁盘已满"_s));
    EXPECT_EQ(app->currentStatus(), formatted);
}

TEST_F(TessaryAppTest, OpenSettingsOptionsPickThePane)
{
    const QList<std::pair<QString, int>> options{
        {u"--open-settings"_s, 0},
        {u"--open-settings-ai"_s, 1},
        {u"--open-settings-appearance"_s, 2},
        {u"--open-settings-updates"_s, 3},
    };
    for (const auto &[option, tab] : options) {
        const auto app = launch({option});
        ASSERT_TRUE(app->settingsWindow()->isVisible()) << option.toStdString();
        EXPECT_EQ(app->settingsWindow()->selectedTab(), tab) << option.toStdString();
        const auto *tabs = app->settingsWindow()->window()->findChild<QTabWidget *>(u"settingsTabs"_s);
        ASSERT_NE(tabs, nullptr);
        EXPECT_EQ(tabs->currentIndex(), tab);
    }
}

TEST_F(TessaryAppTest, SettingsWindowHidesOnCloseAndComesBackOnTheRightPane)
{
    const auto app = launch({u"--open-settings-ai"_s});
    TessarySettingsWindow *settings = app->settingsWindow();
    QMainWindow *window = settings->window();
    window->close();
    EXPECT_FALSE(window->isVisible());

    // Reopening (a second launch) keeps the pane; a requested pane wins even when the window exists.
    app->handleInstanceMessage("reopen");
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(settings->window(), window);
    EXPECT_EQ(settings->selectedTab(), 1);
    settings->show(3);
    EXPECT_EQ(settings->selectedTab(), 3);
    settings->show();
    EXPECT_EQ(settings->selectedTab(), 3);
}

TEST_F(TessaryAppTest, HiddenIconPreferenceHidesTheTrayIconAtOnce)
{
    const auto app = launch({});
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        EXPECT_FALSE(app->statusItem()->isVisible());
    } else {
        EXPECT_TRUE(app->statusItem()->isVisible());
    }
    app->preferences().setHideMenuBarIcon(true);
    EXPECT_FALSE(app->statusItem()->isVisible());
    // The menu stays alive and keeps being relabelled.
    app->preferences().setLanguage(u"en"_s);
    EXPECT_EQ(app->statusMenu()->actions()[0]->text(), translated(u"en"_s, u"选区识字并复制"_s));
}

TEST_F(TessaryAppTest, LanguagePickerInTheWindowChangesThePreference)
{
    m_defaults.setString(u"language"_s, u"zh-Hans"_s);
    const auto app = launch({u"--open-settings"_s});
    auto *picker = app->settingsWindow()->window()->findChild<QComboBox *>(u"language"_s);
    ASSERT_NE(picker, nullptr);
    picker->setCurrentIndex(picker->findData(u"en"_s));
    Q_EMIT picker->activated(picker->currentIndex());
    EXPECT_EQ(app->preferences().language(), u"en"_s);
    EXPECT_EQ(m_defaults.string(u"language"_s), u"en"_s);
    EXPECT_EQ(app->settingsWindow()->window()->windowTitle(), translated(u"en"_s, u"Tessary 设置"_s));
    EXPECT_EQ(picker->itemText(0), translated(u"en"_s, u"跟随系统"_s));
}

} // namespace

namespace {

TEST(TessaryAppSaveErrorTest, SettingsWindowSaysWhenSettingsCannotBeSaved)
{
    QTemporaryDir dir;
    // A plain file where the settings folder should be: nothing can be written below it, not even by root.
    QFile blocker(dir.filePath(u"config"_s));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    UserDefaults defaults(dir.filePath(u"config/md.velmor.tessary/defaults.ini"_s));
    TessaryApp app({u"tessary"_s, u"--open-settings-ai"_s}, defaults);
    app.applicationDidFinishLaunching();
    auto *label = app.settingsWindow()->window()->findChild<QLabel *>(u"saveError"_s);
    ASSERT_NE(label, nullptr);
    app.preferences().setAiModel(u"another-model"_s);
    EXPECT_TRUE(label->isVisible());
    EXPECT_FALSE(label->text().isEmpty());
    // The application goes on with the value it was given.
    EXPECT_EQ(app.preferences().aiModel(), u"another-model"_s);
}

} // namespace

namespace {

TEST(TessaryAppHotKeyTest, TakenShortcutKeepsThePreviousOneAndSaysWhy)
{
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    TessaryApp app({u"tessary"_s}, defaults);
    app.applicationDidFinishLaunching();
    TessaryPreferences &preferences = app.preferences();
    EXPECT_TRUE(preferences.shortcutError().isEmpty());

    // Another program holds Ctrl+Alt+K (evdev 37 + 8).
    xcb_connection_t *other = xcb_connect(nullptr, nullptr);
    ASSERT_EQ(xcb_connection_has_error(other), 0);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
    xcb_generic_error_t *error =
        xcb_request_check(other, xcb_grab_key_checked(other, 1, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1, 45,
                                                      XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_EQ(error, nullptr);

    const CapturedShortcut previous = preferences.shortcut();
    preferences.setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Option, u"K"_s});
    EXPECT_EQ(preferences.shortcut(), previous);
    EXPECT_EQ(preferences.shortcutError(), u"快捷键已被占用，请重新录制。"_s);
    EXPECT_EQ(CapturedShortcut::decodeJson(*defaults.data(u"shortcut"_s)), previous) << "the stored value reverts too";

    // A free shortcut clears the complaint.
    preferences.setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Shift, u"K"_s});
    EXPECT_TRUE(preferences.shortcutError().isEmpty());
    xcb_disconnect(other);
}

} // namespace
