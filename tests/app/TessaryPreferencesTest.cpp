// The preferences as stored, loaded, migrated and announced; the API key in the keyring, never on disk.

#include <gtest/gtest.h>

#include <functional>

#include <QApplication>
#include <QCoreApplication>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include "app/ColorModePalettes.h"
#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "app/recognition/TessaryDefaultPrompt.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

// Built-in prompts, in the order Simplified Chinese, Traditional Chinese, English.
QString current(int index)
{
    return TessaryDefaultPrompt::currentPrompts().at(index);
}

QString legacy(int index)
{
    return TessaryDefaultPrompt::legacyPrompts().at(index);
}

class TessaryPreferencesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!qEnvironmentVariableIsSet("TESSARY_TEST_NO_KEYRING")) {
            ASSERT_TRUE(AIKeychain::remove().hasValue()) << "runs under with-keyring";
        }
        m_defaults = std::make_unique<UserDefaults>(path());
    }

    void TearDown() override { (void)AIKeychain::remove(); }

    QString path() const { return m_dir.filePath(u"md.velmor.tessary/defaults.ini"_s); }

    /** A second view of the file, as another process would read it. */
    std::unique_ptr<UserDefaults> reread() const { return std::make_unique<UserDefaults>(path()); }

    /** Records the callbacks in the order they run. */
    void listen(TessaryPreferences &preferences)
    {
        preferences.onConfigurationChange = [this] { m_calls.append(u"configuration"_s); };
        preferences.onLanguageChange = [this] { m_calls.append(u"language"_s); };
        preferences.onVisibilityChange = [this] { m_calls.append(u"visibility"_s); };
        preferences.onShortcutChange = [this] { m_calls.append(u"shortcut"_s); };
    }

    QTemporaryDir m_dir;
    std::unique_ptr<UserDefaults> m_defaults;
    QStringList m_calls;
};

TEST_F(TessaryPreferencesTest, FreshInstallationUsesTheDefaultModelAndWritesNothing)
{
    TessaryPreferences preferences(*m_defaults);
    EXPECT_EQ(preferences.aiModel(), u"deepseek-v4-flash"_s);
    EXPECT_EQ(tessaryStoredLanguage(*m_defaults), u"system"_s);
    EXPECT_FALSE(preferences.keySaved());
    preferences.applyColorMode();
    EXPECT_FALSE(ColorModePalettes::isDarkApplied()) << "the desktop's mode, and this session has no portal: light";
    listen(preferences);
    preferences.setShortcutError(u"快捷键已被占用，请重新录制。"_s);
    EXPECT_TRUE(m_calls.isEmpty());
    EXPECT_FALSE(QFile::exists(path()));
}

// A built-in prompt of an earlier version is replaced by today's in the interface language, and written back; any
// other prompt is kept as it is.
TEST_F(TessaryPreferencesTest, LegacyBuiltInPromptsAreMigrated)
{
    const std::tuple<std::optional<QString>, std::optional<QString>, QString, bool> rows[] = {
        {u"en"_s, std::nullopt, current(2), false},
        {u"en"_s, legacy(2), current(2), true},
        {std::nullopt, legacy(0), TessaryDefaultPrompt::forLanguage(u"system"_s), true},
        {u"en"_s, current(0), current(0), false},
        {u"en"_s, legacy(2) + u' ', legacy(2) + u' ', false},
    };
    for (const auto &[language, stored, expected, writtenBack] : rows) {
        SCOPED_TRACE(stored.value_or(u"(none)"_s).left(20).toStdString());
        m_defaults->remove(u"language"_s);
        m_defaults->remove(u"polishPrompt"_s);
        if (language) {
            m_defaults->setString(u"language"_s, *language);
        }
        if (stored) {
            m_defaults->setString(u"polishPrompt"_s, *stored);
        }
        EXPECT_EQ(TessaryPreferences(*m_defaults).polishPrompt(), expected);
        EXPECT_EQ(reread()->string(u"polishPrompt"_s), writtenBack ? std::optional(expected) : stored);
    }
}

