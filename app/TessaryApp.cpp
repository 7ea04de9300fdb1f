#include "app/TessaryApp.h"

#include <cstdio>
#include <cstdlib>

#include <QApplication>
#include <QMenuBar>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QSystemTrayIcon>
#include <QThreadPool>
#include <QTimer>

#include "app/AICommandLine.h"
#include "app/CommandLineOutput.h"
#include "app/KeyTables.h"
#include "app/LaunchOptions.h"
#include "app/OcrCommandLine.h"
#include "app/TessaryIcon.h"
#include "app/TessaryPreferences.h"
#include "app/TessaryToast.h"
#include "app/TessaryUpdateConfiguration.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/TextRecognizer.h"
#include "core/TlsTrust.h"
#include "app/settings/TessarySettingsWindow.h"
#include "app/sync/TessaryCloudSettings.h"
#include "appearance/NativeAppAppearance.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/capture/ScreenCapturePermission.h"
#include "platform/clipboard/Clipboard.h"
#include "platform/hotkey/HotKeyBackend.h"
#include "platform/instance/SingleInstance.h"
#include "platform/session/PlatformSession.h"
#include "platform/signals/TerminationSignals.h"
#include "updater/NativeUpdater.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr auto automaticUpdateChecksKey = "NativeUpdater.tessary.automaticallyChecksForUpdates";
constexpr auto accentPaletteKey = "tessary.accentPalette";

} // namespace

int TessaryApp::main(int &argc, char **argv, const QStringList &arguments)
{
    if (const std::optional<int> status = LaunchOptions::runIfRequested(arguments)) {
        return *status;
    }
    if (const std::optional<int> status = AICommandLine::runIfRequested(argc, argv, arguments)) {
        return *status;
    }
    if (const std::optional<int> status = OcrCommandLine::runIfRequested(argc, argv, arguments)) {
        return *status;
    }

    // Qt aborts the process when its platform plugin cannot reach the display; say so and end instead.
    if (const std::optional<QString> display = unreachableDisplay()) {
        const QString format = tessaryLocalized(u"无法打开显示“%@”。"_s, tessaryStoredLanguage(UserDefaults()));
        CommandLineOutput::write(stderr, tessaryFormat(format, *display) + u'\n');
        return 1;
    }
    selectQtPlatformPlugin(detectSessionType());
    QApplication application(argc, argv);
    QApplication::setApplicationName(u"Tessary"_s);
    QApplication::setOrganizationDomain(u"velmor.md"_s);
    QApplication::setApplicationVersion(QStringLiteral(TESSARY_VERSION));
    QGuiApplication::setDesktopFileName(u"md.velmor.tessary"_s);
    // Desktop and environment proxy settings apply to the AI service and the updater.
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    TlsTrust::addRootsFromEnvironment();
    // The settings window closes to hide; only Quit ends the application.
    QApplication::setQuitOnLastWindowClosed(false);

    // A second launch is how a user reaches an application without a visible tray icon: the running instance
    // does what the launch options ask (shows its settings window when there are none) and this process ends. The
    // updater's relaunch asks for a new instance explicitly.
    if (qEnvironmentVariable("TESSARY_NEW_INSTANCE") != u"1") {
        if (SingleInstance::sendToRunningInstance(LaunchOptions::instanceRequest(arguments))) {
            return 0;
        }
    }
    {
        SingleInstance instance;
        instance.listen();

        TerminationSignals signals;
        UserDefaults defaults;
        TessaryApp delegate(arguments, defaults);
        QObject::connect(&instance, &SingleInstance::messageReceived, &delegate, &TessaryApp::handleInstanceMessage);
        QObject::connect(&application, &QCoreApplication::aboutToQuit, &delegate,
                         &TessaryApp::applicationWillTerminate);
        QTimer::singleShot(0, &delegate, &TessaryApp::applicationDidFinishLaunching);
        application.exec();
    }
    // The shutdown sequence has run, everything is saved and a running recognition was told to stop, which it does
    // at its next line. The model warm-up may still be busy on the thread pool: the application object would wait
    // for it and keep a quitting application alive for seconds, so end the process here.
    if (!QThreadPool::globalInstance()->waitForDone(500)) {
        std::fflush(nullptr);
        std::_Exit(0);
    }
    return 0;
}

TessaryApp::TessaryApp(QStringList arguments, UserDefaults &defaults, QObject *parent)
    : QObject(parent)
    , m_arguments(std::move(arguments))
    , m_defaults(defaults)
    , m_currentStatus(u"就绪"_s)
    , m_session(new QNetworkAccessManager(this))
    , m_clipboard(createClipboard(detectSessionType()))
    , m_toast(std::make_unique<TessaryToast>(defaults))
    , m_preferences(std::make_unique<TessaryPreferences>(defaults))
    , m_appearance(std::make_unique<NativeAppAppearance>(
          NativeAccentPalette::Violet, QString::fromLatin1(accentPaletteKey), defaults, &TessaryIcon::image))
{}

TessaryApp::~TessaryApp()
{
    // The sync refers to the preferences and the appearance: it goes first.
    m_cloud.reset();
}

