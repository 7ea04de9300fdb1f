#include "appearance/NativeEditingMenuState_p.h"

#include <QAbstractSpinBox>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QTextEdit>

namespace Tessary {

namespace {

constexpr std::array<const char *, NativeEditingMenuState::ItemCount> slotNames{"undo", "redo",  "cut",
                                                                                "copy", "paste", "selectAll"};

bool hasSlot(const QObject *object, const char *name)
{
    const QByteArray signature = QByteArray(name) + "()";
    return object->metaObject()->indexOfMethod(signature.constData()) >= 0;
}

// What each item would do in a line edit. Passwords are never copied out, as QLineEdit itself refuses to.
// canPaste: the field is editable and the clipboard holds text.
std::array<bool, NativeEditingMenuState::ItemCount> lineEditItems(const QLineEdit *edit, bool canPaste)
{
    const bool revealed = edit->echoMode() == QLineEdit::Normal;
    const bool editable = !edit->isReadOnly();
    return {edit->isUndoAvailable(),
            edit->isRedoAvailable(),
            editable && revealed && edit->hasSelectedText(),
            revealed && edit->hasSelectedText(),
            canPaste,
            !edit->text().isEmpty()};
}

template <typename Edit>
std::array<bool, NativeEditingMenuState::ItemCount> textEditItems(const Edit *edit, bool canPaste)
{
    const bool editable = !edit->isReadOnly();
    const bool hasSelection = edit->textCursor().hasSelection();
    const QTextDocument *document = edit->document();
    return {editable && document->isUndoAvailable(),
            editable && document->isRedoAvailable(),
            editable && hasSelection,
            hasSelection,
            canPaste,
            !document->isEmpty()};
}

bool isEditableText(const QWidget *widget)
{
    if (const auto *edit = qobject_cast<const QLineEdit *>(widget)) {
        return !edit->isReadOnly();
    }
    if (const auto *edit = qobject_cast<const QTextEdit *>(widget)) {
        return !edit->isReadOnly();
    }
    if (const auto *edit = qobject_cast<const QPlainTextEdit *>(widget)) {
        return !edit->isReadOnly();
    }
    return false;
}

template <typename Edit>
QList<QMetaObject::Connection> watchTextEdit(Edit *edit, NativeEditingMenuState *state,
                                             const std::function<void()> &refresh)
{
    return {QObject::connect(edit, &Edit::undoAvailable, state, refresh),
            QObject::connect(edit, &Edit::redoAvailable, state, refresh),
            QObject::connect(edit, &Edit::copyAvailable, state, refresh),
            QObject::connect(edit, &Edit::selectionChanged, state, refresh),
            QObject::connect(edit, &Edit::textChanged, state, refresh)};
}

} // namespace

NativeEditingMenuState::NativeEditingMenuState(QMenu *menu, std::array<QAction *, ItemCount> actions)
    : QObject(menu)
    , m_actions(actions)
{
    for (int item = 0; item < ItemCount; ++item) {
        connect(m_actions[item], &QAction::triggered, this, [this, item] { trigger(Item(item)); });
    }
    // The focus widget's read-only flag and echo mode change without a signal: look again whenever the menu opens.
    connect(menu, &QMenu::aboutToShow, this, [this] { focusChanged(QApplication::focusWidget()); });
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { focusChanged(now); });
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, &NativeEditingMenuState::clipboardChanged);
    focusChanged(QApplication::focusWidget());
}

QWidget *NativeEditingMenuState::target() const
{
    return m_target.data();
}

void NativeEditingMenuState::trigger(Item item)
{
    if (QWidget *widget = target()) {
        QMetaObject::invokeMethod(widget, slotNames[item]);
    }
    refresh();
}

void NativeEditingMenuState::focusChanged(QWidget *now)
{
    for (const QMetaObject::Connection &connection : std::as_const(m_targetConnections)) {
        disconnect(connection);
    }
    m_targetConnections.clear();

    // Spin boxes and editable combo boxes take the focus themselves; the text is in their line edit.
    QWidget *widget = now;
    if (auto *combo = qobject_cast<QComboBox *>(now); combo != nullptr && combo->lineEdit() != nullptr) {
        widget = combo->lineEdit();
    } else if (auto *spin = qobject_cast<QAbstractSpinBox *>(now)) {
        if (auto *edit = spin->findChild<QLineEdit *>(QString(), Qt::FindDirectChildrenOnly)) {
            widget = edit;
        }
    }
    m_target = widget;

    const auto refresh = [this] { this->refresh(); };
    if (auto *edit = qobject_cast<QLineEdit *>(widget)) {
        m_targetConnections = {connect(edit, &QLineEdit::textChanged, this, refresh),
                               connect(edit, &QLineEdit::selectionChanged, this, refresh)};
    } else if (auto *edit = qobject_cast<QTextEdit *>(widget)) {
        m_targetConnections = watchTextEdit(edit, this, refresh);
    } else if (auto *edit = qobject_cast<QPlainTextEdit *>(widget)) {
        m_targetConnections = watchTextEdit(edit, this, refresh);
    }
    refresh();
}

void NativeEditingMenuState::clipboardChanged()
{
    // Every copy anywhere on the desktop lands here. Asking what another program copied is a round trip to that
    // program, which stalls this thread while it does not answer: ask only when a field could paste it.
    m_clipboardHasText.reset();
    if (isEditableText(target())) {
        refresh();
    }
}

bool NativeEditingMenuState::clipboardHasText()
{
    if (!m_clipboardHasText) {
        const QMimeData *data = QGuiApplication::clipboard()->mimeData();
        m_clipboardHasText = data != nullptr && data->hasText();
    }
    return *m_clipboardHasText;
}

void NativeEditingMenuState::refresh()
{
    std::array<bool, ItemCount> enabled{};
    const QWidget *widget = target();
    const bool canPaste = isEditableText(widget) && clipboardHasText();
    if (const auto *edit = qobject_cast<const QLineEdit *>(widget)) {
        enabled = lineEditItems(edit, canPaste);
    } else if (const auto *edit = qobject_cast<const QTextEdit *>(widget)) {
        enabled = textEditItems(edit, canPaste);
    } else if (const auto *edit = qobject_cast<const QPlainTextEdit *>(widget)) {
        enabled = textEditItems(edit, canPaste);
    } else if (widget != nullptr) {
        for (int item = 0; item < ItemCount; ++item) {
            enabled[item] = hasSlot(widget, slotNames[item]);
        }
    }
    for (int item = 0; item < ItemCount; ++item) {
        m_actions[item]->setEnabled(enabled[item]);
    }
}

} // namespace Tessary
