#include "app/sync/SyncLocation.h"

#include <algorithm>

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUuid>

#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

const auto configurationFolderName = u"Tessary"_s;
const auto configurationFileName = u"config.json"_s;

} // namespace

QString SyncLocation::chosenFolder(const UserDefaults &defaults)
{
    const std::optional<QString> stored = defaults.string(QString::fromLatin1(folderKey));
    return stored && !stored->isEmpty() ? QDir::cleanPath(*stored) : defaultFolder();
}

QString SyncLocation::defaultFolder()
{
    const QDir home = QDir::home();
    const QStringList candidates{home.filePath(u"Sync"_s), home.filePath(u"Nextcloud"_s), home.filePath(u"Dropbox"_s)};
    const auto existing = std::ranges::find_if(candidates, [](const QString &path) { return QFileInfo(path).isDir(); });
    return existing != candidates.end() ? *existing : candidates.first();
}

QString SyncLocation::backupFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Tessary/Configuration Backups"_s;
}

QString SyncLocation::newBackupPath()
{
    return backupFolder() + u"/icloud-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + u".json"_s;
}

SyncLocation::SyncLocation(const QString &folder)
    : m_folder(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()))
{
    // The lock, the watch and the atomic rename all need the real folder: a rename across a link's boundary would
    // replace the link instead of the file behind it.
    const QString canonical = QFileInfo(m_folder).canonicalFilePath();
    m_resolvedFolder = canonical.isEmpty() ? m_folder : canonical;
    const QFileInfo file(configurationFolder() + u'/' + configurationFileName);
    m_configurationFile = file.isSymLink() ? QDir::cleanPath(file.symLinkTarget()) : file.absoluteFilePath();
}

QString SyncLocation::folder() const
{
    return m_folder;
}

bool SyncLocation::folderExists() const
{
    return QFileInfo(m_folder).isDir();
}

QString SyncLocation::configurationFolder() const
{
    return m_resolvedFolder + u'/' + configurationFolderName;
}

QString SyncLocation::configurationFile() const
{
    return m_configurationFile;
}

bool SyncLocation::configurationFileExists() const
{
    return QFileInfo::exists(m_configurationFile);
}

QStringList SyncLocation::placeholderPaths() const
{
    return {configurationFolder() + u"/.syncthing."_s + configurationFileName + u".tmp"_s,
            configurationFolder() + u'/' + configurationFileName + u".nextcloud"_s};
}

bool SyncLocation::onlyPlaceholderExists() const
{
    return !configurationFileExists() &&
           std::ranges::any_of(placeholderPaths(), [](const QString &path) { return QFileInfo::exists(path); });
}

} // namespace Tessary
