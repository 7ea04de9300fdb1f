#include <gtest/gtest.h>

#include <cerrno>

#include <sys/stat.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include "configuration/SecureConfigurationRepository.h"
#include "tests/configuration/PeerProcess.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace Tessary;
using Code = SecureConfigurationError::Code;
using Tessary::Test::PeerProcess;

namespace {

class SecureConfigurationRepositoryTest : public ::testing::Test
{
protected:
    QString folder() const { return m_dir.filePath(u"Sync/Tessary"_s); }
    QString path(const QString &name = u"config.json"_s) const { return folder() + u'/' + name; }

    static void writeFile(const QString &file, const QByteArray &bytes)
    {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(file).absolutePath()));
        QFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        ASSERT_EQ(out.write(bytes), bytes.size());
    }

    static QByteArray contents(const QString &file)
    {
        QFile in(file);
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray("<missing>");
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

TEST_F(SecureConfigurationRepositoryTest, FirstWriteCreatesFoldersAndAPrivateFile)
{
    SecureConfigurationRepository repository(m_dir.filePath(u"Sync/./Tessary/../Tessary/config.json"_s));
    EXPECT_EQ(repository.path(), path());
    EXPECT_EQ(repository.revision(), 0);
    EXPECT_FALSE(repository.isCurrent("{}"));
    EXPECT_FALSE(repository.isCurrent(QByteArray()));

    ASSERT_TRUE(repository.write("{\"a\":1}"));
    EXPECT_EQ(contents(path()), "{\"a\":1}");
    EXPECT_EQ(repository.revision(), 1);
    EXPECT_TRUE(repository.isCurrent("{\"a\":1}"));
    EXPECT_FALSE(repository.isCurrent("{\"a\":2}"));
    EXPECT_EQ(permissions(path()), mode_t(0600));
    EXPECT_EQ(folderEntries(), QStringList{u"config.json"_s}) << "no temporary file stays behind";
}

TEST_F(SecureConfigurationRepositoryTest, WritesOnlyOverTheBytesItLastSaw)
{
    writeFile(path(), "{\"old\":true}");
    ASSERT_EQ(::chmod(QFile::encodeName(path()).constData(), 0640), 0);
    SecureConfigurationRepository repository(path());

    const auto unseen = repository.write("{\"new\":true}");
    ASSERT_FALSE(unseen) << "never read: the file on disk is someone else's";
    EXPECT_EQ(unseen.error().code, Code::ExternalChange);
    EXPECT_EQ(unseen.error().description, u"配置已被其它设备或程序修改，请重新加载后再编辑。"_s);
    EXPECT_EQ(contents(path()), "{\"old\":true}");
    EXPECT_EQ(repository.revision(), 0);

    EXPECT_EQ(repository.read().valueOr(QByteArray()), "{\"old\":true}");
    EXPECT_EQ(repository.revision(), 1);
    ASSERT_TRUE(repository.write("{\"new\":true}"));
    ASSERT_TRUE(repository.write("{\"newer\":true}")) << "its own write is the new baseline";
    EXPECT_EQ(repository.revision(), 3);
    EXPECT_EQ(permissions(path()), mode_t(0640)) << "an existing file keeps its permission bits";
}

TEST_F(SecureConfigurationRepositoryTest, ChangesByAnotherProcessBetweenReadAndWriteAreNeverOverwritten)
{
    writeFile(path(), "{\"v\":1}");
    SecureConfigurationRepository repository(path());
    ASSERT_TRUE(repository.read());

    // One byte changed in place.
    ASSERT_TRUE(PeerProcess::run({u"write"_s, path(), u"{\"v\":2}"_s}));
    auto written = repository.write("{\"mine\":1}");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, Code::ExternalChange);
    EXPECT_EQ(contents(path()), "{\"v\":2}");
    EXPECT_EQ(repository.revision(), 1);

    // Replaced atomically by another instance: same size, other bytes.
    ASSERT_TRUE(repository.read());
    ASSERT_TRUE(PeerProcess::run({u"replace"_s, path(), u"{\"v\":3}"_s}));
    EXPECT_EQ(repository.write("{\"mine\":1}").error().code, Code::ExternalChange);
    EXPECT_EQ(contents(path()), "{\"v\":3}");

    // Renamed away: gone counts as changed, and the file is not brought back.
    ASSERT_TRUE(repository.read());
    ASSERT_TRUE(PeerProcess::run({u"rename"_s, path(), path(u"elsewhere.json"_s)}));
    EXPECT_EQ(repository.write("{\"mine\":1}").error().code, Code::ExternalChange);
    EXPECT_FALSE(QFile::exists(path()));

    // Renamed back with the very bytes we read: only the content matters, so the write goes through.
    ASSERT_TRUE(PeerProcess::run({u"rename"_s, path(u"elsewhere.json"_s), path()}));
    ASSERT_TRUE(repository.write("{\"mine\":1}"));
    EXPECT_EQ(contents(path()), "{\"mine\":1}");
}

