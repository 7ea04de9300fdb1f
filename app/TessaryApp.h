#pragma once

#include <memory>
#include <optional>

#include <QObject>
#include <QPointer>
#include <QStringList>

#include "app/CapturedShortcut.h"
#include "app/recognition/Recognition.h"
#include "app/recognition/RecognitionError.h"
#include "core/Result.h"

class QAction;
class QFileDialog;
class QMenu;
class QMenuBar;
class QNetworkAccessManager;
class QProcess;
class QSystemTrayIcon;
class QTimer;

namespace Tessary {

class Clipboard;
class RecognitionStop;
class HotKeyBackend;
class NativeUpdater;
class NativeAppAppearance;
class TessaryCloudSettings;
class TessaryPreferences;
class TessarySettingsWindow;
class TessaryToast;
class TrayHostWatcher;
class UserDefaults;

/**
 * The application delegate: owns everything that lives for the whole run of the tray application (the status item
 * and its menus, the capture state, the toast, the preferences, the accent palette, the settings window) and runs
 * the launch and shutdown sequences. Its static main() is the application's entry once the updater's modes have
 * declined the arguments. Everything here runs on the GUI thread.
 */
class TessaryApp final : public QObject
{
    Q_OBJECT
public:
    /**
     * Tests the command-line modes in their fixed order and runs the first that applies; otherwise hands the launch
     * to a running instance or starts the application and runs its event loop. Returns the process's exit status.
     */
    static int main(int &argc, char **argv, const QStringList &arguments);

    /** arguments: the process's arguments; defaults: the user defaults, which must outlive the delegate. */
    TessaryApp(QStringList arguments, UserDefaults &defaults, QObject *parent = nullptr);
    ~TessaryApp() override;

    /** The launch sequence; queued to run once the event loop has started. */
    void applicationDidFinishLaunching();
    /** The shutdown sequence; runs when the event loop is about to end (Quit, SIGTERM, logout). */
    void applicationWillTerminate();
    /** A second launch of the application: shows the settings window on its current pane. */
    bool applicationShouldHandleReopen();
    /** A request forwarded by a later launch (LaunchOptions::instanceRequest): its options act here, as at launch. */
    void handleInstanceMessage(const QByteArray &message);

    // Menu actions.
    void startCapture();
    void startPolishedCapture();
    /** Recognises the image on the clipboard as a capture is recognised; its text replaces it there. */
    void recognizeClipboardImage();
    /** Asks for an image file (a file dialog), then recognises it (recognizeImageFile). */
    void chooseImageFile();
    void openSettings();
    void checkUpdates();
    void openCaptureSettings();
    void quit();

    /** Re-applies every menu title and the settings window title in the current language. */
    void localizeMenus();
    /** Builds the application menu (attached to the settings window: Linux desktops have no global menu bar). */
    void installApplicationMenu();
    /**
     * Sets the status line in the menu and the tooltip: a message key, or a message formatted from keys (see
     * tessaryLocalizedMessage), shown in the interface language.
     */
    void showStatus(const QString &key);
    /** Shows or hides the tray icon after the "hide menu-bar icon" preference. */
    void applyVisibility();
    /**
     * Starts a capture; ignored while the user selects a region or the text is polished. A recognition still
     * reading the previous capture is stopped: the new capture replaces it.
     */
    void beginCapture(bool polish);
    /**
     * Recognises an image file the user has, as a capture is recognised (same toast, status and clipboard); the file
     * stays as it is. Ignored while the user selects a region or the text is polished.
     */
    void recognizeImageFile(const QString &path);

