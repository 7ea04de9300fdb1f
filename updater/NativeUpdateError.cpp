#include "updater/NativeUpdateError.h"

#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;

namespace Tessary {

NativeUpdateError::NativeUpdateError(NativeUpdatePolicy::Failure failure)
    : m_value(failure)
{}

NativeUpdateError::NativeUpdateError(NativeUpdateInstallerFailure failure)
    : m_value(failure)
{}

NativeUpdateError::NativeUpdateError(SystemError error)
    : m_value(std::move(error))
{}

NativeUpdateError NativeUpdateError::system(QString description)
{
    return NativeUpdateError(SystemError{std::move(description)});
}

std::optional<NativeUpdatePolicy::Failure> NativeUpdateError::policyFailure() const
{
    if (const auto *failure = std::get_if<NativeUpdatePolicy::Failure>(&m_value)) {
        return *failure;
    }
    return std::nullopt;
}

std::optional<NativeUpdateInstallerFailure> NativeUpdateError::installerFailure() const
{
    if (const auto *failure = std::get_if<NativeUpdateInstallerFailure>(&m_value)) {
        return *failure;
    }
    return std::nullopt;
}

QString NativeUpdateError::localizedDescription() const
{
    if (const auto failure = policyFailure()) {
        return NativeUpdatePolicy::description(*failure);
    }
    if (const auto failure = installerFailure()) {
        switch (*failure) {
        case NativeUpdateInstallerFailure::InvalidArchive:
            return updaterCopy(u"更新包已损坏，请重新下载。"_s);
        case NativeUpdateInstallerFailure::InvalidApplication:
            return updaterCopy(u"更新包未通过开发者签名或公证校验。"_s);
        case NativeUpdateInstallerFailure::CannotReplace:
            return updaterCopy(u"无法替换当前应用，请确认应用位于“应用程序”文件夹且当前用户有写入权限。"_s);
        }
    }
    return std::get<SystemError>(m_value).description;
}

} // namespace Tessary
