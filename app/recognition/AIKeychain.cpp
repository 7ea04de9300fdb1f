#include "app/recognition/AIKeychain.h"

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <libintl.h>
#include <libsecret/secret.h>

#include <QByteArray>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

std::atomic<std::chrono::milliseconds::rep> timeoutMilliseconds{AIKeychain::defaultReplyTimeout.count()};

} // namespace

KeychainError KeychainError::fromStatus(int status)
{
    switch (status) {
    case NotText:
        return {status, u"密钥环中保存的 API Key 不是文本，请重新保存。"_s};
    case ItemNotFound:
        return {status, u"密钥环中没有保存 API Key。"_s};
    case NotAvailable:
        return {status, u"Secret Service 未运行。请启动桌面的密钥环服务（如 GNOME 密钥环或 KWallet）后重试。"_s};
    case NoSuchKeychain:
        return {status, u"密钥环没有默认集合。请在密钥环管理工具（如“密码和密钥”）中创建一个后重试。"_s};
    case UserCanceled:
        return {status, u"密钥环已锁定。请在系统提示时解锁密钥环后重试。"_s};
    case InteractionNotAllowed:
        return {status,
                u"密钥环在 %1 秒内没有响应，可能在等待无法显示的解锁提示。请在桌面会话中解锁密钥环后重试。"_s.arg(
                    QString::number(double(AIKeychain::replyTimeout().count()) / 1000.0))};
    default:
        return {status, u"密钥环服务报告了错误（代码 %1）。"_s.arg(status)};
    }
}

