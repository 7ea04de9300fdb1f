// The picker and the Edit menu in real windows on the X server, driven with real clicks and key presses
// (xdotool), with another program (xclip) on the other side of the clipboard.

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeAppearancePicker.h"
#include "appearance/NativeAppearanceTile.h"
#include "appearance/NativeEditingMenu.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/appearance/AppearanceTestSupport.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using P = NativeAccentPalette;

namespace {

void press(const QString &chord)
{
    ASSERT_TRUE(Tessary::Test::pressKeys(chord)) << chord.toStdString();
}

/** Another program owns the clipboard with the data, until someone else takes it. */
void offerElsewhere(const QByteArray &data, const QString &type = u"UTF8_STRING"_s)
{
    QSignalSpy changed(QGuiApplication::clipboard(), &QClipboard::dataChanged);
    ASSERT_TRUE(Tessary::Test::offerClipboardElsewhere(data, type));
    ASSERT_TRUE(QTest::qWaitFor([&] { return changed.count() > 0; }, 30000));
}

void show(QWidget &window)
{
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
}

QIcon paletteIcon(P palette)
{
    QPixmap pixmap(64, 64);
    pixmap.fill(palette.color());
    return QIcon(pixmap);
}

TEST(NativeAppearancePickerTest, ClicksAndArrowKeysPickAndTheTilesShowIt)
{
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    auto appearance = std::make_unique<NativeAppAppearance>(P::Violet, u"key"_s, defaults, &paletteIcon);
    QWidget window;
    auto *picker = new NativeAppearancePicker(*appearance, u"zh-Hant"_s, &window);
    (new QVBoxLayout(&window))->addWidget(picker);
    window.resize(560, 240);
    show(window);
    const auto tile = [&](P palette) { return picker->tiles().at(palette.index()); };
    EXPECT_EQ(picker->findChild<QLabel *>(u"title"_s)->text(), u"圖示與強調色"_s);
    EXPECT_EQ(tile(P::Ocean)->accessibleName(), u"海藍圖示顏色"_s);
    EXPECT_EQ(tile(P::Violet)->accessibleDescription(), u"已選取"_s);
    picker->setLanguage(u"zh-Hans"_s);
    EXPECT_EQ(tile(P::Ocean)->accessibleDescription(), u"未选择"_s);
    picker->setLanguage(u"ja"_s);
    EXPECT_EQ(picker->findChild<QLabel *>(u"title"_s)->text(), u"Icon & Accent Color"_s);

    // A real click selects, stores and changes the icon at once; clicking the selected tile again changes nothing.
    QSignalSpy selectionChanged(appearance.get(), &NativeAppAppearance::selectionChanged);
    for (int click = 0; click < 2; ++click) {
        ASSERT_TRUE(Tessary::Test::clickOn(tile(P::Forest)));
        ASSERT_TRUE(QTest::qWaitFor([&] { return tile(P::Forest)->hasFocus(); }, 30000));
    }
    EXPECT_EQ(selectionChanged.count(), 1);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), appearance->icon(P::Forest).cacheKey());
    EXPECT_EQ(defaults.string(u"key"_s), u"forest"_s);
    // Two rows of three in palette order, only the selection marked: its check mark's disc in its colour and a
    // stronger fill.
    const QColor background = window.palette().color(QPalette::Window);
    for (NativeAppearanceTile *each : picker->tiles()) {
        SCOPED_TRACE(each->objectName().toStdString());
        const int i = each->accentPalette().index();
        EXPECT_EQ(each->height(), 56);
        EXPECT_EQ(each->x(), tile(P::allCases()[std::size_t(i % 3)])->x());
        EXPECT_EQ(each->y(), tile(P::allCases()[std::size_t(i / 3 * 3)])->y());
        EXPECT_EQ(each->accessibleName(), each->text() + u" icon color"_s);
        const bool selected = each->accentPalette() == P::Forest;
        EXPECT_EQ(each->accessibleDescription(), selected ? u"Selected"_s : u"Not selected"_s);
        const QImage drawn = each->grab().toImage();
        const qreal ratio = drawn.devicePixelRatio();
        const QColor check = drawn.pixelColor(QPointF((each->width() - 20) * ratio, 24 * ratio).toPoint());
        const QColor fill = drawn.pixelColor(QPointF(60 * ratio, 6 * ratio).toPoint());
        const auto distance = [](const QColor &a, const QColor &b) {
            return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
        };
        EXPECT_EQ(distance(check, each->accentPalette().color()) < 20, selected);
        EXPECT_EQ(distance(fill, background) > 25, selected);
    }
    EXPECT_EQ(tile(P::Amber)->x() - tile(P::Coral)->geometry().right() - 1, 10);
    EXPECT_EQ(tile(P::Forest)->y() - tile(P::Terracotta)->geometry().bottom() - 1, 10);
    // The arrow keys move the selection as in a group of radio buttons.
    press(u"Right"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return appearance->selection() == P::Ocean; }, 30000));
}