TEST_F(TessaryPreferencesTest, WrongTypesAndGarbageFallBackWithoutLosingTheStoredValues)
{
    QDir().mkpath(m_dir.filePath(u"md.velmor.tessary"_s));
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[General]\n"
               "language=@ByteArray(en)\n"
               "hideMenuBarIcon=yes\n"
               "shortcut=@ByteArray(not json)\n"
               "colorMode=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x6QPoint\\0\\0\\0\\0\\x1\\0\\0\\0\\x2)\n"
               "aiModel=\n"
               "this line means nothing\n"
               "\x01\x02\xff\xfe\n");
    file.close();
    TessaryPreferences preferences(*m_defaults);
    EXPECT_EQ(preferences.language(), u"system"_s);
    EXPECT_EQ(tessaryStoredLanguage(*m_defaults), u"system"_s) << "as messages below the settings read it";
    EXPECT_FALSE(preferences.hideMenuBarIcon());
    // A shortcut that does not decode is kept as stored until the shortcut is next assigned.
    EXPECT_EQ(preferences.shortcut(), CapturedShortcut::defaultShortcut());
    EXPECT_EQ(preferences.colorMode(), u"system"_s);
    EXPECT_EQ(preferences.aiModel(), u""_s);
    EXPECT_EQ(preferences.aiBaseURL(), TessaryPreferences::defaultBaseURL());

    const QByteArray untouched = Tessary::Test::fileContents(path());
    EXPECT_TRUE(untouched.contains("hideMenuBarIcon=yes"));
    EXPECT_TRUE(untouched.contains("language=@ByteArray(en)"));
    EXPECT_TRUE(untouched.contains("shortcut=@ByteArray(not json)"));
}

TEST_F(TessaryPreferencesTest, EachAssignmentPersistsThenCallsBackEvenWithTheSameValue)
{
    TessaryPreferences preferences(*m_defaults);
    listen(preferences);
    const std::tuple<std::function<void()>, QString, QStringList> rows[] = {
        {[&] { preferences.setAiModel(u"m"_s); }, u"aiModel"_s, {u"configuration"_s}},
        {[&] { preferences.setHideMenuBarIcon(true); }, u"hideMenuBarIcon"_s, {u"visibility"_s, u"configuration"_s}},
        {[&] { preferences.setShortcut(CapturedShortcut::defaultShortcut()); },
         u"shortcut"_s,
         {u"shortcut"_s, u"configuration"_s}},
        // The built-in prompt follows the language: a second configuration change.
        {[&] { preferences.setLanguage(u"en"_s); },
         u"language"_s,
         {u"configuration"_s, u"language"_s, u"configuration"_s}},
    };
    for (const auto &[assign, key, calls] : rows) {
        for (int time = 0; time < 2; ++time) {
            m_calls.clear();
            m_defaults->remove(key);
            assign();
            EXPECT_TRUE(reread()->contains(key)) << key.toStdString() << time;
            EXPECT_EQ(m_calls, calls) << key.toStdString() << time;
        }
    }
}

TEST_F(TessaryPreferencesTest, BuiltInPromptFollowsTheLanguageAndAnEditedOneStays)
{
    m_defaults->setString(u"language"_s, u"zh-Hans"_s);
    TessaryPreferences preferences(*m_defaults);
    ASSERT_EQ(preferences.polishPrompt(), current(0));

    preferences.setLanguage(u"en"_s);
    EXPECT_EQ(preferences.polishPrompt(), current(2));
    EXPECT_EQ(reread()->string(u"polishPrompt"_s), current(2));

    // A legacy prompt that reached the preference (from a synchronised file) follows too.
    preferences.setPolishPrompt(legacy(1));
    preferences.setLanguage(u"zh-Hant"_s);
    EXPECT_EQ(preferences.polishPrompt(), current(1));

    preferences.setPolishPrompt(current(1) + u"\n不要翻译。"_s);
    preferences.setLanguage(u"zh-Hans"_s);
    EXPECT_EQ(preferences.polishPrompt(), current(1) + u"\n不要翻译。"_s);
    EXPECT_EQ(reread()->string(u"language"_s), u"zh-Hans"_s);
}

