#include "app/localization/FailureMessages.h"

#include <QHash>
#include <QNetworkReply>

#include "core/PolishError.h"

using namespace Qt::StringLiterals;

namespace Tessary::FailureMessages {

namespace {

QString networkFailure(int code)
{
    using Error = QNetworkReply::NetworkError;
    switch (Error(code)) {
    case Error::ConnectionRefusedError:
        return u"AI 服务拒绝了连接。请确认地址和端口正确、服务正在运行。"_s;
    case Error::RemoteHostClosedError:
        return u"AI 服务意外断开了连接。"_s;
    case Error::HostNotFoundError:
        return u"找不到 AI 服务的服务器。请检查地址和网络连接。"_s;
    case Error::TimeoutError:
    case Error::OperationCanceledError:
        return u"AI 服务长时间没有响应，请求已超时。"_s;
    case Error::SslHandshakeFailedError:
        return u"无法与 AI 服务建立安全连接：证书无效或不受信任。"_s;
    case Error::TemporaryNetworkFailureError:
    case Error::NetworkSessionFailedError:
    case Error::UnknownNetworkError:
        return u"网络连接失败。请检查网络后重试。"_s;
    default:
        break;
    }
    if (code >= int(Error::ProxyConnectionRefusedError) && code <= int(Error::UnknownProxyError)) {
        return u"无法通过代理服务器连接 AI 服务。请检查代理设置。"_s;
    }
    return u"连接 AI 服务时出现网络错误（代码 %1）。"_s.arg(code);
}

} // namespace

QString polish(const PolishError &error)
{
    const QString domain = error.domain;
    if (domain == QLatin1String(PolishError::networkDomain)) {
        return networkFailure(error.code);
    }
    if (domain == QLatin1String(PolishError::jsonDomain)) {
        return u"AI 服务返回的内容不是有效的 JSON。请确认地址是 OpenAI 兼容的 API 根地址。"_s;
    }
    if (domain == QLatin1String(PolishError::responseDomain)) {
        return u"AI 服务返回的内容不是聊天补全格式。请确认地址是 OpenAI 兼容的 API 根地址。"_s;
    }
    return error.description;
}

QString captureTool(const QString &toolError)
{
    static const QHash<QString, QString> known{
        {u"the capture could not be written"_s, u"截图无法写入临时文件。"_s},
        {u"the folder for the capture does not exist"_s, u"存放截图的临时文件夹不存在。"_s},
    };
    return known.value(toolError, toolError);
}

} // namespace Tessary::FailureMessages
