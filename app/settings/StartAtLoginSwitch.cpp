#include "app/settings/StartAtLoginSwitch.h"

#include <QCheckBox>
#include <QLabel>
#include <QVBoxLayout>

#include "app/desktop/DesktopEntries.h"
#include "app/localization/TessaryLocalized.h"
#include "app/settings/SettingsSection.h"
#include "app/settings/SettingsTexts.h"

using namespace Qt::StringLiterals;

namespace Tessary {

StartAtLoginSwitch::StartAtLoginSwitch(SettingsTexts &texts, QWidget *parent)
    : QWidget(parent)
    , m_texts(texts)
    , m_switch(new QCheckBox(this))
    , m_error(SettingsSection::errorLabel(this))
{
    auto *rows = new QVBoxLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(2);
    m_switch->setObjectName(u"startAtLogin"_s);
    m_error->setObjectName(u"startAtLoginError"_s);
    rows->addWidget(m_switch);
    rows->addWidget(m_error);
    m_texts.bind(m_switch, u"登录时启动 Tessary"_s);
    m_texts.bind([this] { showFailure(); });
    refresh();
    connect(m_switch, &QCheckBox::toggled, this, &StartAtLoginSwitch::apply);
}

void StartAtLoginSwitch::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    refresh();
}

void StartAtLoginSwitch::showFailure()
{
    m_error->setText(m_failure.isEmpty() ? QString()
                                         : tessaryFormat(m_texts.text(u"无法更改登录启动项：%@"_s), m_failure));
    m_error->setVisible(!m_failure.isEmpty());
}

void StartAtLoginSwitch::refresh()
{
    const QSignalBlocker blocker(m_switch);
    m_switch->setChecked(DesktopEntries::startsAtLogin());
}

void StartAtLoginSwitch::apply(bool enabled)
{
    m_failure = DesktopEntries::setStartsAtLogin(enabled, DesktopEntries::runningExecutable());
    showFailure();
    // After a failure the switch shows what is on disk.
    refresh();
}

} // namespace Tessary
