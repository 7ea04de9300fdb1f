// Update archives as the installer checks them, through "tessary --verify-update-archive ZIP VERSION BUILD SHA256"
// of tessary built for the test keys and in this process: only a released archive passes; every attack is turned
// away before anything is installed, and nothing escapes the work folder. "tessary --install-bundle ZIP" makes a
// released archive ~/.local/opt/Tessary.app with a launcher entry, refuses what an update would refuse, and leaves
// an installed bundle as it was.

#include <gtest/gtest.h>

#include <functional>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/UpdateFixtures.h"
#include "updater/NativeUpdateInstaller.h"
#include "updater/NativeUpdateManifest.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;

namespace {

const QByteArray damagedText = "The update archive is damaged. Download it again.";
const QByteArray unverifiedText = "The update failed developer signature or notarization verification.";

QJsonObject entry(const QString &name, const QString &data, int mode = 0100644)
{
    return {{u"name"_s, name}, {u"data"_s, data}, {u"mode"_s, mode}};
}

class UpdateArchiveTest : public ::testing::Test
{
protected:
    QString path(const QString &name) const { return m_home.path(name); }
    QString release() const { return path(u"release"_s); }
    QString app() const { return path(u"release/Tessary.app"_s); }
    bool zipRelease() { return zipFolderContents(release(), path(u"update.zip"_s)); }

    /** Runs the verification; the checksum defaults to the archive's own. */
    ProcessResult verify(const QString &build = u"2"_s, std::optional<QString> checksum = std::nullopt,
                         const QString &zip = {})
    {
        const QString archive = zip.isEmpty() ? path(u"update.zip"_s) : zip;
        return runProcess(testTreePath(u"bin/tessary"_s),
                          {u"--verify-update-archive"_s, archive, u"2.0.0"_s, build,
                           checksum.value_or(sha256Hex(fileContents(archive)))},
                          m_environment);
    }

    static void expectFailure(const ProcessResult &result, const QByteArray &reason)
    {
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.standardError, "UPDATE VERIFY FAILED: " + reason + '\n');
        EXPECT_TRUE(result.standardOutput.isEmpty());
    }

    /** Releases a bundle of the given build, lets change alter it, zips it and installs the zip. */
    ProcessResult install(const QString &build, const std::function<bool(const QString &)> &change = {})
    {
        const QString release = path(u"release-"_s + build);
        const QString app = release + u"/Tessary.app"_s;
        const QString zip = release + u".zip"_s;
        const bool made = makeReleasedBundle(
            app, {.build = build, .files = {{u"share/icons/hicolor/scalable/apps/md.velmor.tessary.svg"_s, "<svg/>"}}});
        if (!made || (change && !change(app)) || !zipFolderContents(release, zip)) {
            ADD_FAILURE() << "cannot make the archive";
            return {};
        }
        return runProcess(testTreePath(u"bin/tessary"_s), {u"--install-bundle"_s, zip}, m_environment);
    }

    QString installed() const { return path(u"home/.local/opt/Tessary.app"_s); }

    QStringList workFolders() const { return QDir(path(u"tmp"_s)).entryList({u"tessary-update-*"_s}, QDir::Dirs); }

    PrivateHome m_home;
    QProcessEnvironment m_environment = m_home.environment();
};

