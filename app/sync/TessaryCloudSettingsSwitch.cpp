// Switching the sync on and off, and moving it to another folder: the flows that decide which configuration wins.

#include "app/sync/TessaryCloudSettings.h"

#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/sync/Configuration.h"
#include "app/sync/SyncErrorText.h"
#include "app/sync/SyncLocation.h"
#include "configuration/SecureConfigurationError.h"
#include "configuration/SecureConfigurationRepository.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;

namespace Tessary {

void TessaryCloudSettings::setEnabled(bool enabled)
{
    if (enabled == m_enabled) {
        return;
    }
    if (enabled) {
        switchOn();
    } else {
        switchOff();
    }
}

void TessaryCloudSettings::setFolder(const QString &folder)
{
    const QString cleaned = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    if (cleaned == this->folder() && m_defaults.contains(QString::fromLatin1(SyncLocation::folderKey))) {
        return;
    }
    const bool wasOn = m_enabled;
    if (wasOn) {
        switchOff();
    }
    m_defaults.setString(QString::fromLatin1(SyncLocation::folderKey), cleaned);
    Q_EMIT folderChanged(cleaned);
    if (wasOn) {
        switchOn();
    }
}

void TessaryCloudSettings::switchOn()
{
    const SyncLocation where = location();
    if (!where.folderExists()) {
        setStatus(tessaryLocalized(u"未找到 iCloud Drive，请先在系统设置中开启。"_s, language()), true);
        return;
    }
    const auto fail = [this](const QString &description) {
        m_repository.reset();
        reportLocalized(u"iCloud 配置不可用：%@"_s, description);
    };
    if (!QDir().mkpath(where.configurationFolder())) {
        return fail(SyncErrorText::folderNotCreated(where.configurationFolder(), language()));
    }
    m_repository = std::make_unique<SecureConfigurationRepository>(where.configurationFile());
    if (where.configurationFileExists()) {
        const auto bytes = m_repository->read();
        if (!bytes) {
            return fail(SyncErrorText::describe(bytes.error(), language()));
        }
        const auto synced = Configuration::decode(*bytes);
        if (!synced) {
            return fail(SyncErrorText::describe(synced.error(), language()));
        }
        if (!(*synced == current())) {
            switch (m_conflictPrompt()) {
            case SyncConflictChoice::UseSynced:
                apply(*synced);
                break;
            case SyncConflictChoice::ReplaceSynced:
                if (const auto replaced = m_repository->replace(current().encoded(), SyncLocation::newBackupPath());
                    !replaced) {
                    return fail(SyncErrorText::describe(replaced.error(), language()));
                }
                break;
            case SyncConflictChoice::Cancel:
                m_repository.reset();
                return;
            }
        }
    } else if (where.onlyPlaceholderExists()) {
        // The file exists elsewhere and is on its way: a fresh upload now would overwrite it.
        return fail(SyncErrorText::describe(SecureConfigurationError::of(SecureConfigurationError::Code::Unavailable),
                                            language()));
    } else if (const auto written = m_repository->write(current().encoded()); !written) {
        return fail(SyncErrorText::describe(written.error(), language()));
    }
    m_unsaved = false;
    setEnabledValue(true);
    setStatus(u"已启用 iCloud 同步"_s);
    startMonitoring();
}

void TessaryCloudSettings::switchOff()
{
    // The last change is written while sync is still on.
    flushPendingSave();
    stopMonitoring();
    m_repository.reset();
    setEnabledValue(false);
    setStatus(u"仅保存在本机"_s);
}

void TessaryCloudSettings::setEnabledValue(bool enabled)
{
    m_enabled = enabled;
    m_defaults.setBoolean(QString::fromLatin1(enabledKey), enabled);
    Q_EMIT enabledChanged(enabled);
}

} // namespace Tessary
