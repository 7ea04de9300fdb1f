// The installer in this process, with the test tools beside this test program (testkeys/libexec/).

#include <gtest/gtest.h>

#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "tests/updater/support/UpdateFixtures.h"
#include "updater/NativeBundle.h"
#include "updater/NativeUpdateInstaller.h"
#include "updater/NativeUpdateManifest.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;

class NativeUpdateInstallerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        m_previousTemp = qgetenv("TMPDIR");
        QDir().mkpath(m_dir.filePath(u"tmp"_s));
        qputenv("TMPDIR", QFile::encodeName(m_dir.filePath(u"tmp"_s)));
        ASSERT_TRUE(makeReleasedBundle(m_dir.filePath(u"release/Tessary.app"_s), {.withHelper = true}));
        ASSERT_TRUE(zipFolderContents(m_dir.filePath(u"release"_s), m_dir.filePath(u"update.zip"_s)));
        m_archive = readFile(m_dir.filePath(u"update.zip"_s));
    }

    void TearDown() override { qputenv("TMPDIR", m_previousTemp); }

    NativeUpdateManifest manifest() const
    {
        return NativeUpdateManifest{.schemaVersion = 1,
                                    .product = u"tessary"_s,
                                    .version = u"2.0.0"_s,
                                    .build = 2,
                                    .downloadURL = QUrl(u"https://127.0.0.1/u.zip"_s),
                                    .sha256 = sha256Hex(m_archive)};
    }

    QStringList workFolders() const
    {
        return QDir(m_dir.filePath(u"tmp"_s)).entryList({u"tessary-update-*"_s}, QDir::Dirs);
    }

    QTemporaryDir m_dir;
    QByteArray m_previousTemp;
    QByteArray m_archive;
};

TEST_F(NativeUpdateInstallerTest, StagesVerifiedBundleInFreshWorkFolder)
{
    NativeUpdateManifest upperCase = manifest();
    upperCase.sha256 = upperCase.sha256.toUpper();
    const auto first = NativeUpdateInstaller::prepare(m_archive, upperCase, testConfiguration());
    ASSERT_TRUE(first.hasValue()) << first.error().localizedDescription().toStdString();
    const auto second = NativeUpdateInstaller::prepare(m_archive, manifest(), testConfiguration());
    ASSERT_TRUE(second.hasValue());

    EXPECT_NE(*first, *second);
    const QStringList folders = workFolders();
    ASSERT_EQ(folders.size(), 2);
    for (const QString &folder : folders) {
        const QString uuid = folder.mid(QStringLiteral("tessary-update-").size());
        EXPECT_FALSE(QUuid::fromString(uuid).isNull()) << folder.toStdString();
        EXPECT_EQ(uuid, uuid.toUpper());
        EXPECT_TRUE(QFile::exists(m_dir.filePath(u"tmp/"_s + folder + u"/update.zip"_s)));
    }
    EXPECT_EQ(QFileInfo(*first).fileName(), u"Tessary.app"_s);
    EXPECT_EQ(NativeBundle::open(*first)->string(u"CFBundleVersion"_s), u"2"_s);
}

TEST_F(NativeUpdateInstallerTest, WrongChecksumStopsBeforeAnythingIsWritten)
{
    NativeUpdateManifest wrong = manifest();
    wrong.sha256 = sha256Hex("something else");
    const auto result = NativeUpdateInstaller::prepare(m_archive, wrong, testConfiguration());
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error().installerFailure(), NativeUpdateInstaller::Failure::InvalidArchive);
    EXPECT_TRUE(workFolders().isEmpty());
}

TEST_F(NativeUpdateInstallerTest, ApplicationMustMatchManifestAndConfiguration)
{
    NativeUpdateManifest otherBuild = manifest();
    otherBuild.build = 3;
    NativeUpdateManifest otherVersion = manifest();
    otherVersion.version = u"2.0"_s;
    NativeUpdateConfiguration otherName = testConfiguration();
    otherName.appName = u"Tessera"_s;
    NativeUpdateConfiguration otherIdentifier = testConfiguration();
    otherIdentifier.bundleIdentifier = u"md.velmor.tessera"_s;
    NativeUpdateConfiguration otherTeam = testConfiguration();
    otherTeam.teamIdentifier = u"0123456789"_s;

    const QList<std::pair<NativeUpdateManifest, NativeUpdateConfiguration>> cases{
        {otherBuild, testConfiguration()}, {otherVersion, testConfiguration()},
        {manifest(), otherName},           {manifest(), otherIdentifier},
        {manifest(), otherTeam},
    };
    for (const auto &[candidate, configuration] : cases) {
        const auto result = NativeUpdateInstaller::prepare(m_archive, candidate, configuration);
        ASSERT_FALSE(result.hasValue());
        EXPECT_EQ(result.error().installerFailure(), NativeUpdateInstaller::Failure::InvalidApplication);
    }
}

TEST_F(NativeUpdateInstallerTest, HelperStartsWithModeBundleAndOurProcess)
{
    const auto staged = NativeUpdateInstaller::prepare(m_archive, manifest(), testConfiguration());
    ASSERT_TRUE(staged.hasValue());
    const QString record = m_dir.filePath(u"helper-started"_s);
    qputenv("TESSARY_TEST_RECORD", QFile::encodeName(record));
    const auto launched = NativeUpdateInstaller::launchHelper(*staged, u"/opt/Tessary.app"_s);
    qunsetenv("TESSARY_TEST_RECORD");
    ASSERT_TRUE(launched.hasValue()) << launched.error().localizedDescription().toStdString();
    ASSERT_TRUE(QTest::qWaitFor([&record] { return QFile::exists(record); }, 10000));
    const QByteArray started = readFile(record);
    const QByteArray expected =
        "argc=3\narg=--native-update-helper\narg=/opt/Tessary.app\narg=" + QByteArray::number(::getpid()) + '\n';
    EXPECT_TRUE(started.contains(expected)) << started.toStdString();

    QFile::remove(*staged + u"/bin/tessary"_s);
    const auto missing = NativeUpdateInstaller::launchHelper(*staged, u"/opt/Tessary.app"_s);
    ASSERT_FALSE(missing.hasValue());
    EXPECT_EQ(missing.error().installerFailure(), NativeUpdateInstaller::Failure::InvalidApplication);
}

TEST(NativeUpdateInstallerRequirementTest, NamesConfiguredTeamAndIdentifierVerbatim)
{
    EXPECT_EQ(NativeUpdateInstaller::requirement(testConfiguration()),
              u"=anchor apple generic and certificate leaf[subject.OU] = \""_s + testTeamIdentifier() +
                  u"\" and identifier \"md.velmor.tessary\" and certificate "
                  "leaf[field.1.2.840.113635.100.6.1.13] exists"_s);
    EXPECT_EQ(NativeUpdateInstaller::toolsExecutable(), testTreePath(u"libexec/tessary-helper"_s));
}