// A settings-like window with the Edit menu and several kinds of fields.
class NativeEditingMenuTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_edit = NativeEditingMenu::install(m_window.menuBar());
        auto *central = new QWidget(&m_window);
        auto *layout = new QVBoxLayout(central);
        m_readOnly->setReadOnly(true);
        for (QWidget *widget :
             std::initializer_list<QWidget *>{m_name, m_other, m_readOnly, m_notes, m_number, m_button}) {
            layout->addWidget(widget);
        }
        m_window.setCentralWidget(central);
        show(m_window);
        // Start from text on the clipboard, owned by another program.
        offerElsewhere("from elsewhere");
    }

    QAction *item(const QString &name) const { return m_edit->findChild<QAction *>(name); }

    /** The enabled items, by name, in menu order. */
    QStringList enabledItems() const
    {
        QStringList enabled;
        for (const QAction *action : m_edit->actions()) {
            if (action->isEnabled()) {
                enabled.append(action->objectName());
            }
        }
        return enabled;
    }

    void focus(QWidget *widget)
    {
        widget->setFocus(Qt::TabFocusReason);
        ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == widget; }, 30000));
    }

    QMainWindow m_window;
    QMenu *m_edit = nullptr;
    QLineEdit *m_name = new QLineEdit(u"hello world"_s);
    QLineEdit *m_other = new QLineEdit;
    QLineEdit *m_readOnly = new QLineEdit(u"fixed text"_s);
    QPlainTextEdit *m_notes = new QPlainTextEdit;
    QSpinBox *m_number = new QSpinBox;
    QPushButton *m_button = new QPushButton(u"Button"_s);
};

TEST_F(NativeEditingMenuTest, TranslatedItemsWithTheDesktopsShortcutsAppendedToTheBar)
{
    ASSERT_EQ(m_window.menuBar()->actions().size(), 1);
    EXPECT_EQ(m_edit->title(), u"编辑"_s);
    QStringList titles;
    const QList<QKeySequence::StandardKey> keys{QKeySequence::Undo, QKeySequence::Redo,  QKeySequence::Cut,
                                                QKeySequence::Copy, QKeySequence::Paste, QKeySequence::SelectAll};
    for (int i = 0; i < m_edit->actions().size(); ++i) {
        titles.append(m_edit->actions()[i]->text());
        EXPECT_EQ(m_edit->actions()[i]->shortcuts(), QKeySequence::keyBindings(keys.value(i))) << i;
    }
    EXPECT_EQ(titles, (QStringList{u"撤销"_s, u"重做"_s, u"剪切"_s, u"复制"_s, u"粘贴"_s, u"全选"_s}));
    // Every title passes through the translation (the menu's twice: the bar's item and the menu), now and later.
    QStringList asked;
    QMenu *translated = NativeEditingMenu::install(m_window.menuBar(), [&](const QString &title) -> QString {
        asked.append(title);
        return u"["_s + title + u"]"_s;
    });
    EXPECT_EQ(m_window.menuBar()->actions().last(), translated->menuAction()) << "appended after what was there";
    EXPECT_EQ(asked.count(u"编辑"_s), 2);
    EXPECT_EQ(asked.size(), 8);
    EXPECT_EQ(translated->actions().at(5)->text(), u"[全选]"_s);
    NativeEditingMenu::retitle(translated, {});
    EXPECT_EQ(translated->menuAction()->text(), u"编辑"_s);
}

