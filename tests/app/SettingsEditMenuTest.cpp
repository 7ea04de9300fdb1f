// The Edit menu of the settings window's menu bar: its titles follow the interface language, and cut, copy and paste
// with the keyboard work in the AI pane's fields (real key presses on the X server) while its items follow the focus.

#include <gtest/gtest.h>

#include <memory>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>

#include "app/TessaryApp.h"
#include "app/TessaryPreferences.h"
#include "app/settings/TessarySettingsWindow.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/appearance/AppearanceTestSupport.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

const QStringList editKeys{u"撤销"_s, u"重做"_s, u"剪切"_s, u"复制"_s, u"粘贴"_s, u"全选"_s};

QString translated(const QString &language, const QString &key)
{
    QFile file(Tessary::Test::sourcePath(u"app/resources/i18n/%1.lproj/Localizable.json"_s.arg(language)));
    if (!file.open(QIODevice::ReadOnly)) {
        return key;
    }
    return QJsonDocument::fromJson(file.readAll()).object().value(key).toString();
}

class SettingsEditMenuTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
        m_defaults.setString(u"language"_s, u"en"_s);
        m_defaults.setString(u"aiBaseURL"_s, u"https://api.example.com/v1"_s);
        m_defaults.setString(u"aiModel"_s, u"example-chat"_s);
        m_app = std::make_unique<TessaryApp>(QStringList{u"tessary"_s, u"--open-settings-ai"_s}, m_defaults);
        m_app->applicationDidFinishLaunching();
        m_window = m_app->settingsWindow()->window();
        ASSERT_NE(m_window, nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_window));
        m_baseURL = m_window->findChild<QLineEdit *>(u"aiBaseURL"_s);
        m_model = m_window->findChild<QLineEdit *>(u"aiModel"_s);
        m_keyDraft = m_window->findChild<QLineEdit *>(u"keyDraft"_s);
        m_prompt = m_window->findChild<QPlainTextEdit *>(u"polishPrompt"_s);
        ASSERT_TRUE(m_baseURL && m_model && m_keyDraft && m_prompt);
    }

    void TearDown() override
    {
        if (m_app) {
            m_app->applicationWillTerminate();
        }
    }

    QMenu *editMenu() const
    {
        const QList<QAction *> menus = m_app->applicationMenu()->actions();
        return menus.size() == 2 ? menus.at(1)->menu() : nullptr;
    }

    QAction *item(const QString &name) const { return editMenu()->findChild<QAction *>(name); }

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

    void press(const QString &chord) { ASSERT_TRUE(Tessary::Test::pressKeys(chord)) << chord.toStdString(); }

    QTemporaryDir m_dir;
    UserDefaults m_defaults{m_dir.filePath(u"defaults.ini"_s)};
    std::unique_ptr<TessaryApp> m_app;
    QMainWindow *m_window = nullptr;
    QLineEdit *m_baseURL = nullptr;
    QLineEdit *m_model = nullptr;
    QLineEdit *m_keyDraft = nullptr;
    QPlainTextEdit *m_prompt = nullptr;
};

TEST_F(SettingsEditMenuTest, MenuBarHasTheEditMenuInTheInterfaceLanguage)
{
    EXPECT_EQ(m_window->menuBar(), m_app->applicationMenu());
    ASSERT_NE(editMenu(), nullptr);
    for (const QString &language : {u"zh-Hant"_s, u"en"_s, u"zh-Hans"_s}) {
        m_app->preferences().setLanguage(language);
        EXPECT_EQ(m_app->applicationMenu()->actions().at(0)->text(), u"Tessary"_s);
        EXPECT_EQ(editMenu()->menuAction()->text(), translated(language, u"编辑"_s)) << language.toStdString();
        EXPECT_EQ(editMenu()->title(), translated(language, u"编辑"_s));
        QStringList titles;
        QStringList expected;
        for (int i = 0; i < editKeys.size(); ++i) {
            titles.append(editMenu()->actions().at(i)->text());
            expected.append(translated(language, editKeys[i]));
        }
        EXPECT_EQ(titles, expected) << language.toStdString();
    }
    EXPECT_EQ(editMenu()->actions().size(), editKeys.size());
    EXPECT_EQ(item(u"paste"_s)->shortcut(), QKeySequence(QKeySequence::Paste));
}

