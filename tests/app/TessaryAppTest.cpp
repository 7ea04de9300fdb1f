// The application in this process on a private X server: its tray menu, menu bar and settings window in the three
// languages, the settings window's panes, and the Edit menu's cut, copy and paste with real key presses (xdotool).

#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/DialogAnswerer.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::translated;

namespace {

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

TEST_F(TessaryAppTest, MenusStatusLineAndWindowSpeakTheChosenLanguage)
{
    m_defaults.setString(u"language"_s, u"zh-Hans"_s);
    const auto app = launch({u"--open-settings"_s});
    const auto iconShown = [&] { return app->statusItem() != nullptr && app->statusItem()->isVisible(); };
    EXPECT_EQ(iconShown(), QSystemTrayIcon::isSystemTrayAvailable());
    // A hidden icon hides at once; its menu stays alive and keeps being relabelled.
    app->preferences().setHideMenuBarIcon(true);
    EXPECT_FALSE(iconShown());
    app->showStatus(u"未识别到文字"_s);

    for (const QString &language : {u"en"_s, u"zh-Hant"_s, u"zh-Hans"_s}) {
        SCOPED_TRACE(language.toStdString());
        app->preferences().setLanguage(language);
        const auto text = [&](const QString &key) { return translated(language, key); };
        EXPECT_EQ(
            titles(app->statusMenu()),
            (QStringList{text(u"选区识字并复制"_s), text(u"选区识字并 AI 润色"_s), text(u"未识别到文字"_s),
                         text(u"快捷键：%@"_s).replace(u"%@"_s, u"Ctrl+Shift+Super+2"_s), u"-"_s, text(u"设置…"_s),
                         text(u"检查更新…"_s), text(u"打开屏幕录制权限设置…"_s), text(u"退出 Tessary"_s)}));
        const QList<QAction *> rows = app->statusMenu()->actions();
        EXPECT_TRUE(rows[0]->isEnabled() && rows[1]->isEnabled());
        EXPECT_FALSE(rows[2]->isEnabled() || rows[3]->isEnabled()) << "information rows";
        EXPECT_EQ(app->statusToolTip(), text(u"未识别到文字"_s));
        EXPECT_EQ(app->settingsWindow()->window()->windowTitle(), text(u"Tessary 设置"_s));

        // The menu bar: the application menu, then Edit.
        EXPECT_EQ(app->settingsWindow()->window()->menuBar(), app->applicationMenu());
        const QList<QAction *> menus = app->applicationMenu()->actions();
        ASSERT_EQ(menus.size(), 2);
        EXPECT_EQ(menus[0]->text(), u"Tessary"_s);
        EXPECT_EQ(menus[0]->menu()->actions().first()->text(), text(u"设置…"_s));
        EXPECT_EQ(menus[1]->text(), text(u"编辑"_s));
        EXPECT_EQ(titles(menus[1]->menu()), (QStringList{text(u"撤销"_s), text(u"重做"_s), text(u"剪切"_s),
                                                         text(u"复制"_s), text(u"粘贴"_s), text(u"全选"_s)}));
    }
    const QString formatted = u"识别失败：磁盘已满"_s;
    // A message formatted from a key follows the language too; the part filled in stays as it is.
    app->showStatus(formatted);
    app->preferences().setLanguage(u"en"_s);
    EXPECT_EQ(app->statusMenu()->actions()[2]->text(),
              translated(u"en"_s, u"识别失败：%@"_s).replace(u"%@"_s, u"磁盘已满"_s));
    EXPECT_EQ(app->currentStatus(), formatted);
}

TEST_F(TessaryAppTest, OpenSettingsOptionsPickThePaneAndAClosedWindowComesBackOnIt)
{
    const QStringList options{u"--open-settings"_s, u"--open-settings-ai"_s, u"--open-settings-appearance"_s,
                              u"--open-settings-updates"_s};
    for (int tab = 0; tab < options.size(); ++tab) {
        const auto app = launch({options[tab]});
        ASSERT_TRUE(app->settingsWindow()->isVisible()) << options[tab].toStdString();
        EXPECT_EQ(app->settingsWindow()->selectedTab(), tab);
        EXPECT_EQ(app->settingsWindow()->window()->findChild<QTabWidget *>(u"settingsTabs"_s)->currentIndex(), tab);
    }

    const auto app = launch({u"--open-settings-ai"_s});
    QMainWindow *window = app->settingsWindow()->window();
    window->close();
    EXPECT_FALSE(window->isVisible());
    // Reopening (a second launch) keeps the pane; a requested pane wins even when the window exists.
    app->handleInstanceMessage("reopen");
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(app->settingsWindow()->window(), window);
    EXPECT_EQ(app->settingsWindow()->selectedTab(), 1);
    app->settingsWindow()->show(3);
    app->settingsWindow()->show();
    EXPECT_EQ(app->settingsWindow()->selectedTab(), 3);

    // The language picker changes the preference and the window at once.
    auto *picker = window->findChild<QComboBox *>(u"language"_s);
    picker->setCurrentIndex(picker->findData(u"zh-Hant"_s));
    Q_EMIT picker->activated(picker->currentIndex());
    EXPECT_EQ(m_defaults.string(u"language"_s), u"zh-Hant"_s);
    EXPECT_EQ(window->windowTitle(), translated(u"zh-Hant"_s, u"Tessary 设置"_s));
    EXPECT_EQ(picker->itemText(0), translated(u"zh-Hant"_s, u"跟随系统"_s));
}

TEST_F(TessaryAppTest, SettingsWindowSaysWhenSettingsCannotBeSaved)
{
    // A plain file where the settings folder should be: nothing can be written below it, not even by root.
    QFile blocker(m_dir.filePath(u"config"_s));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    UserDefaults defaults(m_dir.filePath(u"config/md.velmor.tessary/defaults.ini"_s));
    TessaryApp app({u"tessary"_s, u"--open-settings-ai"_s}, defaults);
    app.applicationDidFinishLaunching();
    auto *label = app.settingsWindow()->window()->findChild<QLabel *>(u"saveError"_s);
    app.preferences().setAiModel(u"another-model"_s);
    EXPECT_TRUE(label->isVisible());
    EXPECT_FALSE(label->text().isEmpty());
    EXPECT_EQ(app.preferences().aiModel(), u"another-model"_s) << "the application goes on with the value given";
}

TEST_F(TessaryAppTest, TakenShortcutKeepsThePreviousOneAndSaysWhy)
{
    const auto app = launch({});
    TessaryPreferences &preferences = app->preferences();
    EXPECT_TRUE(preferences.shortcutError().isEmpty());
    // Another program holds Ctrl+Alt+K (evdev 37 + 8).
    xcb_connection_t *other = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
    ASSERT_EQ(xcb_request_check(other, xcb_grab_key_checked(other, 1, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1, 45,
                                                            XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)),
              nullptr);

    const CapturedShortcut previous = preferences.shortcut();
    preferences.setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Option, u"K"_s});
    EXPECT_EQ(preferences.shortcut(), previous);
    EXPECT_EQ(preferences.shortcutError(), u"快捷键已被占用，请重新录制。"_s);
    EXPECT_EQ(CapturedShortcut::decodeJson(*m_defaults.data(u"shortcut"_s)), previous) << "the stored value too";
    // A free shortcut clears the complaint.
    preferences.setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Shift, u"K"_s});
    EXPECT_TRUE(preferences.shortcutError().isEmpty());
    xcb_disconnect(other);
}

