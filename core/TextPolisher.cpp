#include "core/TextPolisher.h"

#include <algorithm>
#include <optional>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QUrl>

#include "core/PolishingReasoningPolicy.h"
#include "core/TextPolisher_p.h"

using namespace Qt::StringLiterals;

namespace Tessary {

PolishError PolishError::polisher(const QString &description)
{
    return {QString::fromLatin1(polisherDomain), 1, description};
}

namespace TextPolisher {

namespace {

using PolishingReasoningPolicy::Control;

PolishError responseError(PolishError::ResponseCode code, const QString &what)
{
    const QString description = code == PolishError::ValueMissing
                                    ? u"The data couldn’t be read because %1 is missing."_s.arg(what)
                                    : u"The data couldn’t be read because %1 isn’t in the correct format."_s.arg(what);
    return {QString::fromLatin1(PolishError::responseDomain), code, description};
}

/** Hosts on this machine, where a local model server may speak plain HTTP: nothing crosses the network. */
bool isLoopbackHost(const QString &host)
{
    return host == u"127.0.0.1" || host == u"::1" || host == u"localhost";
}

/**
 * The base URL as an API root: nothing but scheme, host, optional port and path. The scheme is HTTPS, or HTTP for a
 * server on this machine. Credentials would end up in a URL we log nowhere but send everywhere, and a query or
 * fragment cannot be combined with the endpoint path.
 */
std::optional<QUrl> apiRoot(const QString &baseURL)
{
    const QString text = baseURL.trimmed();
    // QUrl lower-cases the scheme; an upper-case "HTTPS" is refused like any other scheme.
    const bool secure = text.startsWith(u"https:");
    if (!secure && !text.startsWith(u"http:")) {
        return std::nullopt;
    }
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != (secure ? u"https" : u"http") || url.host().isEmpty()) {
        return std::nullopt;
    }
    if (!secure && !isLoopbackHost(url.host())) {
        return std::nullopt;
    }
    // QUrl forgets an empty user ("https://@host"), so look at the authority as written.
    const QStringView afterScheme = QStringView(text).sliced(secure ? 6 : 5);
    if (afterScheme.startsWith(u"//")) {
        const QStringView rest = afterScheme.sliced(2);
        qsizetype end = 0;
        while (end < rest.size() && rest[end] != u'/' && rest[end] != u'?' && rest[end] != u'#') {
            ++end;
        }
        if (rest.first(end).contains(u'@')) {
            return std::nullopt;
        }
    }
    if (url.hasQuery() || url.hasFragment()) {
        return std::nullopt;
    }
    return url;
}

/** A line break in the key would end the Authorization header and start another one of the key's choosing. */
bool fitsInAHeader(const QString &key)
{
    return std::ranges::none_of(key, [](QChar c) { return (c < u' ' && c != u'\t') || c == u'\x7f'; });
}

QUrl chatCompletionsUrl(QUrl url)
{
    QString path = url.path(QUrl::FullyEncoded);
    qsizetype start = 0;
    qsizetype end = path.size();
    while (start < end && path[start] == u'/') {
        ++start;
    }
    while (end > start && path[end - 1] == u'/') {
        --end;
    }
    path = path.sliced(start, end - start) + u"/chat/completions"_s;
    if (!path.startsWith(u'/')) {
        path.prepend(u'/');
    }
    url.setPath(path, QUrl::TolerantMode);
    return url;
}

QByteArray requestBody(const QString &model, const QString &prompt, const QString &text, Control control)
{
    QJsonObject body{
        {u"model"_s, model},
        {u"messages"_s,
         QJsonArray{
             QJsonObject{{u"role"_s, u"system"_s}, {u"content"_s, prompt}},
             QJsonObject{{u"role"_s, u"user"_s}, {u"content"_s, text}},
         }},
    };
    switch (control) {
    case Control::thinkingDisabled:
        body.insert(u"thinking"_s, QJsonObject{{u"type"_s, u"disabled"_s}});
        break;
    case Control::enableThinkingFalse:
        body.insert(u"enable_thinking"_s, false);
        break;
    case Control::reasoningEffortNone:
        body.insert(u"reasoning_effort"_s, u"none"_s);
        break;
    case Control::reasoningDisabled:
        body.insert(u"reasoning"_s, QJsonObject{{u"enabled"_s, false}});
        break;
    case Control::unchanged:
        break;
    }
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

} // namespace

namespace detail {

PolishError noTextError()
{
    return PolishError::polisher(u"AI 服务未返回文字。"_s);
}

PolishError statusError(int status, const QString &serviceMessage)
{
    if (serviceMessage.isEmpty()) {
        return PolishError::polisher(u"AI 服务请求失败（HTTP %1）。"_s.arg(status));
    }
    return PolishError::polisher(u"AI 服务请求失败（HTTP %1）：%2"_s.arg(QString::number(status), serviceMessage));
}

QString serviceMessage(const QByteArray &body)
{
    // OpenAI's form, {"error": {"message": …}}, which compatible services copy; some put the text in "error" or
    // "message" directly.
    const QJsonObject answer = QJsonDocument::fromJson(body).object();
    const QJsonValue error = answer.value(u"error");
    QString message = error.isObject() ? error.toObject().value(u"message").toString() : error.toString();
    if (message.isEmpty()) {
        message = answer.value(u"message").toString();
    }
    message = message.simplified();
    if (message.size() > maximumServiceMessageLength) {
        message = message.first(maximumServiceMessageLength - 1).trimmed() + u'…';
    }
    return message;
}

PolishError answerTooLargeError()
{
    return PolishError::polisher(u"AI 服务返回的内容过大（超过 %1 MB）。"_s.arg(maximumAnswerBytes / (1024 * 1024)));
}

PolishResult decodeAnswer(const QByteArray &body)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return unexpected(
            PolishError{QString::fromLatin1(PolishError::jsonDomain), int(parseError.error), parseError.errorString()});
    }
    if (!document.isObject()) {
        return unexpected(responseError(PolishError::WrongType, u"the answer"_s));
    }
    const QJsonValue choices = document.object().value(u"choices");
    if (choices.isUndefined() || choices.isNull()) {
        return unexpected(responseError(PolishError::ValueMissing, u"“choices”"_s));
    }
    if (!choices.isArray()) {
        return unexpected(responseError(PolishError::WrongType, u"“choices”"_s));
    }
    // Every choice must be well-formed, even though only the first one is used.
    QString firstContent;
    const QJsonArray list = choices.toArray();
    for (qsizetype i = 0; i < list.size(); ++i) {
        const QString where = u"“choices[%1]”"_s.arg(i);
        if (!list[i].isObject()) {
            return unexpected(
                responseError(list[i].isNull() ? PolishError::ValueMissing : PolishError::WrongType, where));
        }
        const QJsonValue message = list[i].toObject().value(u"message");
        if (message.isUndefined() || message.isNull()) {
            return unexpected(responseError(PolishError::ValueMissing, where + u".message"_s));
        }
        if (!message.isObject()) {
            return unexpected(responseError(PolishError::WrongType, where + u".message"_s));
        }
        const QJsonValue content = message.toObject().value(u"content");
        if (!content.isUndefined() && !content.isNull() && !content.isString()) {
            return unexpected(responseError(PolishError::WrongType, where + u".message.content"_s));
        }
        if (i == 0) {
            firstContent = content.toString();
        }
    }
    const QString text = firstContent.trimmed();
    if (text.isEmpty()) {
        return unexpected(noTextError());
    }
    return text;
}

} // namespace detail

