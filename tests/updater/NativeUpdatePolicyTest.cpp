#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "updater/NativeBundle.h"
#include "updater/NativeUpdateConfiguration.h"
#include "updater/NativeUpdateManifest.h"
#include "updater/NativeUpdatePolicy.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Failure = NativeUpdatePolicy::Failure;

namespace {

const QString goodChecksum = u"5719eb2c6d4d7a3a90b5e4bf794a4ec2a27043e71c35ac95beba2a685f0b6356"_s;

QJsonObject goodManifestJson()
{
    return QJsonObject{
        {u"schemaVersion"_s, 1},
        {u"product"_s, u"tessary"_s},
        {u"version"_s, u"1.4.0"_s},
        {u"build"_s, 42},
        {u"downloadURL"_s, u"https://velmor.md/downloads/Tessary-1.4.0.zip"_s},
        {u"sha256"_s, goodChecksum},
    };
}

NativeUpdateConfiguration configuration()
{
    return NativeUpdateConfiguration{
        .product = u"tessary"_s,
        .appName = u"Tessary"_s,
        .bundleIdentifier = u"md.velmor.tessary"_s,
        .teamIdentifier = u"5719EB2C6D"_s,
        .manifestURL = QUrl(u"https://velmor.md/downloads/update.json"_s),
        .allowedDownloadHosts = {u"velmor.md"_s, u"static.velmor.md"_s},
        .isEnabled = true,
    };
}

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

} // namespace

TEST(NativeUpdateManifestTest, DecodesAllSixKeysAndIgnoresOthers)
{
    QJsonObject object = goodManifestJson();
    object.insert(u"releaseNotes"_s, u"ignored"_s);
    const auto manifest = NativeUpdateManifest::decode(json(object));
    ASSERT_TRUE(manifest.hasValue()) << manifest.error().description.toStdString();
    EXPECT_EQ(manifest->schemaVersion, 1);
    EXPECT_EQ(manifest->product, u"tessary"_s);
    EXPECT_EQ(manifest->version, u"1.4.0"_s);
    EXPECT_EQ(manifest->build, 42);
    EXPECT_EQ(manifest->downloadURL, QUrl(u"https://velmor.md/downloads/Tessary-1.4.0.zip"_s));
    EXPECT_EQ(manifest->sha256, goodChecksum);
}

TEST(NativeUpdateManifestTest, RefusesMissingKeysWrongTypesAndNonDocuments)
{
    for (const QString &key : goodManifestJson().keys()) {
        QJsonObject missing = goodManifestJson();
        missing.remove(key);
        EXPECT_FALSE(NativeUpdateManifest::decode(json(missing)).hasValue()) << "without " << key.toStdString();

        // Every key gets a value of another JSON type: strings become numbers and numbers strings.
        QJsonObject mistyped = goodManifestJson();
        mistyped.insert(key, mistyped.value(key).isString() ? QJsonValue(7) : QJsonValue(u"7"_s));
        EXPECT_FALSE(NativeUpdateManifest::decode(json(mistyped)).hasValue()) << "mistyped " << key.toStdString();
    }
    QJsonObject fractional = goodManifestJson();
    fractional.insert(u"build"_s, 42.5);
    EXPECT_FALSE(NativeUpdateManifest::decode(json(fractional)).hasValue());

    QJsonObject badUrl = goodManifestJson();
    badUrl.insert(u"downloadURL"_s, u"https://velmor md/a b"_s);
    EXPECT_FALSE(NativeUpdateManifest::decode(json(badUrl)).hasValue());
    badUrl.insert(u"downloadURL"_s, u""_s);
    EXPECT_FALSE(NativeUpdateManifest::decode(json(badUrl)).hasValue());

    EXPECT_FALSE(NativeUpdateManifest::decode("[1, 2]").hasValue());
    EXPECT_FALSE(NativeUpdateManifest::decode("{\"schemaVersion\": 1,").hasValue());
    EXPECT_FALSE(NativeUpdateManifest::decode("").hasValue());
}

struct PolicyCase
{
    const char *name;
    QString key;
    QJsonValue value;
    std::optional<Failure> expected;
};

class NativeUpdatePolicyTest : public ::testing::TestWithParam<PolicyCase>
{
};