// From the build tree, as developers run it, there is no installed bundle, so the updater is disabled: it says so in
// the menu's check and in the settings, and never schedules or makes a request.
TEST_F(TessaryAppTest, BuildTreeCopyExplainsThatItDoesNotUpdate)
{
    Tessary::Test::DialogAnswerer answerer;
    m_defaults.setString(u"language"_s, u"en"_s);
    const auto app = launch({u"--open-settings-updates"_s});
    NativeUpdater &updater = app->updater();
    EXPECT_FALSE(updater.configuration().isEnabled);
    // The fallback registered at launch turns automatic checks on for a new user, without writing it down.
    EXPECT_TRUE(updater.automaticallyChecksForUpdates());
    EXPECT_FALSE(
        Tessary::Test::fileContents(m_dir.filePath(u"defaults.ini"_s)).contains("automaticallyChecksForUpdates"));

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
    ASSERT_EQ(answerer.dialogs().size(), 2);
    for (const Tessary::Test::DialogAnswerer::Dialog &dialog : answerer.dialogs()) {
        EXPECT_EQ(dialog.text, u"Development builds do not check for production updates."_s);
        EXPECT_EQ(dialog.buttons, QStringList{u"OK"_s});
    }
    EXPECT_EQ(updater.state(), NativeUpdateState::idle());

    // Turning the switch off and on is remembered, and schedules nothing: a disabled updater starts no timer.
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

// The Edit menu with the keyboard in the AI pane's fields: its items follow the focus.
class SettingsEditMenuTest : public TessaryAppTest
{
protected:
    void SetUp() override
    {
        m_defaults.setString(u"language"_s, u"en"_s);
        m_defaults.setString(u"aiBaseURL"_s, u"https://api.example.com/v1"_s);
        m_defaults.setString(u"aiModel"_s, u"example-chat"_s);
        m_app = launch({u"--open-settings-ai"_s});
        QMainWindow *window = m_app->settingsWindow()->window();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        m_baseURL = window->findChild<QLineEdit *>(u"aiBaseURL"_s);
        m_model = window->findChild<QLineEdit *>(u"aiModel"_s);
        m_keyDraft = window->findChild<QLineEdit *>(u"keyDraft"_s);
        m_prompt = window->findChild<QPlainTextEdit *>(u"polishPrompt"_s);
        ASSERT_TRUE(m_baseURL && m_model && m_keyDraft && m_prompt);
    }

    void TearDown() override
    {
        if (m_app) {
            m_app->applicationWillTerminate();
        }
    }

    QAction *item(const QString &name) const
    {
        return m_app->applicationMenu()->actions().at(1)->menu()->findChild<QAction *>(name);
    }

    QStringList enabledItems() const
    {
        QStringList enabled;
        for (const QString &name : {u"undo"_s, u"redo"_s, u"cut"_s, u"copy"_s, u"paste"_s, u"selectAll"_s}) {
            if (item(name)->isEnabled()) {
                enabled.append(name);
            }
        }
        return enabled;
    }

    void clickInto(QWidget *field)
    {
        ASSERT_TRUE(Tessary::Test::clickOn(field));
        ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == field; }, 10000));
    }

    /** Presses keys and waits until what they do has happened. */
    template <typename Condition> void press(const QString &chord, Condition done)
    {
        ASSERT_TRUE(Tessary::Test::pressKeys(chord)) << chord.toStdString();
        ASSERT_TRUE(QTest::qWaitFor(done, 10000)) << chord.toStdString();
    }

    std::unique_ptr<TessaryApp> m_app;
    QLineEdit *m_baseURL = nullptr;
    QLineEdit *m_model = nullptr;
    QLineEdit *m_keyDraft = nullptr;
    QPlainTextEdit *m_prompt = nullptr;
};

