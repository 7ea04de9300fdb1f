// The helper mode swapping real bundles: a running "old" application that the helper waits for, moves across
// file systems, the backup, the rollback and the relaunch through "tessary-helper open -n".

#include <gtest/gtest.h>

#include <unistd.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/TestEnvironment.h"
#include "tests/updater/support/UpdateFixtures.h"
#include "updater/NativeFileMove.h"
#include "updater/NativeUpdateArchiveVerification.h"
#include "updater/NativeUpdateHelper.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using namespace Tessary::Test;

namespace {

using Launch = QMap<QString, QString>;

Launch parseLaunch(const QByteArray &text)
{
    Launch launch;
    for (const QByteArray &line : text.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals > 0) {
            launch.insert(QString::fromUtf8(line.left(equals)), QString::fromUtf8(line.mid(equals + 1)));
        }
    }
    return launch;
}

QStringList hiddenEntries(const QString &folder)
{
    return QDir(folder).entryList({u".*"_s}, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

class NativeUpdateHelperTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // The installed application lives in the build tree; the staged one on another file system when there is one.
        QDir().mkpath(buildPath(u"tests/updater/work"_s));
        m_install = std::make_unique<QTemporaryDir>(buildPath(u"tests/updater/work/install-XXXXXX"_s));
        const QString other = otherFileSystemFolder();
        m_staging = std::make_unique<QTemporaryDir>((other.isEmpty() ? QDir::tempPath() : other) +
                                                    u"/tessary-staging-XXXXXX"_s);
        ASSERT_TRUE(m_install->isValid() && m_staging->isValid() && m_home.isValid() && m_records.isValid());
        m_current = m_install->filePath(u"Tessary.app"_s);
        m_staged = m_staging->filePath(u"Tessary.app"_s);
        ASSERT_TRUE(writeBundle(m_current, bundle(u"1"_s, true)));
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(u"HOME"_s, m_home.path());
        m_environment.insert(u"TESSARY_TEST_RECORD_DIR"_s, m_records.path());
    }

    void TearDown() override
    {
        if (m_old.state() != QProcess::NotRunning) {
            m_old.kill();
            m_old.waitForFinished();
        }
    }

    static BundleContents bundle(const QString &build, bool withHelper)
    {
        return BundleContents{.version = build + u".0.0"_s,
                              .build = build,
                              .executable = testTreePath(u"bin/update-test-app"_s),
                              .withHelper = withHelper};
    }

    QList<Launch> launches() const
    {
        QList<Launch> result;
        for (const QString &name : QDir(m_records.path()).entryList({u"launch-*"_s}, QDir::Files)) {
            result.append(parseLaunch(readFile(m_records.filePath(name))));
        }
        return result;
    }

    std::optional<Launch> waitForNewInstance()
    {
        std::optional<Launch> found;
        (void)QTest::qWaitFor(
            [&] {
                for (const Launch &launch : launches()) {
                    if (launch.value(u"new_instance"_s) == u"1"_s) {
                        found = launch;
                    }
                }
                return found.has_value();
            },
            30000);
        return found;
    }

    /** Starts the old application and returns its process identifier once it runs. */
    qint64 startOldApplication()
    {
        m_old.setProcessEnvironment(m_environment);
        m_old.start(m_current + u"/bin/tessary"_s, {});
        EXPECT_TRUE(m_old.waitForStarted());
        EXPECT_TRUE(QTest::qWaitFor([this] { return !launches().isEmpty(); }, 10000));
        return m_old.processId();
    }

    /** Runs the staged program in helper mode, quits the old application and waits for the helper to end. */
    void swap(qint64 parent)
    {
        QProcess helper;
        helper.setProcessEnvironment(m_environment);
        helper.start(m_staged + u"/bin/tessary"_s, {u"--native-update-helper"_s, m_current, QString::number(parent)});
        ASSERT_TRUE(helper.waitForStarted());
        // The helper must not touch the bundle while its user is still running.
        EXPECT_TRUE(readFile(m_current + u"/Info.json"_s).contains("\"1.0.0\""));
        m_old.closeWriteChannel();
        ASSERT_TRUE(m_old.waitForFinished());
        ASSERT_TRUE(helper.waitForFinished(60000));
        EXPECT_EQ(helper.exitCode(), 0);
        EXPECT_TRUE(helper.readAllStandardOutput().isEmpty());
        EXPECT_TRUE(helper.readAllStandardError().isEmpty());
    }

    std::unique_ptr<QTemporaryDir> m_install;
    std::unique_ptr<QTemporaryDir> m_staging;
    QTemporaryDir m_home;
    QTemporaryDir m_records;
    QString m_current;
    QString m_staged;
    QProcessEnvironment m_environment;
    QProcess m_old;
};

