#include "app/sync/SyncErrorText.h"

#include <cerrno>

#include <QDir>

#include "app/localization/TessaryLocalized.h"
#include "app/sync/Configuration.h"
#include "configuration/SecureConfigurationError.h"

using namespace Qt::StringLiterals;

namespace Tessary::SyncErrorText {

namespace {

QString formatLocalized(const QString &key, const QString &argument, const QString &language)
{
    return tessaryFormat(tessaryLocalized(key, language), argument);
}

} // namespace

QString describe(const SecureConfigurationError &error, const QString &language)
{
    if (error.code != SecureConfigurationError::Code::System) {
        return tessaryLocalized(error.description, language);
    }
    const QString path = QDir::toNativeSeparators(error.path);
    switch (error.errorNumber) {
    case EACCES:
    case EPERM:
        return formatLocalized(u"没有访问“%@”的权限。"_s, path, language);
    case EROFS:
        return formatLocalized(u"“%@”位于只读的磁盘上。"_s, path, language);
    case ENOSPC:
    case EDQUOT:
        return formatLocalized(u"磁盘空间不足，无法写入“%@”。"_s, path, language);
    case ENOENT:
    case ENOTDIR:
        return formatLocalized(u"找不到“%@”。"_s, path, language);
    case EISDIR:
    case EINVAL:
        return formatLocalized(u"“%@”不是普通文件。"_s, path, language);
    default:
        return error.description;
    }
}

QString describe(const ConfigurationDecodeError &error, const QString &language)
{
    switch (error.code) {
    case ConfigurationDecodeError::Code::NotJson:
        return tessaryLocalized(u"配置文件不是有效的 JSON。"_s, language);
    case ConfigurationDecodeError::Code::WrongShape:
        return formatLocalized(u"配置文件中的“%@”缺失或类型不正确。"_s, error.field, language);
    case ConfigurationDecodeError::Code::UnsupportedVersion:
        return formatLocalized(u"配置文件的格式版本 %@ 不受支持。"_s, error.field, language);
    }
    return QString();
}

QString folderNotCreated(const QString &folder, const QString &language)
{
    // A file in the way can leave EEXIST, which says nothing useful.
    const int error = errno == 0 || errno == EEXIST ? ENOTDIR : errno;
    return describe(SecureConfigurationError::system(u"create"_s, folder, error), language);
}

QString missingFolder(const QString &folder, const QString &language)
{
    return formatLocalized(u"找不到同步文件夹“%@”。"_s, QDir::toNativeSeparators(folder), language);
}

} // namespace Tessary::SyncErrorText
