// A keyring that takes a call and never answers it (as gnome-keyring does while its unlock prompt waits on a screen
// nobody looks at): every call gives up after the reply time-out and says so in words.

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QElapsedTimer>

#include "app/recognition/AIKeychain.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;

namespace {

/** Owns the Secret Service's name and swallows every call. */
class SilentSecretService final : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &, const QDBusConnection &) override { return true; }
};

// Runs on the private bus of tests/support/with-session-bus, where nothing else owns the name.
TEST(AIKeychainTimeoutTest, EveryCallGivesUpAfterTheReplyTimeout)
{
    SilentSecretService service;
    QDBusConnection bus = QDBusConnection::sessionBus();
    ASSERT_TRUE(bus.registerVirtualObject(u"/org/freedesktop/secrets"_s, &service, QDBusConnection::SubPath));
    ASSERT_TRUE(bus.registerService(u"org.freedesktop.secrets"_s));
    AIKeychain::setReplyTimeout(400ms);

    const auto errorOf = [](const auto &result) {
        return result ? std::nullopt : std::optional<KeychainError>(result.error());
    };
    const std::pair<const char *, std::function<std::optional<KeychainError>()>> calls[] = {
        {"read", [&] { return errorOf(AIKeychain::read()); }},
        {"write", [&] { return errorOf(AIKeychain::write(u"sk-x"_s)); }},
        {"remove", [&] { return errorOf(AIKeychain::remove()); }},
    };
    for (const auto &[name, call] : calls) {
        SCOPED_TRACE(name);
        QElapsedTimer timer;
        timer.start();
        const std::optional<KeychainError> error = call();
        ASSERT_TRUE(error);
        EXPECT_EQ(error->status, KeychainError::InteractionNotAllowed);
        EXPECT_TRUE(error->description.contains(u"0.4 秒"_s)) << error->description.toStdString();
        // Not the 25 s of a D-Bus call's own time-out, nor for ever.
        EXPECT_LT(timer.elapsed(), 10000);
    }
    AIKeychain::setReplyTimeout(AIKeychain::defaultReplyTimeout);
}

} // namespace