TEST_P(NativeUpdatePolicyTest, ValidatesInOrder)
{
    QJsonObject object = goodManifestJson();
    if (!GetParam().key.isEmpty()) {
        object.insert(GetParam().key, GetParam().value);
    }
    const auto manifest = NativeUpdateManifest::decode(json(object));
    ASSERT_TRUE(manifest.hasValue());
    const auto result = NativeUpdatePolicy::validate(*manifest, configuration());
    if (GetParam().expected) {
        ASSERT_FALSE(result.hasValue());
        EXPECT_EQ(result.error(), *GetParam().expected);
    } else {
        EXPECT_TRUE(result.hasValue());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Manifests, NativeUpdatePolicyTest,
    ::testing::Values(
        PolicyCase{"valid", {}, {}, std::nullopt},
        PolicyCase{"schemaTwo", u"schemaVersion"_s, 2, Failure::InvalidSchema},
        PolicyCase{"capitalisedProduct", u"product"_s, u"Tessary"_s, Failure::WrongProduct},
        PolicyCase{"emptyVersion", u"version"_s, u""_s, Failure::InvalidVersion},
        PolicyCase{"buildZero", u"build"_s, 0, Failure::InvalidVersion},
        PolicyCase{"buildNegative", u"build"_s, -5, Failure::InvalidVersion},
        PolicyCase{"plainHttp", u"downloadURL"_s, u"http://velmor.md/a.zip"_s, Failure::InvalidDownloadURL},
        PolicyCase{"upperCaseScheme", u"downloadURL"_s, u"HTTPS://velmor.md/a.zip"_s, Failure::InvalidDownloadURL},
        PolicyCase{"noScheme", u"downloadURL"_s, u"velmor.md/a.zip"_s, Failure::InvalidDownloadURL},
        PolicyCase{"otherHost", u"downloadURL"_s, u"https://velmor.md.example.com/a.zip"_s,
                   Failure::InvalidDownloadURL},
        PolicyCase{"noHost", u"downloadURL"_s, u"https:/a.zip"_s, Failure::InvalidDownloadURL},
        PolicyCase{"upperCaseHost", u"downloadURL"_s, u"https://STATIC.Velmor.MD:8443/a.zip?x=1"_s, std::nullopt},
        PolicyCase{"upperCaseChecksum", u"sha256"_s, goodChecksum.toUpper(), std::nullopt},
        PolicyCase{"shortChecksum", u"sha256"_s, goodChecksum.left(63), Failure::InvalidChecksum},
        PolicyCase{"longChecksum", u"sha256"_s, QString(goodChecksum + u"0"_s), Failure::InvalidChecksum},
        PolicyCase{"nonHexChecksum", u"sha256"_s, QString(u"g"_s + goodChecksum.mid(1)), Failure::InvalidChecksum}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(NativeUpdatePolicyOrderTest, FirstBrokenRuleDecides)
{
    QJsonObject object = goodManifestJson();
    object.insert(u"schemaVersion"_s, 2);
    object.insert(u"product"_s, u"other"_s);
    object.insert(u"sha256"_s, u"x"_s);
    const auto result = NativeUpdatePolicy::validate(*NativeUpdateManifest::decode(json(object)), configuration());
    EXPECT_EQ(result.error(), Failure::InvalidSchema);
}

class RunningBuildTest : public ::testing::Test
{
protected:
    std::optional<NativeBundle> bundleWithVersion(const QJsonValue &version)
    {
        QJsonObject info{{u"CFBundleIdentifier"_s, u"md.velmor.tessary"_s}};
        if (!version.isUndefined()) {
            info.insert(u"CFBundleVersion"_s, version);
        }
        const QString path = m_dir.filePath(u"Tessary-%1.app"_s.arg(++m_count));
        QDir().mkpath(path);
        QFile file(path + u"/Info.json"_s);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QJsonDocument(info).toJson());
        file.close();
        return NativeBundle::open(path);
    }

    std::int64_t buildWithVersion(const QJsonValue &version)
    {
        const std::optional<NativeBundle> bundle = bundleWithVersion(version);
        EXPECT_TRUE(bundle);
        return bundle ? NativeUpdatePolicy::buildOf(&*bundle) : -1;
    }

    QTemporaryDir m_dir;
    int m_count = 0;
};

TEST_F(RunningBuildTest, NewerMeansGreaterBuildOnly)
{
    const std::optional<NativeBundle> bundle = bundleWithVersion(u"42"_s);
    ASSERT_TRUE(bundle);
    const std::int64_t running = NativeUpdatePolicy::buildOf(&*bundle);
    EXPECT_EQ(running, 42);
    NativeUpdateManifest manifest = *NativeUpdateManifest::decode(json(goodManifestJson()));
    for (const auto &[build, newer] : {std::pair{41, false}, {42, false}, {43, true}}) {
        manifest.build = build;
        EXPECT_EQ(NativeUpdatePolicy::isNewer(manifest, running), newer) << build;
    }
}

TEST_F(RunningBuildTest, UnreadableBuildCountsAsZero)
{
    EXPECT_EQ(NativeUpdatePolicy::buildOf(nullptr), 0);
    EXPECT_EQ(buildWithVersion(u"1.2"_s), 0);
    EXPECT_EQ(buildWithVersion(u""_s), 0);
    EXPECT_EQ(buildWithVersion(QJsonValue()), 0);
    EXPECT_EQ(buildWithVersion(QJsonValue(QJsonValue::Undefined)), 0);
    // A number is not a string: macOS reads CFBundleVersion as a string too.
    EXPECT_EQ(buildWithVersion(42), 0);
    EXPECT_EQ(buildWithVersion(u"+43"_s), 43);
    EXPECT_EQ(buildWithVersion(u"-5"_s), -5);
    EXPECT_EQ(buildWithVersion(u" 42"_s), 0);
}
