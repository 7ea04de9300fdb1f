#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include "configuration/SecureConfigurationFileMonitor.h"
#include "tests/configuration/PeerProcess.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary;
using Tessary::Test::PeerProcess;

namespace {

/** Threads of this process whose kernel name is the monitor's (truncated to 15 bytes). */
int monitorThreads()
{
    const QByteArray name = QByteArray(SecureConfigurationFileMonitor::threadName).left(15);
    int count = 0;
    QDirIterator tasks(u"/proc/self/task"_s, QDir::Dirs | QDir::NoDotAndDotDot);
    while (tasks.hasNext()) {
        QFile comm(tasks.next() + u"/comm"_s);
        count += comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == name ? 1 : 0;
    }
    return count;
}

class SecureConfigurationFileMonitorTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(QDir().mkpath(folder())); }

    QString folder() const { return m_dir.filePath(u"Sync/Tessary"_s); }
    QString file(const QString &name = u"config.json"_s) const { return folder() + u'/' + name; }

    std::unique_ptr<SecureConfigurationFileMonitor> makeMonitor()
    {
        return std::make_unique<SecureConfigurationFileMonitor>(file(), [this] {
            if (++m_inFlight > 1) {
                m_overlapped = true;
            }
            if (QThread::currentThread()->objectName() != QLatin1String(SecureConfigurationFileMonitor::threadName)) {
                m_wrongThread = true;
            }
            if (m_blockFirstCall && m_calls == 0) {
                m_firstCallReleased.get_future().wait();
            }
            ++m_calls;
            --m_inFlight;
        });
    }

    static void mv(const QString &from, const QString &to)
    {
        const auto moved = Tessary::Test::runProcess(u"mv"_s, {from, to});
        ASSERT_TRUE(moved.finished && moved.exitCode == 0) << moved.standardError.toStdString();
    }

    /** Changes the file's mode: exactly one event, so exactly one call. */
    void touchMode()
    {
        static mode_t mode = 0600;
        mode = mode == 0600 ? 0640 : 0600;
        ASSERT_EQ(::chmod(QFile::encodeName(file()).constData(), mode), 0);
    }

    bool waitForCalls(int count)
    {
        return QTest::qWaitFor([&] { return m_calls >= count; }, 5000);
    }

    /**
     * Waits for count calls, then a little longer to see that no more come: an absence cannot be waited for. The
     * calls that should not happen would come from events queued before the last expected one, so they are due.
     */
    void expectCalls(int count)
    {
        ASSERT_TRUE(waitForCalls(count)) << "calls: " << m_calls << ", expected " << count;
        QTest::qWait(300);
        EXPECT_EQ(m_calls, count);
    }

    QTemporaryDir m_dir;
    std::atomic<int> m_calls{0};
    std::atomic<int> m_inFlight{0};
    std::atomic<bool> m_overlapped{false};
    std::atomic<bool> m_wrongThread{false};
    bool m_blockFirstCall = false;
    std::promise<void> m_firstCallReleased;
};

TEST_F(SecureConfigurationFileMonitorTest, ReportsChangesOfTheOneFileByOtherProcessesOnItsOwnThread)
{
    auto monitor = makeMonitor();
    EXPECT_EQ(monitor->folder(), folder());
    monitor->start();

    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{}"_s}));
    ASSERT_TRUE(waitForCalls(1));
    const int afterWrite = m_calls;

    // Siblings are not our file; the mode change that follows them is, and it is reported after them.
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(u"notes.txt"_s), u"sibling"_s}));
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(u"config.json.bak"_s), u"sibling"_s}));
    touchMode();
    expectCalls(afterWrite + 1);

    // An atomic replace by another instance: its hidden temporary file is a sibling, the rename onto our name is one
    // change.
    ASSERT_TRUE(PeerProcess::run({u"replace"_s, file(), u"{\"v\":2}"_s}));
    expectCalls(afterWrite + 2);

    EXPECT_FALSE(m_wrongThread) << "called on another thread than md.velmor.mac-configuration-monitor";
    EXPECT_FALSE(m_overlapped);
}

TEST_F(SecureConfigurationFileMonitorTest, EachMoveOntoOrAwayIsOneChange)
{
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{}"_s}));
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(u"tmp"_s), u"{\"v\":2}"_s}));
    auto monitor = makeMonitor();
    monitor->start();

    mv(file(u"tmp"_s), file());
    expectCalls(1);
    mv(file(), file(u"other"_s));
    expectCalls(2);
    mv(file(u"other"_s), file());
    expectCalls(3);
    // Into the folder from outside and out again: the unpaired halves count once each.
    mv(file(), m_dir.filePath(u"outside.json"_s));
    expectCalls(4);
    mv(m_dir.filePath(u"outside.json"_s), file());
    expectCalls(5);
}

