#include "updater/NativeUpdater.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QNetworkAccessManager>
#include <QTimer>

#include "platform/defaults/UserDefaults.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdateDialogs.h"
#include "updater/NativeUpdateError.h"
#include "updater/NativeUpdateFetch.h"
#include "updater/NativeUpdateInstaller.h"
#include "updater/NativeUpdatePolicy.h"
#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace Tessary {

namespace {

constexpr auto firstCheckDelay = 4s;
constexpr auto checkInterval = 6h;
constexpr double promptInterval = 24 * 60 * 60;
// A manifest is a few hundred bytes; anything far larger is not one.
constexpr qint64 maximumManifestSize = 64 * 1024;

} // namespace

void NativeUpdater::setLanguage(std::function<UpdaterLanguage()> language)
{
    m_language = std::move(language);
    Q_EMIT stateChanged();
}

UpdaterLanguage NativeUpdater::language() const
{
    return m_language ? m_language() : currentUpdaterLanguage();
}

QString NativeUpdater::copy(const QString &text) const
{
    return updaterCopy(text, language());
}

NativeUpdater::NativeUpdater(NativeUpdateConfiguration configuration, UserDefaults &userDefaults, QObject *parent)
    : QObject(parent)
    , m_configuration(std::move(configuration))
    , m_userDefaults(userDefaults)
    , m_standardDefaults(std::make_unique<UserDefaults>())
    , m_timer(new QTimer(this))
    , m_delayedCheck(new QTimer(this))
    , m_network(new QNetworkAccessManager(this))
{
    m_automaticallyChecksForUpdates = m_userDefaults.boolean(switchKey()).value_or(false);
    m_delayedCheck->setSingleShot(true);
    m_delayedCheck->setInterval(firstCheckDelay);
    m_delayedCheck->setTimerType(Qt::PreciseTimer);
    connect(m_delayedCheck, &QTimer::timeout, this, [this] { checkForUpdates(false); });
    m_timer->setInterval(checkInterval);
    connect(m_timer, &QTimer::timeout, this, [this] { checkForUpdates(false); });
}

NativeUpdater::~NativeUpdater() = default;

void NativeUpdater::setState(const NativeUpdateState &state)
{
    if (m_state == state) {
        return;
    }
    m_state = state;
    Q_EMIT stateChanged();
}

void NativeUpdater::setDownloadProgress(double progress)
{
    if (m_downloadProgress != progress) {
        m_downloadProgress = progress;
        Q_EMIT downloadProgressChanged(progress);
    }
}

void NativeUpdater::setAutomaticallyChecksForUpdates(bool enabled)
{
    if (enabled == m_automaticallyChecksForUpdates) {
        return;
    }
    m_automaticallyChecksForUpdates = enabled;
    m_userDefaults.setBoolean(switchKey(), enabled);
    refreshAutomaticChecks();
    Q_EMIT automaticallyChecksForUpdatesChanged(enabled);
    // The idle and up-to-date texts depend on the switch.
    Q_EMIT stateChanged();
}

void NativeUpdater::startAutomaticChecks()
{
    m_automaticChecksRequested = true;
    refreshAutomaticChecks();
}

void NativeUpdater::refreshAutomaticChecks()
{
    m_delayedCheck->stop();
    m_timer->stop();
    if (!m_configuration.isEnabled || !m_automaticChecksRequested || !m_automaticallyChecksForUpdates) {
        return;
    }
    m_delayedCheck->start();
    m_timer->start();
}

void NativeUpdater::performPrimaryAction()
{
    switch (m_state.kind()) {
    case NativeUpdateState::Kind::Ready:
        restartAndInstall();
        break;
    case NativeUpdateState::Kind::Available:
        if (m_availableManifest) {
            download(*m_availableManifest);
        }
        break;
    default:
        checkForUpdates(true);
        break;
    }
}

