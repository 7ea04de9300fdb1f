#pragma once

#include <functional>
#include <memory>

#include <QObject>
#include <QString>

#include "app/sync/SyncConflictAlert.h"

class QTimer;

namespace Tessary {

class NativeAppAppearance;
class SecureConfigurationFileMonitor;
class SecureConfigurationRepository;
class SyncLocation;
class TessaryPreferences;
class UserDefaults;
struct Configuration;

/**
 * Keeps the portable preferences and the accent palette in one JSON file, "Tessary/config.json" in a folder that a
 * sync tool keeps in step between the user's computers (see SyncLocation), so that every installation that sees
 * the folder shares them.
 *
 * While sync is on, every change of a synced preference or of the palette asks for a save (save()); a burst of
 * changes becomes one write 350 ms after the last. Changes of the file on disk (another computer's edit arriving)
 * are read back and applied. The file is never overwritten unseen (the repository's baseline check), never created
 * while a sync tool has only a placeholder of it, and never written while a conflict copy waits for the user.
 * Switching sync on over a different configuration asks the user which one wins.
 *
 * status is a message key or an already formatted, localised message; views show it through tessaryLocalized.
 *
 * GUI thread only. The preferences, the appearance controller and the defaults must outlive the object.
 */
class TessaryCloudSettings final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool enabled READ isEnabled NOTIFY enabledChanged)
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    Q_PROPERTY(QString folder READ folder NOTIFY folderChanged)
public:
    static constexpr auto enabledKey = "iCloudSyncEnabled";

    /** Asks the user which configuration wins; the alert by default, something scripted in tests. */
    using ConflictPrompt = std::function<SyncConflictChoice()>;

    /** Reads the switch from the defaults; touches no file. */
    TessaryCloudSettings(TessaryPreferences &preferences, NativeAppAppearance &appearance, UserDefaults &defaults,
                         QObject *parent = nullptr);
    ~TessaryCloudSettings() override;

    bool isEnabled() const;
    QString status() const;
    /** Whether status reports a failure (shown as an error, not as a caption). */
    bool statusIsFailure() const;
    /** The sync folder, as chosen or by default. */
    QString folder() const;
    /** Where the configuration file is, with links resolved. */
    QString configurationPath() const;

    /** The switch. Switching on may show the conflict alert and blocks until it is answered. */
    void setEnabled(bool enabled);
    /** Chooses another sync folder. While sync is on, it is switched off in the old folder and on in the new one. */
    void setFolder(const QString &folder);
    /** At launch: opens the file and watches it when sync is on. */
    void startIfEnabled();
    /** Asks for a debounced write of the current configuration. */
    void save();
    /** Writes the current configuration now, if sync is on and set up. */
    void persist();
    bool hasPendingSave() const;
    /** At termination (and session end): a pending save is written at once. */
    void flushPendingSave();

    void setConflictPrompt(ConflictPrompt prompt);

Q_SIGNALS:
    void enabledChanged(bool enabled);
    void statusChanged(const QString &status);
    void folderChanged(const QString &folder);

private:
    void switchOn();
    void switchOff();
    bool openConfiguration(QString *failure);
    void startMonitoring();
    void stopMonitoring();
    void reload();
    Configuration current() const;
    void apply(const Configuration &configuration);
    SyncLocation location() const;
    QString language() const;
    void setStatus(const QString &status, bool failure = false);
    /** A failure status: the localised format filled with the description. */
    void reportLocalized(const QString &formatKey, const QString &description);
    void setEnabledValue(bool enabled);

    TessaryPreferences &m_preferences;
    NativeAppAppearance &m_appearance;
    UserDefaults &m_defaults;
    bool m_enabled = false;
    QString m_status;
    bool m_statusIsFailure = false;
    /** The last save did not reach the file; a later look at an unchanged file tries again. */
    bool m_unsaved = false;
    bool m_applying = false;
    QTimer *m_pendingSave = nullptr;
    std::unique_ptr<SecureConfigurationRepository> m_repository;
    std::unique_ptr<SecureConfigurationFileMonitor> m_monitor;
    ConflictPrompt m_conflictPrompt;
};

} // namespace Tessary
