#include "app/settings/UpdatesPane.h"

#include <QCoreApplication>
#include <QLabel>
#include <QVBoxLayout>

#include "app/settings/SettingsSection.h"

using namespace Qt::StringLiterals;

namespace Tessary {

UpdatesPane::UpdatesPane(SettingsTexts &texts, QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    auto *section = new SettingsSection(texts, u"软件更新"_s, this);
    auto *version = new QLabel(u"Tessary "_s + QCoreApplication::applicationVersion(), section);
    version->setObjectName(u"version"_s);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    section->addWidget(version);
    // The updater's status, automatic-check switch and action arrive with the self-updater (issue #10).
    layout->addWidget(section);
    layout->addStretch(1);
}

} // namespace Tessary
