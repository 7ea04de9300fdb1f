// The texts and keys of NativeUpdater: what the settings' update section shows, and where the updater stores.

#include "updater/NativeUpdater.h"

#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;

namespace Tessary {

QString NativeUpdater::switchKey() const
{
    return u"NativeUpdater."_s + m_configuration.product + u".automaticallyChecksForUpdates"_s;
}

QString NativeUpdater::promptKey(std::int64_t build) const
{
    return u"NativeUpdater."_s + m_configuration.product + u".prompt."_s + QString::number(build);
}

QString NativeUpdater::statusText() const
{
    return statusText(language());
}

QString NativeUpdater::actionTitle() const
{
    return actionTitle(language());
}

QString NativeUpdater::statusText(UpdaterLanguage language) const
{
    const auto copy = [language](const QString &text) { return updaterCopy(text, language); };
    if (!m_configuration.isEnabled) {
        return m_configuration.isPackageManaged ? copy(u"此副本由系统的软件包管理器更新"_s)
                                                : copy(u"开发版不自动更新"_s);
    }
    const QString automatic =
        m_automaticallyChecksForUpdates ? copy(u"自动提示新版已开启"_s) : copy(u"自动提示新版已关闭"_s);
    switch (m_state.kind()) {
    case NativeUpdateState::Kind::Available:
        return copy(u"发现新版本 %1"_s).arg(m_state.text());
    case NativeUpdateState::Kind::Downloading:
        return copy(u"正在下载 %1…"_s).arg(m_state.text());
    case NativeUpdateState::Kind::Ready:
        return copy(u"%1 已下载，等待重启"_s).arg(m_state.text());
    case NativeUpdateState::Kind::Failed:
        if (m_failure) {
            return copy(m_failure->first).arg(m_failure->second.localizedDescription(language));
        }
        return m_state.text();
    case NativeUpdateState::Kind::Idle:
        return automatic;
    case NativeUpdateState::Kind::Checking:
        return copy(u"正在检查更新…"_s);
    case NativeUpdateState::Kind::Current:
        return m_automaticallyChecksForUpdates ? copy(u"已经是最新版本"_s) : automatic;
    }
    return {};
}

QString NativeUpdater::actionTitle(UpdaterLanguage language) const
{
    const auto copy = [language](const QString &text) { return updaterCopy(text, language); };
    switch (m_state.kind()) {
    case NativeUpdateState::Kind::Available:
        return copy(u"下载更新"_s);
    case NativeUpdateState::Kind::Ready:
        return copy(u"重启并更新"_s);
    default:
        return copy(u"检查更新"_s);
    }
}

bool NativeUpdater::isActionDisabled() const
{
    return m_state.kind() == NativeUpdateState::Kind::Checking ||
           m_state.kind() == NativeUpdateState::Kind::Downloading;
}

} // namespace Tessary
