// "tessary --verify-update-archive ZIP VERSION BUILD SHA256" with tessary built for the test keys: every attack on
// an update archive is turned away with its reason, and only a released archive passes.

#include <gtest/gtest.h>

#include <functional>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QByteArray damagedText = "The update archive is damaged. Download it again.";
const QByteArray unverifiedText = "The update failed developer signature or notarization verification.";
const QByteArray passLine = "UPDATE VERIFY PASS: checksum, app identity, Developer ID signature and notarization\n";

} // namespace

class ArchiveVerificationCommandLineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        QDir().mkpath(temporary());
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(u"TMPDIR"_s, temporary());
    }

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString temporary() const { return path(u"tmp"_s); }
    QString release() const { return path(u"release"_s); }
    QString bundle() const { return path(u"release/Tessary.app"_s); }

    /** Runs the verification of the archive; the checksum defaults to the archive's own. */
    ProcessResult verify(const QString &build = u"2"_s, std::optional<QString> checksum = std::nullopt,
                         const QString &archive = {})
    {
        const QString zip = archive.isEmpty() ? path(u"update.zip"_s) : archive;
        return runProcess(
            testTreePath(u"bin/tessary"_s),
            {u"--verify-update-archive"_s, zip, u"2.0.0"_s, build, checksum.value_or(sha256Hex(readFile(zip)))},
            m_environment);
    }

    bool zipRelease() { return zipFolderContents(release(), path(u"update.zip"_s)); }

    void expectFailure(const ProcessResult &result, const QByteArray &reason)
    {
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.standardError, "UPDATE VERIFY FAILED: " + reason + '\n');
        EXPECT_TRUE(result.standardOutput.isEmpty());
    }

    QStringList workFolders() const { return QDir(temporary()).entryList({u"tessary-update-*"_s}, QDir::Dirs); }

    QTemporaryDir m_dir;
    QProcessEnvironment m_environment;
};

TEST_F(ArchiveVerificationCommandLineTest, ReleasedArchivePassesAndLeavesNothingBehind)
{
    ASSERT_TRUE(makeReleasedBundle(bundle(), {.withHelper = true}));
    ASSERT_TRUE(zipRelease());
    const ProcessResult result = verify();
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(result.standardOutput, passLine);
    EXPECT_TRUE(workFolders().isEmpty());

    const ProcessResult upperCase = verify(u"2"_s, sha256Hex(readFile(path(u"update.zip"_s))).toUpper());
    EXPECT_EQ(upperCase.exitCode, 0);
    EXPECT_EQ(upperCase.standardOutput, passLine);
}

TEST_F(ArchiveVerificationCommandLineTest, ChecksumAndCommandLineMistakes)
{
    ASSERT_TRUE(makeReleasedBundle(bundle(), {}));
    ASSERT_TRUE(zipRelease());
    expectFailure(verify(u"2"_s, sha256Hex("another archive")), damagedText);
    EXPECT_TRUE(workFolders().isEmpty());
    expectFailure(verify(u"two"_s), damagedText);
    expectFailure(verify(u""_s), damagedText);
    // The bundle says build 2; the command line promises another.
    expectFailure(verify(u"3"_s), unverifiedText);
    // A missing archive is named.
    expectFailure(verify(u"2"_s, sha256Hex(""), path(u"missing.zip"_s)),
                  "The update archive “" + path(u"missing.zip"_s).toUtf8() + "” could not be found.");
}

TEST_F(ArchiveVerificationCommandLineTest, ReasonFollowsPreferredLanguage)
{
    ASSERT_TRUE(makeReleasedBundle(bundle(), {}));
    ASSERT_TRUE(zipRelease());
    m_environment.insert(u"LANGUAGE"_s, u"zh_CN"_s);
    m_environment.insert(u"LANG"_s, u"zh_CN.UTF-8"_s);
    m_environment.remove(u"LC_ALL"_s);
    expectFailure(verify(u"2"_s, sha256Hex("x")), "更新包已损坏，请重新下载。");
    m_environment.insert(u"LANGUAGE"_s, u"zh_TW"_s);
    m_environment.insert(u"LANG"_s, u"zh_TW.UTF-8"_s);
    expectFailure(verify(u"3"_s), "更新套件未通過開發者簽章或公證驗證。");
}

struct ArchiveAttack
{
    const char *name;
    /** Changes the released bundle in release/ or writes update.zip itself (then returns true). */
    std::function<bool(const QString &release)> attack;
};

class ArchiveAttackTest : public ArchiveVerificationCommandLineTest, public ::testing::WithParamInterface<ArchiveAttack>
{
};