TEST_F(UpdateArchiveTest, ReleasedArchivePassesAndIsStagedInAFreshWorkFolder)
{
    ASSERT_TRUE(makeReleasedBundle(app(), {.withHelper = true}));
    ASSERT_TRUE(zipRelease());
    const QByteArray pass = "UPDATE VERIFY PASS: checksum, app identity, Developer ID signature and notarization\n";
    const ProcessResult result = verify();
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(result.standardOutput, pass);
    EXPECT_TRUE(workFolders().isEmpty()) << "the command cleans up after itself";
    EXPECT_EQ(verify(u"2"_s, sha256Hex(fileContents(path(u"update.zip"_s))).toUpper()).standardOutput, pass);

    // The installer in this process stages each download in a work folder of its own.
    const QByteArray archive = fileContents(path(u"update.zip"_s));
    const NativeUpdateManifest manifest{.schemaVersion = 1,
                                        .product = u"tessary"_s,
                                        .version = u"2.0.0"_s,
                                        .build = 2,
                                        .downloadURL = QUrl(u"https://127.0.0.1/u.zip"_s),
                                        .sha256 = sha256Hex(archive)};
    qputenv("TMPDIR", QFile::encodeName(path(u"tmp"_s)));
    const auto first = NativeUpdateInstaller::prepare(archive, manifest, testConfiguration());
    const auto second = NativeUpdateInstaller::prepare(archive, manifest, testConfiguration());
    qunsetenv("TMPDIR");
    ASSERT_TRUE(first.hasValue() && second.hasValue()) << first.error().localizedDescription().toStdString();
    EXPECT_NE(*first, *second);
    EXPECT_EQ(workFolders().size(), 2);
}

TEST_F(UpdateArchiveTest, ChecksumAndCommandLineMistakesInTheUsersLanguage)
{
    ASSERT_TRUE(makeReleasedBundle(app(), {}));
    ASSERT_TRUE(zipRelease());
    expectFailure(verify(u"2"_s, sha256Hex("another archive")), damagedText);
    EXPECT_TRUE(workFolders().isEmpty()) << "checked before anything is written";
    expectFailure(verify(u"two"_s), damagedText);
    expectFailure(verify(u""_s), damagedText);
    // A missing archive is named.
    expectFailure(verify(u"2"_s, sha256Hex(""), path(u"missing.zip"_s)),
                  "The update archive “" + path(u"missing.zip"_s).toUtf8() + "” could not be found.");

    m_environment.insert(u"LANGUAGE"_s, u"zh_CN"_s);
    m_environment.insert(u"LANG"_s, u"zh_CN.UTF-8"_s);
    m_environment.remove(u"LC_ALL"_s);
    expectFailure(verify(u"2"_s, sha256Hex("x")), "更新包已损坏，请重新下载。");
    m_environment.insert(u"LANGUAGE"_s, u"zh_TW"_s);
    m_environment.insert(u"LANG"_s, u"zh_TW.UTF-8"_s);
    expectFailure(verify(u"3"_s), "更新套件未通過開發者簽章或公證驗證。");
}