    TessaryPreferences &preferences() const;
    /** The configuration sync, created on first use. */
    TessaryCloudSettings &cloud();
    NativeAppAppearance &appearance() const;
    /** The self-updater, created on first use. */
    NativeUpdater &updater();
    TessarySettingsWindow *settingsWindow() const;
    QString currentStatus() const;
    /** The tray icon; none until a tray host has appeared (and none while the icon was never shown). */
    QSystemTrayIcon *statusItem() const;
    /** The tray icon's tooltip, kept while there is no icon to carry it. */
    QString statusToolTip() const;
    QMenu *statusMenu() const;
    QMenuBar *applicationMenu() const;

private:
    void createStatusItem();
    void createStatusIcon();
    void setStatusToolTip(const QString &text);
    /** Where the image being recognised comes from: a capture's or the clipboard's file goes afterwards. */
    enum class ImageOrigin {
        Capture,
        Clipboard,
        UserFile,
    };
    /** Takes the pipeline for a new capture or image: a recognition still running is stopped. */
    void beginRun(bool polish);
    void recognizeCapture(const QString &path, ImageOrigin origin = ImageOrigin::Capture);
    /** The capture and image items: disabled while a region is selected or text polished. */
    void setCaptureItemsEnabled(bool enabled);
    /** The clipboard item is enabled with the capture items, while the clipboard holds an image the loader reads. */
    void updateClipboardImageItem();
    /** Asks the clipboard's owner once per change whether it offers such an image. */
    void clipboardChanged();
    void captureFailed(const QString &toolError);
    void finishRecognition(const Result<Recognition, RecognitionError> &outcome);
    /** Stops the running recognition, whose result nobody will read any more. */
    void stopRecognition();
    /** The engines are released after an idle spell (TESSARY_ENGINE_IDLE_SECONDS, default three minutes). */
    void scheduleEngineRelease();
    void releaseEngines();
    /** Loads released engines again in the background and has them read once, while the user is still selecting. */
    void prepareEngines();
    /** Ends the reading that warms reloaded engines, when one runs: a recognition needs them now. */
    void stopEngineWarmUp();
    /** Copies the text and announces it; codeKinds when it is the content of codes (see Recognition). */
    void finishCopied(const QString &text, bool polished, const QStringList &codeKinds = {});
    void polishFailed(const QString &reason);
    /**
     * The failure toast: titleKey is a message key, reason a message (see tessaryLocalizedMessage) or empty; both
     * are shown in the interface language.
     */
    void showFailure(const QString &titleKey, const QString &reason = {});
    void endCapture();
    void abandonCapture();
    void requestScreenCaptureAccess();
    QString localized(const QString &key) const;
    int initialSettingsTab() const;
    void applyApplicationIcon();
    void installHotKey();
    bool registerHotKey(const CapturedShortcut &shortcut);
    void hotKeyRefused();
    /** "Shortcut: …" with the shortcut in force, for the tray menu. */
    QString shortcutLine() const;
    void showShortcut();

    QStringList m_arguments;
    UserDefaults &m_defaults;

    QSystemTrayIcon *m_statusItem = nullptr;
    QMenu *m_statusMenu = nullptr;
    QAction *m_captureItem = nullptr;
    QAction *m_polishItem = nullptr;
    QAction *m_clipboardImageItem = nullptr;
    QAction *m_imageFileItem = nullptr;
    QPointer<QFileDialog> m_imageDialog;
    bool m_clipboardHasImage = false;
    QAction *m_messageItem = nullptr;
    QAction *m_shortcutItem = nullptr;
    QMenuBar *m_mainMenu = nullptr;
    std::unique_ptr<HotKeyBackend> m_hotKey;
    bool m_hotKeyRegistered = false;
    std::optional<CapturedShortcut> m_activeShortcut;
    bool m_captureInProgress = false;
    bool m_polishAfterCapture = false;
    QString m_currentStatus;
    QString m_capturePath;
    QPointer<QProcess> m_captureTool;
    std::shared_ptr<RecognitionStop> m_recognition; // the running recognition's, null when none runs
    QTimer *m_engineRelease = nullptr;
    bool m_enginesReleased = false;
    std::shared_ptr<RecognitionStop> m_engineWarmUp; // the warm-up of reloaded engines, null when none runs
    bool m_trayAvailable = false;
    TrayHostWatcher *m_trayHosts = nullptr;
    QString m_toolTip;

    QNetworkAccessManager *m_session = nullptr;
    std::unique_ptr<Clipboard> m_clipboard;
    std::unique_ptr<TessaryToast> m_toast;
    std::unique_ptr<TessaryPreferences> m_preferences;
    std::unique_ptr<NativeAppAppearance> m_appearance;
    std::unique_ptr<TessaryCloudSettings> m_cloud;
    std::unique_ptr<NativeUpdater> m_updater;
    std::unique_ptr<TessarySettingsWindow> m_settingsWindow;
};

} // namespace Tessary
