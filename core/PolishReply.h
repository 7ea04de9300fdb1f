#pragma once

#include <chrono>
#include <optional>

#include <QByteArray>
#include <QObject>
#include <QPointer>

#include "core/PolishError.h"

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

namespace Tessary {

/**
 * One polishing request in flight (see TextPolisher::polish). It lives on the thread that started it and reports
 * there: finished() is emitted exactly once, always after polish() has returned, never during it. Deleting the reply
 * before that cancels the request and nothing is emitted.
 *
 * The reply belongs to the network access manager it was sent with (like a QNetworkReply); call deleteLater() once
 * the outcome has been handled.
 */
class PolishReply final : public QObject
{
    Q_OBJECT
public:
    /** Sends the request. Only TextPolisher::polish creates replies. */
    PolishReply(QNetworkAccessManager &session, const QNetworkRequest &request, const QByteArray &body,
                qint64 maximumAnswerBytes, std::chrono::milliseconds deadline);
    /** A reply that reports the error as soon as control returns to the event loop. */
    PolishReply(PolishError error, QNetworkAccessManager &session);
    ~PolishReply() override;

    bool isFinished() const;
    /** The outcome; only valid once isFinished(). */
    const PolishResult &result() const;
    /** The request's idle time-out; zero when no request was sent (the arguments were refused). */
    std::chrono::milliseconds timeout() const;

Q_SIGNALS:
    void finished(const Tessary::PolishResult &result);

private:
    void checkHeaders();
    void checkSize(qint64 received);
    void stopSoon();
    void expireDeadline();
    void handleFinished();
    PolishResult outcome();
    void complete(PolishResult result);

    QPointer<QNetworkReply> m_reply;
    std::optional<PolishResult> m_result;
    std::chrono::milliseconds m_timeout{0};
    std::chrono::milliseconds m_deadline{0};
    qint64 m_maximumAnswerBytes = 0;
    bool m_tooLarge = false;
    bool m_deadlineExpired = false;
};

} // namespace Tessary