PolishReply *polish(const QString &text, const QString &baseURL, const QString &model, const QString &prompt,
                    const QString &key, QNetworkAccessManager &session, std::chrono::milliseconds timeout,
                    std::chrono::milliseconds deadline)
{
    const std::optional<QUrl> root = apiRoot(baseURL);
    if (!root) {
        return new PolishReply(PolishError::polisher(u"AI 地址必须是 HTTPS API 根地址。"_s), session);
    }
    const QString trimmedModel = model.trimmed();
    if (trimmedModel.isEmpty() || key.isEmpty()) {
        return new PolishReply(PolishError::polisher(u"请先填写模型并保存 API Key。"_s), session);
    }
    if (!fitsInAHeader(key)) {
        return new PolishReply(PolishError::polisher(u"API Key 含有换行或控制字符。"_s), session);
    }
    const QUrl endpoint = chatCompletionsUrl(*root);
    if (!endpoint.isValid()) {
        return new PolishReply(PolishError::polisher(u"AI 地址无效。"_s), session);
    }

    QNetworkRequest request(endpoint);
    request.setRawHeader("Authorization", "Bearer " + key.toUtf8());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    request.setTransferTimeout(int(timeout.count()));
    // A redirect elsewhere would carry the key to another host; it ends the request with its status instead.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);

    const Control control = PolishingReasoningPolicy::control(endpoint.host(), trimmedModel);
    return new PolishReply(session, request, requestBody(trimmedModel, prompt, text, control), maximumAnswerBytes,
                           deadline);
}

} // namespace TextPolisher

} // namespace Tessary
