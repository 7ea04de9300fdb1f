// The application in this process on a private X server: its tray menu, menu bar and settings window in the three
// languages, the settings window's panes and what they show (start at login, updates, AI test results), a refused
// shortcut, and the Edit menu's cut, copy and paste with real key presses (xdotool).

#include <gtest/gtest.h>

#include <functional>

#include <xcb/xcb.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/desktop/DesktopEntries.h"
#include "app/recognition/AIKeychain.h"
#include "app/settings/AIPane.h"
#include "app/settings/GeneralPane.h"
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

    // The language stored at launch first, then the others as the user picks them in the window.
    auto *picker = app->settingsWindow()->window()->findChild<QComboBox *>(u"language"_s);
    for (const QString &language : {u"zh-Hans"_s, u"en"_s, u"zh-Hant"_s}) {
        SCOPED_TRACE(language.toStdString());
        picker->setCurrentIndex(picker->findData(language));
        Q_EMIT picker->activated(picker->currentIndex());
        EXPECT_EQ(m_defaults.string(u"language"_s), language);
        const auto text = [&](const QString &key) { return translated(language, key); };
        EXPECT_EQ(titles(app->statusMenu()),
                  (QStringList{text(u"选区识字并复制"_s), text(u"选区识字并 AI 润色"_s), text(u"未识别到文字"_s),
                               text(u"快捷键：%@"_s).replace(u"%@"_s, u"Ctrl+Shift+Super+2"_s), u"-"_s,
                               text(u"识别剪贴板中的图像"_s), text(u"识别图像文件…"_s), u"-"_s, text(u"设置…"_s),
                               text(u"检查更新…"_s), text(u"打开屏幕录制权限设置…"_s), text(u"退出 Tessary"_s)}));
        EXPECT_EQ(app->statusToolTip(), text(u"未识别到文字"_s));
        EXPECT_EQ(app->settingsWindow()->window()->windowTitle(), text(u"Tessary 设置"_s));
        EXPECT_EQ(picker->itemText(0), text(u"跟随系统"_s));
    }
    const QString formatted = u"识别失败：磁盘已满"_s;
    // A message formatted from a key follows the language too; the part filled in stays as it is.
    app->showStatus(formatted);
    app->preferences().setLanguage(u"en"_s);
    EXPECT_EQ(app->statusMenu()->actions()[2]->text(),
              translated(u"en"_s, u"识别失败：%@"_s).replace(u"%@"_s, u"磁盘已满"_s));
    EXPECT_EQ(app->currentStatus(), formatted);
}

TEST_F(TessaryAppTest, SettingsWindowSaysWhenSettingsCannotBeSaved)
{
    // A plain file where the settings folder should be: nothing can be written below it, not even by root.
    QFile blocker(m_dir.filePath(u"config"_s));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    const QString unwritable = m_dir.filePath(u"config/md.velmor.tessary/defaults.ini"_s);
    UserDefaults defaults(unwritable);
    defaults.registerDefaults({{u"language"_s, u"en"_s}});
    TessaryApp app({u"tessary"_s, u"--open-settings-ai"_s}, defaults);
    app.applicationDidFinishLaunching();
    auto *label = app.settingsWindow()->window()->findChild<QLabel *>(u"saveError"_s);
    app.preferences().setAiModel(u"another-model"_s);
    EXPECT_TRUE(label->isVisible());
    EXPECT_EQ(label->text(),
              u"Settings could not be saved to "_s + unwritable + u". Changes last only until Tessary quits."_s);
    EXPECT_EQ(app.preferences().aiModel(), u"another-model"_s) << "the application goes on with the value given";
}

// Another X client holds Ctrl+Alt+K with one lock-key variant only: Tessary grabs the others before it meets the
// refusal, and must let every one of them go.
TEST_F(TessaryAppTest, RefusedShortcutKeepsTheOneInForceAndReleasesEveryGrab)
{
    m_defaults.setString(u"language"_s, u"en"_s);
    const auto app = launch({});
    TessaryPreferences &preferences = app->preferences();
    QAction *shortcutRow = app->statusMenu()->actions().at(3);
    xcb_connection_t *other = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
    constexpr xcb_keycode_t keyK = 45; // evdev 37 + 8
    constexpr quint16 ctrlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
    const auto grab = [&](int modifiers) {
        xcb_generic_error_t *error = xcb_request_check(
            other, xcb_grab_key_checked(other, 1, root, modifiers, keyK, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        free(error);
        return error == nullptr;
    };
    ASSERT_TRUE(grab(ctrlAlt | XCB_MOD_MASK_2));

    preferences.setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Option, u"K"_s});
    EXPECT_EQ(preferences.shortcutError(), u"快捷键已被占用，请重新录制。"_s);
    EXPECT_EQ(preferences.shortcut(), CapturedShortcut::defaultShortcut());
    const std::optional<QByteArray> stored = m_defaults.data(u"shortcut"_s);
    EXPECT_TRUE(!stored || CapturedShortcut::decodeJson(*stored) == CapturedShortcut::defaultShortcut());
    EXPECT_EQ(shortcutRow->text(), u"Shortcut: Ctrl+Shift+Super+2"_s) << "the row names the shortcut in force";

    // Once it lets go, the other program gets every variant of the keys while Tessary still runs.
    xcb_ungrab_key(other, keyK, root, ctrlAlt | XCB_MOD_MASK_2);
    for (const int lock : {0, int(XCB_MOD_MASK_LOCK), int(XCB_MOD_MASK_2), int(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2)}) {
        EXPECT_TRUE(grab(ctrlAlt | lock)) << "Tessary kept the grab with lock modifiers " << lock;
    }
    xcb_disconnect(other);
    // A free shortcut clears the complaint.
    preferences.setShortcut(CapturedShortcut{40, CapturedShortcut::Control | CapturedShortcut::Shift, u"K"_s});
    EXPECT_TRUE(preferences.shortcutError().isEmpty());
    EXPECT_EQ(shortcutRow->text(), u"Shortcut: Ctrl+Shift+K"_s);
}