void TessaryApp::applicationDidFinishLaunching()
{
    // 1. Loading the recognition models takes a moment; do it now, at low priority, so the first capture is quick.
    // They are released again after an idle spell that starts once they are loaded.
    QPointer<TessaryApp> self(this);
    QThreadPool::globalInstance()->start([self] {
        QThread *thread = QThread::currentThread();
        thread->setPriority(QThread::LowPriority);
        TextRecognizer::prewarm();
        thread->setPriority(QThread::NormalPriority);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self] {
                if (self && !self->m_captureInProgress) {
                    self->scheduleEngineRelease();
                }
            },
            Qt::QueuedConnection);
    });
    // 2. The updater's automatic checks are on unless the user turned them off.
    m_defaults.registerDefaults({{QString::fromLatin1(automaticUpdateChecksKey), true}});
    // 3.
    applyApplicationIcon();
    // 4. Every change of a synced preference, and of the palette, which the preferences do not hold, is saved.
    m_preferences->onConfigurationChange = [self] {
        if (self) {
            self->cloud().save();
        }
    };
    connect(m_appearance.get(), &NativeAppAppearance::selectionChanged, this, [this] { cloud().save(); });
    // 5.
    m_preferences->onLanguageChange = [self] {
        if (self) {
            self->localizeMenus();
        }
    };
    // 6.
    cloud().startIfEnabled();
    // The session manager asks for unsaved work before a logout; the pending save is that.
    connect(qApp, &QGuiApplication::commitDataRequest, this, [this] { cloud().flushPendingSave(); });
    // 7.
    m_preferences->applyColorMode();
    // 8.
    m_settingsWindow =
        std::make_unique<TessarySettingsWindow>(initialSettingsTab(), *m_preferences, *m_appearance, *m_session);
    m_settingsWindow->setCloudSettings(&cloud());
    m_settingsWindow->setUpdater(&updater());
    // 9.
    m_preferences->onVisibilityChange = [self] {
        if (self) {
            self->applyVisibility();
        }
    };
    m_preferences->onShortcutChange = [self] {
        if (self) {
            self->installHotKey();
        }
    };
    // 10. to 15.
    createStatusItem();
    localizeMenus();
    installHotKey();
    installApplicationMenu();
    localizeMenus();
    applyVisibility();
    // 16. In a build without an installed bundle the updater is disabled and this starts nothing.
    updater().startAutomaticChecks();

    // 17.
    if (LaunchOptions::opensSettings(m_arguments)) {
        m_settingsWindow->show();
    }
    // Without a tray the user would be left with an invisible process: show the settings once per run.
    if (!m_trayAvailable && !m_settingsWindow->isVisible()) {
        m_settingsWindow->show();
    }
    // 18.
    if (m_arguments.contains(u"--preview-toast"_s)) {
        m_toast->showCopied(24, false);
    }
    if (m_arguments.contains(u"--capture"_s)) {
        beginCapture(false);
    }
}

void TessaryApp::applicationWillTerminate()
{
    cloud().flushPendingSave();
    abandonCapture();
    if (m_hotKey != nullptr && m_hotKeyRegistered) {
        m_hotKey->unregisterShortcut();
        m_hotKeyRegistered = false;
    }
    m_hotKey.reset();
}

bool TessaryApp::applicationShouldHandleReopen()
{
    if (m_settingsWindow) {
        m_settingsWindow->show();
    }
    return true;
}

void TessaryApp::handleInstanceMessage(const QByteArray &message)
{
    // The options of the later launch, as they would have acted at this instance's own launch.
    const QStringList options = LaunchOptions::requestedOptions(message);
    if (options.isEmpty()) {
        applicationShouldHandleReopen();
        return;
    }
    if (LaunchOptions::opensSettings(options) && m_settingsWindow) {
        m_settingsWindow->show(LaunchOptions::settingsTab(options));
    }
    if (options.contains(u"--preview-toast"_s)) {
        m_toast->showCopied(24, false);
    }
    if (options.contains(u"--capture"_s)) {
        beginCapture(false);
    }
}

void TessaryApp::startCapture()
{
    beginCapture(false);
}

void TessaryApp::startPolishedCapture()
{
    beginCapture(true);
}

void TessaryApp::openSettings()
{
    m_settingsWindow->show();
}

void TessaryApp::checkUpdates()
{
    updater().checkForUpdates(true);
}

void TessaryApp::openCaptureSettings()
{
    // Linux desktops have no screen-capture privacy pane to open; what remains is to have the desktop ask again.
    requestScreenCaptureAccess();
}

void TessaryApp::requestScreenCaptureAccess()
{
    resetScreenCapturePermission(detectSessionType());
}

void TessaryApp::quit()
{
    // exit(), not quit(): quit() lets windows veto it, and the settings window only hides when closed.
    QCoreApplication::exit(0);
}

