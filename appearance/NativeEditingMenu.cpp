#include "appearance/NativeEditingMenu.h"

#include <array>

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

#include "appearance/NativeEditingMenuState_p.h"

using namespace Qt::StringLiterals;

namespace Tessary::NativeEditingMenu {

namespace {

struct ItemRow
{
    const char16_t *title;
    const char16_t *name;
    QKeySequence::StandardKey key;
};

// Indexed by NativeEditingMenuState::Item; name is the focus widget's slot and the action's object name.
constexpr std::array<ItemRow, NativeEditingMenuState::ItemCount> itemRows{{
    {u"撤销", u"undo", QKeySequence::Undo},
    {u"重做", u"redo", QKeySequence::Redo},
    {u"剪切", u"cut", QKeySequence::Cut},
    {u"复制", u"copy", QKeySequence::Copy},
    {u"粘贴", u"paste", QKeySequence::Paste},
    {u"全选", u"selectAll", QKeySequence::SelectAll},
}};

constexpr char16_t menuTitle[] = u"编辑";
constexpr char titleKeyProperty[] = "nativeTitleKey";

QString translated(const Translate &translate, const QString &title)
{
    return translate ? translate(title) : title;
}

} // namespace

QMenu *install(QMenuBar *menuBar, const Translate &translate)
{
    const QString itemTitle = translated(translate, QString::fromUtf16(menuTitle));
    auto *menu = new QMenu(translated(translate, QString::fromUtf16(menuTitle)), menuBar);
    menu->setObjectName(u"edit"_s);
    menu->menuAction()->setText(itemTitle);

    std::array<QAction *, NativeEditingMenuState::ItemCount> actions{};
    for (std::size_t i = 0; i < itemRows.size(); ++i) {
        const QString key = QString::fromUtf16(itemRows[i].title);
        QAction *action = menu->addAction(translated(translate, key));
        action->setObjectName(QString::fromUtf16(itemRows[i].name));
        action->setProperty(titleKeyProperty, key);
        action->setShortcuts(itemRows[i].key);
        actions[i] = action;
    }
    new NativeEditingMenuState(menu, actions);
    menuBar->addMenu(menu);
    return menu;
}

void retitle(QMenu *editMenu, const Translate &translate)
{
    if (editMenu == nullptr) {
        return;
    }
    editMenu->menuAction()->setText(translated(translate, QString::fromUtf16(menuTitle)));
    editMenu->setTitle(translated(translate, QString::fromUtf16(menuTitle)));
    const QList<QAction *> actions = editMenu->actions();
    for (QAction *action : actions) {
        const QVariant key = action->property(titleKeyProperty);
        if (key.isValid()) {
            action->setText(translated(translate, key.toString()));
        }
    }
}

} // namespace Tessary::NativeEditingMenu
