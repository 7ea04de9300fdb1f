#include "updater/NativeUpdateFetch.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

using namespace Qt::StringLiterals;

namespace Tessary {

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
    connect(
        m_reply, &QNetworkReply::downloadProgress, this,
        [this, progress = std::move(progress)](qint64 received, qint64 total) {
            if (m_options.maximumSize && std::max(received, total) > *m_options.maximumSize) {
                fail(NativeUpdateError::system(u"The server sent more than %1 bytes."_s.arg(*m_options.maximumSize)));
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
        completion(unexpected(NativeUpdateError::system(reply->errorString())));
        return;
    }
    if (status < 200 || status > 299) {
        completion(unexpected(
            NativeUpdateError::system(u"The server returned an invalid response (HTTP status %1)."_s.arg(status))));
        return;
    }
    if (reply->error() != QNetworkReply::NoError) {
        completion(unexpected(NativeUpdateError::system(reply->errorString())));
        return;
    }
    completion(reply->readAll());
}

} // namespace Tessary
