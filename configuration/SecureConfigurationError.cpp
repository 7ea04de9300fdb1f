#include "configuration/SecureConfigurationError.h"

#include <cstring>

using namespace Qt::StringLiterals;

namespace Tessary {

SecureConfigurationError SecureConfigurationError::of(Code code)
{
    switch (code) {
    case Code::ExternalChange:
        return {code, u"配置已被其它设备或程序修改，请重新加载后再编辑。"_s};
    case Code::Conflict:
        return {code, u"iCloud 配置存在冲突版本，请在访达中处理后重新加载。"_s};
    case Code::Unavailable:
        return {code, u"配置文件暂不可用。"_s};
    case Code::TooLarge:
        return {code, u"配置文件超过 5 MB。"_s};
    case Code::System:
        break;
    }
    return {Code::System, QString()};
}

SecureConfigurationError SecureConfigurationError::system(const QString &operation, const QString &path,
                                                          int errorNumber)
{
    return {Code::System, operation + u' ' + path + u": "_s + QString::fromLocal8Bit(std::strerror(errorNumber)),
            errorNumber, path};
}

} // namespace Tessary
