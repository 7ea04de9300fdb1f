#include "app/sync/SyncConflictAlert.h"

#include <QMessageBox>
#include <QPushButton>

#include "app/localization/TessaryLocalized.h"

using namespace Qt::StringLiterals;

namespace Tessary {

SyncConflictChoice askWhichConfigurationWins(const QString &language, QWidget *parent)
{
    QMessageBox alert(parent);
    alert.setObjectName(u"syncConflictAlert"_s);
    alert.setIcon(QMessageBox::Warning);
    alert.setWindowTitle(u"Tessary"_s);
    alert.setText(tessaryLocalized(u"iCloud 中已有 Tessary 配置"_s, language));
    alert.setInformativeText(tessaryLocalized(u"请选择要保留哪一份配置。API Key 和屏幕录制权限不会同步。"_s, language));
    QPushButton *useSynced =
        alert.addButton(tessaryLocalized(u"使用 iCloud 配置"_s, language), QMessageBox::AcceptRole);
    useSynced->setObjectName(u"useSynced"_s);
    QPushButton *replace =
        alert.addButton(tessaryLocalized(u"用当前配置替换 iCloud"_s, language), QMessageBox::DestructiveRole);
    replace->setObjectName(u"replaceSynced"_s);
    QPushButton *cancel = alert.addButton(tessaryLocalized(u"取消"_s, language), QMessageBox::RejectRole);
    cancel->setObjectName(u"cancel"_s);
    alert.setDefaultButton(useSynced);
    alert.setEscapeButton(cancel);
    alert.exec();
    if (alert.clickedButton() == useSynced) {
        return SyncConflictChoice::UseSynced;
    }
    if (alert.clickedButton() == replace) {
        return SyncConflictChoice::ReplaceSynced;
    }
    return SyncConflictChoice::Cancel;
}

} // namespace Tessary
