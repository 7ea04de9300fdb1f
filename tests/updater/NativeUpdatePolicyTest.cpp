// The updater's rules without a network: the manifest, its validation, builds, and the updater's own texts.

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "tests/support/TestEnvironment.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdateConfiguration.h"
#include "updater/NativeUpdateManifest.h"
#include "updater/NativeUpdatePolicy.h"
#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Failure = NativeUpdatePolicy::Failure;

namespace {

const QString goodChecksum = u"5719eb2c6d4d7a3a90b5e4bf794a4ec2a27043e71c35ac95beba2a685f0b6356"_s;

QJsonObject goodManifest()
{
    return {{u"schemaVersion"_s, 1},
            {u"product"_s, u"tessary"_s},
            {u"version"_s, u"1.4.0"_s},
            {u"build"_s, 42},
            {u"downloadURL"_s, u"https://velmor.md/downloads/Tessary-1.4.0.zip"_s},
            {u"sha256"_s, goodChecksum}};
}

auto decode(const QJsonObject &object)
{
    return NativeUpdateManifest::decode(QJsonDocument(object).toJson());
}

/** An Info.json of its own in a new bundle folder. */
NativeBundle bundleWith(const QJsonObject &info)
{
    static QTemporaryDir dir;
    static int count = 0;
    const QString path = dir.filePath(u"Tessary-%1.app"_s.arg(++count));
    QDir().mkpath(path);
    QFile file(path + u"/Info.json"_s);
    file.open(QIODevice::WriteOnly);
    file.write(QJsonDocument(info).toJson());
    file.close();
    return *NativeBundle::open(path);
}

TEST(NativeUpdateManifestTest, DecodesTheSixKeysAndRefusesAnythingElse)
{
    QJsonObject object = goodManifest();
    object.insert(u"releaseNotes"_s, u"ignored"_s);
    const auto manifest = decode(object);
    ASSERT_TRUE(manifest.hasValue()) << manifest.error().description.toStdString();

    // Every key missing, or of another JSON type (strings become numbers and numbers strings).
    for (const QString &key : goodManifest().keys()) {
        QJsonObject missing = goodManifest();
        missing.remove(key);
        EXPECT_FALSE(decode(missing).hasValue()) << "without " << key.toStdString();
        QJsonObject mistyped = goodManifest();
        mistyped.insert(key, mistyped.value(key).isString() ? QJsonValue(7) : QJsonValue(u"7"_s));
        EXPECT_FALSE(decode(mistyped).hasValue()) << "mistyped " << key.toStdString();
    }
    for (const QByteArray &document : {QByteArray("[1, 2]"), QByteArray("{\"schemaVersion\": 1,"), QByteArray()}) {
        EXPECT_FALSE(NativeUpdateManifest::decode(document).hasValue()) << document.toStdString();
    }
}

TEST(NativeUpdatePolicyTest, RefusesEveryBrokenRuleWithItsReason)
{
    const NativeUpdateConfiguration configuration{
        .product = u"tessary"_s,
        .appName = u"Tessary"_s,
        .bundleIdentifier = u"md.velmor.tessary"_s,
        .teamIdentifier = u"5719EB2C6D"_s,
        .manifestURL = QUrl(u"https://velmor.md/downloads/update.json"_s),
        .allowedDownloadHosts = {u"velmor.md"_s, u"static.velmor.md"_s},
        .isEnabled = true,
    };
    const std::tuple<QString, QJsonValue, std::optional<Failure>> rows[] = {
        {u"schemaVersion"_s, 2, Failure::InvalidSchema},
        {u"product"_s, u"Tessary"_s, Failure::WrongProduct},
        {u"version"_s, u""_s, Failure::InvalidVersion},
        {u"build"_s, 0, Failure::InvalidVersion},
        {u"downloadURL"_s, u"http://velmor.md/a.zip"_s, Failure::InvalidDownloadURL},
        {u"downloadURL"_s, u"HTTPS://velmor.md/a.zip"_s, Failure::InvalidDownloadURL},
        {u"downloadURL"_s, u"https://velmor.md.example.com/a.zip"_s, Failure::InvalidDownloadURL},
        {u"downloadURL"_s, u"https://STATIC.Velmor.MD:8443/a.zip?x=1"_s, std::nullopt},
        {u"sha256"_s, goodChecksum.toUpper(), std::nullopt},
        {u"sha256"_s, goodChecksum.left(63), Failure::InvalidChecksum},
        {u"sha256"_s, QString(u"g"_s + goodChecksum.mid(1)), Failure::InvalidChecksum},
    };
    EXPECT_TRUE(NativeUpdatePolicy::validate(*decode(goodManifest()), configuration).hasValue());
    for (const auto &[key, value, expected] : rows) {
        SCOPED_TRACE(key.toStdString() + " " + QJsonDocument(QJsonArray{value}).toJson().toStdString());
        QJsonObject object = goodManifest();
        object.insert(key, value);
        const auto result = NativeUpdatePolicy::validate(*decode(object), configuration);
        EXPECT_EQ(result.hasValue() ? std::nullopt : std::optional(result.error()), expected);
    }
}

TEST(NativeUpdatePolicyTest, NewerMeansAGreaterBuildAndAnUnreadableOneCountsAsZero)
{
    NativeUpdateManifest manifest = *decode(goodManifest());
    for (const auto &[build, newer] : {std::pair{41, false}, {42, false}, {43, true}}) {
        manifest.build = build;
        EXPECT_EQ(NativeUpdatePolicy::isNewer(manifest, 42), newer) << build;
    }
    EXPECT_EQ(NativeUpdatePolicy::buildOf(nullptr), 0);
    // A number is not a string: CFBundleVersion is read as a string.
    for (const auto &[version, build] :
         {std::pair{QJsonValue(u"42"_s), 42}, {u"1.2"_s, 0}, {QJsonValue(), 0}, {42, 0}}) {
        const NativeBundle bundle =
            bundleWith({{u"CFBundleIdentifier"_s, u"md.velmor.tessary"_s}, {u"CFBundleVersion"_s, version}});
        EXPECT_EQ(NativeUpdatePolicy::buildOf(&bundle), build) << version.toVariant().toString().toStdString();
    }
}

TEST(UpdaterCopyTest, SpeaksThePreferredLanguageOnlyWhenTheBundleHasLocalizations)
{
    using L = UpdaterLanguage;
    EXPECT_EQ(updaterLanguage(true, {u"zh-TW"_s, u"en"_s}), L::TraditionalChinese);
    EXPECT_EQ(updaterLanguage(false, {u"zh-Hans-CN"_s}), L::English);
    EXPECT_EQ(updaterCopy(u"检查更新"_s, L::English), u"Check for Updates"_s);
    EXPECT_EQ(updaterCopy(u"检查更新"_s, L::TraditionalChinese), u"檢查更新"_s);
    EXPECT_EQ(updaterCopy(u"检查更新"_s, L::SimplifiedChinese), u"检查更新"_s);
}

TEST(UpdaterCopyTest, EveryTextTheModuleShowsIsTranslatedWithItsPlaceholders)
{
    const QHash<QString, QString> &english = updaterEnglish();
    const QHash<QString, QString> &traditional = updaterTraditionalChinese();
    EXPECT_EQ(QSet<QString>(english.keyBegin(), english.keyEnd()),
              QSet<QString>(traditional.keyBegin(), traditional.keyEnd()));
    // A translation that drops or adds a placeholder loses or garbles the version or the reason.
    const QRegularExpression placeholder(u"%\\d"_s);
    for (auto it = english.cbegin(); it != english.cend(); ++it) {
        EXPECT_EQ(it.value().count(placeholder), it.key().count(placeholder)) << it.value().toStdString();
        EXPECT_EQ(traditional.value(it.key()).count(placeholder), it.key().count(placeholder));
    }
    // A key misspelt at a call site would show Simplified Chinese to everyone else.
    const QRegularExpression call(u"updaterCopy\\(u\"([^\"]+)\"_s"_s);
    int found = 0;
    for (QDirIterator files(Tessary::Test::sourcePath(u"updater"_s), {u"*.cpp"_s}, QDir::Files); files.hasNext();) {
        QFile file(files.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        for (const QRegularExpressionMatch &match : call.globalMatch(QString::fromUtf8(file.readAll()))) {
            ++found;
            EXPECT_TRUE(english.contains(match.captured(1))) << match.captured(1).toStdString();
        }
    }
    EXPECT_GT(found, 5);
}

} // namespace