TEST_F(SettingsEditMenuTest, CutCopyAndPasteWithTheKeyboardInTheAIPane)
{
    // Cut the whole address: the field is empty, the preference follows, another program can paste it.
    clickInto(m_baseURL);
    press(u"ctrl+a"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_baseURL->hasSelectedText(); }, 10000));
    EXPECT_TRUE(item(u"cut"_s)->isEnabled());
    EXPECT_TRUE(item(u"copy"_s)->isEnabled());
    press(u"ctrl+x"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_baseURL->text().isEmpty(); }, 10000));
    EXPECT_TRUE(m_app->preferences().aiBaseURL().isEmpty());
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"https://api.example.com/v1"_s);
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s})) << "nothing left to cut, copy or select";

    // Copy the model name and paste it where the address was.
    clickInto(m_model);
    EXPECT_FALSE(item(u"undo"_s)->isEnabled()) << "the items belong to the field with the focus";
    press(u"ctrl+a"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_model->hasSelectedText(); }, 10000));
    press(u"ctrl+c"_s);
    ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::clipboard()->text() == u"example-chat"_s; }, 10000));
    EXPECT_EQ(m_model->text(), u"example-chat"_s);
    clickInto(m_baseURL);
    press(u"ctrl+v"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_baseURL->text() == u"example-chat"_s; }, 10000));
    EXPECT_EQ(m_app->preferences().aiBaseURL(), u"example-chat"_s);
    EXPECT_EQ(m_defaults.string(u"aiBaseURL"_s), u"example-chat"_s);

    // And into the prompt.
    clickInto(m_prompt);
    press(u"ctrl+a"_s);
    press(u"ctrl+v"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_prompt->toPlainText() == u"example-chat"_s; }, 10000));
    EXPECT_EQ(m_app->preferences().polishPrompt(), u"example-chat"_s);
}

TEST_F(SettingsEditMenuTest, ItemsFollowTheFocusThroughTheAIPane)
{
    // The key field: what is typed there never reaches the clipboard.
    clickInto(m_keyDraft);
    ASSERT_TRUE(Tessary::Test::runServingEvents(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"30"_s, u"sk-secret"_s}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_keyDraft->text() == u"sk-secret"_s; }, 10000));
    press(u"ctrl+a"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_keyDraft->hasSelectedText(); }, 10000));
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s, u"selectAll"_s}));
    const QString before = QGuiApplication::clipboard()->text();
    item(u"copy"_s)->trigger();
    press(u"ctrl+c"_s);
    // The key presses arrive in order: once End has moved the cursor, Ctrl+C has been handled too.
    press(u"End"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_keyDraft->hasSelectedText(); }, 10000));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), before);
    EXPECT_NE(Tessary::Test::clipboardTextElsewhere(), u"sk-secret"_s);

    // Tab on to the buttons below: nothing to edit there.
    press(u"Tab"_s);
    ASSERT_TRUE(QTest::qWaitFor([] { return qobject_cast<QAbstractButton *>(QApplication::focusWidget()); }, 10000))
        << (QApplication::focusWidget() ? QApplication::focusWidget()->metaObject()->className() : "no focus");
    EXPECT_TRUE(enabledItems().isEmpty());

    // Back in a field with text, the items are there again.
    clickInto(m_model);
    EXPECT_TRUE(item(u"selectAll"_s)->isEnabled());
    item(u"selectAll"_s)->trigger();
    EXPECT_EQ(m_model->selectedText(), u"example-chat"_s);
    EXPECT_TRUE(item(u"copy"_s)->isEnabled());
}

} // namespace
