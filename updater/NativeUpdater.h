#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <QObject>
#include <QString>

#include "updater/NativeUpdateConfiguration.h"
#include "updater/NativeUpdateError.h"
#include "updater/NativeUpdateManifest.h"
#include "updater/NativeUpdateState.h"
#include "updater/UpdaterCopy.h"

class QNetworkAccessManager;
class QTimer;

namespace Tessary {

class NativeUpdateFetch;
class UserDefaults;

/**
 * The updater's controller: knows the update state, checks the manifest on request and on a schedule (4 s after
 * startAutomaticChecks() or after the switch is turned on, then every 6 hours), asks before downloading and
 * before restarting, downloads and verifies through NativeUpdateInstaller, and finally starts the helper and
 * quits the application. It owns every update dialog (modal QMessageBoxes) and every update status text.
 *
 * Lives on the GUI thread; everything here runs there, network waits included (asynchronously). One instance
 * per application. In a developer build (configuration.isEnabled false) it never touches the network.
 *
 * User defaults: "NativeUpdater.<product>.automaticallyChecksForUpdates" (Boolean) in the store passed in, and
 * "NativeUpdater.<product>.prompt.<build>" (seconds since 1970, when the update-available dialog was last shown
 * for that build) in the user's standard defaults.
 */
class NativeUpdater final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool automaticallyChecksForUpdates READ automaticallyChecksForUpdates WRITE
                   setAutomaticallyChecksForUpdates NOTIFY automaticallyChecksForUpdatesChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY stateChanged)
    Q_PROPERTY(QString actionTitle READ actionTitle NOTIFY stateChanged)
    Q_PROPERTY(bool actionDisabled READ isActionDisabled NOTIFY stateChanged)
    Q_PROPERTY(double downloadProgress READ downloadProgress NOTIFY downloadProgressChanged)

public:
    /** userDefaults holds the automatic-check switch and must outlive the updater. */
    NativeUpdater(NativeUpdateConfiguration configuration, UserDefaults &userDefaults, QObject *parent = nullptr);
    ~NativeUpdater() override;

    const NativeUpdateConfiguration &configuration() const { return m_configuration; }
    NativeUpdateState state() const { return m_state; }
    std::optional<NativeUpdateManifest> availableManifest() const { return m_availableManifest; }
    /** The verified bundle waiting for the restart; empty before. */
    QString stagedApplication() const { return m_stagedApplication; }

    bool automaticallyChecksForUpdates() const { return m_automaticallyChecksForUpdates; }
    /** Stores a changed value and restarts the schedule; the same value again does nothing. */
    void setAutomaticallyChecksForUpdates(bool enabled);

    /** What the settings' update section shows, in the updater's language (already looked up). */
    QString statusText() const;
    QString actionTitle() const;
    /** The same in a language of the caller's choice, failure messages included. */
    QString statusText(UpdaterLanguage language) const;
    QString actionTitle(UpdaterLanguage language) const;
    bool isActionDisabled() const;
    /** 0 to 1 while an archive downloads; -1 when its size is unknown or nothing downloads. */
    double downloadProgress() const { return m_downloadProgress; }

    /**
     * The language of the dialogs and of statusText() and actionTitle() without a language; by default the
     * updater's own (currentUpdaterLanguage()). An application whose user chooses its language passes the choice.
     */
    void setLanguage(std::function<UpdaterLanguage()> language);

    /** Called once by the application after launching: from now on checks run on their schedule. */
    void startAutomaticChecks();
    /** Starts a check; only a manual one (the user asked) shows the up-to-date, failure and development dialogs. */
    void checkForUpdates(bool manual);
    /** The settings button: restart in Ready, download in Available, otherwise a manual check. */
    void performPrimaryAction();

    /** "NativeUpdater.<product>.prompt.<build>". */
    QString promptKey(std::int64_t build) const;
    /** "NativeUpdater.<product>.automaticallyChecksForUpdates". */
    QString switchKey() const;

Q_SIGNALS:
    void stateChanged();
    void automaticallyChecksForUpdatesChanged(bool enabled);
    void downloadProgressChanged(double progress);

private:
    void setState(const NativeUpdateState &state);
    void setDownloadProgress(double progress);
    void refreshAutomaticChecks();
    void checkFinished(bool manual, const Result<QByteArray, NativeUpdateError> &body);
    void download(const NativeUpdateManifest &manifest);
    void downloadFinished(const NativeUpdateManifest &manifest, const Result<QByteArray, NativeUpdateError> &body);
    void restartAndInstall();
    void presentAvailable(const NativeUpdateManifest &manifest);
    void presentReady(const NativeUpdateManifest &manifest);
    bool isPromptDue(std::int64_t build) const;
    UpdaterLanguage language() const;
    QString copy(const QString &text) const;

    const NativeUpdateConfiguration m_configuration;
    UserDefaults &m_userDefaults;
    std::unique_ptr<UserDefaults> m_standardDefaults;
    NativeUpdateState m_state = NativeUpdateState::idle();
    /** The last failure: the message's format (an updater text) and the error, to say it again in any language. */
    std::optional<std::pair<QString, NativeUpdateError>> m_failure;
    std::function<UpdaterLanguage()> m_language;
    bool m_automaticallyChecksForUpdates = false;
    std::optional<NativeUpdateManifest> m_availableManifest;
    QString m_stagedApplication;
    QTimer *m_timer = nullptr;
    QTimer *m_delayedCheck = nullptr;
    bool m_requestInFlight = false;
    bool m_automaticChecksRequested = false;
    double m_downloadProgress = -1;
    QNetworkAccessManager *m_network = nullptr;
    NativeUpdateFetch *m_fetch = nullptr;
};

} // namespace Tessary
