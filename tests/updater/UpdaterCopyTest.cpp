#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "tests/support/TestEnvironment.h"
#include "updater/NativeAppVersion.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdateError.h"
#include "updater/UpdaterCopy.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

struct LanguageCase
{
    const char *name;
    bool hasLocalizations;
    QStringList preferred;
    UpdaterLanguage expected;
};

class UpdaterLanguageTest : public ::testing::TestWithParam<LanguageCase>
{
};

TEST_P(UpdaterLanguageTest, FollowsFirstPreferredLanguage)
{
    EXPECT_EQ(updaterLanguage(GetParam().hasLocalizations, GetParam().preferred), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Languages, UpdaterLanguageTest,
    ::testing::Values(LanguageCase{"hantTaiwan", true, {u"zh-Hant-TW"_s}, UpdaterLanguage::TraditionalChinese},
                      LanguageCase{"hongKong", true, {u"zh-HK"_s}, UpdaterLanguage::TraditionalChinese},
                      LanguageCase{"taiwan", true, {u"zh-TW"_s, u"en"_s}, UpdaterLanguage::TraditionalChinese},
                      LanguageCase{"macau", true, {u"zh-MO"_s}, UpdaterLanguage::TraditionalChinese},
                      LanguageCase{"hansChina", true, {u"zh-Hans-CN"_s}, UpdaterLanguage::SimplifiedChinese},
                      LanguageCase{"plainChinese", true, {u"zh"_s}, UpdaterLanguage::SimplifiedChinese},
                      LanguageCase{"french", true, {u"fr-FR"_s, u"zh-TW"_s}, UpdaterLanguage::English},
                      LanguageCase{"noPreference", true, {}, UpdaterLanguage::English},
                      LanguageCase{"noLocalizations", false, {u"zh-Hans-CN"_s}, UpdaterLanguage::English}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(UpdaterCopyTest, TablesTranslateTheSameFiftyTwoTexts)
{
    const QHash<QString, QString> &english = updaterEnglish();
    const QHash<QString, QString> &traditional = updaterTraditionalChinese();
    EXPECT_EQ(english.size(), 52);
    EXPECT_EQ(QSet<QString>(english.keyBegin(), english.keyEnd()),
              QSet<QString>(traditional.keyBegin(), traditional.keyEnd()));
    // A translation that drops or adds a placeholder loses or garbles the version or the reason.
    const QRegularExpression placeholder(u"%\\d"_s);
    for (auto it = english.cbegin(); it != english.cend(); ++it) {
        const qsizetype count = it.key().count(placeholder);
        EXPECT_EQ(it.value().count(placeholder), count) << it.value().toStdString();
        EXPECT_EQ(traditional.value(it.key()).count(placeholder), count) << it.key().toStdString();
    }
}

TEST(UpdaterCopyTest, LooksUpByLanguageAndPassesUnknownTextThrough)
{
    EXPECT_EQ(updaterCopy(u"检查更新"_s, UpdaterLanguage::English), u"Check for Updates"_s);
    EXPECT_EQ(updaterCopy(u"检查更新"_s, UpdaterLanguage::TraditionalChinese), u"檢查更新"_s);
    EXPECT_EQ(updaterCopy(u"检查更新"_s, UpdaterLanguage::SimplifiedChinese), u"检查更新"_s);
    EXPECT_EQ(updaterCopy(u"不是键"_s, UpdaterLanguage::English), u"不是键"_s);
}

TEST(UpdaterCopyTest, EveryTextTheModuleShowsIsInTheTables)
{
    // A key misspelt at a call site would show Simplified Chinese to everyone else.
    const QRegularExpression call(u"updaterCopy\\(u\"([^\"]+)\"_s"_s);
    int found = 0;
    QDirIterator files(Tessary::Test::sourcePath(u"updater"_s), {u"*.cpp"_s}, QDir::Files);
    while (files.hasNext()) {
        QFile file(files.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QString source = QString::fromUtf8(file.readAll());
        for (const QRegularExpressionMatch &match : call.globalMatch(source)) {
            ++found;
            EXPECT_TRUE(updaterEnglish().contains(match.captured(1)))
                << match.captured(1).toStdString() << " in " << file.fileName().toStdString();
        }
    }
    EXPECT_GT(found, 5);
}

TEST(UpdaterCopyTest, ErrorsDescribeThemselvesInTheUpdaterLanguage)
{
    // The test process runs from no bundle with localizations, so the updater speaks English.
    EXPECT_EQ(NativeUpdateError(NativeUpdatePolicy::Failure::InvalidChecksum).localizedDescription(),
              u"The update checksum is invalid."_s);
    EXPECT_EQ(NativeUpdateError(NativeUpdateInstallerFailure::InvalidArchive).localizedDescription(),
              u"The update archive is damaged. Download it again."_s);
    EXPECT_EQ(NativeUpdateError::system(u"disk full"_s).localizedDescription(), u"disk full"_s);
}

TEST(NativeAppVersionTest, ShowsDashForMissingValues)
{
    QTemporaryDir dir;
    const auto bundleWith = [&dir](const QJsonObject &info) {
        const QString path = dir.filePath(u"Tessary.app"_s);
        QDir().mkpath(path);
        QFile file(path + u"/Info.json"_s);
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        file.write(QJsonDocument(info).toJson());
        file.close();
        return *NativeBundle::open(path);
    };
    EXPECT_EQ(NativeAppVersion::displayText(
                  bundleWith({{u"CFBundleShortVersionString"_s, u"1.4.0"_s}, {u"CFBundleVersion"_s, u"42"_s}})),
              u"Version 1.4.0 (42)"_s);
    EXPECT_EQ(NativeAppVersion::displayText(bundleWith({{u"CFBundleVersion"_s, u"42"_s}})), u"Version — (42)"_s);
    EXPECT_EQ(NativeAppVersion::displayText(bundleWith({{u"CFBundleShortVersionString"_s, 1.4}})), u"Version — (—)"_s);
}
