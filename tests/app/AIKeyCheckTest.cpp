#include <gtest/gtest.h>

#include <QSettings>
#include <QTemporaryDir>

#include "app/TessaryPreferences.h"
#include "app/recognition/AIKeychain.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::buildPath;
using Tessary::Test::ProcessResult;
using Tessary::Test::runProcess;

namespace {

struct RefusedKey
{
    const char *name;
    QByteArray input;
    const char *language;
    const char *message;
};

class AIKeyCheckTest : public ::testing::TestWithParam<RefusedKey>
{
};

// Runs inside the keyring that tests/support/with-keyring starts. A key that cannot work is refused before anything
// is stored, in the user's language, and the key saved before stays.
TEST_P(AIKeyCheckTest, RefusesAKeyThatCannotWorkAndKeepsTheSavedOne)
{
    const RefusedKey &row = GetParam();
    ASSERT_TRUE(AIKeychain::write(u"sk-kept"_s));
    QTemporaryDir config;
    QSettings(config.filePath(u"md.velmor.tessary/defaults.ini"_s), QSettings::IniFormat)
        .setValue(u"language"_s, QString::fromLatin1(row.language));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CONFIG_HOME"_s, config.path());

    const ProcessResult result =
        runProcess(buildPath(u"bin/tessary"_s), {u"--set-ai-key-stdin"_s}, environment, row.input, 60000);

    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, QByteArray(row.message) + '\n');
    const auto stored = AIKeychain::read();
    ASSERT_TRUE(stored);
    EXPECT_EQ(*stored, u"sk-kept"_s);
}

const char *const notAscii = "The API key may contain only printable ASCII characters.";

INSTANTIATE_TEST_SUITE_P(
    Keys, AIKeyCheckTest,
    ::testing::Values(RefusedKey{"nul", QByteArray("sk-\0x\n", 6), "en", notAscii},
                      RefusedKey{"invalidUtf8", "sk-\xff\xfe-abc\n", "en", notAscii},
                      RefusedKey{"nonAscii", "sk-\xc3\xa9t\xc3\xa9\n", "en", notAscii},
                      RefusedKey{"delete", "sk-a\x7f\n", "zh-Hant", "API Key 只能包含可列印的 ASCII 字元。"},
                      RefusedKey{"innerBlank", "  sk-a b  \n", "zh-Hans", "API Key 中间不能有空格。"},
                      RefusedKey{"innerTab", "sk-a\tb\n", "en", "The API key must not contain spaces or tabs."},
                      RefusedKey{"sixteenMegabytes", QByteArray(16 << 20, 'k') + '\n', "en",
                                 "The API key is too long (at most 4096 characters)."}),
    [](const auto &info) { return std::string(info.param.name); });

// The settings window saves through the preferences, which refuse such keys the same way.
TEST(AIKeyCheckSettingsTest, TheSettingsKeepTheSavedKeyAndSayWhy)
{
    ASSERT_TRUE(AIKeychain::write(u"sk-kept"_s));
    QTemporaryDir config;
    UserDefaults defaults(config.filePath(u"defaults.ini"_s));
    defaults.setString(u"language"_s, u"en"_s);
    TessaryPreferences preferences(defaults);

    preferences.saveKey(u" sk-a\u00a0b "_s);

    EXPECT_EQ(preferences.keyError(), QString::fromLatin1(notAscii));
    EXPECT_EQ(AIKeychain::read().valueOr(QString()), u"sk-kept"_s);
}

} // namespace
