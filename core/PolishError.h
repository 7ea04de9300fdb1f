#pragma once

#include <QString>

#include "core/Result.h"

namespace Tessary {

/**
 * Why a polishing request failed. The description is what the user sees inside the caller's own message.
 *
 * - domain "Tessary.AI", code 1: the client's own checks, with a Simplified Chinese description;
 * - domain "QNetworkReply", code QNetworkReply::NetworkError: the transport (connection, TLS, time-out), with Qt's
 *   own description;
 * - domain "QJsonParseError", code QJsonParseError::ParseError: the answer is not JSON, with Qt's description;
 * - domain "Tessary.AI.Response": the answer is JSON but not a chat completion (code 1: a required value is
 *   missing, code 2: a value has the wrong type).
 */
struct PolishError
{
    static constexpr auto polisherDomain = "Tessary.AI";
    static constexpr auto networkDomain = "QNetworkReply";
    static constexpr auto jsonDomain = "QJsonParseError";
    static constexpr auto responseDomain = "Tessary.AI.Response";

    enum ResponseCode { ValueMissing = 1, WrongType = 2 };

    /** An error of the client itself: domain "Tessary.AI", code 1. */
    static PolishError polisher(const QString &description);

    QString domain;
    int code = 0;
    QString description;
};

using PolishResult = Result<QString, PolishError>;

} // namespace Tessary
