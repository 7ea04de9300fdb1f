#include "core/PolishReply.h"

#include <algorithm>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

#include "core/TextPolisher_p.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

std::optional<int> httpStatus(const QNetworkReply &reply)
{
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        return std::nullopt;
    }
    return status.toInt();
}

bool isSuccess(int status)
{
    return status >= 200 && status <= 299;
}

} // namespace

PolishReply::PolishReply(QNetworkAccessManager &session, const QNetworkRequest &request, const QByteArray &body,
                         qint64 maximumAnswerBytes, std::chrono::milliseconds deadline)
    : QObject(&session)
    , m_timeout(request.transferTimeout())
    , m_deadline(deadline)
    , m_maximumAnswerBytes(maximumAnswerBytes)
{
    m_reply = session.post(request, body);
    m_reply->setParent(this);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &PolishReply::checkHeaders);
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64) { checkSize(received); });
    connect(m_reply, &QNetworkReply::finished, this, &PolishReply::handleFinished);
    // The transfer time-out restarts with every byte; this one does not.
    QTimer::singleShot(deadline, this, &PolishReply::expireDeadline);
}

PolishReply::PolishReply(PolishError error, QNetworkAccessManager &session)
    : QObject(&session)
{
    // The caller connects to finished() after polish() returns, so the outcome waits for the event loop.
    QTimer::singleShot(0, this, [this, error = std::move(error)] { complete(unexpected(error)); });
}

PolishReply::~PolishReply()
{
    if (m_reply != nullptr) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
}

bool PolishReply::isFinished() const
{
    return m_result.has_value();
}

const PolishResult &PolishReply::result() const
{
    return *m_result;
}

std::chrono::milliseconds PolishReply::timeout() const
{
    return m_timeout;
}

void PolishReply::checkHeaders()
{
    if (m_reply == nullptr || m_reply->isFinished()) {
        return;
    }
    // An error status decides the outcome; its body is read only for the service's explanation, so a small one
    // will do. Redirects (3xx) are left alone: a same-origin one is still being followed.
    if (const std::optional<int> status = httpStatus(*m_reply); status && *status >= 400) {
        m_maximumAnswerBytes = std::min(m_maximumAnswerBytes, TextPolisher::detail::maximumErrorAnswerBytes);
    }
    const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid()) {
        checkSize(length.toLongLong());
    }
}

void PolishReply::checkSize(qint64 received)
{
    if (received > m_maximumAnswerBytes && m_reply != nullptr && !m_reply->isFinished()) {
        m_tooLarge = true;
        stopSoon();
    }
}

void PolishReply::stopSoon()
{
    // Not from inside the reply's own signal: it may be about to finish in the same breath, and aborting then
    // reports its error twice.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (m_reply != nullptr && !m_reply->isFinished()) {
                m_reply->abort();
            }
        },
        Qt::QueuedConnection);
}

void PolishReply::expireDeadline()
{
    if (m_reply != nullptr && !m_reply->isFinished()) {
        m_deadlineExpired = true;
        m_reply->abort();
    }
}

PolishResult PolishReply::outcome()
{
    const std::optional<int> status = httpStatus(*m_reply);
    if (status && !isSuccess(*status)) {
        const QString explanation = m_tooLarge ? QString() : TextPolisher::detail::serviceMessage(m_reply->readAll());
        return unexpected(TextPolisher::detail::statusError(*status, explanation));
    }
    if (m_tooLarge) {
        return unexpected(TextPolisher::detail::answerTooLargeError());
    }
    if (m_deadlineExpired) {
        return unexpected(PolishError{QString::fromLatin1(PolishError::networkDomain), int(QNetworkReply::TimeoutError),
                                      u"The request timed out: no complete answer within %1 seconds."_s.arg(
                                          QString::number(double(m_deadline.count()) / 1000.0))});
    }
    if (m_reply->error() == QNetworkReply::OperationCanceledError) {
        // Qt ends a request whose transfer time-out fired as if it had been cancelled; say what happened.
        return unexpected(PolishError{QString::fromLatin1(PolishError::networkDomain), int(QNetworkReply::TimeoutError),
                                      u"The request timed out: no response for %1 seconds."_s.arg(
                                          QString::number(double(m_timeout.count()) / 1000.0))});
    }
    if (m_reply->error() != QNetworkReply::NoError) {
        return unexpected(PolishError{QString::fromLatin1(PolishError::networkDomain), int(m_reply->error()),
                                      m_reply->errorString()});
    }
    if (!status) {
        return unexpected(TextPolisher::detail::statusError(0));
    }
    return TextPolisher::detail::decodeAnswer(m_reply->readAll());
}

void PolishReply::handleFinished()
{
    PolishResult result = outcome();
    m_reply->deleteLater();
    m_reply = nullptr;
    complete(std::move(result));
}

void PolishReply::complete(PolishResult result)
{
    if (m_result) {
        return;
    }
    m_result = std::move(result);
    Q_EMIT finished(*m_result);
}

} // namespace Tessary
