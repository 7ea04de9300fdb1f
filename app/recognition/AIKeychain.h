#pragma once

#include <chrono>

#include <QString>

#include "core/Result.h"

namespace Tessary {

/**
 * A failure of the user's keyring: an OS status code, as the rest of the application expects keychain failures, and
 * a description that says in words what is wrong and what to do. The description is a message key (Simplified
 * Chinese); the shell shows it in the interface language.
 */
struct KeychainError
{
    /** Status codes; the Secret Service conditions map onto them as documented at each value. */
    enum Status : int {
        /** The secret is there but is not UTF-8 text. */
        NotText = 0,
        /** No item is stored (only read() reports it). */
        ItemNotFound = -25300,
        /** No Secret Service on the session bus, or no session bus at all. */
        NotAvailable = -25291,
        /** The default collection does not exist. */
        NoSuchKeychain = -25294,
        /** The keyring is locked and unlocking was refused or dismissed. */
        UserCanceled = -128,
        /**
         * The keyring did not answer in time, typically because it waits for an unlock prompt that cannot be shown
         * or that nobody answers.
         */
        InteractionNotAllowed = -25308,
        /** Anything else the service or D-Bus reported. */
        InternalComponent = -26276,
    };

    static constexpr auto domain = "NSOSStatusErrorDomain";

    /** The error for a status, with its description. */
    static KeychainError fromStatus(int status);

    int status;
    QString description;
};

/**
 * The AI service's API key in the user's keyring (Secret Service, default collection): one item with the attributes
 * service "md.velmor.tessary.ai" and account "openai-compatible-key", readable with secret-tool.
 *
 * The calls are synchronous and keep no state; any thread may call them. They may wait for the keyring's unlock
 * prompt, but not for ever: a call that has no answer after replyTimeout() gives up with
 * KeychainError::InteractionNotAllowed (the keyring's own work is cancelled and ends in the background). The key is
 * never logged.
 */
namespace AIKeychain {

inline constexpr std::chrono::milliseconds defaultReplyTimeout = std::chrono::seconds(30);

/** How long a call waits for the keyring. */
std::chrono::milliseconds replyTimeout();
/** Changes how long calls wait (tests use a short time); thread-safe. */
void setReplyTimeout(std::chrono::milliseconds timeout);

/** The stored key; KeychainError::ItemNotFound (-25300) when no item exists. */
Result<QString, KeychainError> read();

/** Stores the key exactly as given, creating the item or replacing its secret. */
Result<void, KeychainError> write(const QString &key);

/** Deletes the item; finding no item counts as success. */
Result<void, KeychainError> remove();

} // namespace AIKeychain

} // namespace Tessary
