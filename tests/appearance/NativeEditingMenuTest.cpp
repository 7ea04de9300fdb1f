#include <gtest/gtest.h>

#include <QAction>
#include <QBuffer>
#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QVBoxLayout>

#include "appearance/NativeEditingMenu.h"
#include "tests/appearance/AppearanceTestSupport.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

const QStringList itemNames{u"undo"_s, u"redo"_s, u"cut"_s, u"copy"_s, u"paste"_s, u"selectAll"_s};

TEST(NativeEditingMenuInstallTest, AppendsTheEditMenuWithTranslatedTitlesAndTheDesktopsShortcuts)
{
    QMenuBar bar;
    bar.addMenu(u"Tessary"_s);
    QMenu *edit = NativeEditingMenu::install(&bar);
    ASSERT_EQ(bar.actions().size(), 2);
    EXPECT_EQ(bar.actions().at(1), edit->menuAction()) << "appended after what was there";
    EXPECT_EQ(edit->title(), u"编辑"_s);
    EXPECT_EQ(edit->menuAction()->text(), u"编辑"_s);
    QStringList titles;
    QStringList names;
    const QList<QKeySequence::StandardKey> keys{QKeySequence::Undo, QKeySequence::Redo,  QKeySequence::Cut,
                                                QKeySequence::Copy, QKeySequence::Paste, QKeySequence::SelectAll};
    for (int i = 0; i < edit->actions().size(); ++i) {
        const QAction *action = edit->actions().at(i);
        titles.append(action->text());
        names.append(action->objectName());
        EXPECT_EQ(action->shortcuts(), QKeySequence::keyBindings(keys.value(i))) << i;
    }
    EXPECT_EQ(titles, (QStringList{u"撤销"_s, u"重做"_s, u"剪切"_s, u"复制"_s, u"粘贴"_s, u"全选"_s}));
    EXPECT_EQ(names, itemNames) << "and no separators";

    // Every title passes through the translation, the menu's twice (the bar's item and the menu).
    QStringList asked;
    const auto bracketed = [&](const QString &title) -> QString {
        asked.append(title);
        return u"["_s + title + u"]"_s;
    };
    QMenu *translated = NativeEditingMenu::install(&bar, bracketed);
    EXPECT_EQ(asked.count(u"编辑"_s), 2);
    EXPECT_EQ(asked.size(), 8);
    EXPECT_EQ(translated->menuAction()->text(), u"[编辑]"_s);
    EXPECT_EQ(translated->actions().at(5)->text(), u"[全选]"_s);
    // Relabelled later, as when the interface language changes.
    NativeEditingMenu::retitle(translated, {});
    EXPECT_EQ(translated->menuAction()->text(), u"编辑"_s);
    EXPECT_EQ(translated->actions().at(0)->text(), u"撤销"_s);
}

// A settings-like window with the menu bar and several kinds of fields, typed into with real key presses.
class NativeEditingMenuTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
        m_window.setWindowTitle(u"Edit Menu Test Window"_s);
        m_edit = NativeEditingMenu::install(m_window.menuBar());
        auto *central = new QWidget(&m_window);
        auto *layout = new QVBoxLayout(central);
        m_name = new QLineEdit(u"hello world"_s, central);
        m_name->setObjectName(u"name"_s);
        m_other = new QLineEdit(central);
        m_key = new QLineEdit(central);
        m_key->setEchoMode(QLineEdit::Password);
        m_readOnly = new QLineEdit(u"fixed text"_s, central);
        m_readOnly->setReadOnly(true);
        m_notes = new QPlainTextEdit(central);
        m_number = new QSpinBox(central);
        m_button = new QPushButton(u"Button"_s, central);
        for (QWidget *widget :
             std::initializer_list<QWidget *>{m_name, m_other, m_key, m_readOnly, m_notes, m_number, m_button}) {
            layout->addWidget(widget);
        }
        m_window.setCentralWidget(central);
        m_window.resize(400, 420);
        m_window.show();
        m_window.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&m_window));
        // Start from a clipboard with text in it, owned by another program; the menu learns of it from the
        // clipboard's change signal, which comes through the event loop after the text can already be read.
        QSignalSpy changed(QGuiApplication::clipboard(), &QClipboard::dataChanged);
        ASSERT_TRUE(Tessary::Test::offerClipboardElsewhere("from elsewhere"));
        ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::clipboard()->text() == u"from elsewhere"_s; }, 5000));
        ASSERT_TRUE(QTest::qWaitFor([&] { return changed.count() > 0; }, 5000));
    }

    QAction *item(const QString &name) const { return m_edit->findChild<QAction *>(name); }

    // The enabled items, by name, in menu order.
    QStringList enabledItems() const
    {
        QStringList enabled;
        for (const QString &name : itemNames) {
            if (item(name)->isEnabled()) {
                enabled.append(name);
            }
        }
        return enabled;
    }

    void focus(QWidget *widget)
    {
        widget->setFocus(Qt::TabFocusReason);
        ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == widget; }, 2000));
    }

    void press(const QString &chord) { ASSERT_TRUE(Tessary::Test::pressKeys(chord)) << chord.toStdString(); }

    QMainWindow m_window;
    QMenu *m_edit = nullptr;
    QLineEdit *m_name = nullptr;
    QLineEdit *m_other = nullptr;
    QLineEdit *m_key = nullptr;
    QLineEdit *m_readOnly = nullptr;
    QPlainTextEdit *m_notes = nullptr;
    QSpinBox *m_number = nullptr;
    QPushButton *m_button = nullptr;
};

