// The helper mode swapping real bundles: a running "old" application that the helper waits for, the move across
// file systems, the backup, the rollback and the relaunch through "tessary-helper open -n".

#include <gtest/gtest.h>

#include <unistd.h>

#include <QDir>
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

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

BundleContents version(const QString &build, bool withHelper = true)
{
    return {.version = build + u".0.0"_s,
            .build = build,
            .executable = testTreePath(u"bin/update-test-app"_s),
            .withHelper = withHelper};
}

/** Makes the folder read-only (for root, which ignores permissions, immutable) until the guard ends. */
std::optional<QScopeGuard<std::function<void()>>> readOnly(const QString &folder)
{
    if (::geteuid() != 0) {
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner);
        return qScopeGuard(std::function<void()>(
            [folder] { QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner); }));
    }
    if (runProcess(u"chattr"_s, {u"+i"_s, folder}).exitCode != 0) {
        return std::nullopt;
    }
    return qScopeGuard(std::function<void()>([folder] { runProcess(u"chattr"_s, {u"-i"_s, folder}); }));
}

TEST(NativeUpdateHelperTest, SwapsInTheNewVersionOrLeavesTheOldOneRunning)
{
    enum Case { crossesFileSystems, newVersionCannotStart, installFolderReadOnly, oldKeepsRunning };
    for (const Case scenario : {crossesFileSystems, newVersionCannotStart, installFolderReadOnly, oldKeepsRunning}) {
        SCOPED_TRACE(int(scenario));
        // The installed application lives in the build tree; the staged one on another file system when there is one.
        QDir().mkpath(buildPath(u"tests/updater/work"_s));
        QTemporaryDir install(buildPath(u"tests/updater/work/install-XXXXXX"_s));
        const QString other = otherFileSystemFolder();
        QTemporaryDir staging((other.isEmpty() ? QDir::tempPath() : other) + u"/tessary-staging-XXXXXX"_s);
        QTemporaryDir home;
        QTemporaryDir records;
        const QString current = install.filePath(u"Tessary.app"_s);
        const QString staged = staging.filePath(u"Tessary.app"_s);
        // Without its libexec/ the new bundle cannot be opened, which is found only after it was moved into place.
        ASSERT_TRUE(writeBundle(current, version(u"1"_s)) &&
                    writeBundle(staged, version(u"2"_s, scenario != newVersionCannotStart)));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, home.path());
        environment.insert(u"TESSARY_TEST_RECORD_DIR"_s, records.path());
        if (scenario == oldKeepsRunning) {
            environment.insert(u"TESSARY_UPDATE_HELPER_QUIT_TIMEOUT_MS"_s, u"500"_s); // instead of 20 s
        }
        const auto guard = scenario == installFolderReadOnly ? readOnly(install.path()) : std::nullopt;
        if (scenario == installFolderReadOnly && !guard) {
            GTEST_SKIP() << "cannot make the folder immutable on this file system";
        }

        QProcess old;
        old.setProcessEnvironment(environment);
        old.start(current + u"/bin/tessary"_s, {});
        ASSERT_TRUE(old.waitForStarted());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !entries(records.path()).isEmpty(); }, 30000));
        QProcess helper;
        helper.setProcessEnvironment(environment);
        helper.start(staged + u"/bin/tessary"_s,
                     {u"--native-update-helper"_s, current, QString::number(old.processId())});
        ASSERT_TRUE(helper.waitForStarted());
        if (scenario != oldKeepsRunning) {
            // The helper must not touch the bundle while its user is still running.
            EXPECT_TRUE(fileContents(current + u"/Info.json"_s).contains("\"1.0.0\""));
            old.closeWriteChannel();
            ASSERT_TRUE(old.waitForFinished());
        }
        ASSERT_TRUE(helper.waitForFinished(60000));
        EXPECT_EQ(helper.exitCode(), 0);
        EXPECT_TRUE(helper.readAll().isEmpty());
        EXPECT_EQ(old.state(), scenario == oldKeepsRunning ? QProcess::Running : QProcess::NotRunning);
        old.kill();
        old.waitForFinished();

        // One new instance is started: the new version, or whatever is installed, so the user is never left with none.
        QByteArray started;
        ASSERT_TRUE(QTest::qWaitFor(
            [&] {
                for (const QString &name : entries(records.path())) {
                    const QByteArray launch = fileContents(records.filePath(name));
                    started = launch.contains("new_instance=1\n") ? launch : started;
                }
                return !started.isEmpty();
            },
            30000));
        const bool replaced = scenario == crossesFileSystems;
        EXPECT_TRUE(started.contains(replaced ? "version=2\n" : "version=1\n")) << started.toStdString();
        EXPECT_TRUE(started.contains(QByteArray("bundle=" + QFile::encodeName(QDir(current).canonicalPath()) + '\n')));
        EXPECT_TRUE(started.contains(QByteArray("cwd=" + QFile::encodeName(QDir(home.path()).canonicalPath()) + '\n')));
        EXPECT_TRUE(fileContents(current + u"/Info.json"_s).contains(replaced ? "\"2.0.0\"" : "\"1.0.0\""));
        EXPECT_TRUE(QFileInfo(current + u"/bin/tessary"_s).isExecutable());
        if (scenario != newVersionCannotStart) {
            EXPECT_EQ(QFileInfo::exists(staged), !replaced);
        }
        EXPECT_EQ(entries(install.path()), QStringList{u"Tessary.app"_s}) << "no backup or half-moved copy stays";
    }
}

TEST(NativeUpdateHelperTest, DeclinesEverythingButItsExactCommandLine)
{
    const QString flag = u"--native-update-helper"_s;
    const QString app = u"/opt/Tessary.app"_s;
    for (const QStringList &arguments : QList<QStringList>{{u"t"_s, flag, app, u"123"_s, u"extra"_s},
                                                           {u"t"_s, app, flag, u"123"_s},
                                                           {u"t"_s, flag, app, u"abc"_s},
                                                           {u"t"_s, flag, app, u"2147483648"_s}}) {
        EXPECT_FALSE(NativeUpdateHelper::runIfRequested(arguments)) << arguments.join(u' ').toStdString();
    }
    const QString verify = u"--verify-update-archive"_s;
    for (const QStringList &arguments : QList<QStringList>{{u"t"_s, verify, u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s},
                                                           {u"t"_s, u"a"_s, verify, u"b"_s, u"c"_s, u"d"_s}}) {
        EXPECT_FALSE(NativeUpdateArchiveVerification::runIfRequested(testConfiguration(), arguments));
    }
}

TEST(NativeUpdateHelperTest, MovesNeverReplaceWhatIsThere)
{
    QTemporaryDir dir;
    ASSERT_TRUE(writeBundle(dir.filePath(u"Tessary.app"_s), {}));
    writeFile(dir.filePath(u"Taken.app/keep"_s), "mine");
    EXPECT_FALSE(moveItem(dir.filePath(u"Tessary.app"_s), dir.filePath(u"Taken.app"_s)).hasValue());
    EXPECT_EQ(fileContents(dir.filePath(u"Taken.app/keep"_s)), "mine");
    EXPECT_TRUE(QFileInfo::exists(dir.filePath(u"Tessary.app/Info.json"_s)));
}

} // namespace