TEST_F(SecureConfigurationFileMonitorTest, FolderThatGoesAwayAndComesBackIsWatchedAgain)
{
    ASSERT_TRUE(QDir(m_dir.filePath(u"Sync"_s)).removeRecursively());
    auto monitor = makeMonitor();
    monitor->start();
    EXPECT_TRUE(monitor->isMonitoring());

    // Missing, with its parent, at start: its appearance counts once, then it is watched.
    ASSERT_TRUE(QDir().mkpath(folder()));
    expectCalls(1);
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{}"_s}));
    ASSERT_TRUE(waitForCalls(2));

    // Deleted: a change.
    const int beforeDelete = m_calls;
    ASSERT_TRUE(Tessary::Test::runProcess(u"rm"_s, {u"-rf"_s, folder()}).exitCode == 0);
    ASSERT_TRUE(waitForCalls(beforeDelete + 1));

    // Re-created with the file already in it by the time we look: at least one change, and watched again.
    ASSERT_TRUE(QDir().mkpath(folder()));
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{\"back\":1}"_s}));
    ASSERT_TRUE(waitForCalls(beforeDelete + 2));
    const int afterReturn = m_calls;
    touchMode();
    ASSERT_TRUE(waitForCalls(afterReturn + 1));

    // Moved away: a change; what happens to the moved folder is no longer ours; the new folder is.
    const int beforeMove = m_calls;
    mv(folder(), m_dir.filePath(u"Sync/Tessary.old"_s));
    expectCalls(beforeMove + 1);
    ASSERT_TRUE(PeerProcess::run({u"write"_s, m_dir.filePath(u"Sync/Tessary.old/config.json"_s), u"{}"_s}));
    ASSERT_TRUE(QDir().mkpath(folder()));
    expectCalls(beforeMove + 2);
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{\"new\":1}"_s}));
    EXPECT_TRUE(waitForCalls(beforeMove + 3));
}

TEST_F(SecureConfigurationFileMonitorTest, ConflictCopiesComingAndGoingAreChangesOfTheFile)
{
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{}"_s}));
    auto monitor = makeMonitor();
    monitor->start();

    // A sync tool brings in the other device's version as a conflict copy, then the user deletes it.
    const QString copy = file(u"config.sync-conflict-20261123-101500-ABCDEFG.json"_s);
    ASSERT_TRUE(PeerProcess::run({u"write"_s, copy, u"{\"theirs\":1}"_s}));
    expectCalls(2); // created, then written and closed
    ASSERT_TRUE(QFile::remove(copy));
    expectCalls(3);
    // Or settles it by renaming the copy onto the file: one move, one change.
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(u"config (conflicted copy 2026-11-23 101500).json"_s), u"{}"_s}));
    expectCalls(5);
    mv(file(u"config (conflicted copy 2026-11-23 101500).json"_s), file());
    expectCalls(6);
    // A look-alike is not a conflict copy.
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(u"config.sync-conflict-notes.json"_s), u"{}"_s}));
    expectCalls(6);
}

TEST_F(SecureConfigurationFileMonitorTest, StartAndStopTwiceAreHarmless)
{
    ASSERT_EQ(monitorThreads(), 0);
    auto monitor = makeMonitor();
    EXPECT_FALSE(monitor->isMonitoring());
    monitor->stop();
    monitor->start();
    monitor->start();
    EXPECT_TRUE(monitor->isMonitoring());
    EXPECT_EQ(monitorThreads(), 1);
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{}"_s}));
    ASSERT_TRUE(waitForCalls(1));

    monitor->stop();
    monitor->stop();
    EXPECT_FALSE(monitor->isMonitoring());
    // The thread has finished its work when stop() returns; the kernel lets go of it a moment later.
    EXPECT_TRUE(QTest::qWaitFor([] { return monitorThreads() == 0; }, 5000)) << "stop() ends the thread";

    monitor->start();
    const int restarted = m_calls;
    touchMode();
    EXPECT_TRUE(waitForCalls(restarted + 1));
    monitor.reset();
    EXPECT_TRUE(QTest::qWaitFor([] { return monitorThreads() == 0; }, 5000)) << "destruction stops it";
}

TEST_F(SecureConfigurationFileMonitorTest, LostEventsCountAsOneChange)
{
    QFile queueLimit(u"/proc/sys/fs/inotify/max_queued_events"_s);
    ASSERT_TRUE(queueLimit.open(QIODevice::ReadOnly));
    const int limit = queueLimit.readAll().trimmed().toInt();
    ASSERT_GT(limit, 0);
    ASSERT_TRUE(PeerProcess::run({u"write"_s, file(), u"{}"_s}));

    m_blockFirstCall = true;
    auto monitor = makeMonitor();
    monitor->start();
    touchMode();
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_inFlight == 1; }, 5000));
    // While the first call blocks the monitor's thread, siblings flood its queue: two events per file.
    for (int i = 0; i < limit / 2 + 100; ++i) {
        const int sibling = ::open(QFile::encodeName(file(u"flood-"_s + QString::number(i))).constData(),
                                   O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_GE(sibling, 0);
        ::close(sibling);
    }
    m_firstCallReleased.set_value();
    expectCalls(2);
}

} // namespace
