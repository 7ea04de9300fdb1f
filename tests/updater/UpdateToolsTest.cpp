// The updater's tools in tessary-helper (built with the test keys), run as the installer runs them.

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/UpdateFixtures.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

ProcessResult tool(const QStringList &arguments)
{
    return runProcess(testTreePath(u"libexec/tessary-helper"_s), arguments);
}

QString requirement(const QString &team, const QString &identifier)
{
    return u"=anchor apple generic and certificate leaf[subject.OU] = \""_s + team + u"\" and identifier \""_s +
           identifier + u"\" and certificate leaf[field.1.2.840.113635.100.6.1.13] exists"_s;
}

ProcessResult codesign(const QString &bundle, const QString &team = testTeamIdentifier(),
                       const QString &identifier = u"md.velmor.tessary"_s)
{
    return tool(
        {u"codesign"_s, u"--verify"_s, u"--deep"_s, u"--strict"_s, u"-R"_s, requirement(team, identifier), bundle});
}

ProcessResult spctl(const QString &bundle)
{
    return tool({u"spctl"_s, u"--assess"_s, u"--type"_s, u"execute"_s, bundle});
}

QStringList filesUnder(const QString &folder)
{
    QStringList files;
    QDirIterator it(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files.append(QDir(folder).relativeFilePath(it.next()));
    }
    return files;
}

} // namespace

class DittoToolTest : public ::testing::Test
{
protected:
    QString path(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
};

TEST_F(DittoToolTest, UnpacksBundleKeepingExecutableBitsOnly)
{
    ASSERT_TRUE(writeBundle(path(u"in/Tessary.app"_s), {}));
    QFile::setPermissions(path(u"in/Tessary.app/Info.json"_s),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther | QFile::WriteOther);
    ASSERT_TRUE(zipFolderContents(path(u"in"_s), path(u"a.zip"_s)));
    QDir().mkpath(path(u"out"_s));
    const ProcessResult result = tool({u"ditto"_s, u"-x"_s, u"-k"_s, path(u"a.zip"_s), path(u"out"_s)});
    ASSERT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    const QFileInfo executable(path(u"out/Tessary.app/bin/tessary"_s));
    EXPECT_TRUE(executable.isExecutable());
    EXPECT_EQ(readFile(executable.filePath()), readFile(path(u"in/Tessary.app/bin/tessary"_s)));
    // World-writable in the archive is not world-writable on disk.
    EXPECT_EQ(QFileInfo(path(u"out/Tessary.app/Info.json"_s)).permissions(), QFile::ReadOwner | QFile::WriteOwner |
                                                                                 QFile::ReadUser | QFile::WriteUser |
                                                                                 QFile::ReadGroup | QFile::ReadOther);

    // Unpacking again must not overwrite what is there.
    EXPECT_EQ(tool({u"ditto"_s, u"-x"_s, u"-k"_s, path(u"a.zip"_s), path(u"out"_s)}).exitCode, 1);
}

struct ZipAttack
{
    const char *name;
    QJsonObject entry;
    const char *reason;
};

class DittoAttackTest : public DittoToolTest, public ::testing::WithParamInterface<ZipAttack>
{
};

TEST_P(DittoAttackTest, RefusesWholeArchiveBeforeWritingAnything)
{
    const QJsonArray entries{
        QJsonObject{{u"name"_s, u"Tessary.app/Info.json"_s}, {u"data"_s, u"{}"_s}},
        GetParam().entry,
        QJsonObject{{u"name"_s, u"Tessary.app/bin/tessary"_s}, {u"data"_s, u"x"_s}, {u"mode"_s, 0100755}},
    };
    ASSERT_TRUE(writeCraftedZip(path(u"bad.zip"_s), entries));
    const QString out = path(u"work/out"_s);
    QDir().mkpath(out);
    const ProcessResult result = tool({u"ditto"_s, u"-x"_s, u"-k"_s, path(u"bad.zip"_s), out});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.standardError.contains(GetParam().reason)) << result.standardError.toStdString();
    EXPECT_EQ(filesUnder(path(u"work"_s)), QStringList{u"out"_s});
}