void NativeUpdater::checkForUpdates(bool manual)
{
    if (!m_configuration.isEnabled) {
        if (manual) {
            const QString message = m_configuration.isPackageManaged
                                        ? copy(u"此副本由系统的软件包管理器更新，请通过它获取新版本。"_s)
                                        : copy(u"开发版不检查正式更新。"_s);
            NativeUpdateDialogs::run(NativeUpdateDialogs::Style::Informational, m_configuration.appName, message, {},
                                     copy(u"好"_s));
        }
        return;
    }
    if (m_requestInFlight) {
        return;
    }
    m_requestInFlight = true;
    setState(NativeUpdateState::checking());
    QSet<QString> redirectHosts = m_configuration.allowedDownloadHosts;
    redirectHosts.insert(m_configuration.manifestURL.host().toLower());
    m_fetch = new NativeUpdateFetch(
        *m_network,
        {.url = m_configuration.manifestURL,
         .allowedHosts = redirectHosts,
         .timeout = 20s,
         .bypassCache = true,
         .maximumSize = maximumManifestSize,
         .redirectRefused = NativeUpdateError::message(u"更新清单被重定向到不属于本应用的服务器。"_s)},
        this);
    m_fetch->start([this, manual](Result<QByteArray, NativeUpdateError> body) {
        m_fetch->deleteLater();
        m_fetch = nullptr;
        checkFinished(manual, body);
    });
}

void NativeUpdater::checkFinished(bool manual, const Result<QByteArray, NativeUpdateError> &body)
{
    std::optional<NativeUpdateError> failure;
    std::optional<NativeUpdateManifest> manifest;
    if (!body) {
        failure = body.error();
    } else if (auto decoded = NativeUpdateManifest::decode(*body); !decoded) {
        failure = NativeUpdateError::message(u"更新清单无法读取。"_s);
    } else if (const auto valid = NativeUpdatePolicy::validate(*decoded, m_configuration); !valid) {
        failure = NativeUpdateError(valid.error());
    } else {
        manifest = *decoded;
    }

    if (failure) {
        const QString message = copy(u"检查更新失败：%1"_s).arg(failure->localizedDescription(language()));
        m_failure.emplace(u"检查更新失败：%1"_s, *failure);
        setState(NativeUpdateState::failed(message));
        if (manual) {
            NativeUpdateDialogs::run(NativeUpdateDialogs::Style::Warning, m_configuration.appName, message, {},
                                     copy(u"好"_s));
        }
        m_requestInFlight = false;
        return;
    }
    if (!NativeUpdatePolicy::isNewer(*manifest, NativeUpdatePolicy::runningBuild())) {
        setState(NativeUpdateState::current());
        if (manual) {
            NativeUpdateDialogs::run(NativeUpdateDialogs::Style::Informational, m_configuration.appName,
                                     copy(u"%1 已经是最新版本。"_s).arg(m_configuration.appName), {}, copy(u"好"_s));
        }
        m_requestInFlight = false;
        return;
    }
    m_availableManifest = manifest;
    setState(NativeUpdateState::available(manifest->version));
    m_requestInFlight = false;
    if (manual || (m_automaticallyChecksForUpdates && isPromptDue(manifest->build))) {
        presentAvailable(*manifest);
    }
}

bool NativeUpdater::isPromptDue(std::int64_t build) const
{
    const double shown = m_standardDefaults->string(promptKey(build)).value_or(u"0"_s).toDouble();
    const double now = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    return now - shown >= promptInterval;
}

void NativeUpdater::presentAvailable(const NativeUpdateManifest &manifest)
{
    const double now = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    m_standardDefaults->setString(promptKey(manifest.build), QString::number(now, 'f', 3));
    const bool accepted = NativeUpdateDialogs::run(
        NativeUpdateDialogs::Style::Application, m_configuration.appName,
        copy(u"%1 %2 可更新"_s).arg(m_configuration.appName, manifest.version),
        copy(u"可以现在下载。下载并校验完成后，应用会询问是否重启完成更新。"_s), copy(u"下载更新"_s), copy(u"稍后"_s));
    if (accepted) {
        download(manifest);
    }
}