TEST_F(SettingsEditMenuTest, CutCopyAndPasteWithTheKeyboardInTheAIPane)
{
    EXPECT_EQ(item(u"paste"_s)->shortcut(), QKeySequence(QKeySequence::Paste));
    // Cut the whole address: the field is empty, the preference follows, another program can paste it.
    clickInto(m_baseURL);
    press(u"ctrl+a"_s, [&] { return m_baseURL->hasSelectedText(); });
    EXPECT_TRUE(item(u"cut"_s)->isEnabled() && item(u"copy"_s)->isEnabled());
    press(u"ctrl+x"_s, [&] { return m_baseURL->text().isEmpty(); });
    EXPECT_TRUE(m_app->preferences().aiBaseURL().isEmpty());
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"https://api.example.com/v1"_s);
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s})) << "nothing left to cut, copy or select";

    // Copy the model name and paste it where the address was, and into the prompt.
    clickInto(m_model);
    EXPECT_FALSE(item(u"undo"_s)->isEnabled()) << "the items belong to the field with the focus";
    press(u"ctrl+a"_s, [&] { return m_model->hasSelectedText(); });
    press(u"ctrl+c"_s, [] { return QGuiApplication::clipboard()->text() == u"example-chat"_s; });
    clickInto(m_baseURL);
    press(u"ctrl+v"_s, [&] { return m_baseURL->text() == u"example-chat"_s; });
    EXPECT_EQ(m_defaults.string(u"aiBaseURL"_s), u"example-chat"_s);
    clickInto(m_prompt);
    press(u"ctrl+a"_s, [&] { return m_prompt->textCursor().hasSelection(); });
    press(u"ctrl+v"_s, [&] { return m_prompt->toPlainText() == u"example-chat"_s; });
    EXPECT_EQ(m_app->preferences().polishPrompt(), u"example-chat"_s);
}

TEST_F(SettingsEditMenuTest, TheKeyFieldNeverReachesTheClipboardAndButtonsHaveNothingToEdit)
{
    clickInto(m_keyDraft);
    ASSERT_TRUE(Tessary::Test::runServingEvents(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"30"_s, u"sk-secret"_s}));
    press(u"ctrl+a"_s, [&] { return m_keyDraft->text() == u"sk-secret"_s && m_keyDraft->hasSelectedText(); });
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s, u"selectAll"_s}));
    const QString before = QGuiApplication::clipboard()->text();
    item(u"copy"_s)->trigger();
    // The key presses arrive in order: once End has moved the cursor, Ctrl+C has been handled too.
    ASSERT_TRUE(Tessary::Test::pressKeys(u"ctrl+c"_s));
    press(u"End"_s, [&] { return !m_keyDraft->hasSelectedText(); });
    EXPECT_EQ(QGuiApplication::clipboard()->text(), before);
    EXPECT_NE(Tessary::Test::clipboardTextElsewhere(), u"sk-secret"_s);

    press(u"Tab"_s, [] { return qobject_cast<QAbstractButton *>(QApplication::focusWidget()) != nullptr; });
    EXPECT_TRUE(enabledItems().isEmpty());
    // Back in a field with text, the items are there again.
    clickInto(m_model);
    item(u"selectAll"_s)->trigger();
    EXPECT_EQ(m_model->selectedText(), u"example-chat"_s);
    EXPECT_TRUE(item(u"copy"_s)->isEnabled());
}

} // namespace
