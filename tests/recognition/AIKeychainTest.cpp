#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>

#include "app/recognition/AIKeychain.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::ProcessResult;
using Tessary::Test::runProcess;

namespace {

const QStringList itemAttributes{u"service"_s, u"md.velmor.tessary.ai"_s, u"account"_s, u"openai-compatible-key"_s};

/** What secret-tool, a client that knows nothing of ours, finds in the keyring. */
ProcessResult secretTool(const QString &command, const QStringList &extra = {}, const QByteArray &input = {})
{
    return runProcess(u"secret-tool"_s, QStringList{command} + extra + itemAttributes,
                      QProcessEnvironment::systemEnvironment(), input, 20000);
}

// Runs inside the keyring that tests/support/with-keyring starts, on the display of tests/support/with-xvfb.
class AIKeychainTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsSet("TESSARY_KEYCHAIN_PROBE")) {
            GTEST_SKIP() << "the probe process tests only the keyring's absence";
        }
        ASSERT_TRUE(AIKeychain::remove());
    }
};

TEST_F(AIKeychainTest, WriteStoresOneItemExactlyAsGivenThatOtherClientsFind)
{
    ASSERT_TRUE(AIKeychain::write(u"sk-first"_s));
    // Trimming is the callers' business; the keyring keeps every character.
    const QString second = u"  sk-ünï €\t"_s;
    ASSERT_TRUE(AIKeychain::write(second));

    const auto key = AIKeychain::read();
    ASSERT_TRUE(key) << key.error().description.toStdString();
    EXPECT_EQ(*key, second);
    EXPECT_EQ(secretTool(u"lookup"_s).standardOutput, second.toUtf8());

    // Replacing the key leaves one item, with our label.
    const ProcessResult search = secretTool(u"search"_s, {u"--all"_s});
    const QString listing = QString::fromUtf8(search.standardOutput + search.standardError);
    EXPECT_EQ(listing.count(u"label = "_s), 1) << listing.toStdString();
    EXPECT_TRUE(listing.contains(u"label = Tessary AI key"_s)) << listing.toStdString();
}

TEST_F(AIKeychainTest, KeyStoredBySecretToolIsTheSameKey)
{
    // secret-tool stores no schema name; the item is still ours to read, replace and delete.
    ASSERT_EQ(secretTool(u"store"_s, {u"--label=typed in a terminal"_s}, "sk-from-terminal").exitCode, 0);
    EXPECT_EQ(AIKeychain::read().valueOr(QString()), u"sk-from-terminal"_s);
    // A copy that names our schema, in a collection where storing replaces nothing: it goes too.
    const QStringList copy{u"--label=copy"_s, u"--collection=/org/freedesktop/secrets/collection/session"_s,
                           u"xdg:schema"_s, u"org.freedesktop.Secret.Generic"_s};
    ASSERT_EQ(secretTool(u"store"_s, copy, "sk-copy").exitCode, 0);

    ASSERT_TRUE(AIKeychain::write(u"sk-from-tessary"_s));
    const ProcessResult search = secretTool(u"search"_s, {u"--all"_s});
    EXPECT_EQ(QString::fromUtf8(search.standardOutput).count(u"label = "_s), 1) << search.standardOutput.toStdString();
    EXPECT_EQ(secretTool(u"lookup"_s).standardOutput, "sk-from-tessary");
    EXPECT_EQ(AIKeychain::read().valueOr(QString()), u"sk-from-tessary"_s);

    ASSERT_EQ(secretTool(u"store"_s, {u"--label=again"_s}, "sk-again").exitCode, 0);
    EXPECT_TRUE(AIKeychain::remove());
    EXPECT_NE(secretTool(u"lookup"_s).exitCode, 0);
}

// A missing item is item-not-found (and removing it succeeds); a secret that is not text is status 0.
TEST_F(AIKeychainTest, MissingOrBinarySecretFailsWithItsStatus)
{
    const auto missing = AIKeychain::read();
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().status, -25300);
    EXPECT_TRUE(AIKeychain::remove());

    ASSERT_EQ(secretTool(u"store"_s, {u"--label=binary"_s}, QByteArray("\xff\xfe\x00\x01", 4)).exitCode, 0);
    const auto binary = AIKeychain::read();
    ASSERT_FALSE(binary);
    EXPECT_EQ(binary.error().status, 0);
}

TEST_F(AIKeychainTest, WithoutSecretServiceEveryCallIsNotAvailable)
{
    const QString self = QCoreApplication::applicationFilePath();
    const QStringList probe{u"--gtest_filter=AIKeychainProbe.*"_s};
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TESSARY_KEYCHAIN_PROBE"_s, u"1"_s);

    const auto probePasses = [&](const QString &program, const QStringList &arguments,
                                 const QProcessEnvironment &where) {
        const ProcessResult result = runProcess(program, arguments + probe, where, {}, 60000);
        EXPECT_EQ(result.exitCode, 0) << result.standardOutput.toStdString();
        EXPECT_TRUE(result.standardOutput.contains("[  PASSED  ] 1 test")) << result.standardOutput.toStdString();
    };

    // A session bus on which nothing provides the Secret Service.
    const QString servicesless = Tessary::Test::sourcePath(u"tests/support/session-bus-without-services.conf"_s);
    probePasses(u"dbus-run-session"_s, {u"--config-file="_s + servicesless, u"--"_s, self}, environment);

    // A bus address where no bus listens.
    QProcessEnvironment deadBus = environment;
    deadBus.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/tessary-bus"_s);
    probePasses(self, {}, deadBus);

    // No bus named at all, but an X display: no private bus may be autolaunched on it (it would start a keyring
    // daemon whose password prompt waits forever). dbus-launch would leave its address under $HOME/.dbus.
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY")) << "runs under with-xvfb";
    const Tessary::Test::PrivateHome home;
    QProcessEnvironment unnamed = home.environment();
    unnamed.insert(u"TESSARY_KEYCHAIN_PROBE"_s, u"1"_s);
    unnamed.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    probePasses(self, {}, unnamed);
    EXPECT_FALSE(QFileInfo::exists(home.path(u"home/.dbus"_s)));
}

// Runs only as the child process of the test above.
TEST(AIKeychainProbe, EveryCallIsNotAvailable)
{
    if (!qEnvironmentVariableIsSet("TESSARY_KEYCHAIN_PROBE")) {
        GTEST_SKIP() << "runs as a child of WithoutSecretServiceEveryCallIsNotAvailable";
    }
    const auto read = AIKeychain::read();
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().status, -25291);
    const auto written = AIKeychain::write(u"sk-nowhere"_s);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().status, -25291);
    const auto removed = AIKeychain::remove();
    ASSERT_FALSE(removed);
    EXPECT_EQ(removed.error().status, -25291);
}

} // namespace
