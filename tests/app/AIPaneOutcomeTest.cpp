// The connection test's result in the AI pane: an error reads as one, and it goes once the settings change.

#include <gtest/gtest.h>

#include <functional>

#include <QLabel>
#include <QNetworkAccessManager>
#include <QTemporaryDir>

#include "app/TessaryPreferences.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "app/settings/AIPane.h"
#include "app/settings/SettingsTexts.h"
#include "platform/defaults/UserDefaults.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

// Runs inside the keyring of tests/support/with-keyring, which holds no key.
TEST(AIPaneOutcomeTest, ErrorLooksLikeOneAndGoesWhenTheSettingsChange)
{
    ASSERT_TRUE(AIKeychain::remove());
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(u"defaults.ini"_s));
    TessaryPreferences preferences(defaults);
    preferences.setLanguage(u"en"_s);
    SettingsTexts texts(preferences);
    QNetworkAccessManager session;
    AIPane pane(preferences, texts, session);
    const auto *status = pane.findChild<QLabel *>(u"testStatus"_s);
    ASSERT_NE(status, nullptr);

    const std::pair<const char *, std::function<void()>> changes[] = {
        {"address", [&] { preferences.setAiBaseURL(u"http://127.0.0.1:8080/v1"_s); }},
        {"model", [&] { preferences.setAiModel(u"local-model"_s); }},
        {"language keeps it", [&] { preferences.setLanguage(u"zh-Hant"_s); }},
    };
    for (const auto &[name, change] : changes) {
        SCOPED_TRACE(name);
        pane.testConnection();
        ASSERT_FALSE(pane.testStatus().isEmpty());
        EXPECT_FALSE(status->styleSheet().isEmpty()) << "shown in the error colour";
        change();
        EXPECT_EQ(pane.testStatus().isEmpty(), std::string(name) != "language keeps it");
    }
    EXPECT_EQ(pane.testStatus(), tessaryLocalized(u"请先保存 API Key。"_s, u"zh-Hant"_s));
}

} // namespace
