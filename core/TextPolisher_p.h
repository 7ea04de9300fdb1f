#pragma once

#include <QByteArray>
#include <QString>

#include "core/PolishError.h"

namespace Tessary::TextPolisher::detail {

/** The polished text of a successful chat-completions answer, or why there is none. */
PolishResult decodeAnswer(const QByteArray &body);

/** An error of the client itself ("Tessary.AI", code 1). */
PolishError noTextError();
/** The failure for an HTTP status; with the service's own explanation when it gave one. */
PolishError statusError(int status, const QString &serviceMessage = {});

/** The longest explanation of a service kept in a message; longer ones are shortened. */
inline constexpr qsizetype maximumServiceMessageLength = 200;
/** The most of an error answer that is read for its explanation. */
inline constexpr qint64 maximumErrorAnswerBytes = 64 * 1024;

/** The explanation in an error answer (OpenAI style "error.message"), simplified and shortened; empty if none. */
QString serviceMessage(const QByteArray &body);
PolishError answerTooLargeError();

} // namespace Tessary::TextPolisher::detail
