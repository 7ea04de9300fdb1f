#pragma once

#include <array>
#include <optional>

#include <QList>
#include <QObject>
#include <QPointer>

class QAction;
class QMenu;
class QWidget;

namespace Tessary {

/** The Edit menu's items, kept in step with the focus widget and the clipboard. Owned by the menu. */
class NativeEditingMenuState final : public QObject
{
    Q_OBJECT
public:
    enum Item { Undo, Redo, Cut, Copy, Paste, SelectAll, ItemCount };

    NativeEditingMenuState(QMenu *menu, std::array<QAction *, ItemCount> actions);

private:
    void trigger(Item item);
    void focusChanged(QWidget *now);
    void clipboardChanged();
    bool clipboardHasText();
    void refresh();
    QWidget *target() const;

    std::array<QAction *, ItemCount> m_actions;
    QPointer<QWidget> m_target;
    QList<QMetaObject::Connection> m_targetConnections;
    // Asked for only while a field that could paste has the focus, then kept until the clipboard changes.
    std::optional<bool> m_clipboardHasText;
};

} // namespace Tessary