namespace AIKeychain {

std::chrono::milliseconds replyTimeout()
{
    return std::chrono::milliseconds(timeoutMilliseconds.load());
}

void setReplyTimeout(std::chrono::milliseconds timeout)
{
    timeoutMilliseconds.store(timeout.count());
}

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
    if ((error->domain == G_IO_ERROR && error->code == G_IO_ERROR_TIMED_OUT) ||
        (error->domain == G_DBUS_ERROR &&
         (error->code == G_DBUS_ERROR_NO_REPLY || error->code == G_DBUS_ERROR_TIMEOUT))) {
        return KeychainError::fromStatus(KeychainError::InteractionNotAllowed);
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
 * Storing replaces an item the keyring judges the same, but one made by another client ("secret-tool store" sets no
 * schema) survives beside it and might be read instead. There is one key, so every other item under our attributes
 * goes. The item just stored is told apart by its object path alone: gnome-keyring reports the generic schema for an
 * item stored without one as soon as it reloads the keyring file, which it does whenever that file's time stamp has
 * moved on by a second.
 */
std::optional<KeychainError> removeOtherCopies(const char *keptPath, GCancellable *cancellable)
{
    GHashTable *attributes =
        secret_attributes_build(schema(), serviceAttribute, serviceValue, accountAttribute, accountValue, nullptr);
    GError *rawError = nullptr;
    GList *items = secret_service_search_sync(nullptr, schema(), attributes, SECRET_SEARCH_ALL, cancellable, &rawError);
    g_hash_table_unref(attributes);
    std::optional<KeychainError> result;
    if (rawError != nullptr) {
        result = failure(rawError);
        g_error_free(rawError);
    }
    for (GList *entry = items; entry != nullptr && !result; entry = entry->next) {
        auto *item = static_cast<SecretItem *>(entry->data);
        const bool kept = std::strcmp(g_dbus_proxy_get_object_path(G_DBUS_PROXY(item)), keptPath) == 0;
        if (!kept && !secret_item_delete_sync(item, cancellable, &rawError)) {
            result =
                rawError != nullptr ? failure(rawError) : KeychainError::fromStatus(KeychainError::InternalComponent);
            g_clear_error(&rawError);
        }
    }
    g_list_free_full(items, g_object_unref);
    return result;
}

/**
 * Runs a keyring call on a thread of its own and waits for it at most replyTimeout(). A call without an answer by
 * then is cancelled and left to end by itself; it owns everything it uses, so it may outlive the caller.
 */
template <typename T>
Result<T, KeychainError> answeredInTime(std::function<Result<T, KeychainError>(GCancellable *)> call)
{
    struct Outcome
    {
        std::mutex mutex;
        std::condition_variable done;
        std::optional<Result<T, KeychainError>> result;
    };
    auto outcome = std::make_shared<Outcome>();
    GCancellable *cancellable = g_cancellable_new();
    auto *workerCancellable = static_cast<GCancellable *>(g_object_ref(cancellable));
    std::thread([outcome, call = std::move(call), workerCancellable] {
        Result<T, KeychainError> result = call(workerCancellable);
        g_object_unref(workerCancellable);
        {
            const std::lock_guard lock(outcome->mutex);
            outcome->result.emplace(std::move(result));
        }
        outcome->done.notify_all();
    }).detach();

    std::unique_lock lock(outcome->mutex);
    const bool answered = outcome->done.wait_for(lock, replyTimeout(), [&] { return outcome->result.has_value(); });
    if (!answered) {
        g_cancellable_cancel(cancellable);
        g_object_unref(cancellable);
        return unexpected(KeychainError::fromStatus(KeychainError::InteractionNotAllowed));
    }
    g_object_unref(cancellable);
    return std::move(*outcome->result);
}

Result<QString, KeychainError> readNow(GCancellable *cancellable)
{
    if (!hasSessionBus()) {
        return unexpected(KeychainError::fromStatus(KeychainError::NotAvailable));
    }
    GError *rawError = nullptr;
    SecretValue *value = secret_password_lookup_binary_sync(schema(), cancellable, &rawError, serviceAttribute,
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

Result<void, KeychainError> writeNow(QByteArray bytes, GCancellable *cancellable)
{
    if (!hasSessionBus()) {
        std::memset(bytes.data(), 0, size_t(bytes.size()));
        return unexpected(KeychainError::fromStatus(KeychainError::NotAvailable));
    }
    GError *rawError = nullptr;
    SecretService *service = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, cancellable, &rawError);
    SecretCollection *collection =
        service == nullptr ? nullptr
                           : secret_collection_for_alias_sync(service, SECRET_COLLECTION_DEFAULT,
                                                              SECRET_COLLECTION_NONE, cancellable, &rawError);
    if (collection == nullptr && rawError == nullptr) {
        // As libsecret's own storing does: gnome-keyring asks the user for the new keyring's password.
        collection =
            secret_collection_create_sync(service, dgettext("libsecret", "Default keyring"), SECRET_COLLECTION_DEFAULT,
                                          SECRET_COLLECTION_CREATE_NONE, cancellable, &rawError);
    }
    if (service != nullptr) {
        g_object_unref(service);
    }
    if (collection == nullptr) {
        std::memset(bytes.data(), 0, size_t(bytes.size()));
        const ErrorPointer error(rawError);
        return unexpected(error ? failure(error.get()) : KeychainError::fromStatus(KeychainError::NoSuchKeychain));
    }
    // Stored with its length, so a key is kept exactly as given, whatever it contains.
    SecretValue *value = secret_value_new(bytes.constData(), bytes.size(), "text/plain");
    std::memset(bytes.data(), 0, size_t(bytes.size()));
    GHashTable *attributes =
        secret_attributes_build(schema(), serviceAttribute, serviceValue, accountAttribute, accountValue, nullptr);
    SecretItem *item = secret_item_create_sync(collection, schema(), attributes, itemLabel, value,
                                               SECRET_ITEM_CREATE_REPLACE, cancellable, &rawError);
    g_hash_table_unref(attributes);
    secret_value_unref(value);
    g_object_unref(collection);
    const ErrorPointer error(rawError);
    if (item == nullptr) {
        return unexpected(error ? failure(error.get()) : KeychainError::fromStatus(KeychainError::InternalComponent));
    }
    const std::optional<KeychainError> failed =
        removeOtherCopies(g_dbus_proxy_get_object_path(G_DBUS_PROXY(item)), cancellable);
    g_object_unref(item);
    if (failed) {
        return unexpected(*failed);
    }
    return {};
}

Result<void, KeychainError> removeNow(GCancellable *cancellable)
{
    if (!hasSessionBus()) {
        return unexpected(KeychainError::fromStatus(KeychainError::NotAvailable));
    }
    GError *rawError = nullptr;
    // FALSE without an error means there was nothing to delete, which is what the caller wanted.
    secret_password_clear_sync(schema(), cancellable, &rawError, serviceAttribute, serviceValue, accountAttribute,
                               accountValue, nullptr);
    const ErrorPointer error(rawError);
    if (error) {
        return unexpected(failure(error.get()));
    }
    return {};
}

} // namespace

Result<QString, KeychainError> read()
{
    return answeredInTime<QString>(&readNow);
}

Result<void, KeychainError> write(const QString &key)
{
    return answeredInTime<void>(
        [bytes = key.toUtf8()](GCancellable *cancellable) mutable { return writeNow(std::move(bytes), cancellable); });
}

Result<void, KeychainError> remove()
{
    return answeredInTime<void>(&removeNow);
}

} // namespace AIKeychain

} // namespace Tessary
