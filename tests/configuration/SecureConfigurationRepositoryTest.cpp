// The configuration file on real files and folders: the repository that reads and writes it, the monitor that
// reports its changes, and writers killed in the middle of writing.

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <thread>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include "configuration/SecureConfigurationFileMonitor.h"
#include "configuration/SecureConfigurationRepository.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;
using Code = SecureConfigurationError::Code;
using Tessary::Test::fileContents;

namespace {

class SecureConfigurationRepositoryTest : public ::testing::Test
{
protected:
    QString folder() const { return m_dir.filePath(u"Sync/Tessary"_s); }
    QString path(const QString &name = u"config.json"_s) const { return folder() + u'/' + name; }

    /** Writes in place, as an editor or another program would. */
    static void writeFile(const QString &file, const QByteArray &bytes = "{}")
    {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(file).absolutePath()));
        QFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        ASSERT_EQ(out.write(bytes), bytes.size());
    }

    static mode_t permissions(const QString &file)
    {
        struct stat status
        {
        };
        return ::stat(QFile::encodeName(file).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
    }

    QStringList folderEntries() const
    {
        return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QTemporaryDir m_dir;
};

TEST_F(SecureConfigurationRepositoryTest, WritesOnlyOverTheBytesItLastSaw)
{
    SecureConfigurationRepository first(m_dir.filePath(u"Sync/./Tessary/../Tessary/config.json"_s));
    EXPECT_EQ(first.path(), path());
    EXPECT_FALSE(first.isCurrent(QByteArray()));
    ASSERT_TRUE(first.write("{\"a\":1}"));
    EXPECT_EQ(fileContents(path()), "{\"a\":1}");
    EXPECT_TRUE(first.isCurrent("{\"a\":1}"));
    EXPECT_FALSE(first.isCurrent("{\"a\":2}"));
    EXPECT_EQ(permissions(path()), mode_t(0600));
    EXPECT_EQ(folderEntries(), QStringList{u"config.json"_s}) << "no temporary file stays behind";

    // Never read, the file on disk is someone else's. Leftovers of a killed writer are ignored and removed.
    writeFile(path(), "{\"old\":true}");
    ASSERT_EQ(::chmod(QFile::encodeName(path()).constData(), 0640), 0);
    writeFile(path(u".config.json.tessary-k3x9a7.tmp"_s), "{\"half");
    writeFile(path(u".config.json.tessary-notes.txt"_s), "not ours");
    SecureConfigurationRepository repository(path());
    const auto unseen = repository.write("{\"new\":true}");
    ASSERT_FALSE(unseen);
    EXPECT_EQ(unseen.error().code, Code::ExternalChange);
    EXPECT_EQ(unseen.error().description, u"配置已被其它设备或程序修改，请重新加载后再编辑。"_s);
    EXPECT_EQ(fileContents(path()), "{\"old\":true}");
    EXPECT_EQ(repository.revision(), 0);
    EXPECT_EQ(repository.read().valueOr(QByteArray()), "{\"old\":true}");
    ASSERT_TRUE(repository.write("{\"new\":true}"));
    ASSERT_TRUE(repository.write("{\"newer\":true}")) << "its own write is the new baseline";
    EXPECT_EQ(permissions(path()), mode_t(0640)) << "an existing file keeps its permission bits";
    EXPECT_EQ(folderEntries(), (QStringList{u".config.json.tessary-notes.txt"_s, u"config.json"_s}));

    // Replaced by another instance (same size, other bytes) or renamed away between read and write: never
    // overwritten, and a file gone is not brought back.
    const std::function<void()> changes[] = {
        [&] { ASSERT_TRUE(SecureConfigurationRepository(path()).replace("{\"NEWER\":true}")); },
        [&] { ASSERT_TRUE(QFile::rename(path(), path(u"elsewhere.json"_s))); },
    };
    for (const auto &change : changes) {
        const QByteArray before = repository.read().valueOr(QByteArray());
        const qint64 revision = repository.revision();
        change();
        const QByteArray after = fileContents(path());
        EXPECT_NE(after, before);
        EXPECT_EQ(repository.write("{\"mine\":1}").error().code, Code::ExternalChange);
        EXPECT_EQ(fileContents(path()), after);
        EXPECT_EQ(repository.revision(), revision);
    }
    // Renamed back with the very bytes read: only the content matters.
    ASSERT_TRUE(QFile::rename(path(u"elsewhere.json"_s), path()));
    ASSERT_TRUE(repository.write("{\"mine\":1}"));
    EXPECT_EQ(fileContents(path()), "{\"mine\":1}");
}

TEST_F(SecureConfigurationRepositoryTest, SizeLimitIsFiveMillionBytes)
{
    const QByteArray atLimit(5'000'000, 'a');
    const QByteArray overLimit(5'000'001, 'a');
    SecureConfigurationRepository adopting(path());
    EXPECT_TRUE(adopting.adopt(atLimit));
    EXPECT_EQ(adopting.adopt(overLimit).error().code, Code::TooLarge);
    EXPECT_TRUE(adopting.isCurrent(atLimit));

    SecureConfigurationRepository writing(path());
    EXPECT_EQ(writing.write(overLimit).error().code, Code::TooLarge);
    EXPECT_FALSE(QFileInfo::exists(folder())) << "refused before touching the disk";
    ASSERT_TRUE(writing.write(atLimit));

    SecureConfigurationRepository reading(path());
    EXPECT_EQ(reading.read().valueOr(QByteArray()).size(), 5'000'000);
    writeFile(path(), overLimit);
    EXPECT_EQ(reading.read().error().code, Code::TooLarge);
    EXPECT_EQ(reading.revision(), 1);
}

TEST_F(SecureConfigurationRepositoryTest, ReplaceBacksUpTheOldFileAndIgnoresTheBaseline)
{
    SecureConfigurationRepository repository(path());
    const QString backup = m_dir.filePath(u"Backups/deep/icloud-1.json"_s);
    ASSERT_TRUE(repository.replace("{\"first\":1}", backup));
    EXPECT_FALSE(QFile::exists(backup)) << "no file yet, so nothing to back up";

    writeFile(path(), "{\"theirs\":1}");
    ASSERT_TRUE(repository.replace("{\"ours\":1}", backup));
    EXPECT_EQ(fileContents(backup), "{\"theirs\":1}");
    EXPECT_EQ(fileContents(path()), "{\"ours\":1}");
    ASSERT_TRUE(repository.write("{\"ours\":2}")) << "the replaced bytes are the baseline";

    // A backup that cannot be made stops the replace: the old file stays.
    writeFile(m_dir.filePath(u"Blocked"_s), "a file where the backup folder should be");
    EXPECT_EQ(repository.replace("{\"ours\":3}", m_dir.filePath(u"Blocked/icloud-2.json"_s)).error().code,
              Code::System);
    EXPECT_EQ(fileContents(path()), "{\"ours\":2}");
    EXPECT_EQ(repository.revision(), 3);
}

// Conflict copies as the sync tools name them stop reading and writing until settled; names that only look alike
// do not. An explicit replace goes through, leaving the copy for the user to settle.
TEST_F(SecureConfigurationRepositoryTest, ConflictCopiesStopReadingAndWritingButNotAReplace)
{
    // One name per tool, in any case, and with Dropbox's number for a second copy.
    const QStringList conflicts =
        QString::fromUtf8(
            "Config.Sync-Conflict-20261123-101500-abc2def.JSON|"
            "config (conflicted copy 2026-11-23 101500).json|config_conflict-20261123-101500.json|"
            "config (laptop conflicted copy 2026-11-23).json|config (laptop conflicted copy 2026-11-23) (2).json")
            .split(u'|');
    // Each differs from a copy's name in one part of it.
    const QStringList lookAlikes =
        QString::fromUtf8("config.sync-conflict-20261123-101500-ABCDEF.json|"
                          "config.sync-conflict-20261123-1015-ABCDEFG.json|"
                          "settings.sync-conflict-20261123-101500-ABCDEFG.json|"
                          "config.sync-conflict-20261123-101500-ABCDEFG.txt|"
                          "config.json.sync-conflict-20261123-101500-ABCDEFG|config (conflicted copy 2026-11-23).json|"
                          "config_conflict-20261123.json|config (laptop conflicted copy 2026-11-23) 2.json|"
                          "old config.sync-conflict-20261123-101500-ABCDEFG.json|.config.json.tessary-k3x9a7.tmp")
            .split(u'|');
    writeFile(path(), "{\"v\":1}");
    SecureConfigurationRepository repository(path());
    ASSERT_TRUE(repository.read());
    for (const QString &name : conflicts + lookAlikes) {
        SCOPED_TRACE(name.toStdString());
        const bool isConflict = conflicts.contains(name);
        const QString copy = path(name);
        writeFile(copy, "{\"v\":\"theirs\"}");
        const auto read = SecureConfigurationRepository(path()).read();
        EXPECT_EQ(!read, isConflict);
        if (isConflict) {
            EXPECT_EQ(read.error().code, Code::Conflict);
            EXPECT_EQ(repository.write("{\"v\":2}").error().code, Code::Conflict);
            EXPECT_EQ(fileContents(path()), "{\"v\":1}");
        }
        ASSERT_TRUE(QFile::remove(copy));
    }
    EXPECT_EQ(repository.revision(), 1);
    ASSERT_TRUE(repository.write("{\"v\":2}")) << "settled by removing the copy";
    const QString copy = path(conflicts.first());
    writeFile(copy, "{\"v\":\"theirs\"}");
    ASSERT_TRUE(repository.replace("{\"v\":3}"));
    EXPECT_EQ(fileContents(path()), "{\"v\":3}");
    EXPECT_EQ(fileContents(copy), "{\"v\":\"theirs\"}");
}

TEST_F(SecureConfigurationRepositoryTest, AnythingButAFileInItsPlaceIsAnErrorAtOnce)
{
    const auto noFolder = SecureConfigurationRepository::readData(path());
    EXPECT_EQ(noFolder.error().errorNumber, ENOENT);
    ASSERT_TRUE(QDir().mkpath(folder()));
    SecureConfigurationRepository repository(path());
    const auto noFile = repository.read();
    ASSERT_FALSE(noFile);
    EXPECT_EQ(noFile.error().code, Code::System);
    EXPECT_EQ(noFile.error().errorNumber, ENOENT);
    EXPECT_TRUE(noFile.error().description.contains(path()));

    // A FIFO would block a plain open() until someone writes to it.
    ASSERT_EQ(::mkfifo(QFile::encodeName(path()).constData(), 0600), 0);
    const auto fifo = repository.read();
    EXPECT_EQ(fifo.error().code, Code::System);
    EXPECT_FALSE(repository.write("{}"));
    EXPECT_FALSE(QFileInfo(path()).isFile()) << "what the user put there stays";
    ASSERT_TRUE(QFile::remove(path()) && QDir().mkpath(path()));
    EXPECT_EQ(repository.read().error().errorNumber, EISDIR);
    EXPECT_EQ(repository.revision(), 0);
}

TEST_F(SecureConfigurationRepositoryTest, ALockedFolderIsWaitedForThenUnavailable)
{
    writeFile(path(), "{}");
    {
        // The lock is on an open file description of the folder: another one, even in this process, waits for it.
        const auto held = FolderLock::acquire(folder());
        ASSERT_TRUE(held);
        SecureConfigurationRepository repository(path(), 300ms);
        QElapsedTimer waited;
        waited.start();
        EXPECT_EQ(repository.read().error().code, Code::Unavailable);
        EXPECT_GE(waited.elapsed(), 300) << "gave up before the time-out";
        EXPECT_EQ(repository.write("{\"x\":1}").error().code, Code::Unavailable);
        EXPECT_EQ(repository.replace("{\"x\":1}").error().code, Code::Unavailable);
        EXPECT_EQ(fileContents(path()), "{}");
    }

    // A writer that takes its time holding the lock: the reader waits and sees its whole file.
    std::promise<void> locked;
    std::thread writer([&] {
        const auto lock = FolderLock::acquire(folder());
        locked.set_value();
        QFile out(path());
        out.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
        for (int i = 1; i <= 40; ++i) {
            out.write("line " + QByteArray::number(i) + "\n");
            std::this_thread::sleep_for(10ms);
        }
    });
    locked.get_future().wait();
    const auto read = SecureConfigurationRepository::readData(path());
    writer.join();
    ASSERT_TRUE(read) << read.error().description.toStdString();
    EXPECT_TRUE(read->startsWith("line 1\n"));
    EXPECT_TRUE(read->endsWith("line 40\n")) << "read in the middle of the write: " << read->size() << " bytes";
}

void mv(const QString &from, const QString &to)
{
    ASSERT_EQ(::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()), 0);
}

