// The status item, its menu and the application menu of TessaryApp.

#include "app/TessaryApp.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QSystemTrayIcon>

#include "app/TessaryIcon.h"
#include "app/TessaryPreferences.h"
#include "app/localization/QtStandardTexts.h"
#include "app/localization/TessaryLocalized.h"
#include "app/settings/TessarySettingsWindow.h"
#include "appearance/NativeAppAppearance.h"
#include "appearance/NativeEditingMenu.h"
#include "platform/capture/ScreenCapturePermission.h"
#include "platform/clipboard/Clipboard.h"
#include "platform/session/PlatformSession.h"
#include "platform/tray/TrayHostWatcher.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const QString settingsTitle = u"设置…"_s;
const QString checkUpdatesTitle = u"检查更新…"_s;
const QString captureSettingsTitle = u"打开屏幕录制权限设置…"_s;
const QString quitTitle = u"退出 Tessary"_s;

/** The first action of the menu that triggers the given slot, found by the role we gave it. */
QAction *actionWithRole(const QMenu *menu, const QString &role)
{
    if (menu == nullptr) {
        return nullptr;
    }
    for (QAction *action : menu->actions()) {
        if (action->property("tessaryRole").toString() == role) {
            return action;
        }
    }
    return nullptr;
}

QAction *addAction(QMenu *menu, const QString &title, const QString &role, TessaryApp *receiver,
                   void (TessaryApp::*slot)(), const QKeySequence &shortcut = {})
{
    QAction *action = menu->addAction(title);
    action->setProperty("tessaryRole", role);
    action->setShortcut(shortcut);
    QObject::connect(action, &QAction::triggered, receiver, slot);
    return action;
}

} // namespace

void TessaryApp::createStatusItem()
{
    m_toolTip = u"Tessary"_s;
    // The tray icon itself waits for a tray host (applyVisibility()); it comes and goes with the desktop's panel.
    m_trayHosts = new TrayHostWatcher(this);
    m_trayAvailable = m_trayHosts->isAvailable();
    connect(m_trayHosts, &TrayHostWatcher::availabilityChanged, this, [this](bool available) {
        m_trayAvailable = available;
        if (m_statusItem != nullptr) {
            // Shown again, the icon docks in the new host; hidden, it is ready for the next one.
            m_statusItem->hide();
        }
        applyVisibility();
    });

    // The menu object is never replaced: tray hosts keep its path; only the titles change.
    m_statusMenu = new QMenu;
    m_statusMenu->setParent(nullptr);
    connect(this, &QObject::destroyed, m_statusMenu, &QObject::deleteLater);
    m_captureItem = addAction(m_statusMenu, u"选区识字并复制"_s, u"startCapture"_s, this, &TessaryApp::startCapture);
    m_polishItem = addAction(m_statusMenu, u"选区识字并 AI 润色"_s, u"startPolishedCapture"_s, this,
                             &TessaryApp::startPolishedCapture);
    m_messageItem = m_statusMenu->addAction(u"就绪"_s);
    m_messageItem->setEnabled(false);
    m_shortcutItem = m_statusMenu->addAction(shortcutLine());
    m_shortcutItem->setEnabled(false);
    m_statusMenu->addSeparator();
    m_clipboardImageItem = addAction(m_statusMenu, u"识别剪贴板中的图像"_s, u"recognizeClipboardImage"_s, this,
                                     &TessaryApp::recognizeClipboardImage);
    m_imageFileItem =
        addAction(m_statusMenu, u"识别图像文件…"_s, u"chooseImageFile"_s, this, &TessaryApp::chooseImageFile);
    m_clipboard->watchChanges(this, [this] { clipboardChanged(); });
    clipboardChanged();
    m_statusMenu->addSeparator();
    addAction(m_statusMenu, settingsTitle, u"openSettings"_s, this, &TessaryApp::openSettings,
              QKeySequence::Preferences);
    addAction(m_statusMenu, checkUpdatesTitle, u"checkUpdates"_s, this, &TessaryApp::checkUpdates);
    QAction *captureSettings =
        addAction(m_statusMenu, captureSettingsTitle, u"openCaptureSettings"_s, this, &TessaryApp::openCaptureSettings);
    // Only Wayland desktops keep a capture permission that can be reset; on X11 there is nothing to grant.
    captureSettings->setVisible(screenCapturePermissionApplies(detectSessionType()));
    addAction(m_statusMenu, quitTitle, u"quit"_s, this, &TessaryApp::quit, QKeySequence::Quit);
}

