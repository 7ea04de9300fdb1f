// Messages that the modules below the shell write in Simplified Chinese, or in Qt's English, shown in the
// interface language.

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QRegularExpression>

#include "app/localization/FailureMessages.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "core/PolishError.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

QJsonObject table(const QString &language)
{
    QFile file(u":/i18n/"_s + language + u".lproj/Localizable.json"_s);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return QJsonDocument::fromJson(file.readAll()).object();
}

bool hasHan(const QString &text)
{
    static const QRegularExpression han(u"\\p{Han}"_s);
    return han.match(text).hasMatch();
}

struct MessageCase
{
    const char *name;
    QString message;
    QString language;
    QString expected;
};

class LocalizedMessageTest : public ::testing::TestWithParam<MessageCase>
{
};

TEST_P(LocalizedMessageTest, TranslatesKeysAndMessagesFormedFromThem)
{
    EXPECT_EQ(tessaryLocalizedMessage(GetParam().message, GetParam().language), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Messages, LocalizedMessageTest,
    ::testing::Values(MessageCase{"numberedPlaceholder", u"找不到文件“/tmp/a b.png”。"_s, u"en"_s,
                                  u"The file “/tmp/a b.png” could not be found."_s},
                      MessageCase{"twoPlaceholdersReordered", u"图像“x.png”太大（9000 × 8000 像素），无法识别。"_s,
                                  u"zh-Hant"_s, u"影像「x.png」太大（9000 × 8000 像素），無法辨識。"_s},
                      MessageCase{"nestedServiceWordsKept",
                                  u"AI 润色失败：AI 服务请求失败（HTTP 401）：Incorrect API key provided."_s, u"en"_s,
                                  u"AI polishing failed: AI service error (HTTP 401): Incorrect API key provided."_s},
                      MessageCase{"nestedKeyInFormat", u"连接失败：AI 地址必须是 HTTPS API 根地址。"_s, u"en"_s,
                                  u"Connection failed: The AI address must be an HTTPS API root URL."_s},
                      MessageCase{"keyringInWords", KeychainError::fromStatus(KeychainError::UserCanceled).description,
                                  u"en"_s,
                                  u"The keyring is locked. Unlock it when your desktop asks, then try again."_s},
                      MessageCase{"simplifiedStaysAsIs", u"识别失败：找不到文件“a.png”。"_s, u"zh-Hans"_s,
                                  u"识别失败：找不到文件“a.png”。"_s},
                      MessageCase{"unknownUnchanged", u"the tool said something else"_s, u"zh-Hant"_s,
                                  u"the tool said something else"_s}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(OutcomeMessagesTest, EnglishHasNoChineseAndChineseKeepsNumberedPlaceholders)
{
    const QJsonObject english = table(u"en"_s);
    const QJsonObject traditional = table(u"zh-Hant"_s);
    // Language names are written in their own language.
    const QStringList ownNames{u"简体中文"_s, u"繁體中文"_s};
    static const QRegularExpression numbered(u"%[1-9]"_s);
    for (auto it = english.constBegin(); it != english.constEnd(); ++it) {
        const QString key = it.key();
        if (!ownNames.contains(key)) {
            EXPECT_FALSE(hasHan(it.value().toString())) << key.toStdString();
        }
        for (const QRegularExpressionMatch &match : numbered.globalMatch(key)) {
            EXPECT_TRUE(it.value().toString().contains(match.captured())) << key.toStdString();
            EXPECT_TRUE(traditional.value(key).toString().contains(match.captured())) << key.toStdString();
        }
    }
}

TEST(OutcomeMessagesTest, EveryFailureHasWordsInEveryLanguage)
{
    QStringList messages;
    for (int code = 0; code <= int(QNetworkReply::UnknownServerError); ++code) {
        messages.append(FailureMessages::polish({QString::fromLatin1(PolishError::networkDomain), code, u"Qt"_s}));
    }
    messages.append(FailureMessages::polish({QString::fromLatin1(PolishError::jsonDomain), 1, u"Qt"_s}));
    messages.append(FailureMessages::polish({QString::fromLatin1(PolishError::responseDomain), 1, u"Qt"_s}));
    for (const int status : {0, -128, -25291, -25294, -25300, -25308, -26276}) {
        messages.append(KeychainError::fromStatus(status).description);
    }
    messages.append(FailureMessages::captureTool(u"the capture could not be written"_s));
    for (const QString &message : std::as_const(messages)) {
        EXPECT_FALSE(hasHan(tessaryLocalizedMessage(message, u"en"_s))) << message.toStdString();
        EXPECT_TRUE(hasHan(tessaryLocalizedMessage(message, u"zh-Hant"_s))) << message.toStdString();
    }
}

} // namespace