class SecureConfigurationFileMonitorTest : public SecureConfigurationRepositoryTest
{
protected:
    void SetUp() override { ASSERT_TRUE(QDir().mkpath(folder())); }

    void start()
    {
        m_monitor = std::make_unique<SecureConfigurationFileMonitor>(path(), [this] {
            m_overlapped = m_overlapped || ++m_inFlight > 1;
            if (m_blockFirstCall && m_calls == 0) {
                m_firstCallReleased.get_future().wait();
            }
            ++m_calls;
            --m_inFlight;
        });
        m_monitor->start();
    }

    /** Changes the file's mode: exactly one event, so exactly one call. */
    void touchMode()
    {
        m_mode = m_mode == 0600 ? 0640 : 0600;
        ASSERT_EQ(::chmod(QFile::encodeName(path()).constData(), m_mode), 0);
    }

    bool waitForCalls(int count)
    {
        return QTest::qWaitFor([&] { return m_calls >= count; }, 30000);
    }

    /**
     * Checks that there were exactly count calls for the changes so far (the file must exist): a change of its mode
     * is reported after every event queued before it, so once its call came, no other can still be on its way.
     */
    void expectCalls(int count)
    {
        touchMode();
        ++m_probes;
        ASSERT_TRUE(waitForCalls(count + m_probes)) << "calls: " << m_calls - m_probes << ", expected " << count;
        EXPECT_EQ(m_calls - m_probes, count);
    }

