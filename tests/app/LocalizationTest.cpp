// The string tables in the three interface languages, the lookup, and messages written below the shell in
// Simplified Chinese or in Qt's English, shown in the interface language.

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSet>

#include "app/localization/FailureMessages.h"
#include "app/localization/TessaryLocalized.h"
#include "app/recognition/AIKeychain.h"
#include "core/PolishError.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

QJsonObject table(const QString &language)
{
    QFile file(u":/i18n/"_s + language + u".lproj/Localizable.json"_s);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << language.toStdString();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError)
        << language.toStdString() << ": " << error.errorString().toStdString();
    return document.object();
}

bool hasHan(const QString &text)
{
    static const QRegularExpression han(u"\\p{Han}"_s);
    return han.match(text).hasMatch();
}

/** "%@", "%d" and numbered "%1" in order of appearance. */
QStringList placeholders(const QString &text)
{
    static const QRegularExpression placeholder(u"%[@d1-9]"_s);
    QStringList found;
    for (const QRegularExpressionMatch &match : placeholder.globalMatch(text)) {
        found.append(match.captured());
    }
    return found;
}

/**
 * Every key the code hands to the lookup as a literal: calls of tessaryLocalized, of the wrappers named like it
 * (localized(...)) and of the settings' text bindings (text(key), bind(widget, key)), with u"..."_s, u"..." or
 * QStringLiteral("...").
 */
QSet<QString> keysUsedInCode()
{
    static const QRegularExpression call(
        uR"re(\b(?:\w*[Ll]ocalized|text|bind)\(\s*(?:[\w.>-]+,\s*)?(?:u|QStringLiteral\(\s*u?)"((?:[^"\\]|\\.)*)")re"_s);
    QSet<QString> keys;
    QDirIterator files(Tessary::Test::sourcePath(u"app"_s), {u"*.cpp"_s, u"*.h"_s}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        const QString source = QString::fromUtf8(file.readAll());
        for (const QRegularExpressionMatch &match : call.globalMatch(source)) {
            QString key = match.captured(1);
            key.replace(u"\\\""_s, u"\""_s).replace(u"\\\\"_s, u"\\"_s);
            keys.insert(key);
        }
    }
    return keys;
}

TEST(LocalizationTest, TablesHoldEveryKeyTheCodeLooksUpWithItsPlaceholdersAndSpeakLinux)
{
    const QSet<QString> used = keysUsedInCode();
    // The scan itself must work, or this test would pass on nothing.
    ASSERT_TRUE(used.contains(u"%d 个字 · 按 ⌘V 粘贴"_s) && used.contains(u"保存密钥失败：%@"_s));
    const QStringList keys = table(u"zh-Hans"_s).keys();
    for (const QString &language : {u"zh-Hans"_s, u"zh-Hant"_s, u"en"_s}) {
        SCOPED_TRACE(language.toStdString());
        const QJsonObject strings = table(language);
        EXPECT_EQ(strings.keys(), keys);
        for (const QString &key : used) {
            EXPECT_TRUE(strings.contains(key)) << "lacks \"" << key.toStdString() << '"';
        }
        for (auto it = strings.constBegin(); it != strings.constEnd(); ++it) {
            const QString text = it.value().toString();
            EXPECT_FALSE(text.trimmed().isEmpty()) << it.key().toStdString();
            // A translation may move a value, not add, drop or change one.
            QStringList expected = placeholders(it.key());
            QStringList actual = placeholders(text);
            expected.sort();
            actual.sort();
            EXPECT_EQ(actual, expected) << it.key().toStdString() << " -> " << text.toStdString();
            // English never shows Chinese, except the language names, written in their own language.
            if (language == u"en" && it.key() != u"简体中文" && it.key() != u"繁體中文") {
                EXPECT_FALSE(hasHan(text)) << text.toStdString();
            }
            // Keys are written for a Mac; what the user reads names the keys, places and things of a Linux desktop.
            for (const QString &macOnly :
                 {u"⌘V"_s, u"访达"_s, u"Finder"_s, u"Dock"_s, u"iCloud"_s, u"Mac"_s, u"钥匙串"_s}) {
                EXPECT_FALSE(text.contains(macOnly)) << text.toStdString();
            }
        }
    }
}

TEST(LocalizationTest, LooksKeysUpInTheChosenTableFallsBackToTheKeyAndFormats)
{
    EXPECT_EQ(tessaryLocalized(u"未识别到文字"_s, u"zh-Hant"_s), u"未辨識到文字"_s);
    EXPECT_EQ(tessaryLocalized(u"一句没有翻译的话"_s, u"en"_s), u"一句没有翻译的话"_s);
    // An argument that looks like a placeholder is taken as text.
    EXPECT_EQ(tessaryFormat(u"%@ / %@"_s, u"%@"_s), u"%@ / %@"_s);
    // Unknown languages behave like "system".
    for (const QString &language : {u"fr"_s, u"EN"_s, u""_s, u"zh"_s}) {
        EXPECT_EQ(tessaryLocalized(u"就绪"_s, language), tessaryLocalized(u"就绪"_s, u"system"_s))
            << language.toStdString();
    }
}

TEST(LocalizationTest, MessagesFormedFromKeysAreTranslatedWithTheirParts)
{
    const std::tuple<QString, QString, QString> rows[] = {
        {u"图像“x.png”太大（9000 × 8000 像素），无法识别。"_s, u"zh-Hant"_s,
         u"影像「x.png」太大（9000 × 8000 像素），無法辨識。"_s},
        {u"AI 润色失败：AI 服务请求失败（HTTP 401）：Incorrect API key provided."_s, u"en"_s,
         u"AI polishing failed: AI service error (HTTP 401): Incorrect API key provided."_s},
        {u"连接失败：AI 地址必须是 HTTPS API 根地址。"_s, u"en"_s,
         u"Connection failed: The AI address must be an HTTPS API root URL."_s},
        {u"the tool said something else"_s, u"zh-Hant"_s, u"the tool said something else"_s},
    };
    for (const auto &[message, language, expected] : rows) {
        EXPECT_EQ(tessaryLocalizedMessage(message, language), expected);
    }
}

TEST(LocalizationTest, EveryFailureHasWordsInEveryLanguage)
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
