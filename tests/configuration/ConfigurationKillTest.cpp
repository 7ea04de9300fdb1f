// A writer killed with SIGKILL at random moments, over and over, most often in the middle of writing a document of
// a few megabytes: the file must hold one complete version every time (the one before the kill, or one the killed
// writer finished), and the temporary files that the kills leave behind must never pass for it.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include "configuration/SecureConfigurationRepository.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

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