    std::unique_ptr<SecureConfigurationFileMonitor> m_monitor;
    std::atomic<int> m_calls{0};
    std::atomic<int> m_inFlight{0};
    std::atomic<bool> m_overlapped{false};
    bool m_blockFirstCall = false;
    std::promise<void> m_firstCallReleased;
    mode_t m_mode = 0644;
    int m_probes = 0;
};

TEST_F(SecureConfigurationFileMonitorTest, ReportsEachChangeOfTheOneFileOneCallAtATime)
{
    writeFile(path());
    start();
    // Stopped and started again: still watching.
    m_monitor->stop();
    EXPECT_FALSE(m_monitor->isMonitoring());
    m_monitor->start();
    writeFile(path());
    expectCalls(1);
    // Siblings are not our file.
    writeFile(path(u"notes.txt"_s));
    writeFile(path(u"config.json.bak"_s));
    expectCalls(1);
    // An atomic replace by another instance: its hidden temporary file is a sibling, the rename onto our name is one
    // change. So is a move away.
    ASSERT_TRUE(SecureConfigurationRepository(path()).replace("{\"v\":2}"));
    expectCalls(2);
    mv(path(), path(u"other"_s));
    mv(path(u"other"_s), path());
    expectCalls(4);
    // A sync tool brings in another device's version as a conflict copy (created, then written), the user deletes
    // it, or settles the next one by renaming it onto the file. A look-alike is no conflict copy.
    const QString copy = path(u"config.sync-conflict-20261123-101500-ABCDEFG.json"_s);
    writeFile(copy);
    expectCalls(6);
    ASSERT_TRUE(QFile::remove(copy));
    expectCalls(7);
    writeFile(path(u"config (conflicted copy 2026-11-23 101500).json"_s));
    expectCalls(9);
    mv(path(u"config (conflicted copy 2026-11-23 101500).json"_s), path());
    writeFile(path(u"config.sync-conflict-notes.json"_s));
    expectCalls(10);
    EXPECT_FALSE(m_overlapped);
}