TEST_F(NativeUpdateHelperTest, ReplacesAcrossFileSystemsAndStartsNewVersion)
{
    if (deviceOf(m_staging->path()) == deviceOf(m_install->path())) {
        GTEST_SKIP() << "no second file system on this machine";
    }
    ASSERT_TRUE(writeBundle(m_staged, bundle(u"2"_s, true)));
    swap(startOldApplication());

    const std::optional<Launch> started = waitForNewInstance();
    ASSERT_TRUE(started);
    EXPECT_EQ(started->value(u"bundle"_s), QDir(m_current).canonicalPath());
    EXPECT_EQ(started->value(u"version"_s), u"2"_s);
    EXPECT_EQ(started->value(u"cwd"_s), QDir(m_home.path()).canonicalPath());
    EXPECT_TRUE(readFile(m_current + u"/Info.json"_s).contains("\"2.0.0\""));
    EXPECT_TRUE(QFileInfo(m_current + u"/bin/tessary"_s).isExecutable());
    EXPECT_FALSE(QFileInfo::exists(m_staged));
    EXPECT_EQ(hiddenEntries(m_install->path()), QStringList());
    EXPECT_EQ(QDir(m_install->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList{u"Tessary.app"_s});
}

TEST_F(NativeUpdateHelperTest, RestoresOldVersionWhenNewOneCannotStart)
{
    // Without its libexec/ the new bundle cannot be opened, which is found only after it was moved into place.
    ASSERT_TRUE(writeBundle(m_staged, bundle(u"2"_s, false)));
    swap(startOldApplication());

    const std::optional<Launch> started = waitForNewInstance();
    ASSERT_TRUE(started);
    EXPECT_EQ(started->value(u"version"_s), u"1"_s);
    EXPECT_EQ(started->value(u"bundle"_s), QDir(m_current).canonicalPath());
    EXPECT_TRUE(readFile(m_current + u"/Info.json"_s).contains("\"1.0.0\""));
    EXPECT_EQ(hiddenEntries(m_install->path()), QStringList());
}

TEST_F(NativeUpdateHelperTest, LeavesEverythingWhenInstallFolderIsReadOnly)
{
    ASSERT_TRUE(writeBundle(m_staged, bundle(u"2"_s, true)));
    // Root ignores folder permissions; the immutable attribute stops it as well.
    const bool root = ::geteuid() == 0;
    if (root) {
        if (runProcess(u"chattr"_s, {u"+i"_s, m_install->path()}).exitCode != 0) {
            GTEST_SKIP() << "cannot make the folder immutable on this file system";
        }
    } else {
        QFile::setPermissions(m_install->path(), QFile::ReadOwner | QFile::ExeOwner);
    }
    const auto restore = qScopeGuard([this, root] {
        if (root) {
            runProcess(u"chattr"_s, {u"-i"_s, m_install->path()});
        } else {
            QFile::setPermissions(m_install->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        }
    });
    swap(startOldApplication());

    const std::optional<Launch> started = waitForNewInstance();
    ASSERT_TRUE(started);
    EXPECT_EQ(started->value(u"version"_s), u"1"_s);
    EXPECT_TRUE(readFile(m_staged + u"/Info.json"_s).contains("\"2.0.0\""));
    EXPECT_EQ(hiddenEntries(m_install->path()), QStringList());
}

TEST_F(NativeUpdateHelperTest, GivesUpWhileOldApplicationKeepsRunning)
{
    ASSERT_TRUE(writeBundle(m_staged, bundle(u"2"_s, true)));
    const qint64 parent = startOldApplication();
    QProcess helper;
    helper.setProcessEnvironment(m_environment);
    helper.start(m_staged + u"/bin/tessary"_s, {u"--native-update-helper"_s, m_current, QString::number(parent)});
    // The helper waits 20 seconds for the application to quit, then leaves everything as it was.
    ASSERT_TRUE(helper.waitForFinished(60000));
    EXPECT_EQ(helper.exitCode(), 0);
    EXPECT_EQ(m_old.state(), QProcess::Running);
    EXPECT_TRUE(readFile(m_current + u"/Info.json"_s).contains("\"1.0.0\""));
    EXPECT_TRUE(readFile(m_staged + u"/Info.json"_s).contains("\"2.0.0\""));
    // What is installed is started again (a second instance of the old version), so the user is never left with none.
    const std::optional<Launch> started = waitForNewInstance();
    ASSERT_TRUE(started);
    EXPECT_EQ(started->value(u"version"_s), u"1"_s);
}

TEST(NativeUpdateHelperArgumentsTest, DeclinesEverythingButItsExactCommandLine)
{
    const QString flag = u"--native-update-helper"_s;
    const QList<QStringList> declined{
        {u"tessary"_s},
        {u"tessary"_s, flag, u"/opt/Tessary.app"_s},
        {u"tessary"_s, flag, u"/opt/Tessary.app"_s, u"123"_s, u"extra"_s},
        {u"tessary"_s, u"/opt/Tessary.app"_s, flag, u"123"_s},
        {u"tessary"_s, flag, u"/opt/Tessary.app"_s, u"abc"_s},
        {u"tessary"_s, flag, u"/opt/Tessary.app"_s, u""_s},
        {u"tessary"_s, flag, u"/opt/Tessary.app"_s, u"2147483648"_s},
        {u"tessary"_s, flag, u"/opt/Tessary.app"_s, u"12 "_s},
    };
    for (const QStringList &arguments : declined) {
        EXPECT_FALSE(NativeUpdateHelper::runIfRequested(arguments)) << arguments.join(u' ').toStdString();
    }
    const NativeUpdateConfiguration configuration = testConfiguration();
    const QString verify = u"--verify-update-archive"_s;
    EXPECT_FALSE(
        NativeUpdateArchiveVerification::runIfRequested(configuration, {u"t"_s, verify, u"a"_s, u"b"_s, u"c"_s}));
    EXPECT_FALSE(NativeUpdateArchiveVerification::runIfRequested(
        configuration, {u"t"_s, verify, u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s}));
    EXPECT_FALSE(NativeUpdateArchiveVerification::runIfRequested(configuration,
                                                                 {u"t"_s, u"a"_s, verify, u"b"_s, u"c"_s, u"d"_s}));
}

TEST(NativeFileMoveTest, MovesTreeAcrossFileSystemsWithModes)
{
    const QString other = otherFileSystemFolder();
    if (other.isEmpty()) {
        GTEST_SKIP() << "no second file system on this machine";
    }
    QTemporaryDir source(other + u"/tessary-move-XXXXXX"_s);
    QDir().mkpath(buildPath(u"tests/updater/work"_s));
    QTemporaryDir target(buildPath(u"tests/updater/work/move-XXXXXX"_s));
    ASSERT_TRUE(writeBundle(source.filePath(u"Tessary.app"_s), {}));
    const QByteArray executable = readFile(source.filePath(u"Tessary.app/bin/tessary"_s));

    // Something already at the destination is never replaced.
    writeFile(target.filePath(u"Taken.app/keep"_s), "mine");
    EXPECT_FALSE(moveItem(source.filePath(u"Tessary.app"_s), target.filePath(u"Taken.app"_s)).hasValue());
    EXPECT_EQ(readFile(target.filePath(u"Taken.app/keep"_s)), "mine");

    ASSERT_TRUE(moveItem(source.filePath(u"Tessary.app"_s), target.filePath(u"Tessary.app"_s)).hasValue());
    EXPECT_FALSE(QFileInfo::exists(source.filePath(u"Tessary.app"_s)));
    EXPECT_EQ(readFile(target.filePath(u"Tessary.app/bin/tessary"_s)), executable);
    EXPECT_TRUE(QFileInfo(target.filePath(u"Tessary.app/bin/tessary"_s)).isExecutable());
    EXPECT_EQ(hiddenEntries(target.path()), QStringList());
}