// From the build tree, as developers run it, there is no installed bundle, so the updater is disabled and the menu's
// check says so.
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

    // The pane names the build; the tray's check item explains, and the state does not move.
    const QString version = app->settingsWindow()->window()->findChild<QLabel *>(u"version"_s)->text();
    EXPECT_TRUE(version.startsWith(u"Version "_s) && !version.endsWith(u" (—)"_s)) << version.toStdString();
    QAction *check = app->statusMenu()->actions().at(9);
    ASSERT_EQ(check->text(), u"Check for Updates…"_s);
    check->trigger();
    ASSERT_EQ(answerer.dialogs().size(), 1);
    EXPECT_EQ(answerer.dialogs()[0].text, u"Development builds do not check for production updates."_s);
    EXPECT_EQ(updater.state(), NativeUpdateState::idle());
}

// General → "Start Tessary at login" writes and removes the XDG autostart entry for the running copy, shows what
// is on disk whenever the pane is shown again, and reports a folder it cannot write.
TEST_F(TessaryAppTest, StartAtLoginWritesRemovesAndFollowsTheAutostartEntry)
{
    const QByteArray previousHome = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(m_dir.path()));
    m_defaults.setString(u"language"_s, u"en"_s);
    const auto app = launch({u"--open-settings"_s});
    GeneralPane *pane = app->settingsWindow()->generalPane();
    auto *toggle = pane->findChild<QCheckBox *>(u"startAtLogin"_s);
    const QString path = DesktopEntries::autostartPath();
    ASSERT_TRUE(path.startsWith(m_dir.path()));
    const auto write = [&](const QByteArray &content) {
        QFile file(path);
        return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) && file.write(content) > 0;
    };
    const auto reshow = [&] {
        pane->hide();
        pane->show();
    };
    EXPECT_FALSE(toggle->isChecked());
    toggle->click();
    const QByteArray exec = "\nExec=" + QFile::encodeName(DesktopEntries::runningExecutable()) + '\n';
    EXPECT_TRUE(Tessary::Test::fileContents(path).contains(exec));
    const Tessary::Test::ProcessResult validate = Tessary::Test::runProcess(u"desktop-file-validate"_s, {path});
    EXPECT_EQ(validate.exitCode, 0) << validate.standardOutput.toStdString();
    toggle->click();
    EXPECT_FALSE(QFile::exists(path));

    // Changed outside: the pane shows the entry on disk (Hidden=true and GNOME's switch mean off).
    const QList<std::pair<QByteArray, bool>> rows{
        {DesktopEntries::text(u"/opt/other copy/tessary"_s).toUtf8(), true},
        {"[Desktop Entry]\nType=Application\nExec=tessary\nHidden=true\n", false},
        {"[Desktop Entry]\nType=Application\nExec=tessary\nX-GNOME-Autostart-enabled=false\n", false},
    };
    for (const auto &[content, shown] : rows) {
        ASSERT_TRUE(write(content));
        reshow();
        EXPECT_EQ(toggle->isChecked(), shown) << content.toStdString();
    }
    EXPECT_TRUE(rows[0].first.contains("\nExec=\"/opt/other copy/tessary\"\n")) << "a path with a space is quoted";

    // A folder that cannot be written: the reason in the interface language, and the switch stays off.
    QDir(QFileInfo(path).path()).removeRecursively();
    QFile blocker(QFileInfo(path).path());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    reshow();
    toggle->click();
    EXPECT_FALSE(toggle->isChecked());
    const auto *error = pane->findChild<QLabel *>(u"startAtLoginError"_s);
    EXPECT_TRUE(error->isVisible());
    EXPECT_TRUE(error->text().startsWith(u"Could not change the autostart entry: "_s)) << error->text().toStdString();
    app->preferences().setLanguage(u"zh-Hant"_s);
    EXPECT_TRUE(error->text().startsWith(u"無法變更登入啟動項目："_s));
    qputenv("HOME", previousHome);
}