TEST_P(ArchiveAttackTest, RejectedAsUnverifiedWithNothingInstalled)
{
    ASSERT_TRUE(makeReleasedBundle(bundle(), {}));
    // The attack may write the archive itself (true) or only change the bundle that then gets zipped.
    if (!GetParam().attack(release())) {
        ASSERT_TRUE(zipRelease());
    }
    const ProcessResult result = verify();
    expectFailure(result, unverifiedText);
    // Nothing escaped the work folder.
    EXPECT_EQ(QDir(temporary()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), workFolders());
    EXPECT_FALSE(QFileInfo::exists(path(u"escaped"_s)));
    EXPECT_FALSE(QFileInfo::exists(u"/tmp/tessary-test-escaped"_s));
}

namespace {

QJsonObject entry(const QString &name, const QString &data, int mode = 0100644)
{
    return QJsonObject{{u"name"_s, name}, {u"data"_s, data}, {u"mode"_s, mode}};
}

// A crafted archive holding the released bundle's Info.json plus one hostile entry.
std::function<bool(const QString &)> craftedWith(QJsonObject hostile)
{
    return [hostile](const QString &release) {
        const QJsonArray entries{
            entry(u"Tessary.app/Info.json"_s, QString::fromUtf8(readFile(release + u"/Tessary.app/Info.json"_s))),
            hostile,
        };
        return writeCraftedZip(QFileInfo(release).path() + u"/update.zip"_s, entries);
    };
}

} // namespace

INSTANTIATE_TEST_SUITE_P(
    Attacks, ArchiveAttackTest,
    ::testing::Values(
        ArchiveAttack{"parentFolderEntry", craftedWith(entry(u"Tessary.app/../../../escaped"_s, u"x"_s))},
        ArchiveAttack{"absolutePathEntry", craftedWith(entry(u"/tmp/tessary-test-escaped"_s, u"x"_s))},
        ArchiveAttack{"symbolicLinkEntry", craftedWith(entry(u"Tessary.app/bin/tessary"_s, u"/bin/sh"_s, 0120755))},
        ArchiveAttack{"deviceEntry", craftedWith(entry(u"Tessary.app/dev"_s, u""_s, 0060660))},
        ArchiveAttack{"damagedZip",
                      [](const QString &release) {
                          return writeFile(QFileInfo(release).path() + u"/update.zip"_s, QByteArray(2048, 'P'));
                      }},
        ArchiveAttack{"otherBundleName",
                      [](const QString &release) { return !QDir(release).rename(u"Tessary.app"_s, u"Tessera.app"_s); }},
        ArchiveAttack{"otherIdentifierSignedForIt",
                      [](const QString &release) {
                          const QString app = release + u"/Tessary.app"_s;
                          QFile::remove(app + u"/Info.json"_s);
                          return !(writeBundle(app, {.identifier = u"md.velmor.other"_s}) && signBundle(app) &&
                                   notarizeBundle(app));
                      }},
        ArchiveAttack{"otherBuildSignedForIt",
                      [](const QString &release) {
                          const QString app = release + u"/Tessary.app"_s;
                          return !(writeBundle(app, {.build = u"3"_s}) && signBundle(app) && notarizeBundle(app));
                      }},
        ArchiveAttack{"signedByUntrustedKey",
                      [](const QString &release) {
                          const QString key = release + u"/../other.pem"_s;
                          const QString app = release + u"/Tessary.app"_s;
                          return !(makeUntrustedKey(key) && signBundle(app, key) && notarizeBundle(app));
                      }},
        ArchiveAttack{"fileChangedAfterSigning",
                      [](const QString &release) {
                          return !writeFile(release + u"/Tessary.app/bin/tessary"_s, "#!/bin/sh\necho owned\n");
                      }},
        ArchiveAttack{"fileAddedAfterSigning",
                      [](const QString &release) { return !writeFile(release + u"/Tessary.app/bin/extra"_s, "x"); }},
        ArchiveAttack{"notNotarized",
                      [](const QString &release) {
                          return !QFile::remove(release + u"/Tessary.app/_CodeSignature/notary.sig"_s);
                      }},
        ArchiveAttack{"notaryOfAnotherBuild",
                      [](const QString &release) {
                          // A genuine countersignature, but of an earlier seal.
                          const QString app = release + u"/Tessary.app"_s;
                          const QByteArray old = readFile(app + u"/_CodeSignature/notary.sig"_s);
                          return !(writeFile(app + u"/share/notes"_s, "new") && signBundle(app) &&
                                   writeFile(app + u"/_CodeSignature/notary.sig"_s, old));
                      }}),
    [](const auto &info) { return std::string(info.param.name); });