void TessaryApp::createStatusIcon()
{
    // Qt's tray support settles on StatusNotifierItem or XEmbed when the first tray icon is created, and keeps to
    // it: created once a host is there, the icon speaks that host's protocol.
    m_statusItem = new QSystemTrayIcon(TessaryIcon::statusIcon(m_appearance->selection()), this);
    m_statusItem->setToolTip(m_toolTip);
    // The glyph follows the accent palette, like the application icon.
    connect(m_appearance.get(), &NativeAppAppearance::selectionChanged, m_statusItem,
            [this](NativeAccentPalette palette) { m_statusItem->setIcon(TessaryIcon::statusIcon(palette)); });
    m_statusItem->setContextMenu(m_statusMenu);
    // A left click on the icon opens the same menu, as a menu-bar item does.
    connect(m_statusItem, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger && !m_statusMenu->isVisible()) {
            m_statusMenu->popup(QCursor::pos());
        }
    });
}

void TessaryApp::installApplicationMenu()
{
    m_mainMenu = new QMenuBar;
    connect(this, &QObject::destroyed, m_mainMenu, &QObject::deleteLater);
    QMenu *appMenu = m_mainMenu->addMenu(u"Tessary"_s);
    addAction(appMenu, settingsTitle, u"openSettings"_s, this, &TessaryApp::openSettings, QKeySequence::Preferences);
    addAction(appMenu, quitTitle, u"quit"_s, this, &TessaryApp::quit, QKeySequence::Quit);
    // Text fields get undo, cut, copy, paste and select all through it; titled in the language by localizeMenus().
    NativeEditingMenu::install(m_mainMenu);
    m_settingsWindow->setApplicationMenu(m_mainMenu);
}

void TessaryApp::localizeMenus()
{
    // Qt's own dialogs (the image file chooser, the sync folder chooser) speak the same language as ours.
    applyQtStandardTexts(m_preferences->language());
    if (m_statusMenu == nullptr) {
        return;
    }
    showStatus(m_currentStatus);
    m_captureItem->setText(localized(u"选区识字并复制"_s));
    m_polishItem->setText(localized(u"选区识字并 AI 润色"_s));
    m_clipboardImageItem->setText(localized(u"识别剪贴板中的图像"_s));
    m_imageFileItem->setText(localized(u"识别图像文件…"_s));
    showShortcut();
    const QList<std::pair<QString, QString>> titled{
        {u"openSettings"_s, settingsTitle},
        {u"checkUpdates"_s, checkUpdatesTitle},
        {u"openCaptureSettings"_s, captureSettingsTitle},
        {u"quit"_s, quitTitle},
    };
    for (const auto &[role, title] : titled) {
        if (QAction *action = actionWithRole(m_statusMenu, role)) {
            action->setText(localized(title));
        }
    }
    if (m_mainMenu != nullptr && !m_mainMenu->actions().isEmpty()) {
        QMenu *appMenu = m_mainMenu->actions().first()->menu();
        if (QAction *action = actionWithRole(appMenu, u"openSettings"_s)) {
            action->setText(localized(settingsTitle));
        }
        if (QAction *action = actionWithRole(appMenu, u"quit"_s)) {
            action->setText(localized(quitTitle));
        }
        NativeEditingMenu::retitle(m_mainMenu->findChild<QMenu *>(u"edit"_s, Qt::FindDirectChildrenOnly),
                                   [this](const QString &title) { return localized(title); });
    }
    if (m_settingsWindow) {
        m_settingsWindow->localizeTitle();
    }
}

void TessaryApp::showStatus(const QString &key)
{
    m_currentStatus = key;
    // Formatted messages are kept in the language of the keys, so that they follow a change of language too.
    const QString text = tessaryLocalizedMessage(key, m_preferences->language());
    setStatusToolTip(text);
    if (m_messageItem != nullptr) {
        m_messageItem->setText(text);
    }
}

void TessaryApp::setStatusToolTip(const QString &text)
{
    m_toolTip = text;
    if (m_statusItem != nullptr) {
        m_statusItem->setToolTip(text);
    }
}

} // namespace Tessary
