#include "app/sync/TessaryCloudSettings.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/TessaryDefaultPrompt.h"
#include "app/sync/Configuration.h"
#include "app/sync/SyncErrorText.h"
#include "app/sync/SyncLocation.h"
#include "appearance/NativeAppAppearance.h"
#include "configuration/SecureConfigurationFileMonitor.h"
#include "configuration/SecureConfigurationRepository.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr std::chrono::milliseconds saveDelay{350};

const auto statusLocalOnly = u"仅保存在本机"_s;
const auto statusLoaded = u"已从 iCloud 同步"_s;
const auto statusWaiting = u"等待 iCloud 配置下载；不会覆盖云端文件。"_s;
const auto statusSaved = u"已同步到 iCloud"_s;

} // namespace

TessaryCloudSettings::TessaryCloudSettings(TessaryPreferences &preferences, NativeAppAppearance &appearance,
                                           UserDefaults &defaults, QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_appearance(appearance)
    , m_defaults(defaults)
    , m_enabled(defaults.boolean(QString::fromLatin1(enabledKey)).value_or(false))
    , m_status(statusLocalOnly)
    , m_pendingSave(new QTimer(this))
{
    m_pendingSave->setSingleShot(true);
    m_pendingSave->setTimerType(Qt::PreciseTimer);
    m_pendingSave->setInterval(saveDelay);
    connect(m_pendingSave, &QTimer::timeout, this, &TessaryCloudSettings::persist);
    m_conflictPrompt = [this] {
        return askWhichConfigurationWins(tessaryStoredLanguage(m_defaults), QApplication::activeWindow());
    };
}

TessaryCloudSettings::~TessaryCloudSettings()
{
    // The monitor's thread posts to this object; it ends before the object does.
    stopMonitoring();
}

bool TessaryCloudSettings::isEnabled() const
{
    return m_enabled;
}

QString TessaryCloudSettings::status() const
{
    return m_status;
}

bool TessaryCloudSettings::statusIsFailure() const
{
    return m_statusIsFailure;
}

QString TessaryCloudSettings::folder() const
{
    return SyncLocation::chosenFolder(m_defaults);
}

QString TessaryCloudSettings::configurationPath() const
{
    return location().configurationFile();
}

void TessaryCloudSettings::setConflictPrompt(ConflictPrompt prompt)
{
    m_conflictPrompt = std::move(prompt);
}

void TessaryCloudSettings::startIfEnabled()
{
    if (!m_enabled) {
        return;
    }
    QString failure;
    if (!openConfiguration(&failure)) {
        reportLocalized(u"iCloud 配置暂不可用：%@"_s, failure);
    }
    // Watched even after a failure: the folder coming back, the file arriving or a conflict being settled is the
    // next chance to open it.
    startMonitoring();
}

bool TessaryCloudSettings::openConfiguration(QString *failure)
{
    const SyncLocation where = location();
    if (!where.folderExists()) {
        m_repository.reset();
        *failure = SyncErrorText::missingFolder(where.folder(), language());
        return false;
    }
    if (!QDir().mkpath(where.configurationFolder())) {
        m_repository.reset();
        *failure = SyncErrorText::folderNotCreated(where.configurationFolder(), language());
        return false;
    }
    m_repository = std::make_unique<SecureConfigurationRepository>(where.configurationFile());
    if (!where.configurationFileExists()) {
        setStatus(statusWaiting);
        return true;
    }
    // Decoded before it becomes the baseline: a file we cannot use (a later format, a damaged one) must never be
    // overwritten by our next save.
    const auto bytes = SecureConfigurationRepository::readData(m_repository->path());
    if (!bytes) {
        *failure = SyncErrorText::describe(bytes.error(), language());
        return false;
    }
    const auto synced = Configuration::decode(*bytes);
    if (!synced) {
        *failure = SyncErrorText::describe(synced.error(), language());
        return false;
    }
    if (const auto adopted = m_repository->adopt(*bytes); !adopted) {
        *failure = SyncErrorText::describe(adopted.error(), language());
        return false;
    }
    apply(*synced);
    m_unsaved = false;
    setStatus(statusLoaded);
    return true;
}

void TessaryCloudSettings::startMonitoring()
{
    stopMonitoring();
    // Called on the monitor's thread: only a queued call to this object, which Qt drops if the object is gone.
    m_monitor = std::make_unique<SecureConfigurationFileMonitor>(location().configurationFile(), [this] {
        QMetaObject::invokeMethod(this, &TessaryCloudSettings::reload, Qt::QueuedConnection);
    });
    m_monitor->start();
}

void TessaryCloudSettings::stopMonitoring()
{
    m_monitor.reset();
}

void TessaryCloudSettings::reload()
{
    // A change seen while a save of ours is pending is left to that save's baseline check.
    if (!m_enabled || hasPendingSave()) {
        return;
    }
    if (!m_repository) {
        QString failure;
        if (!openConfiguration(&failure)) {
            reportLocalized(u"iCloud 配置暂不可用：%@"_s, failure);
        }
        return;
    }
    const auto bytes = SecureConfigurationRepository::readData(m_repository->path());
    if (!bytes) {
        reportLocalized(u"iCloud 配置暂不可用：%@"_s, SyncErrorText::describe(bytes.error(), language()));
        return;
    }
    if (m_repository->isCurrent(*bytes)) {
        // The echo of our own write, or the file as we know it after a problem went away: a save that failed meanwhile
        // is tried again, a stale failure message goes.
        if (m_unsaved) {
            persist();
        } else if (m_statusIsFailure) {
            setStatus(statusLoaded);
        }
        return;
    }
    const auto synced = Configuration::decode(*bytes);
    if (!synced) {
        reportLocalized(u"iCloud 配置暂不可用：%@"_s, SyncErrorText::describe(synced.error(), language()));
        return;
    }
    if (const auto adopted = m_repository->adopt(*bytes); !adopted) {
        reportLocalized(u"iCloud 配置暂不可用：%@"_s, SyncErrorText::describe(adopted.error(), language()));
        return;
    }
    apply(*synced);
    m_unsaved = false;
    setStatus(statusLoaded);
}

void TessaryCloudSettings::save()
{
    if (!m_enabled || m_applying) {
        return;
    }
    m_pendingSave->start();
}

bool TessaryCloudSettings::hasPendingSave() const
{
    return m_pendingSave->isActive();
}

void TessaryCloudSettings::flushPendingSave()
{
    if (hasPendingSave()) {
        m_pendingSave->stop();
        persist();
    }
}

void TessaryCloudSettings::persist()
{
    if (!m_enabled || m_applying || !m_repository) {
        return;
    }
    if (!QFileInfo::exists(m_repository->path())) {
        m_unsaved = true;
        const SyncLocation where = location();
        if (!where.folderExists()) {
            reportLocalized(u"iCloud 保存失败：%@"_s, SyncErrorText::missingFolder(where.folder(), language()));
        } else {
            setStatus(statusWaiting);
        }
        return;
    }
    if (const auto written = m_repository->write(current().encoded()); !written) {
        m_unsaved = true;
        reportLocalized(u"iCloud 保存失败：%@"_s, SyncErrorText::describe(written.error(), language()));
        return;
    }
    m_unsaved = false;
    setStatus(statusSaved);
}

Configuration TessaryCloudSettings::current() const
{
    Configuration configuration;
    configuration.aiBaseURL = m_preferences.aiBaseURL();
    configuration.aiModel = m_preferences.aiModel();
    configuration.polishPrompt = m_preferences.polishPrompt();
    configuration.hideMenuBarIcon = m_preferences.hideMenuBarIcon();
    configuration.shortcut = m_preferences.shortcut();
    configuration.colorMode = m_preferences.colorMode();
    configuration.language = m_preferences.language();
    configuration.accentPalette = m_appearance.selection().rawValue();
    return configuration;
}

void TessaryCloudSettings::apply(const Configuration &configuration)
{
    m_applying = true;
    // Each assignment runs the preference's own reactions (icon visibility, hot key, colours, menus).
    m_preferences.setAiBaseURL(configuration.aiBaseURL);
    m_preferences.setAiModel(configuration.aiModel);
    // A built-in prompt of an earlier version is the old default, not the user's text.
    m_preferences.setPolishPrompt(TessaryDefaultPrompt::legacyPrompts().contains(configuration.polishPrompt)
                                      ? TessaryDefaultPrompt::forLanguage(configuration.language)
                                      : configuration.polishPrompt);
    m_preferences.setHideMenuBarIcon(configuration.hideMenuBarIcon);
    m_preferences.setShortcut(configuration.shortcut);
    m_preferences.setColorMode(configuration.colorMode);
    m_preferences.setLanguage(configuration.language);
    // A palette this version does not know stays as it is here.
    if (const std::optional<NativeAccentPalette> palette =
            NativeAccentPalette::fromRawValue(configuration.accentPalette)) {
        m_appearance.select(*palette);
    }
    m_applying = false;
}

SyncLocation TessaryCloudSettings::location() const
{
    return SyncLocation(folder());
}

QString TessaryCloudSettings::language() const
{
    return m_preferences.language();
}

void TessaryCloudSettings::reportLocalized(const QString &formatKey, const QString &description)
{
    setStatus(tessaryFormat(tessaryLocalized(formatKey, language()), description), true);
}

void TessaryCloudSettings::setStatus(const QString &status, bool failure)
{
    m_statusIsFailure = failure;
    if (status != m_status) {
        m_status = status;
        Q_EMIT statusChanged(status);
    }
}

} // namespace Tessary
