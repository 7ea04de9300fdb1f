// The polishing client's own cost: the time of TextPolisher::polish minus the time of a bare QNetworkAccessManager
// POST of the same body to the same loopback HTTPS server, over the same kept-alive connection. The two are
// interleaved so that both see the same server and machine load. Prints the medians and writes them as JSON.

#include <algorithm>
#include <cstdio>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include "core/TextPolisher.h"
#include "tests/support/LoopbackHttpsServer.h"

using namespace Qt::StringLiterals;
using Tessary::Test::LoopbackHttpsServer;

namespace {

double percentile(std::vector<double> values, double p)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const double rank = p * double(values.size() - 1);
    const size_t low = size_t(rank);
    const size_t high = std::min(low + 1, values.size() - 1);
    return values[low] + (values[high] - values[low]) * (rank - double(low));
}

template <typename Done> void waitUntil(Done done)
{
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int calls = arguments.size() > 1 ? arguments[1].toInt() : 200;
    const QString output = arguments.size() > 2 ? arguments[2] : QString();

    LoopbackHttpsServer server;
    QString error;
    if (!server.start(&error)) {
        std::fprintf(stderr, "server did not start: %s\n", qPrintable(error));
        return 1;
    }
    server.trustInThisProcess();
    const QJsonObject answer{
        {u"choices"_s,
         QJsonArray{QJsonObject{{u"message"_s, QJsonObject{{u"role"_s, u"assistant"_s},
                                                           {u"content"_s, u"这是一段修正后的示例文字。"_s}}}}}}};
    server.setRoute(u"/v1/chat/completions"_s,
                    {{u"status"_s, 200},
                     {u"headers"_s, QJsonObject{{u"Content-Type"_s, u"application/json"_s}}},
                     {u"body"_s, QString::fromUtf8(QJsonDocument(answer).toJson(QJsonDocument::Compact))}});

    const QString baseURL = server.baseUrl().toString() + u"/v1"_s;
    const QString text = u"这是一段用于测试 OCR 润色速度的示例文字，请修正错别字和标点。"_s;
    const QString prompt = u"只修正错别字和标点，保留原意，只输出修正后的文字。"_s;
    const QString key = u"sk-bench"_s;
    QNetworkAccessManager session;

    auto timePolish = [&]() -> double {
        QElapsedTimer timer;
        timer.start();
        Tessary::PolishReply *reply =
            Tessary::TextPolisher::polish(text, baseURL, u"bench-model"_s, prompt, key, session);
        waitUntil([reply] { return reply->isFinished(); });
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        if (!reply->result()) {
            std::fprintf(stderr, "polish failed: %s\n", qPrintable(reply->result().error().description));
            std::exit(1);
        }
        delete reply;
        return ms;
    };

    // The bare request sends exactly what the client sent.
    timePolish();
    const QJsonObject sent = server.requests().last().toObject();
    const QByteArray body = sent[u"body"].toString().toUtf8();
    QNetworkRequest request(QUrl(baseURL + u"/chat/completions"_s));
    request.setRawHeader("Authorization", "Bearer " + key.toUtf8());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    auto timeRaw = [&]() -> double {
        QElapsedTimer timer;
        timer.start();
        QNetworkReply *reply = session.post(request, body);
        waitUntil([reply] { return reply->isFinished(); });
        const QByteArray answerBytes = reply->readAll();
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        if (reply->error() != QNetworkReply::NoError || answerBytes.isEmpty()) {
            std::fprintf(stderr, "raw request failed: %s\n", qPrintable(reply->errorString()));
            std::exit(1);
        }
        delete reply;
        return ms;
    };

    for (int i = 0; i < 10; ++i) {
        timePolish();
        timeRaw();
    }
    server.clearRequests();

    std::vector<double> polishMs;
    std::vector<double> rawMs;
    std::vector<double> overheadMs;
    for (int i = 0; i < calls; ++i) {
        // Alternate which goes first, so neither always follows the other.
        double p = 0;
        double r = 0;
        if (i % 2 == 0) {
            p = timePolish();
            r = timeRaw();
        } else {
            r = timeRaw();
            p = timePolish();
        }
        polishMs.push_back(p);
        rawMs.push_back(r);
        overheadMs.push_back(p - r);
    }

    const QJsonObject result{
        {u"calls"_s, calls},
        {u"polish_p50_ms"_s, percentile(polishMs, 0.5)},
        {u"raw_p50_ms"_s, percentile(rawMs, 0.5)},
        {u"overhead_p50_ms"_s, percentile(overheadMs, 0.5)},
        {u"overhead_p90_ms"_s, percentile(overheadMs, 0.9)},
    };
    std::printf("calls=%d polish_p50_ms=%.3f raw_p50_ms=%.3f overhead_p50_ms=%.3f overhead_p90_ms=%.3f\n", calls,
                percentile(polishMs, 0.5), percentile(rawMs, 0.5), percentile(overheadMs, 0.5),
                percentile(overheadMs, 0.9));
    if (!output.isEmpty()) {
        QFile file(output);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            file.write(QJsonDocument(result).toJson());
        }
    }
    return 0;
}
