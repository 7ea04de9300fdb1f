#include "updater/NativeUpdateFetch.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

/** Qt's words for a network failure are English only; the updater's texts say the same in every language. */
NativeUpdateError networkError(QNetworkReply::NetworkError code)
{
    using Error = QNetworkReply::NetworkError;
    switch (code) {
    case Error::HostNotFoundError:
        return NativeUpdateError::message(u"找不到更新服务器，请检查网络连接。"_s);
    case Error::RemoteHostClosedError:
        return NativeUpdateError::message(u"更新服务器意外断开了连接。"_s);
    case Error::ConnectionRefusedError:
    case Error::TemporaryNetworkFailureError:
    case Error::NetworkSessionFailedError:
    case Error::UnknownNetworkError:
        return NativeUpdateError::message(u"无法连接更新服务器，请检查网络连接。"_s);
    case Error::TimeoutError:
    case Error::OperationCanceledError:
        return NativeUpdateError::message(u"更新服务器长时间没有响应。"_s);
    case Error::SslHandshakeFailedError:
        return NativeUpdateError::message(u"无法与更新服务器建立安全连接。"_s);
    default:
        break;
    }
    if (code >= Error::ProxyConnectionRefusedError && code <= Error::UnknownProxyError) {
        return NativeUpdateError::message(u"无法通过代理服务器连接更新服务器，请检查代理设置。"_s);
    }
    return NativeUpdateError::message(u"连接更新服务器时出现网络错误（代码 %1）。"_s, {QString::number(int(code))});
}

} // namespace

NativeUpdateFetch::NativeUpdateFetch(QNetworkAccessManager &network, Options options, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_options(std::move(options))
{}

NativeUpdateFetch::~NativeUpdateFetch()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

void NativeUpdateFetch::start(Completion completion, Progress progress)
{
    m_completion = std::move(completion);
    QNetworkRequest request(m_options.url);
    request.setTransferTimeout(int(m_options.timeout.count()));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::UserVerifiedRedirectPolicy);
    if (m_options.bypassCache) {
        request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
        request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
        request.setRawHeader("Cache-Control", "no-cache");
    }
    m_reply = m_network.get(request);

    connect(m_reply, &QNetworkReply::redirected, this, [this](const QUrl &target) {
        if (target.scheme() == u"https"_s && m_options.allowedHosts.contains(target.host().toLower())) {
            Q_EMIT m_reply->redirectAllowed();
        } else {
            fail(m_options.redirectRefused);
        }
    });
    connect(m_reply, &QNetworkReply::downloadProgress, this,
            [this, progress = std::move(progress)](qint64 received, qint64 total) {
                if (m_options.maximumSize && std::max(received, total) > *m_options.maximumSize) {
                    fail(NativeUpdateError::message(u"更新服务器发送的数据超过 %1 字节。"_s,
                                                    {QString::number(*m_options.maximumSize)}));
                    return;
                }
                if (progress) {
                    progress(received, total);
                }
            });
    connect(m_reply, &QNetworkReply::finished, this, &NativeUpdateFetch::finish);
}

void NativeUpdateFetch::fail(NativeUpdateError error)
{
    if (!m_failure) {
        m_failure = std::move(error);
    }
    // Aborting finishes the reply at once, which reports the failure noted above.
    if (m_reply) {
        m_reply->abort();
    }
}

void NativeUpdateFetch::finish()
{
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    reply->deleteLater();
    const Completion completion = std::move(m_completion);
    if (m_failure) {
        completion(unexpected(*m_failure));
        return;
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError && status == 0) {
        completion(unexpected(networkError(reply->error())));
        return;
    }
    if (status < 200 || status > 299) {
        completion(unexpected(
            NativeUpdateError::message(u"更新服务器返回了无效的响应（HTTP %1）。"_s, {QString::number(status)})));
        return;
    }
    if (reply->error() != QNetworkReply::NoError) {
        completion(unexpected(networkError(reply->error())));
        return;
    }
    completion(reply->readAll());
}

} // namespace Tessary
