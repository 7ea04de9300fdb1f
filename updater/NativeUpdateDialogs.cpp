#include "updater/NativeUpdateDialogs.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

namespace Tessary::NativeUpdateDialogs {

bool run(Style style, const QString &windowTitle, const QString &message, const QString &informativeText,
         const QString &firstButton, const QString &secondButton)
{
    QMessageBox box;
    box.setObjectName(QStringLiteral("NativeUpdateDialog"));
    box.setWindowTitle(windowTitle);
    box.setText(message);
    box.setInformativeText(informativeText);
    switch (style) {
    case Style::Informational:
        box.setIcon(QMessageBox::Information);
        break;
    case Style::Warning:
        box.setIcon(QMessageBox::Warning);
        break;
    case Style::Application:
        box.setIconPixmap(QApplication::windowIcon().pixmap(64, 64));
        break;
    }
    QPushButton *accept = box.addButton(firstButton, QMessageBox::AcceptRole);
    if (!secondButton.isEmpty()) {
        box.setEscapeButton(box.addButton(secondButton, QMessageBox::RejectRole));
    }
    box.setDefaultButton(accept);
    // A tray application has no window of its own in front; bring the question to the front instead.
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
    return box.clickedButton() == accept;
}

} // namespace Tessary::NativeUpdateDialogs