void NativeUpdater::download(const NativeUpdateManifest &manifest)
{
    if (m_requestInFlight) {
        return;
    }
    m_requestInFlight = true;
    setState(NativeUpdateState::downloading(manifest.version));
    setDownloadProgress(-1);
    m_fetch =
        new NativeUpdateFetch(*m_network,
                              {.url = manifest.downloadURL,
                               .allowedHosts = m_configuration.allowedDownloadHosts,
                               .redirectRefused = NativeUpdateError(NativeUpdatePolicy::Failure::InvalidDownloadURL)},
                              this);
    m_fetch->start(
        [this, manifest](Result<QByteArray, NativeUpdateError> body) {
            m_fetch->deleteLater();
            m_fetch = nullptr;
            setDownloadProgress(-1);
            downloadFinished(manifest, body);
        },
        [this](qint64 received, qint64 total) {
            setDownloadProgress(total > 0 ? double(received) / double(total) : -1);
        });
}

void NativeUpdater::downloadFinished(const NativeUpdateManifest &manifest,
                                     const Result<QByteArray, NativeUpdateError> &body)
{
    Result<QString, NativeUpdateError> staged = body ? NativeUpdateInstaller::prepare(*body, manifest, m_configuration)
                                                     : Result<QString, NativeUpdateError>(unexpected(body.error()));
    if (!staged) {
        const QString message = copy(u"下载更新失败：%1"_s).arg(staged.error().localizedDescription(language()));
        m_failure.emplace(u"下载更新失败：%1"_s, staged.error());
        setState(NativeUpdateState::failed(message));
        // Downloads are always the user's doing, so a failure is always shown.
        NativeUpdateDialogs::run(NativeUpdateDialogs::Style::Warning, m_configuration.appName, message, {},
                                 copy(u"好"_s));
        m_requestInFlight = false;
        return;
    }
    m_stagedApplication = *staged;
    setState(NativeUpdateState::ready(manifest.version));
    presentReady(manifest);
    m_requestInFlight = false;
}

void NativeUpdater::presentReady(const NativeUpdateManifest &manifest)
{
    const bool accepted =
        NativeUpdateDialogs::run(NativeUpdateDialogs::Style::Application, m_configuration.appName,
                                 copy(u"%1 %2 已准备好"_s).arg(m_configuration.appName, manifest.version),
                                 copy(u"重启应用即可完成更新。"_s), copy(u"重启并更新"_s), copy(u"稍后"_s));
    if (accepted) {
        restartAndInstall();
    }
}

void NativeUpdater::restartAndInstall()
{
    if (m_stagedApplication.isEmpty()) {
        return;
    }
    const std::optional<NativeBundle> &running = NativeBundle::main();
    const auto launched = running ? NativeUpdateInstaller::launchHelper(m_stagedApplication, running->path())
                                  : Result<void, NativeUpdateError>(
                                        unexpected(NativeUpdateError(NativeUpdateInstallerFailure::CannotReplace)));
    if (!launched) {
        const QString message = copy(u"无法启动更新：%1"_s).arg(launched.error().localizedDescription(language()));
        m_failure.emplace(u"无法启动更新：%1"_s, launched.error());
        setState(NativeUpdateState::failed(message));
        NativeUpdateDialogs::run(NativeUpdateDialogs::Style::Warning, m_configuration.appName, message, {},
                                 copy(u"好"_s));
        return;
    }
    // A moment for the helper to start; then end the event loop normally, so that everything is saved on the way
    // out. exit() rather than quit(): Qt lets windows refuse a quit() by refusing to close, and an application whose
    // windows only hide when closed (a settings window) must not keep running while the helper waits for it.
    QTimer::singleShot(150ms, QCoreApplication::instance(), [] { QCoreApplication::exit(0); });
}

} // namespace Tessary
