#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUrl>

#include "core/Result.h"
#include "updater/NativeUpdateError.h"

class QNetworkAccessManager;
class QNetworkReply;

namespace Tessary {

/**
 * One GET of the updater, over HTTPS only. Redirects are followed only to HTTPS addresses on the allowed hosts,
 * so a compromised or misconfigured server cannot send us elsewhere; a longer body than allowed is cut off; any
 * HTTP status outside 200–299 is a failure. Runs on the thread of the network manager (the GUI thread); exactly
 * one call of the completion follows start(), unless the fetch is destroyed first.
 */
class NativeUpdateFetch final : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        QUrl url;
        QSet<QString> allowedHosts;
        std::chrono::milliseconds timeout{60000};
        /** Ask for a fresh copy from the server, whatever any cache holds. */
        bool bypassCache = false;
        std::optional<qint64> maximumSize;
        /** The failure when a redirect leads elsewhere. */
        NativeUpdateError redirectRefused = NativeUpdateError::system(QString());
    };
    using Completion = std::function<void(Result<QByteArray, NativeUpdateError>)>;
    using Progress = std::function<void(qint64 received, qint64 total)>;

    NativeUpdateFetch(QNetworkAccessManager &network, Options options, QObject *parent = nullptr);
    ~NativeUpdateFetch() override;

    void start(Completion completion, Progress progress = {});

private:
    void fail(NativeUpdateError error);
    void finish();

    QNetworkAccessManager &m_network;
    Options m_options;
    QPointer<QNetworkReply> m_reply;
    Completion m_completion;
    std::optional<NativeUpdateError> m_failure;
};

} // namespace Tessary