TEST_F(NativeEditingMenuTest, ItemsFollowTheFocusedFieldAndActOnIt)
{
    focus(m_name);
    m_name->deselect();
    EXPECT_EQ(enabledItems(), (QStringList{u"paste"_s, u"selectAll"_s})) << "no selection, nothing typed yet";
    press(u"ctrl+a"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_name->selectedText() == u"hello world"_s; }, 30000));
    EXPECT_EQ(enabledItems(), (QStringList{u"cut"_s, u"copy"_s, u"paste"_s, u"selectAll"_s}));
    press(u"ctrl+c"_s);
    ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::clipboard()->text() == u"hello world"_s; }, 30000));
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"hello world"_s) << "another program reads the copy";

    // Another field: the selection of the first does not count there. Paste, cut, undo and redo with the keys.
    focus(m_other);
    EXPECT_EQ(enabledItems(), (QStringList{u"paste"_s}));
    press(u"ctrl+v"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"hello world"_s; }, 30000));
    EXPECT_EQ(enabledItems(), (QStringList{u"undo"_s, u"paste"_s, u"selectAll"_s}));
    m_other->setSelection(0, 6);
    press(u"ctrl+x"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"world"_s; }, 30000));
    EXPECT_EQ(Tessary::Test::clipboardTextElsewhere(), u"hello "_s);
    press(u"ctrl+z"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"hello world"_s; }, 30000));
    EXPECT_TRUE(item(u"redo"_s)->isEnabled());
    press(u"ctrl+shift+z"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"world"_s; }, 30000));

    // The menu's items act on the focused field too.
    focus(m_notes);
    item(u"paste"_s)->trigger();
    EXPECT_EQ(m_notes->toPlainText(), u"hello "_s);
    item(u"undo"_s)->trigger();
    EXPECT_TRUE(m_notes->toPlainText().isEmpty());
    EXPECT_EQ(enabledItems(), (QStringList{u"redo"_s, u"paste"_s}));
    // Read-only text can be copied, not cut or pasted into; a spin box edits through its line edit.
    focus(m_readOnly);
    m_readOnly->selectAll();
    EXPECT_EQ(enabledItems(), (QStringList{u"copy"_s, u"selectAll"_s}));
    focus(m_number);
    EXPECT_TRUE(item(u"selectAll"_s)->isEnabled() && item(u"paste"_s)->isEnabled());
}

TEST_F(NativeEditingMenuTest, PasteFollowsWhatTheClipboardHolds)
{
    // An image, no text: nothing to paste into a text field; also when it came while no field had the focus.
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    focus(m_other);
    ASSERT_TRUE(item(u"paste"_s)->isEnabled());
    offerElsewhere(png, u"image/png"_s);
    EXPECT_FALSE(item(u"paste"_s)->isEnabled());
    offerElsewhere("text again");
    EXPECT_TRUE(item(u"paste"_s)->isEnabled());
    press(u"ctrl+v"_s);
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_other->text() == u"text again"_s; }, 30000));
    focus(m_button);
    offerElsewhere(png, u"image/png"_s);
    focus(m_other);
    EXPECT_FALSE(item(u"paste"_s)->isEnabled());
    focus(m_button);
    offerElsewhere("and text");
    focus(m_other);
    EXPECT_TRUE(item(u"paste"_s)->isEnabled());
}

} // namespace
