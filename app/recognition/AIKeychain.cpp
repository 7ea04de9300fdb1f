#include "app/recognition/AIKeychain.h"

#include <cstring>
#include <memory>
#include <optional>

#include <libsecret/secret.h>

#include <QByteArray>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace Tessary {

KeychainError KeychainError::fromStatus(int status)
{
    return {status, u"The operation couldn’t be completed. (OSStatus error %1.)"_s.arg(status)};
}

namespace AIKeychain {

namespace {

constexpr auto serviceAttribute = "service";
constexpr auto serviceValue = "md.velmor.tessary.ai";
constexpr auto accountAttribute = "account";
constexpr auto accountValue = "openai-compatible-key";
constexpr auto itemLabel = "Tessary AI key";

constexpr auto schemaName = "org.freedesktop.Secret.Generic";

// Items are written with the generic schema and found by their attributes alone, whatever schema they carry: one
// stored with "secret-tool store" has none, and is the same key to the user.
const SecretSchema *schema()
{
    static const SecretSchema generic = {
        schemaName,
        SECRET_SCHEMA_DONT_MATCH_NAME,
        {
            {serviceAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING},
            {accountAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING},
            {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING},
        },
    };
    return &generic;
}

struct ErrorDeleter
{
    void operator()(GError *error) const { g_error_free(error); }
};
using ErrorPointer = std::unique_ptr<GError, ErrorDeleter>;

/**
 * Without a session bus libsecret fails with plain I/O errors that would otherwise look like internal ones.
 * A bus is only used when the session names one: with neither an address nor $XDG_RUNTIME_DIR/bus, GIO would
 * autolaunch a private bus on the X display, start a keyring daemon there and leave both running, its password
 * prompt waiting for an answer nobody will give.
 */
bool hasSessionBus()
{
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
        if (runtime.isEmpty() || !QFileInfo::exists(runtime + u"/bus"_s)) {
            return false;
        }
    }
    GError *error = nullptr;
    GDBusConnection *connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (connection == nullptr) {
        g_clear_error(&error);
        return false;
    }
    g_object_unref(connection);
    return true;
}

KeychainError failure(const GError *error)
{
    if (error->domain == G_DBUS_ERROR &&
        (error->code == G_DBUS_ERROR_SERVICE_UNKNOWN || error->code == G_DBUS_ERROR_NAME_HAS_NO_OWNER)) {
        return KeychainError::fromStatus(KeychainError::NotAvailable);
    }
    if ((error->domain == SECRET_ERROR && error->code == SECRET_ERROR_IS_LOCKED) ||
        (error->domain == G_IO_ERROR && error->code == G_IO_ERROR_CANCELLED)) {
        return KeychainError::fromStatus(KeychainError::UserCanceled);
    }
    if (error->domain == SECRET_ERROR && error->code == SECRET_ERROR_NO_SUCH_OBJECT) {
        return KeychainError::fromStatus(KeychainError::NoSuchKeychain);
    }
    if (!hasSessionBus()) {
        return KeychainError::fromStatus(KeychainError::NotAvailable);
    }
    return KeychainError::fromStatus(KeychainError::InternalComponent);
}

/**
 * Storing replaces only an item of our own schema; one made by another client (secret-tool) under the same
 * attributes would survive beside it and might be read instead. There is one key, so those copies go.
 */
std::optional<KeychainError> removeForeignCopies()
{
    GHashTable *attributes =
        secret_attributes_build(schema(), serviceAttribute, serviceValue, accountAttribute, accountValue, nullptr);
    GError *rawError = nullptr;
    GList *items = secret_service_search_sync(nullptr, schema(), attributes, SECRET_SEARCH_ALL, nullptr, &rawError);
    g_hash_table_unref(attributes);
    std::optional<KeychainError> result;
    if (rawError != nullptr) {
        result = failure(rawError);
        g_error_free(rawError);
    }
    for (GList *entry = items; entry != nullptr && !result; entry = entry->next) {
        auto *item = static_cast<SecretItem *>(entry->data);
        GHashTable *itemAttributes = secret_item_get_attributes(item);
        const auto *itemSchema = static_cast<const char *>(g_hash_table_lookup(itemAttributes, "xdg:schema"));
        const bool ours = itemSchema != nullptr && std::strcmp(itemSchema, schemaName) == 0;
        g_hash_table_unref(itemAttributes);
        if (!ours && !secret_item_delete_sync(item, nullptr, &rawError)) {
            result =
                rawError != nullptr ? failure(rawError) : KeychainError::fromStatus(KeychainError::InternalComponent);
            g_clear_error(&rawError);
        }
    }
    g_list_free_full(items, g_object_unref);
    return result;
}

} // namespace

Result<QString, KeychainError> read()
{
    if (!hasSessionBus()) {
        return unexpected(KeychainError::fromStatus(KeychainError::NotAvailable));
    }
    GError *rawError = nullptr;
    SecretValue *value = secret_password_lookup_binary_sync(schema(), nullptr, &rawError, serviceAttribute,
                                                            serviceValue, accountAttribute, accountValue, nullptr);
    const ErrorPointer error(rawError);
    if (error) {
        return unexpected(failure(error.get()));
    }
    if (value == nullptr) {
        return unexpected(KeychainError::fromStatus(KeychainError::ItemNotFound));
    }
    gsize length = 0;
    const gchar *bytes = secret_value_get(value, &length);
    const bool isText = g_utf8_validate(bytes, gssize(length), nullptr);
    const QString key = isText ? QString::fromUtf8(bytes, qsizetype(length)) : QString();
    secret_value_unref(value);
    if (!isText) {
        return unexpected(KeychainError::fromStatus(KeychainError::NotText));
    }
    return key;
}

Result<void, KeychainError> write(const QString &key)
{
    if (!hasSessionBus()) {
        return unexpected(KeychainError::fromStatus(KeychainError::NotAvailable));
    }
    QByteArray bytes = key.toUtf8();
    // Stored with its length, so a key is kept exactly as given, whatever it contains.
    SecretValue *value = secret_value_new(bytes.constData(), bytes.size(), "text/plain");
    std::memset(bytes.data(), 0, size_t(bytes.size()));
    GError *rawError = nullptr;
    const bool stored =
        secret_password_store_binary_sync(schema(), SECRET_COLLECTION_DEFAULT, itemLabel, value, nullptr, &rawError,
                                          serviceAttribute, serviceValue, accountAttribute, accountValue, nullptr);
    secret_value_unref(value);
    const ErrorPointer error(rawError);
    if (!stored || error) {
        return unexpected(error ? failure(error.get()) : KeychainError::fromStatus(KeychainError::InternalComponent));
    }
    if (const std::optional<KeychainError> failed = removeForeignCopies()) {
        return unexpected(*failed);
    }
    return {};
}

Result<void, KeychainError> remove()
{
    if (!hasSessionBus()) {
        return unexpected(KeychainError::fromStatus(KeychainError::NotAvailable));
    }
    GError *rawError = nullptr;
    // FALSE without an error means there was nothing to delete, which is what the caller wanted.
    secret_password_clear_sync(schema(), nullptr, &rawError, serviceAttribute, serviceValue, accountAttribute,
                               accountValue, nullptr);
    const ErrorPointer error(rawError);
    if (error) {
        return unexpected(failure(error.get()));
    }
    return {};
}

} // namespace AIKeychain

} // namespace Tessary