INSTANTIATE_TEST_SUITE_P(
    Archives, DittoAttackTest,
    ::testing::Values(
        ZipAttack{"parentFolder", {{u"name"_s, u"Tessary.app/../../escaped"_s}, {u"data"_s, u"x"_s}}, "leaves"},
        ZipAttack{"leadingDotDot", {{u"name"_s, u"../escaped"_s}, {u"data"_s, u"x"_s}}, "leaves"},
        ZipAttack{"absolutePath", {{u"name"_s, u"/tmp/tessary-escaped"_s}, {u"data"_s, u"x"_s}}, "absolute"},
        ZipAttack{"symbolicLink",
                  {{u"name"_s, u"Tessary.app/lib"_s}, {u"data"_s, u"/usr/lib"_s}, {u"mode"_s, 0120777}},
                  "symbolic link"},
        ZipAttack{"characterDevice",
                  {{u"name"_s, u"Tessary.app/null"_s}, {u"data"_s, u""_s}, {u"mode"_s, 0020666}},
                  "special file"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(DittoToolTest, RefusesDamagedArchives)
{
    ASSERT_TRUE(writeBundle(path(u"in/Tessary.app"_s), {}));
    ASSERT_TRUE(zipFolderContents(path(u"in"_s), path(u"a.zip"_s)));
    const QByteArray zip = readFile(path(u"a.zip"_s));
    QByteArray flipped = zip;
    flipped[60] = char(flipped[60] ^ 0x55);
    const QList<QByteArray> damaged{zip.left(zip.size() / 2), flipped, QByteArray(4096, 'z'), QByteArray()};
    for (qsizetype i = 0; i < damaged.size(); ++i) {
        writeFile(path(u"bad.zip"_s), damaged[i]);
        const QString out = path(u"out%1"_s.arg(i));
        QDir().mkpath(out);
        EXPECT_EQ(tool({u"ditto"_s, u"-x"_s, u"-k"_s, path(u"bad.zip"_s), out}).exitCode, 1) << i;
        EXPECT_TRUE(filesUnder(out).isEmpty()) << i;
    }
}

class CodeSignToolTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_bundle = m_dir.filePath(u"Tessary.app"_s);
        ASSERT_TRUE(writeBundle(m_bundle, {.withHelper = true, .files = {{u"share/doc/README"_s, "read me"}}}));
        ASSERT_TRUE(signBundle(m_bundle));
        ASSERT_TRUE(notarizeBundle(m_bundle));
    }

    void expectRejected(const char *reason)
    {
        const ProcessResult signature = codesign(m_bundle);
        EXPECT_EQ(signature.exitCode, 1);
        EXPECT_TRUE(signature.standardError.contains(reason)) << signature.standardError.toStdString();
        EXPECT_EQ(spctl(m_bundle).exitCode, 1);
    }

    QTemporaryDir m_dir;
    QString m_bundle;
};

TEST_F(CodeSignToolTest, AcceptsBundleSignedAndNotarizedWithTrustedKeys)
{
    const ProcessResult signature = codesign(m_bundle);
    EXPECT_EQ(signature.exitCode, 0) << signature.standardError.toStdString();
    const ProcessResult plain = tool({u"codesign"_s, u"--verify"_s, u"--deep"_s, u"--strict"_s, m_bundle});
    EXPECT_EQ(plain.exitCode, 0) << plain.standardError.toStdString();
    const ProcessResult assessment = spctl(m_bundle);
    EXPECT_EQ(assessment.exitCode, 0) << assessment.standardError.toStdString();
}

TEST_F(CodeSignToolTest, RequirementNamesTeamAndIdentifierExactly)
{
    EXPECT_EQ(codesign(m_bundle, u"ABCDEF0123"_s).exitCode, 1);
    EXPECT_EQ(codesign(m_bundle, testTeamIdentifier(), u"md.velmor.other"_s).exitCode, 1);
    EXPECT_EQ(codesign(m_bundle, testTeamIdentifier().toLower()).exitCode, 1);
    const ProcessResult loose =
        tool({u"codesign"_s, u"--verify"_s, u"--deep"_s, u"--strict"_s, u"-R"_s, u"=anchor apple generic"_s, m_bundle});
    EXPECT_EQ(loose.exitCode, 1);
    EXPECT_TRUE(loose.standardError.contains("unsupported requirement"));
}

TEST_F(CodeSignToolTest, RejectsFileChangedAfterSigning)
{
    writeFile(m_bundle + u"/share/doc/README"_s, "read me!");
    expectRejected("modified after signing: share/doc/README");
}

TEST_F(CodeSignToolTest, RejectsAddedFileAndFolder)
{
    writeFile(m_bundle + u"/lib/libinjected.so"_s, "x");
    expectRejected("added after signing: lib/libinjected.so");
    QFile::remove(m_bundle + u"/lib/libinjected.so"_s);
    expectRejected("folder added after signing: lib");
    QDir().rmdir(m_bundle + u"/lib"_s);
    writeFile(m_bundle + u"/_CodeSignature/extra.sig"_s, "x");
    expectRejected("unexpected entry in _CodeSignature");
}

TEST_F(CodeSignToolTest, RejectsMissingFileAndChangedMode)
{
    QFile::rename(m_bundle + u"/share/doc/README"_s, m_dir.filePath(u"README"_s));
    expectRejected("file missing: share/doc/README");
    QFile::rename(m_dir.filePath(u"README"_s), m_bundle + u"/share/doc/README"_s);
    QFile::setPermissions(m_bundle + u"/share/doc/README"_s, QFile::permissions(m_bundle + u"/bin/tessary"_s));
    expectRejected("mode changed after signing: share/doc/README");
}

TEST_F(CodeSignToolTest, RejectsSymbolicLinksEvenToSealedFiles)
{
    QFile::rename(m_bundle + u"/share/doc/README"_s, m_bundle + u"/README"_s);
    QFile::link(u"../../README"_s, m_bundle + u"/share/doc/README"_s);
    expectRejected("symbolic link in bundle: share/doc/README");
}

TEST_F(CodeSignToolTest, RejectsSealsOfOtherKeysKindsAndIdentifiers)
{
    const QString otherKey = m_dir.filePath(u"other.pem"_s);
    ASSERT_TRUE(makeUntrustedKey(otherKey));
    ASSERT_TRUE(signBundle(m_bundle, otherKey));
    expectRejected("requirement not met");
    const ProcessResult plain = tool({u"codesign"_s, u"--verify"_s, u"--deep"_s, u"--strict"_s, m_bundle});
    EXPECT_TRUE(plain.standardError.contains("no trusted developer key for team")) << plain.standardError.toStdString();
    // Claiming the trusted team does not help: the seal is then checked with that team's key.
    const QString resources = m_bundle + u"/_CodeSignature/CodeResources.json"_s;
    const QByteArray sealed = readFile(resources);
    const qsizetype team = sealed.indexOf("\"teamIdentifier\": \"") + 19;
    writeFile(resources, QByteArray(sealed).replace(team, 10, testTeamIdentifier().toLatin1()));
    expectRejected("developer signature does not match");

    ASSERT_TRUE(signBundle(m_bundle, testDeveloperKey(), {u"--kind"_s, u"development"_s}));
    expectRejected("not a Developer ID signature");

    // Sealed for the right identifier while Info.json names another application.
    writeFile(m_bundle + u"/Info.json"_s, readFile(m_bundle + u"/Info.json"_s).replace("md.velmor.tessary", "md.x.y"));
    ASSERT_TRUE(signBundle(m_bundle, testDeveloperKey(), {u"--identifier"_s, u"md.velmor.tessary"_s}));
    expectRejected("Info.json does not carry the signed identifier");
}

TEST_F(CodeSignToolTest, RejectsSealRewrittenWithoutTheKey)
{
    // The attacker changes a file and updates its hash in the seal, but cannot sign the new seal.
    writeFile(m_bundle + u"/share/doc/README"_s, "evil");
    const QString resources = m_bundle + u"/_CodeSignature/CodeResources.json"_s;
    writeFile(resources, readFile(resources).replace(sha256Hex("read me").toLatin1(), sha256Hex("evil").toLatin1()));
    expectRejected("developer signature does not match");
}

TEST_F(CodeSignToolTest, NotarizationNeedsTrustedNotaryOverThisSeal)
{
    const QString notary = m_bundle + u"/_CodeSignature/notary.sig"_s;
    const QByteArray countersignature = readFile(notary);
    QFile::remove(notary);
    EXPECT_EQ(codesign(m_bundle).exitCode, 0);
    ProcessResult assessment = spctl(m_bundle);
    EXPECT_EQ(assessment.exitCode, 1);
    EXPECT_TRUE(assessment.standardError.contains("not notarized")) << assessment.standardError.toStdString();

    const QString otherKey = m_dir.filePath(u"other.pem"_s);
    ASSERT_TRUE(makeUntrustedKey(otherKey));
    ASSERT_TRUE(notarizeBundle(m_bundle, otherKey));
    assessment = spctl(m_bundle);
    EXPECT_EQ(assessment.exitCode, 1);
    EXPECT_TRUE(assessment.standardError.contains("not made by a trusted notary key"));

    // A notarized build changed and re-signed by the developer needs notarizing again.
    writeFile(m_bundle + u"/share/doc/README"_s, "changed");
    ASSERT_TRUE(signBundle(m_bundle));
    writeFile(notary, countersignature);
    EXPECT_EQ(codesign(m_bundle).exitCode, 0);
    EXPECT_EQ(spctl(m_bundle).exitCode, 1);
}

TEST(OpenToolTest, StartsBundleAsNewInstanceInHomeFolder)
{
    QTemporaryDir dir;
    const QString bundle = dir.filePath(u"Tessary.app"_s);
    ASSERT_TRUE(writeBundle(bundle, {}));
    const QString record = dir.filePath(u"started"_s);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TESSARY_TEST_RECORD"_s, record);
    environment.insert(u"HOME"_s, dir.path());
    const ProcessResult result =
        runProcess(testTreePath(u"libexec/tessary-helper"_s), {u"open"_s, u"-n"_s, bundle}, environment);
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    ASSERT_TRUE(QTest::qWaitFor([&record] { return QFile::exists(record); }, 10000));
    const QByteArray started = readFile(record);
    EXPECT_TRUE(started.contains("argc=0\n"));
    EXPECT_TRUE(started.contains("new_instance=1\n"));
    const QByteArray folder = "cwd=" + QFile::encodeName(QDir(dir.path()).canonicalPath()) + '\n';
    EXPECT_TRUE(started.contains(folder)) << started.toStdString();

    QFile::remove(bundle + u"/bin/tessary"_s);
    EXPECT_EQ(runProcess(testTreePath(u"libexec/tessary-helper"_s), {u"open"_s, u"-n"_s, bundle}).exitCode, 1);
}
