#pragma once

#include <chrono>

#include <QString>

#include "core/PolishReply.h"

class QNetworkAccessManager;

namespace Tessary {

/**
 * The client of an OpenAI-compatible chat-completions service that corrects recognised text. It knows nothing of
 * preferences or the keyring: the caller passes the text, the service settings and the key. One POST per call,
 * without streaming, retries or caching; thinking is switched off where PolishingReasoningPolicy knows how.
 */
namespace TextPolisher {

/** How long a request may go without any progress before it fails. */
inline constexpr std::chrono::milliseconds defaultTimeout = std::chrono::seconds(60);

/**
 * How long a whole request may take, however steadily bytes arrive: a service that sends one byte a minute never
 * trips the idle time-out.
 */
inline constexpr std::chrono::milliseconds defaultDeadline = std::chrono::minutes(3);

/**
 * The largest answer read. A chat completion for a screenful of text is a few kilobytes; anything near this is not
 * an answer worth waiting for, and reading it all would only cost memory.
 */
inline constexpr qint64 maximumAnswerBytes = 8 * 1024 * 1024;

/**
 * Sends text with the prompt to the chat-completions endpoint under baseURL (an HTTPS API root such as
 * "https://api.deepseek.com/v1", or an HTTP one on this machine, 127.0.0.1, ::1 or localhost, as local model servers
 * offer; blanks around it are ignored) and returns the reply that reports the polished
 * text, trimmed and never empty. The key goes into the Authorization header exactly as given; a key with line
 * breaks or other control characters cannot be sent and is refused.
 *
 * Call on a thread with an event loop; session must live on that thread. Never blocks. Invalid arguments are
 * reported through the reply too, with the same guarantee that finished() follows the return of this call.
 * The time-out is the idle time-out of the request, the deadline bounds it as a whole; the error says which one
 * expired. They are parameters only so that tests need not wait minutes.
 */
PolishReply *polish(const QString &text, const QString &baseURL, const QString &model, const QString &prompt,
                    const QString &key, QNetworkAccessManager &session,
                    std::chrono::milliseconds timeout = defaultTimeout,
                    std::chrono::milliseconds deadline = defaultDeadline);

} // namespace TextPolisher

} // namespace Tessary
