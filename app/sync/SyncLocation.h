#pragma once

#include <QString>
#include <QStringList>

namespace Tessary {

class UserDefaults;

/**
 * Where the shared configuration lives: "Tessary/config.json" inside a folder that a sync tool (Syncthing, Nextcloud,
 * Dropbox) keeps in step between the user's computers. The folder is the user's choice, stored under
 * "tessary.syncFolder"; without a choice it is the first existing of ~/Sync, ~/Nextcloud and ~/Dropbox (the tools'
 * default folders), or ~/Sync.
 *
 * Symbolic links are followed: a sync folder that is a link works through its target, and so does a link in place
 * of the configuration file, which then stays a link. Plain value; the paths are worked out at construction.
 */
class SyncLocation final
{
public:
    static constexpr auto folderKey = "tessary.syncFolder";

    /** The folder chosen in defaults, or the default one. */
    static QString chosenFolder(const UserDefaults &defaults);
    static QString defaultFolder();
    /** "Tessary/Configuration Backups" in the user's data folder: local, never synchronised. */
    static QString backupFolder();
    /** A new, unused backup path: "icloud-" + upper-case UUID + ".json" in backupFolder(). */
    static QString newBackupPath();

    explicit SyncLocation(const QString &folder);

    /** The folder as chosen (absolute, cleaned). */
    QString folder() const;
    /** True when the folder (or what its link points to) exists and is a folder. */
    bool folderExists() const;
    /** "<folder>/Tessary", with the folder's links resolved. */
    QString configurationFolder() const;
    /** "<folder>/Tessary/config.json", or what a link there points to. */
    QString configurationFile() const;
    bool configurationFileExists() const;
    /**
     * What the sync tools leave while the file is known but not here yet: Syncthing's ".syncthing.config.json.tmp"
     * during a download, Nextcloud's "config.json.nextcloud" virtual file. True when one of them exists and the file
     * does not.
     */
    bool onlyPlaceholderExists() const;
    QStringList placeholderPaths() const;

private:
    QString m_folder;
    QString m_resolvedFolder;
    QString m_configurationFile;
};

} // namespace Tessary
