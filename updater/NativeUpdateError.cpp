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
    return NativeUpdateError(SystemError{std::move(description), std::nullopt});
}

NativeUpdateError NativeUpdateError::message(QString text, QStringList arguments)
{
    return NativeUpdateError(SystemError{std::move(text), std::move(arguments)});
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
    return localizedDescription(currentUpdaterLanguage());
}

QString NativeUpdateError::localizedDescription(UpdaterLanguage language) const
{
    if (const auto failure = policyFailure()) {
        return NativeUpdatePolicy::description(*failure, language);
    }
    if (const auto failure = installerFailure()) {
        switch (*failure) {
        case NativeUpdateInstallerFailure::InvalidArchive:
            return updaterCopy(u"更新包已损坏，请重新下载。"_s, language);
        case NativeUpdateInstallerFailure::InvalidApplication:
            return updaterCopy(u"更新包未通过开发者签名或公证校验。"_s, language);
        case NativeUpdateInstallerFailure::CannotReplace:
            return updaterCopy(u"无法替换当前应用，请确认应用位于“应用程序”文件夹且当前用户有写入权限。"_s, language);
        }
    }
    const SystemError &error = std::get<SystemError>(m_value);
    if (!error.arguments) {
        return error.description;
    }
    // One pass, so that an argument holding "%2" (a file name may) stays as it is.
    const QString format = updaterCopy(error.description, language);
    QString text;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const qsizetype index = i + 1 < format.size() && format[i] == u'%' ? format[i + 1].digitValue() - 1 : -1;
        if (index >= 0 && index < error.arguments->size()) {
            text += error.arguments->at(index);
            ++i;
        } else {
            text += format[i];
        }
    }
    return text;
}

} // namespace Tessary