TEST_F(TessaryPreferencesTest, SaveKeyStoresTheTrimmedKeyAndAnEmptyOneDeletesIt)
{
    m_defaults->setString(u"language"_s, u"en"_s);
    TessaryPreferences preferences(*m_defaults);
    listen(preferences);
    QSignalSpy saved(&preferences, &TessaryPreferences::keySavedChanged);

    preferences.saveKey(u"  \n sk-test-123\t\n"_s);
    EXPECT_TRUE(preferences.keySaved());
    EXPECT_TRUE(preferences.keyError().isEmpty());
    // The item as other keyring clients see it is AIKeychainTest's.
    EXPECT_EQ(AIKeychain::read().valueOr(QString()), u"sk-test-123"_s);
    EXPECT_FALSE(Tessary::Test::fileContents(path()).contains("sk-")) << "the key never goes to the settings file";

    // A new start finds the key. A key that cannot work is refused, as on the command line, and the saved one kept.
    EXPECT_TRUE(TessaryPreferences(*m_defaults).keySaved());
    preferences.saveKey(u" sk-a\u00a0b "_s);
    EXPECT_EQ(preferences.keyError(), u"The API key may contain only printable ASCII characters."_s);
    EXPECT_EQ(AIKeychain::read().valueOr(QString()), u"sk-test-123"_s);

    preferences.saveKey(u"  \n"_s);
    EXPECT_FALSE(AIKeychain::read().hasValue());
    // Deleting when nothing is stored is no failure.
    preferences.saveKey(QString());
    EXPECT_FALSE(preferences.keySaved());
    EXPECT_TRUE(preferences.keyError().isEmpty());
    EXPECT_GE(saved.count(), 3);
    EXPECT_TRUE(m_calls.isEmpty()) << "the key is not part of the synchronised configuration";
}

// A desktop without a Secret Service: the session bus address leads nowhere. Runs in a child of this test program.
TEST_F(TessaryPreferencesTest, KeyringFailuresAreReportedInTheUsersLanguageAndChangeNothingElse)
{
    if (!qEnvironmentVariableIsSet("TESSARY_TEST_NO_KEYRING")) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TESSARY_TEST_NO_KEYRING"_s, u"1"_s);
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/tessary-test-bus"_s);
        const Tessary::Test::ProcessResult child = Tessary::Test::runProcess(
            QCoreApplication::applicationFilePath(),
            {u"--gtest_filter=TessaryPreferencesTest.KeyringFailuresAreReportedInTheUsersLanguageAndChangeNothingElse"_s},
            environment);
        EXPECT_EQ(child.exitCode, 0) << child.standardOutput.toStdString();
        EXPECT_TRUE(child.standardOutput.contains("[  PASSED  ] 1 test")) << child.standardOutput.toStdString();
        return;
    }
    m_defaults->setString(u"language"_s, u"en"_s);
    TessaryPreferences preferences(*m_defaults);
    EXPECT_FALSE(preferences.keySaved()) << "an unreadable keyring counts as no key, silently";
    EXPECT_TRUE(preferences.keyError().isEmpty());
    listen(preferences);
    preferences.saveKey(u" sk-test "_s);
    EXPECT_FALSE(preferences.keySaved());
    EXPECT_TRUE(preferences.keyError().startsWith(u"Could not save the key: The Secret Service is not running."_s))
        << preferences.keyError().toStdString();
    preferences.setLanguage(u"zh-Hans"_s);
    m_calls.clear();
    preferences.saveKey(QString());
    EXPECT_EQ(preferences.keyError(),
              u"保存密钥失败："_s + KeychainError::fromStatus(KeychainError::NotAvailable).description);
    EXPECT_TRUE(m_calls.isEmpty());
    EXPECT_FALSE(Tessary::Test::fileContents(path()).contains("sk-test")) << "a key not stored is kept nowhere else";
}

} // namespace