TEST_F(UpdateArchiveTest, EveryAttackIsRejectedWithNothingInstalled)
{
    // Each changes the released bundle in release/ (then zipped), or writes update.zip itself and says so.
    const auto crafted = [this](const QJsonObject &hostile) {
        return [this, hostile] {
            const QJsonArray entries{
                entry(u"Tessary.app/Info.json"_s, QString::fromUtf8(fileContents(app() + u"/Info.json"_s))), hostile};
            return writeCraftedZip(path(u"update.zip"_s), entries);
        };
    };
    const QString seal = u"/_CodeSignature/CodeResources.json"_s;
    const QString otherKey = path(u"other.pem"_s);
    ASSERT_TRUE(makeUntrustedKey(otherKey));
    const std::pair<const char *, std::function<bool()>> attacks[] = {
        {"parentFolderEntry", crafted(entry(u"Tessary.app/../../../escaped"_s, u"x"_s))},
        {"absolutePathEntry", crafted(entry(u"/tmp/tessary-test-escaped"_s, u"x"_s))},
        {"symbolicLinkEntry", crafted(entry(u"Tessary.app/bin/tessary"_s, u"/bin/sh"_s, 0120755))},
        {"deviceEntry", crafted(entry(u"Tessary.app/dev"_s, u""_s, 0020666))},
        {"notAZip", [&] { return writeFile(path(u"update.zip"_s), QByteArray(2048, 'P')); }},
        {"truncatedZip",
         [&] {
             zipRelease();
             const QByteArray zip = fileContents(path(u"update.zip"_s));
             return writeFile(path(u"update.zip"_s), zip.left(zip.size() / 2));
         }},
        {"otherBundleName", [&] { return !QDir(release()).rename(u"Tessary.app"_s, u"Tessera.app"_s); }},
        {"otherIdentifierSignedForIt",
         [&] {
             return !(writeBundle(app(), {.identifier = u"md.velmor.other"_s}) && signBundle(app()) &&
                      notarizeBundle(app()));
         }},
        {"otherBuildSignedForIt",
         [&] { return !(writeBundle(app(), {.build = u"3"_s}) && signBundle(app()) && notarizeBundle(app())); }},
        {"otherVersionSignedForIt",
         [&] { return !(writeBundle(app(), {.version = u"2.0"_s}) && signBundle(app()) && notarizeBundle(app())); }},
        {"signedByUntrustedKey", [&] { return !(signBundle(app(), otherKey) && notarizeBundle(app())); }},
        // Genuinely notarized, so that only the developer signature can tell.
        {"untrustedKeyClaimingOurTeam",
         [&] {
             signBundle(app(), otherKey);
             const QByteArray sealed = fileContents(app() + seal);
             const qsizetype team = sealed.indexOf("\"teamIdentifier\": \"") + 19;
             return !(writeFile(app() + seal, QByteArray(sealed).replace(team, 10, testTeamIdentifier().toLatin1())) &&
                      notarizeBundle(app()));
         }},
        {"developmentSignature",
         [&] {
             return !(signBundle(app(), testDeveloperKey(), {u"--kind"_s, u"development"_s}) && notarizeBundle(app()));
         }},
        {"fileChangedAfterSigning", [&] { return !writeFile(app() + u"/bin/tessary"_s, "#!/bin/sh\necho owned\n"); }},
        {"fileAddedAfterSigning", [&] { return !writeFile(app() + u"/lib/libinjected.so"_s, "x"); }},
        {"folderAddedAfterSigning", [&] { return !QDir().mkpath(app() + u"/lib"_s); }},
        {"entryAddedToTheSeal", [&] { return !writeFile(app() + u"/_CodeSignature/extra.sig"_s, "x"); }},
        {"fileMissing", [&] { return !QFile::remove(app() + u"/share/README"_s); }},
        {"modeChanged",
         [&] {
             return !QFile::setPermissions(app() + u"/share/README"_s, QFile::permissions(app() + u"/bin/tessary"_s));
         }},
        {"symbolicLinkToASealedFile",
         [&] {
             QFile::rename(app() + u"/share/README"_s, app() + u"/README"_s);
             return !QFile::link(u"../README"_s, app() + u"/share/README"_s);
         }},
        {"notNotarized", [&] { return !QFile::remove(app() + u"/_CodeSignature/notary.sig"_s); }},
        {"notarizedByAnUntrustedKey", [&] { return !notarizeBundle(app(), otherKey); }},
    };
    for (const auto &[name, attack] : attacks) {
        SCOPED_TRACE(name);
        QDir(release()).removeRecursively();
        QDir(path(u"tmp"_s)).removeRecursively();
        QDir().mkpath(path(u"tmp"_s));
        ASSERT_TRUE(makeReleasedBundle(app(), {.files = {{u"share/README"_s, "read me"}}}));
        if (!attack()) {
            ASSERT_TRUE(zipRelease());
        }
        expectFailure(verify(), unverifiedText);
        // Nothing escaped the work folder.
        EXPECT_EQ(QDir(path(u"tmp"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                  workFolders());
        EXPECT_FALSE(QFileInfo::exists(path(u"escaped"_s)) || QFileInfo::exists(u"/tmp/tessary-test-escaped"_s));
    }
}

// The unpacking tool itself: executable bits are kept, world-writable ones are not, and nothing is overwritten.
TEST_F(UpdateArchiveTest, UnpacksKeepingExecutableBitsOnlyAndOverwritesNothing)
{
    ASSERT_TRUE(writeBundle(app(), {}));
    QFile::setPermissions(app() + u"/Info.json"_s,
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther | QFile::WriteOther);
    ASSERT_TRUE(zipRelease());
    const QString out = path(u"out"_s);
    QDir().mkpath(out);
    const QStringList ditto{u"ditto"_s, u"-x"_s, u"-k"_s, path(u"update.zip"_s), out};
    const ProcessResult result = runProcess(testTreePath(u"libexec/tessary-helper"_s), ditto);
    ASSERT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_TRUE(QFileInfo(out + u"/Tessary.app/bin/tessary"_s).isExecutable());
    EXPECT_EQ(fileContents(out + u"/Tessary.app/bin/tessary"_s), fileContents(app() + u"/bin/tessary"_s));
    EXPECT_EQ(QFileInfo(out + u"/Tessary.app/Info.json"_s).permissions(), QFile::ReadOwner | QFile::WriteOwner |
                                                                              QFile::ReadUser | QFile::WriteUser |
                                                                              QFile::ReadGroup | QFile::ReadOther);
    EXPECT_EQ(runProcess(testTreePath(u"libexec/tessary-helper"_s), ditto).exitCode, 1);
}

TEST_F(UpdateArchiveTest, InstallBundleInstallsAReleasedArchiveWithItsLauncherEntry)
{
    const ProcessResult result = install(u"2"_s);
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    EXPECT_EQ(result.standardOutput, "Installed Tessary 2.0.0 (2) in " + installed().toUtf8() + '\n');
    EXPECT_TRUE(fileContents(installed() + u"/Info.json"_s).contains("\"CFBundleVersion\": \"2\""));
    const QByteArray launcher = fileContents(path(u"data/applications/md.velmor.tessary.desktop"_s));
    EXPECT_TRUE(launcher.contains(QByteArray("\nExec=" + installed().toUtf8() + "/bin/tessary\n")))
        << launcher.toStdString();
    EXPECT_TRUE(launcher.contains(QByteArray("\nExec=" + installed().toUtf8() + "/bin/tessary --capture\n")));
    EXPECT_EQ(fileContents(path(u"data/icons/hicolor/scalable/apps/md.velmor.tessary.svg"_s)), "<svg/>");
    EXPECT_TRUE(QDir(path(u"tmp"_s)).isEmpty());

    // Installing again replaces the bundle, leaving no backup beside it.
    EXPECT_EQ(install(u"3"_s).exitCode, 0);
    EXPECT_TRUE(fileContents(installed() + u"/Info.json"_s).contains("\"CFBundleVersion\": \"3\""));
    EXPECT_EQ(QDir(path(u"home/.local/opt"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
              QStringList{u"Tessary.app"_s});
}

TEST_F(UpdateArchiveTest, InstallBundleRefusesWhatAnUpdateRefusesAndKeepsTheInstalledBundle)
{
    ASSERT_EQ(install(u"2"_s).exitCode, 0);
    const QByteArray refused =
        "Installation failed: The update failed developer signature or notarization verification.\n";
    const QList<std::pair<const char *, std::function<bool(const QString &)>>> attacks{
        {"fileChangedAfterSigning",
         [](const QString &app) { return writeFile(app + u"/bin/tessary"_s, "#!/bin/sh\necho owned\n"); }},
        {"noBuildNumber",
         [](const QString &app) {
             QFile::remove(app + u"/Info.json"_s);
             return writeBundle(app, {.build = u"none"_s}) && signBundle(app) && notarizeBundle(app);
         }},
    };
    for (const auto &[name, attack] : attacks) {
        const ProcessResult result = install(u"4"_s, attack);
        EXPECT_EQ(result.exitCode, 1) << name;
        EXPECT_EQ(result.standardError, refused) << name;
        EXPECT_TRUE(fileContents(installed() + u"/Info.json"_s).contains("\"CFBundleVersion\": \"2\"")) << name;
        QDir(path(u"release-4"_s)).removeRecursively();
        QFile::remove(path(u"release-4.zip"_s));
    }
    const ProcessResult missing =
        runProcess(testTreePath(u"bin/tessary"_s), {u"--install-bundle"_s, path(u"missing.zip"_s)}, m_environment);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.standardError.startsWith("Installation failed: ")) << missing.standardError.toStdString();
}

} // namespace