void TessaryApp::applyVisibility()
{
    const bool hidden = m_preferences->hideMenuBarIcon();
    if (!hidden && m_trayAvailable && m_statusItem == nullptr && m_statusMenu != nullptr) {
        createStatusIcon();
    }
    if (m_statusItem != nullptr) {
        m_statusItem->setVisible(!hidden && m_trayAvailable);
    }
    // Without a tray icon the application can only be reached through its launcher; an open settings window is
    // brought to the front, as a Dock icon would be.
    if (hidden && m_settingsWindow && m_settingsWindow->isVisible()) {
        m_settingsWindow->show();
    }
}

void TessaryApp::installHotKey()
{
    const CapturedShortcut wanted = m_preferences->shortcut();
    if (m_activeShortcut && *m_activeShortcut == wanted) {
        return;
    }
    if (m_hotKey == nullptr) {
        m_hotKey = createHotKeyBackend(detectSessionType());
        connect(
            m_hotKey.get(), &HotKeyBackend::pressed, this, [this] { beginCapture(false); }, Qt::QueuedConnection);
        connect(m_hotKey.get(), &HotKeyBackend::registrationFailed, this, &TessaryApp::hotKeyRefused,
                Qt::QueuedConnection);
    }
    if (m_hotKeyRegistered) {
        m_hotKey->unregisterShortcut();
        m_hotKeyRegistered = false;
    }
    if (registerHotKey(wanted)) {
        m_activeShortcut = wanted;
        m_preferences->setShortcutError(QString());
        showShortcut();
        return;
    }
    // A desktop without any global shortcut service refuses every key: the settings say so and show the command to
    // bind instead, and no other key would do better.
    m_preferences->setShortcutError(m_hotKey->canRegister() ? u"快捷键已被占用，请重新录制。"_s : QString());
    if (m_activeShortcut) {
        // Keep the shortcut that worked; putting it back into the preferences runs installHotKey() again, which
        // stops at once because it is the active one.
        registerHotKey(*m_activeShortcut);
        m_preferences->setShortcut(*m_activeShortcut);
    } else {
        setStatusToolTip(u"Tessary 快捷键注册失败，可从菜单启动"_s);
    }
    showShortcut();
}

QString TessaryApp::shortcutLine() const
{
    // The shortcut in force, which is not the preference while a refused one is being put back, or none at all.
    const QString title = m_activeShortcut ? m_activeShortcut->title() : localized(u"未启用"_s);
    return tessaryFormat(localized(u"快捷键：%@"_s), title);
}

void TessaryApp::showShortcut()
{
    if (m_shortcutItem != nullptr) {
        m_shortcutItem->setText(shortcutLine());
    }
}

bool TessaryApp::registerHotKey(const CapturedShortcut &shortcut)
{
    const std::optional<HotKeyCombination> combination =
        KeyTables::hotKeyCombination(shortcut.keyCode, shortcut.modifiers);
    m_hotKeyRegistered = combination && m_hotKey->registerShortcut(*combination);
    return m_hotKeyRegistered;
}

void TessaryApp::hotKeyRefused()
{
    // The desktop turned the shortcut down after taking the request (the portal lets the user decide). Nothing is
    // registered now, whatever was before: the capture stays in the menu, the settings say why, and recording the
    // shortcut again asks again.
    m_hotKeyRegistered = false;
    m_activeShortcut.reset();
    m_preferences->setShortcutError(u"快捷键已被占用，请重新录制。"_s);
    setStatusToolTip(u"Tessary 快捷键注册失败，可从菜单启动"_s);
    showShortcut();
}

void TessaryApp::applyApplicationIcon()
{
    // The window icon of every window without one of its own; a new pick replaces it through the controller.
    m_appearance->applyApplicationIcon();
}

int TessaryApp::initialSettingsTab() const
{
    return LaunchOptions::settingsTab(m_arguments);
}

TessaryPreferences &TessaryApp::preferences() const
{
    return *m_preferences;
}

TessaryCloudSettings &TessaryApp::cloud()
{
    if (!m_cloud) {
        m_cloud = std::make_unique<TessaryCloudSettings>(*m_preferences, *m_appearance, m_defaults);
    }
    return *m_cloud;
}

NativeAppAppearance &TessaryApp::appearance() const
{
    return *m_appearance;
}

NativeUpdater &TessaryApp::updater()
{
    if (!m_updater) {
        m_updater = std::make_unique<NativeUpdater>(tessaryUpdateConfiguration(), m_defaults);
        // Its dialogs and messages speak the language chosen in the settings, like the rest of the application.
        m_updater->setLanguage([this] { return tessaryUpdaterLanguage(m_preferences->language()); });
    }
    return *m_updater;
}

TessarySettingsWindow *TessaryApp::settingsWindow() const
{
    return m_settingsWindow.get();
}

QString TessaryApp::currentStatus() const
{
    return m_currentStatus;
}

QSystemTrayIcon *TessaryApp::statusItem() const
{
    return m_statusItem;
}

QString TessaryApp::statusToolTip() const
{
    return m_toolTip;
}

QMenu *TessaryApp::statusMenu() const
{
    return m_statusMenu;
}

QMenuBar *TessaryApp::applicationMenu() const
{
    return m_mainMenu;
}

QString TessaryApp::localized(const QString &key) const
{
    return tessaryLocalized(key, m_preferences->language());
}

} // namespace Tessary