// How many calls the folder's comings and goings make depends on when the monitor looks; at least one each.
TEST_F(SecureConfigurationFileMonitorTest, FolderThatGoesAwayAndComesBackIsWatchedAgain)
{
    ASSERT_TRUE(QDir(m_dir.filePath(u"Sync"_s)).removeRecursively());
    start();
    EXPECT_TRUE(m_monitor->isMonitoring());
    const auto changes = [&](const std::function<void()> &change) {
        const int before = m_calls;
        change();
        return waitForCalls(before + 1);
    };
    // Missing with its parent at start, created, deleted, created again with the file in it, moved away, created:
    // each a change, and each time the folder is there its file is watched again.
    EXPECT_TRUE(changes([&] { QDir().mkpath(folder()); }));
    EXPECT_TRUE(changes([&] { QDir(folder()).removeRecursively(); }));
    EXPECT_TRUE(changes([&] { QDir().mkpath(folder()), writeFile(path()); }));
    EXPECT_TRUE(changes([&] { touchMode(); }));
    EXPECT_TRUE(changes([&] { mv(folder(), m_dir.filePath(u"Sync/Tessary.old"_s)); }));
    EXPECT_TRUE(changes([&] { QDir().mkpath(folder()), writeFile(path()); }));
    EXPECT_TRUE(changes([&] { touchMode(); }));
}