// The connection test's result in the AI pane (the keyring of with-keyring holds no key): an error reads as one, and
// it goes once the settings it was made with change, not when the language does.
TEST_F(TessaryAppTest, AIPaneTestErrorLooksLikeOneAndGoesWhenTheSettingsChange)
{
    ASSERT_TRUE(AIKeychain::remove());
    m_defaults.setString(u"language"_s, u"en"_s);
    const auto app = launch({u"--open-settings-ai"_s});
    auto *pane = app->settingsWindow()->window()->findChild<AIPane *>();
    ASSERT_NE(pane, nullptr);
    pane->testConnection();
    EXPECT_FALSE(pane->findChild<QLabel *>(u"testStatus"_s)->styleSheet().isEmpty()) << "shown in the error colour";
    app->preferences().setLanguage(u"zh-Hant"_s);
    EXPECT_EQ(pane->testStatus(), translated(u"zh-Hant"_s, u"请先保存 API Key。"_s));
    app->preferences().setAiBaseURL(u"http://127.0.0.1:8080/v1"_s);
    EXPECT_TRUE(pane->testStatus().isEmpty());
}

// The Edit menu with the keyboard in the AI pane's fields: what is cut and pasted reaches the settings and other
// programs, and the key never reaches the clipboard.
TEST_F(TessaryAppTest, CutAndPasteWithTheKeyboardInTheAIPane)
{
    const QString address = u"https://api.example.com/v1"_s;
    m_defaults.setString(u"aiBaseURL"_s, address);
    const auto app = launch({u"--open-settings-ai"_s});
    QMainWindow *window = app->settingsWindow()->window();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    auto *baseURL = window->findChild<QLineEdit *>(u"aiBaseURL"_s);
    auto *keyDraft = window->findChild<QLineEdit *>(u"keyDraft"_s);
    auto *prompt = window->findChild<QPlainTextEdit *>(u"polishPrompt"_s);
    const QMenu *edit = app->applicationMenu()->actions().at(1)->menu();
    const auto clickInto = [](QWidget *field) {
        return Tessary::Test::clickOn(field) &&
               QTest::qWaitFor([&] { return QApplication::focusWidget() == field; }, 10000);
    };
    // Presses keys and waits until what they do has happened.
    const auto press = [](const QString &chord, const std::function<bool()> &done) {
        return Tessary::Test::pressKeys(chord) && QTest::qWaitFor(done, 10000);
    };

    // Cut the whole address: the field is empty, the preference follows, another program can paste it.
    ASSERT_TRUE(clickInto(baseURL));
    ASSERT_TRUE(press(u"ctrl+a"_s, [&] { return baseURL->hasSelectedText(); }));
    ASSERT_TRUE(press(u"ctrl+x"_s, [&] { return baseURL->text().isEmpty(); }));
    EXPECT_TRUE(app->preferences().aiBaseURL().isEmpty());
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), address);

    // Paste it over the prompt (the model field is bound as the address is).
    ASSERT_TRUE(clickInto(prompt));
    ASSERT_TRUE(press(u"ctrl+a"_s, [&] { return prompt->textCursor().hasSelection(); }));
    ASSERT_TRUE(press(u"ctrl+v"_s, [&] { return prompt->toPlainText() == address; }));
    EXPECT_EQ(app->preferences().polishPrompt(), address);

    // The key field: no cut or copy through the menu or the keys.
    ASSERT_TRUE(clickInto(keyDraft));
    ASSERT_TRUE(Tessary::Test::runServingEvents(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"30"_s, u"sk-secret"_s}));
    ASSERT_TRUE(press(u"ctrl+a"_s, [&] { return keyDraft->text() == u"sk-secret"_s && keyDraft->hasSelectedText(); }));
    QStringList enabled;
    for (const QString &name : {u"undo"_s, u"redo"_s, u"cut"_s, u"copy"_s, u"paste"_s, u"selectAll"_s}) {
        if (edit->findChild<QAction *>(name)->isEnabled()) {
            enabled.append(name);
        }
    }
    EXPECT_EQ(enabled, (QStringList{u"undo"_s, u"paste"_s, u"selectAll"_s}));
    edit->findChild<QAction *>(u"copy"_s)->trigger();
    // The key presses arrive in order: once End has moved the cursor, Ctrl+C has been handled too.
    ASSERT_TRUE(Tessary::Test::pressKeys(u"ctrl+c"_s));
    ASSERT_TRUE(press(u"End"_s, [&] { return !keyDraft->hasSelectedText(); }));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), address);
    EXPECT_NE(Tessary::Test::clipboardTextElsewhere(), u"sk-secret"_s);
    app->applicationWillTerminate();
}

} // namespace
