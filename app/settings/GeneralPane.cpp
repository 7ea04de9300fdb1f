#include "app/settings/GeneralPane.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
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
#include "app/settings/StartAtLoginSwitch.h"
#include "app/sync/TessaryCloudSettings.h"
#include "platform/capture/ScreenCapturePermission.h"
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
    static const QList<LanguageOption> options{
        {u"system"_s, u"跟随系统"_s},
        {u"zh-Hans"_s, u"简体中文"_s},
        {u"zh-Hant"_s, u"繁體中文"_s},
        {u"en"_s, u"English"_s},
    };
    return options;
}

} // namespace

GeneralPane::GeneralPane(TessaryPreferences &preferences, SettingsTexts &texts, TessaryCloudSettings *cloud,
                         QWidget *parent)
    : QWidget(parent)
    , m_preferences(preferences)
    , m_texts(texts)
    , m_cloud(cloud)
{
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(12);
    // X11 lets every program read the screen: there is no permission to show or grant.
    if (screenCapturePermissionApplies(detectSessionType())) {
        layout->addWidget(permissionSection());
    }
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
    // The desktop portal remembers the user's answer; forgetting it brings the desktop's question back at the next
    // capture, as the tray menu's item does.
    connect(open, &QPushButton::clicked, this, [this] {
        resetScreenCapturePermission(detectSessionType());
        refreshPermission();
    });
    connect(refresh, &QPushButton::clicked, this, &GeneralPane::refreshPermission);
    m_texts.bind([this] { refreshPermission(); });
    return section;
}

void GeneralPane::showEvent(QShowEvent *event)
{
    // The answer may have changed meanwhile: at a capture, or reset from the tray menu.
    if (m_permissionText != nullptr) {
        refreshPermission();
    }
    QWidget::showEvent(event);
}

void GeneralPane::refreshPermission()
{
    m_hasPermission = screenCapturePermission(detectSessionType()) == ScreenCapturePermission::Granted;
    const int size = m_permissionText->fontMetrics().height();
    if (m_hasPermission) {
        m_permissionIcon->setPixmap(symbolIcon(u"checkmark.circle.fill"_s, QColor(0x34c759)).pixmap(size, size));
        m_permissionText->setText(m_texts.text(u"已允许截取屏幕"_s));
    } else {
        m_permissionIcon->setPixmap(
            symbolIcon(u"exclamationmark.triangle.fill"_s, QColor(0xff9500)).pixmap(size, size));
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
    section->addWidget(new StartAtLoginSwitch(m_texts, section));
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
    connect(m_language, &QComboBox::activated, this,
            [this](int index) { m_preferences.setLanguage(m_language->itemData(index).toString()); });
    if (m_cloud) {
        addSyncRows(section, section->rows());
    }
    return section;
}

void GeneralPane::addSyncRows(QWidget *section, QVBoxLayout *rows)
{
    auto *enabled = new QCheckBox(section);
    enabled->setObjectName(u"iCloudSync"_s);
    m_texts.bind(enabled, u"iCloud 同步配置"_s);
    rows->addWidget(enabled);

    auto *folderRow = new QHBoxLayout;
    auto *folderLabel = new QLabel(section);
    m_texts.bind(folderLabel, u"同步文件夹"_s);
    auto *folder = SettingsSection::captionLabel(section);
    folder->setObjectName(u"syncFolder"_s);
    folder->setWordWrap(false);
    folder->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *choose = new QPushButton(section);
    choose->setObjectName(u"chooseSyncFolder"_s);
    m_texts.bind(choose, u"选择…"_s);
    folderRow->addWidget(folderLabel);
    folderRow->addWidget(folder, 1);
    folderRow->addWidget(choose);
    rows->addLayout(folderRow);

    auto *status = SettingsSection::captionLabel(section);
    status->setObjectName(u"syncStatus"_s);
    status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    rows->addWidget(status);
    auto *caption = SettingsSection::captionLabel(section);
    m_texts.bind(caption, u"语言、外观、快捷键和 AI 服务设置会同步；API Key 和屏幕录制权限只保留在每台 Mac 上。"_s);
    rows->addWidget(caption);

    const auto showState = [this, enabled, folder, status] {
        if (!m_cloud) {
            return;
        }
        const QSignalBlocker blocker(enabled);
        enabled->setChecked(m_cloud->isEnabled());
        const QString path = QDir::toNativeSeparators(m_cloud->folder());
        folder->setText(folder->fontMetrics().elidedText(path, Qt::ElideMiddle, 360));
        folder->setToolTip(path);
        // A status is a message key or a message already formatted in the language of its moment.
        status->setText(m_texts.text(m_cloud->status()));
        SettingsSection::setErrorStyle(status, m_cloud->statusIsFailure());
    };
    m_texts.bind(showState);
    connect(m_cloud, &TessaryCloudSettings::enabledChanged, this, showState);
    connect(m_cloud, &TessaryCloudSettings::statusChanged, this, showState);
    connect(m_cloud, &TessaryCloudSettings::folderChanged, this, showState);
    connect(enabled, &QCheckBox::toggled, this, [this, showState](bool on) {
        if (m_cloud) {
            m_cloud->setEnabled(on);
        }
        // Switching on can be refused or cancelled: the box shows what is, not what was asked.
        showState();
    });
    connect(choose, &QPushButton::clicked, this, &GeneralPane::chooseSyncFolder);
}

void GeneralPane::chooseSyncFolder()
{
    if (!m_cloud) {
        return;
    }
    const QString chosen =
        QFileDialog::getExistingDirectory(this, m_texts.text(u"选择同步文件夹"_s), m_cloud->folder());
    if (!chosen.isEmpty() && m_cloud) {
        m_cloud->setFolder(chosen);
    }
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