TEST_F(SecureConfigurationRepositoryTest, SizeLimitIsFiveMillionBytes)
{
    const QByteArray atLimit(5'000'000, 'a');
    const QByteArray overLimit(5'000'001, 'a');

    SecureConfigurationRepository adopting(path());
    EXPECT_TRUE(adopting.adopt(atLimit));
    EXPECT_EQ(adopting.adopt(overLimit).error().code, Code::TooLarge);
    EXPECT_EQ(adopting.revision(), 1);
    EXPECT_TRUE(adopting.isCurrent(atLimit));

    SecureConfigurationRepository writing(path());
    const auto tooLarge = writing.write(overLimit);
    ASSERT_FALSE(tooLarge);
    EXPECT_EQ(tooLarge.error().code, Code::TooLarge);
    EXPECT_FALSE(QFileInfo::exists(folder())) << "refused before touching the disk";
    ASSERT_TRUE(writing.write(atLimit));
    EXPECT_EQ(QFileInfo(path()).size(), 5'000'000);

    SecureConfigurationRepository reading(path());
    EXPECT_EQ(reading.read().valueOr(QByteArray()).size(), 5'000'000);
    writeFile(path(), overLimit);
    const auto read = reading.read();
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().code, Code::TooLarge);
    EXPECT_EQ(reading.revision(), 1);
}

TEST_F(SecureConfigurationRepositoryTest, ReplaceBacksUpTheOldFileAndIgnoresTheBaseline)
{
    SecureConfigurationRepository repository(path());
    const QString backup = m_dir.filePath(u"Backups/deep/icloud-1.json"_s);
    ASSERT_TRUE(repository.replace("{\"first\":1}", backup));
    EXPECT_FALSE(QFile::exists(backup)) << "no file yet, so nothing to back up";
    EXPECT_EQ(contents(path()), "{\"first\":1}");

    writeFile(path(), "{\"theirs\":1}");
    ASSERT_TRUE(repository.replace("{\"ours\":1}", backup));
    EXPECT_EQ(contents(backup), "{\"theirs\":1}");
    EXPECT_EQ(contents(path()), "{\"ours\":1}");
    ASSERT_TRUE(repository.write("{\"ours\":2}")) << "the replaced bytes are the baseline";
    EXPECT_EQ(repository.revision(), 3);

    // A backup that cannot be made stops the replace: the old file stays.
    writeFile(m_dir.filePath(u"Blocked"_s), "a file where the backup folder should be");
    const auto blocked = repository.replace("{\"ours\":3}", m_dir.filePath(u"Blocked/icloud-2.json"_s));
    ASSERT_FALSE(blocked);
    EXPECT_EQ(blocked.error().code, Code::System);
    EXPECT_EQ(contents(path()), "{\"ours\":2}");
    EXPECT_EQ(repository.revision(), 3);
}

TEST_F(SecureConfigurationRepositoryTest, ConflictCopyStopsWritesUntilSettledButNotAnExplicitReplace)
{
    writeFile(path(), "{\"v\":1}");
    SecureConfigurationRepository repository(path());
    ASSERT_TRUE(repository.read());
    const QString copy = path(u"config (Mei's conflicted copy 2026-11-23).json"_s);
    writeFile(copy, "{\"v\":\"theirs\"}");

    const auto written = repository.write("{\"v\":2}");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, Code::Conflict);
    EXPECT_EQ(contents(path()), "{\"v\":1}");
    EXPECT_EQ(repository.revision(), 1);

    ASSERT_TRUE(QFile::remove(copy));
    ASSERT_TRUE(repository.write("{\"v\":2}"));
    writeFile(copy, "{\"v\":\"theirs\"}");
    ASSERT_TRUE(repository.replace("{\"v\":3}"));
    EXPECT_EQ(contents(path()), "{\"v\":3}");
    EXPECT_EQ(contents(copy), "{\"v\":\"theirs\"}") << "the copy is the user's to settle";
}

