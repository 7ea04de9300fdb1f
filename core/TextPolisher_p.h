#pragma once

#include <QByteArray>

#include "core/PolishError.h"

namespace Tessary::TextPolisher::detail {

/** The polished text of a successful chat-completions answer, or why there is none. */
PolishResult decodeAnswer(const QByteArray &body);

/** An error of the client itself ("Tessary.AI", code 1). */
PolishError noTextError();
PolishError statusError(int status);
PolishError answerTooLargeError();

} // namespace Tessary::TextPolisher::detail
