#include <gtest/gtest.h>

#include <atomic>
#include <functional>
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
#include "configuration/SecureConfigurationRepository.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

/** Threads of this process whose kernel name is the monitor's (truncated to 15 bytes). */
int monitorThreads()
{
    int count = 0;
    for (QDirIterator tasks(u"/proc/self/task"_s, QDir::Dirs | QDir::NoDotAndDotDot); tasks.hasNext();) {
        QFile comm(tasks.next() + u"/comm"_s);
        count += comm.open(QIODevice::ReadOnly) &&
                 comm.readAll().trimmed() == QByteArray(SecureConfigurationFileMonitor::threadName).left(15);
    }
    return count;
}

/** Writes in place, as an editor or another program would. */
void write(const QString &path, const QByteArray &text = "{}")
{
    const int file = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_TRUE(file >= 0 && ::write(file, text.constData(), size_t(text.size())) == text.size() && ::close(file) == 0);
}

void mv(const QString &from, const QString &to)
{
    ASSERT_EQ(::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()), 0);
}

class SecureConfigurationFileMonitorTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(QDir().mkpath(folder())); }

    QString folder() const { return m_dir.filePath(u"Sync/Tessary"_s); }
    QString file(const QString &name = u"config.json"_s) const { return folder() + u'/' + name; }

    void start()
    {
        m_monitor = std::make_unique<SecureConfigurationFileMonitor>(file(), [this] {
            m_overlapped = m_overlapped || ++m_inFlight > 1;
            m_wrongThread = m_wrongThread || QThread::currentThread()->objectName() !=
                                                 QLatin1String(SecureConfigurationFileMonitor::threadName);
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
        ASSERT_EQ(::chmod(QFile::encodeName(file()).constData(), m_mode), 0);
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

    QTemporaryDir m_dir;
    std::unique_ptr<SecureConfigurationFileMonitor> m_monitor;
    std::atomic<int> m_calls{0};
    std::atomic<int> m_inFlight{0};
    std::atomic<bool> m_overlapped{false};
    std::atomic<bool> m_wrongThread{false};
    bool m_blockFirstCall = false;
    std::promise<void> m_firstCallReleased;
    mode_t m_mode = 0644;
    int m_probes = 0;
};

TEST_F(SecureConfigurationFileMonitorTest, ReportsEachChangeOfTheOneFileOnItsOwnThread)
{
    write(file());
    write(file(u"tmp"_s), "{\"v\":2}");
    ASSERT_EQ(monitorThreads(), 0);
    start();
    EXPECT_EQ(m_monitor->folder(), folder());
    // Stopped and started again, twice each: one thread, still watching.
    m_monitor->stop();
    m_monitor->stop();
    EXPECT_FALSE(m_monitor->isMonitoring());
    m_monitor->start();
    m_monitor->start();
    EXPECT_TRUE(QTest::qWaitFor([] { return monitorThreads() == 1; }, 30000)) << "the stopped thread ends";
    write(file());
    expectCalls(1);
    // Siblings are not our file.
    write(file(u"notes.txt"_s));
    write(file(u"config.json.bak"_s));
    expectCalls(1);
    // An atomic replace by another instance: its hidden temporary file is a sibling, the rename onto our name is one
    // change. So is each move onto or away, from inside the folder or outside it.
    ASSERT_TRUE(SecureConfigurationRepository(file()).replace("{\"v\":2}"));
    expectCalls(2);
    mv(file(u"tmp"_s), file());
    mv(file(), file(u"other"_s));
    mv(file(u"other"_s), file());
    mv(file(), m_dir.filePath(u"outside.json"_s));
    mv(m_dir.filePath(u"outside.json"_s), file());
    expectCalls(7);
    // A sync tool brings in another device's version as a conflict copy (created, then written), the user deletes
    // it, or settles the next one by renaming it onto the file. A look-alike is no conflict copy.
    const QString copy = file(u"config.sync-conflict-20261123-101500-ABCDEFG.json"_s);
    write(copy);
    expectCalls(9);
    ASSERT_TRUE(QFile::remove(copy));
    expectCalls(10);
    write(file(u"config (conflicted copy 2026-11-23 101500).json"_s));
    expectCalls(12);
    mv(file(u"config (conflicted copy 2026-11-23 101500).json"_s), file());
    write(file(u"config.sync-conflict-notes.json"_s));
    expectCalls(13);
    EXPECT_FALSE(m_wrongThread) << "called on another thread than md.velmor.mac-configuration-monitor";
    EXPECT_FALSE(m_overlapped);
    // The thread has finished its work when it is stopped; the kernel lets go of it a moment later.
    m_monitor.reset();
    EXPECT_TRUE(QTest::qWaitFor([] { return monitorThreads() == 0; }, 30000));
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
    EXPECT_TRUE(changes([&] { write(file()); }));
    EXPECT_TRUE(changes([&] { QDir(folder()).removeRecursively(); }));
    EXPECT_TRUE(changes([&] { QDir().mkpath(folder()), write(file()); }));
    EXPECT_TRUE(changes([&] { touchMode(); }));
    EXPECT_TRUE(changes([&] { mv(folder(), m_dir.filePath(u"Sync/Tessary.old"_s)); }));
    EXPECT_TRUE(changes([&] { QDir().mkpath(folder()), write(file()); }));
    EXPECT_TRUE(changes([&] { touchMode(); }));
}

TEST_F(SecureConfigurationFileMonitorTest, LostEventsCountAsOneChange)
{
    QFile queueLimit(u"/proc/sys/fs/inotify/max_queued_events"_s);
    ASSERT_TRUE(queueLimit.open(QIODevice::ReadOnly));
    const int limit = queueLimit.readAll().trimmed().toInt();
    ASSERT_GT(limit, 0);
    write(file());
    m_blockFirstCall = true;
    start();
    touchMode();
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_inFlight == 1; }, 30000));
    // While the first call blocks the monitor's thread, siblings flood its queue: two events per file.
    for (int i = 0; i < limit / 2 + 100; ++i) {
        write(file(u"flood-"_s + QString::number(i)));
    }
    m_firstCallReleased.set_value();
    // Once the call for the lost events came, the queue is drained and the next change is seen again.
    ASSERT_TRUE(waitForCalls(2));
    expectCalls(2);
}

} // namespace