TEST_F(SecureConfigurationFileMonitorTest, LostEventsCountAsOneChange)
{
    QFile queueLimit(u"/proc/sys/fs/inotify/max_queued_events"_s);
    ASSERT_TRUE(queueLimit.open(QIODevice::ReadOnly));
    const int limit = queueLimit.readAll().trimmed().toInt();
    ASSERT_GT(limit, 0);
    writeFile(path());
    m_blockFirstCall = true;
    start();
    touchMode();
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_inFlight == 1; }, 30000));
    // While the first call blocks the monitor's thread, siblings flood its queue: two events per file.
    for (int i = 0; i < limit / 2 + 100; ++i) {
        writeFile(path(u"flood-"_s + QString::number(i)));
    }
    m_firstCallReleased.set_value();
    // Once the call for the lost events came, the queue is drained and the next change is seen again.
    ASSERT_TRUE(waitForCalls(2));
    expectCalls(2);
}

// A writer killed with SIGKILL at random moments, over and over, most often in the middle of writing a document of
// a few megabytes: the file must hold one complete version every time (the one before the kill, or one the killed
// writer finished), and the temporary files that the kills leave behind must never pass for it.

constexpr int kills = 200;
// Writer i writes versions i * versionsPerWriter, i * versionsPerWriter + 1, ...
constexpr qint64 versionsPerWriter = 1'000'000;

/** Version n, 1 to 2.8 MB: the padding's length and letter follow from n, so the bytes tell whether they are it. */
QByteArray document(qint64 n)
{
    const QByteArray padding(1'000'000 + (n % 7) * 300'000, char('a' + n % 26));
    return "{\"n\":" + QByteArray::number(n) + ",\"padding\":\"" + padding + "\"}";
}

/** The version the bytes are, when they are exactly one complete version; -1 otherwise. */
qint64 completeVersion(const QByteArray &bytes)
{
    const qint64 n = bytes.startsWith("{\"n\":") ? bytes.mid(5, bytes.indexOf(',') - 5).toLongLong() : -1;
    return n >= 0 && bytes == document(n) ? n : -1;
}

/** A child process that replaces the file with version first, first + 1, ... until it is killed. */
pid_t startWriter(const QString &path, qint64 first)
{
    int ready[2];
    if (::pipe(ready) != 0) {
        return -1;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        SecureConfigurationRepository repository(path);
        (void)!::write(ready[1], "r", 1);
        for (qint64 n = first; repository.replace(document(n)); ++n) {
        }
        ::_exit(1);
    }
    char byte = 0;
    const bool started = child > 0 && ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    ::close(ready[1]);
    return started ? child : -1;
}

TEST(ConfigurationKillTest, FileIsOneCompleteVersionAfterEveryKill)
{
    QTemporaryDir dir;
    const QString folder = dir.filePath(u"Sync/Tessary"_s);
    const QString path = folder + u"/config.json"_s;
    ASSERT_TRUE(SecureConfigurationRepository(path).replace(document(0)));

    const quint32 seed = QRandomGenerator::global()->generate();
    QRandomGenerator random(seed);
    qint64 current = 0;
    int killedMidWrite = 0;
    for (int i = 1; i <= kills; ++i) {
        SCOPED_TRACE(testing::Message() << "kill " << i << " (seed " << seed << ")");
        const pid_t writer = startWriter(path, i * versionsPerWriter);
        ASSERT_GT(writer, 0);
        // A write of 1 to 2.8 MB with its fsync takes some milliseconds: most kills land inside one.
        std::this_thread::sleep_for(std::chrono::microseconds(random.bounded(60'000)));
        ASSERT_EQ(::kill(writer, SIGKILL), 0);
        ASSERT_EQ(::waitpid(writer, nullptr, 0), writer);

        // The lock died with the writer: a reader gets in at once.
        const auto read = SecureConfigurationRepository::readData(path, std::chrono::milliseconds(0));
        ASSERT_TRUE(read) << read.error().description.toStdString();
        const qint64 version = completeVersion(*read);
        ASSERT_GE(version, 0) << read->size() << " bytes that are no version";
        ASSERT_TRUE(version == current || (version >= i * versionsPerWriter && version < (i + 1) * versionsPerWriter))
            << "version " << version << " was never written in this order";
        current = version;
        // The next writer removes the leftovers before writing, so there is never more than the last kill's.
        const QStringList leftovers =
            QDir(folder).entryList({u".config.json.tessary-*.tmp"_s}, QDir::Files | QDir::Hidden);
        ASSERT_LE(leftovers.size(), 1);
        killedMidWrite += int(leftovers.size());
        ASSERT_EQ(QDir(folder).entryList(QDir::Files), QStringList{u"config.json"_s});
    }
    std::printf("[ kill loop ] %d writers killed (seed %u), %d of them mid-write\n", kills, seed, killedMidWrite);
    // Otherwise the loop proved nothing about torn writes.
    EXPECT_GT(killedMidWrite, kills / 4);
}

} // namespace