TEST_F(NativeEditingMenuTest, CopyCutAndPasteWithTheKeyboardAcrossFields)
{
    focus(m_name);
    m_name->deselect();
    EXPECT_EQ(enabledItems(), (QStringList{u"paste"_s, u"selectAll"_s})) << "no selection, nothing typed yet";

    press(u"ctrl+a"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_name->selectedText() == u"hello world"_s; }, 5000));
    EXPECT_EQ(enabledItems(), (QStringList{u"cut"_s, u"copy"_s, u"paste"_s, u"selectAll"_s}));

    press(u"ctrl+c"_s);
    ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::clipboard()->text() == u"hello world"_s; }, 5000));
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"hello world"_s) << "another program reads the copy";

    // Another field: the selection of the first does not count there.
    focus(m_other);
    EXPECT_EQ(enabledItems(), (QStringList{u"paste"_s}));
    press(u"ctrl+v"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"hello world"_s; }, 5000));
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s, u"selectAll"_s}));

    // Cut a word: gone from the field, on the clipboard, and undoable.
    m_other->setSelection(0, 6);
    press(u"ctrl+x"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"world"_s; }, 5000));
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"hello "_s);
    press(u"ctrl+z"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"hello world"_s; }, 5000));
    EXPECT_TRUE(item(u"redo"_s)->isEnabled());
    press(u"ctrl+shift+z"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"world"_s; }, 5000));
}

TEST_F(NativeEditingMenuTest, MenuItemsActOnTheFocusedField)
{
    focus(m_name);
    m_name->deselect();
    item(u"selectAll"_s)->trigger();
    EXPECT_EQ(m_name->selectedText(), u"hello world"_s);
    item(u"copy"_s)->trigger();
    ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::clipboard()->text() == u"hello world"_s; }, 5000));

    focus(m_notes);
    item(u"paste"_s)->trigger();
    EXPECT_EQ(m_notes->toPlainText(), u"hello world"_s);
    EXPECT_TRUE(item(u"undo"_s)->isEnabled());
    item(u"undo"_s)->trigger();
    EXPECT_TRUE(m_notes->toPlainText().isEmpty());
    EXPECT_EQ(enabledItems(), (QStringList{u"redo"_s, u"paste"_s}));
}

TEST_F(NativeEditingMenuTest, ItemsFollowTheFocusAndTheKindOfField)
{
    // A password is never copied out, even when selected.
    focus(m_key);
    press(u"s"_s);
    press(u"k"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_key->text() == u"sk"_s; }, 5000));
    press(u"ctrl+a"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_key->hasSelectedText(); }, 5000));
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s, u"selectAll"_s}));
    press(u"ctrl+c"_s);
    QTest::qWait(200);
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"from elsewhere"_s);

    // Read-only text can be copied, not cut or pasted into.
    focus(m_readOnly);
    m_readOnly->selectAll();
    EXPECT_EQ(enabledItems(), (QStringList{u"copy"_s, u"selectAll"_s}));

    // A spin box edits through its line edit.
    focus(m_number);
    EXPECT_TRUE(item(u"selectAll"_s)->isEnabled());
    EXPECT_TRUE(item(u"paste"_s)->isEnabled());

    // A button has nothing to edit.
    focus(m_button);
    EXPECT_TRUE(enabledItems().isEmpty());

    // Back in a field, the items are there again at once.
    focus(m_name);
    EXPECT_TRUE(item(u"selectAll"_s)->isEnabled());
}

TEST_F(NativeEditingMenuTest, PasteFollowsWhatTheClipboardHolds)
{
    focus(m_other);
    ASSERT_TRUE(item(u"paste"_s)->isEnabled());

    // An image, no text: nothing to paste into a text field.
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    ASSERT_TRUE(Tessary::Test::offerClipboardElsewhere(png, u"image/png"_s));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !item(u"paste"_s)->isEnabled(); }, 5000));

    ASSERT_TRUE(Tessary::Test::offerClipboardElsewhere("text again"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return item(u"paste"_s)->isEnabled(); }, 5000));
    press(u"ctrl+v"_s);
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"text again"_s; }, 5000));

    // A copy made while no field has the focus counts as soon as one has it.
    focus(m_button);
    QSignalSpy changed(QGuiApplication::clipboard(), &QClipboard::dataChanged);
    ASSERT_TRUE(Tessary::Test::offerClipboardElsewhere(png, u"image/png"_s));
    ASSERT_TRUE(QTest::qWaitFor([&] { return changed.count() > 0; }, 5000));
    focus(m_other);
    EXPECT_FALSE(item(u"paste"_s)->isEnabled());
    focus(m_button);
    changed.clear();
    ASSERT_TRUE(Tessary::Test::offerClipboardElsewhere("and text"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return changed.count() > 0; }, 5000));
    focus(m_other);
    EXPECT_TRUE(item(u"paste"_s)->isEnabled());
}

} // namespace
