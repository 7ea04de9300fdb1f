#include "tests/updater/support/DialogAnswerer.h"

#include <QAbstractButton>
#include <QApplication>

namespace Tessary::Test {

DialogAnswerer::DialogAnswerer(QObject *parent)
    : QObject(parent)
{
    m_timer.setInterval(10);
    connect(&m_timer, &QTimer::timeout, this, &DialogAnswerer::poll);
    m_timer.start();
}

void DialogAnswerer::poll()
{
    auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
    if (box == nullptr || !box->isVisible() || box->property("answered").toBool()) {
        return;
    }
    box->setProperty("answered", true);
    // Buttons in the order they were added: the first is the acceptance.
    QList<QAbstractButton *> buttons = box->buttons();
    QStringList titles;
    std::ranges::sort(buttons, [box](QAbstractButton *a, QAbstractButton *b) {
        return box->buttonRole(a) == QMessageBox::AcceptRole && box->buttonRole(b) != QMessageBox::AcceptRole;
    });
    for (QAbstractButton *button : std::as_const(buttons)) {
        titles.append(button->text());
    }
    m_dialogs.append({box->text(), box->informativeText(), titles, box->icon()});
    const int index = m_answers.isEmpty() ? int(buttons.size()) - 1 : m_answers.takeFirst();
    buttons.at(index)->click();
}

} // namespace Tessary::Test