TEST_F(SecureConfigurationRepositoryTest, SomethingOtherThanAFileInItsPlaceIsRefusedAtOnce)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    // A FIFO would block a plain open() until someone writes to it.
    ASSERT_EQ(::mkfifo(QFile::encodeName(path()).constData(), 0600), 0);
    SecureConfigurationRepository repository(path());
    const auto fifo = repository.read();
    ASSERT_FALSE(fifo);
    EXPECT_EQ(fifo.error().code, Code::System);
    EXPECT_EQ(fifo.error().path, path());
    EXPECT_FALSE(repository.write("{}"));
    EXPECT_FALSE(QFileInfo(path()).isFile()) << "what the user put there stays";

    ASSERT_TRUE(QFile::remove(path()));
    ASSERT_TRUE(QDir().mkpath(path()));
    const auto folderInstead = repository.read();
    ASSERT_FALSE(folderInstead);
    EXPECT_EQ(folderInstead.error().errorNumber, EISDIR);
    EXPECT_EQ(repository.revision(), 0);
}

TEST_F(SecureConfigurationRepositoryTest, MissingFileIsASystemError)
{
    const auto noFolder = SecureConfigurationRepository::readData(path());
    ASSERT_FALSE(noFolder);
    EXPECT_EQ(noFolder.error().errorNumber, ENOENT);
    EXPECT_EQ(noFolder.error().path, folder()) << "the folder, whose lock comes first";

    ASSERT_TRUE(QDir().mkpath(folder()));
    SecureConfigurationRepository repository(path());
    const auto noFile = repository.read();
    ASSERT_FALSE(noFile);
    EXPECT_EQ(noFile.error().code, Code::System);
    EXPECT_EQ(noFile.error().errorNumber, ENOENT);
    EXPECT_TRUE(noFile.error().description.contains(path()));
    EXPECT_EQ(repository.revision(), 0);
}

TEST_F(SecureConfigurationRepositoryTest, FolderLockedByAnotherProcessMakesTheFileUnavailable)
{
    EXPECT_EQ(FolderLock::defaultTimeout, 5s);
    writeFile(path(), "{}");
    PeerProcess holder;
    ASSERT_TRUE(holder.start({u"lock"_s, folder()}));

    SecureConfigurationRepository repository(path(), 300ms);
    QElapsedTimer waited;
    waited.start();
    const auto read = repository.read();
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().code, Code::Unavailable);
    EXPECT_GE(waited.elapsed(), 300) << "gave up before the time-out";
    EXPECT_EQ(repository.write("{\"x\":1}").error().code, Code::Unavailable);
    EXPECT_EQ(repository.replace("{\"x\":1}").error().code, Code::Unavailable);
    EXPECT_EQ(contents(path()), "{}");
    EXPECT_EQ(repository.revision(), 0);

    ASSERT_TRUE(holder.release());
    EXPECT_TRUE(repository.read());
}

TEST_F(SecureConfigurationRepositoryTest, ReaderWaitsForASlowWriterAndSeesItsWholeFile)
{
    writeFile(path(), "{}");
    PeerProcess writer;
    ASSERT_TRUE(writer.start({u"write-slowly"_s, path(), u"40"_s}));

    // The writer holds the lock for about 400 ms, well within the default time-out.
    const auto read = SecureConfigurationRepository::readData(path());
    ASSERT_TRUE(read) << read.error().description.toStdString();
    EXPECT_TRUE(read->startsWith("line 1 of 40\n"));
    EXPECT_TRUE(read->endsWith("line 40 of 40\n")) << "read in the middle of the write: " << read->size() << " bytes";
    EXPECT_TRUE(writer.waitForFinished());
}

TEST_F(SecureConfigurationRepositoryTest, LeftoversOfAKilledWriterAreIgnoredAndRemoved)
{
    writeFile(path(), "{\"real\":1}");
    writeFile(path(u".config.json.tessary-k3x9a7.tmp"_s), "{\"half");
    writeFile(path(u".config.json.tessary-notes.txt"_s), "not ours");

    SecureConfigurationRepository repository(path());
    EXPECT_EQ(repository.read().valueOr(QByteArray()), "{\"real\":1}");
    ASSERT_TRUE(repository.write("{\"real\":2}"));
    EXPECT_EQ(folderEntries(), (QStringList{u".config.json.tessary-notes.txt"_s, u"config.json"_s}));
}

} // namespace
