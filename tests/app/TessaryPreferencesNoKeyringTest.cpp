#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "app/TessaryPreferences.h"
#include "app/recognition/AIKeychain.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

// A desktop without a Secret Service: the session bus address leads nowhere, so the keyring cannot be reached.
class TessaryPreferencesNoKeyringTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/tessary-test-bus"); }

    QTemporaryDir m_dir;
};

TEST_F(TessaryPreferencesNoKeyringTest, KeyringFailuresAreReportedInTheUsersLanguageAndChangeNothingElse)
{
    UserDefaults defaults(m_dir.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, u"en"_s);
    TessaryPreferences preferences(defaults);
    EXPECT_FALSE(preferences.keySaved()) << "an unreadable keyring counts as no key, silently";
    EXPECT_TRUE(preferences.keyError().isEmpty());

    bool calledBack = false;
    preferences.onConfigurationChange = [&] { calledBack = true; };
    preferences.saveKey(u" sk-test "_s);
    EXPECT_FALSE(preferences.keySaved());
    EXPECT_TRUE(preferences.keyError().startsWith(u"Could not save the key: The Secret Service is not running."_s))
        << preferences.keyError().toStdString();

    preferences.setLanguage(u"zh-Hans"_s);
    calledBack = false;
    preferences.saveKey(QString());
    EXPECT_EQ(preferences.keyError(),
              u"保存密钥失败："_s + KeychainError::fromStatus(KeychainError::NotAvailable).description);
    EXPECT_FALSE(calledBack);
    QFile file(defaults.path());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_FALSE(file.readAll().contains("sk-test")) << "a key that could not be stored is not kept anywhere else";
}

} // namespace
