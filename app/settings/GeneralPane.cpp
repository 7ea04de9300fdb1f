#include "app/settings/GeneralPane.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/ShortcutRecorderWidget.h"
#include "app/SymbolIcon.h"
#include "app/TessaryPreferences.h"
#include "app/settings/SettingsSection.h"
#include "app/settings/SettingsTexts.h"
#include "platform/hotkey/HotKeyBackend.h"
#include "platform/session/PlatformSession.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

struct LanguageOption
{
    QString value;
    QString titleKey;
};

const QList<LanguageOption> &languageOptions()
{
    static const QList<LanguageOption> options {
        {u"system"_s, u"跟随系统"_s},
        {u"zh-Hans"_s, u"简体中文"_s},
        {u"zh-Hant"_s, u"繁體中文"_s},
        {u"en"_s, u"English"_s},
    };
    return options;
}

} // namespace

GeneralPane::GeneralPane(TessaryPreferences &preferences, SettingsTexts &texts, QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
    , m_texts(texts)
{
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(12);
    layout->addWidget(permissionSection());
    layout->addWidget(accessSection());
    layout->addWidget(languageSection());
    layout->addWidget(shortcutSection());
    layout->addStretch(1);
}

ShortcutRecorderWidget *GeneralPane::shortcutRow() const
{
    return m_shortcutRow;
}

QWidget *GeneralPane::permissionSection()
{
    auto *section = new SettingsSection(m_texts, u"屏幕录制权限"_s, this);
    auto *status = new QHBoxLayout;
    m_permissionIcon = new QLabel(section);
    m_permissionText = new QLabel(section);
    status->addWidget(m_permissionIcon);
    status->addWidget(m_permissionText, 1);
    section->addLayout(status);
    section->addCaption(u"Tessary 只截取你框选的区域，在本机识别文字。"_s);
    section->addCaption(u"授权后若系统提示，请退出并重新打开 Tessary。"_s);

    auto *buttons = new QHBoxLayout;
    auto *open = new QPushButton(section);
    open->setObjectName(u"openPermissionSettings"_s);
    m_texts.bind(open, u"打开权限设置"_s);
    auto *refresh = new QPushButton(section);
    refresh->setObjectName(u"refreshPermission"_s);
    m_texts.bind(refresh, u"刷新状态"_s);
    buttons->addWidget(open);
    buttons->addWidget(refresh);
    buttons->addStretch(1);
    section->addLayout(buttons);
    // X11 has no capture permission, and on Wayland the desktop portal asks the user at each capture; the status
    // is re-read all the same, so the pane stays right if that ever changes.
    connect(open, &QPushButton::clicked, this, &GeneralPane::refreshPermission);
    connect(refresh, &QPushButton::clicked, this, &GeneralPane::refreshPermission);
    m_texts.bind([this] { refreshPermission(); });
    return section;
}

void GeneralPane::refreshPermission()
{
    m_hasPermission = true;
    const int size = m_permissionText->fontMetrics().height();
    if (m_hasPermission) {
        m_permissionIcon->setPixmap(symbolIcon(u"checkmark.circle.fill"_s, QColor(0x34c759)).pixmap(size, size));
        m_permissionText->setText(m_texts.text(u"已允许截取屏幕"_s));
    } else {
        m_permissionIcon->setPixmap(symbolIcon(u"exclamationmark.triangle.fill"_s, QColor(0xff9500)).pixmap(size, size));
        m_permissionText->setText(m_texts.text(u"尚未允许截取屏幕"_s));
    }
}

QWidget *GeneralPane::accessSection()
{
    auto *section = new SettingsSection(m_texts, u"入口"_s, this);
    auto *hide = new QCheckBox(section);
    hide->setObjectName(u"hideMenuBarIcon"_s);
    m_texts.bind(hide, u"隐藏菜单栏图标"_s);
    hide->setChecked(m_preferences.hideMenuBarIcon());
    connect(hide, &QCheckBox::toggled, &m_preferences, &TessaryPreferences::setHideMenuBarIcon);
    connect(&m_preferences, &TessaryPreferences::hideMenuBarIconChanged, hide, [this, hide] {
        const QSignalBlocker blocker(hide);
        hide->setChecked(m_preferences.hideMenuBarIcon());
    });
    section->addWidget(hide);
    section->addCaption(u"隐藏后可从 Dock 打开设置，截图快捷键仍可使用。"_s);
    return section;
}

QWidget *GeneralPane::languageSection()
{
    auto *section = new SettingsSection(m_texts, u"语言与同步"_s, this);
    auto *row = new QHBoxLayout;
    auto *label = new QLabel(section);
    m_texts.bind(label, u"语言"_s);
    m_language = new QComboBox(section);
    m_language->setObjectName(u"language"_s);
    for (const LanguageOption &option : languageOptions()) {
        m_language->addItem(QString(), option.value);
    }
    label->setBuddy(m_language);
    row->addWidget(label);
    row->addWidget(m_language);
    row->addStretch(1);
    section->addLayout(row);

    const auto showLanguage = [this] {
        const QSignalBlocker blocker(m_language);
        for (int i = 0; i < m_language->count(); ++i) {
            m_language->setItemText(i, m_texts.text(languageOptions()[i].titleKey));
        }
        const int index = m_language->findData(m_preferences.language());
        // An unknown stored value behaves like "system", and the picker says so.
        m_language->setCurrentIndex(index >= 0 ? index : 0);
    };
    m_texts.bind(showLanguage);
    connect(m_language, &QComboBox::activated, this, [this](int index) {
        m_preferences.setLanguage(m_language->itemData(index).toString());
    });
    // The configuration sync (issue #9) adds its switch and status here.
    return section;
}

QWidget *GeneralPane::shortcutSection()
{
    auto *section = new SettingsSection(m_texts, u"截图快捷键"_s, this);
    m_shortcutRow = new ShortcutRecorderWidget(m_preferences, section);
    section->addWidget(m_shortcutRow);
    if (!globalHotKeysAvailable(detectSessionType())) {
        // This desktop lets no application register a global shortcut; its own keyboard settings can run a command.
        section->addCaption(u"此桌面不允许应用注册全局快捷键。请在系统的键盘设置中为下面的命令指定快捷键："_s);
        auto *command = new QLabel(QCoreApplication::applicationFilePath() + u" --capture"_s, section);
        command->setObjectName(u"captureCommand"_s);
        command->setTextInteractionFlags(Qt::TextSelectableByMouse);
        command->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        section->addWidget(command);
    }
    return section;
}

} // namespace Tessary
