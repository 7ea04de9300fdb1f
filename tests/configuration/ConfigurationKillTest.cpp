// A writer killed with SIGKILL at random moments, over and over, most often in the middle of writing a document of
// a few megabytes: the file must hold one complete version every time (the one before the kill, or one the killed
// writer finished), and the temporary files that the kills leave behind must never pass for it.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include <signal.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include "configuration/SecureConfigurationRepository.h"
#include "tests/configuration/PeerDocument.h"
#include "tests/configuration/PeerProcess.h"

using namespace Qt::StringLiterals;
using namespace Tessary;

namespace {

constexpr int kills = 200;
// Writer i writes versions i * versionsPerWriter, i * versionsPerWriter + 1, ...
constexpr qint64 versionsPerWriter = 1'000'000;

/** The version the bytes are, when they are exactly one complete version; -1 otherwise. */
qint64 completeVersion(const QByteArray &bytes)
{
    QJsonParseError error{};
    const QJsonObject document = QJsonDocument::fromJson(bytes, &error).object();
    if (error.error != QJsonParseError::NoError || !document.value(u"n"_s).isDouble()) {
        return -1;
    }
    const qint64 n = document.value(u"n"_s).toInteger();
    return bytes == Tessary::Test::peerDocument(n) ? n : -1;
}

TEST(ConfigurationKillTest, FileIsOneCompleteVersionAfterEveryKill)
{
    QTemporaryDir dir;
    const QString folder = dir.filePath(u"Sync/Tessary"_s);
    const QString path = folder + u"/config.json"_s;
    ASSERT_TRUE(SecureConfigurationRepository(path).replace(Tessary::Test::peerDocument(0)));

    const quint32 seed = QRandomGenerator::global()->generate();
    QRandomGenerator random(seed);
    qint64 current = 0;
    int killedMidWrite = 0;
    int killedAfterFinishing = 0;
    for (int i = 1; i <= kills; ++i) {
        Tessary::Test::PeerProcess writer;
        ASSERT_TRUE(writer.start({u"replace-forever"_s, path, QString::number(i * versionsPerWriter)}))
            << "writer " << i << " did not start";
        // A write of 1 to 2.8 MB with its fsync takes some milliseconds: most kills land inside one.
        std::this_thread::sleep_for(std::chrono::microseconds(random.bounded(60'000)));
        ASSERT_EQ(::kill(pid_t(writer.processId()), SIGKILL), 0);
        ASSERT_TRUE(writer.waitForFinished());

        // The lock died with the writer: a reader gets in at once.
        const auto read = SecureConfigurationRepository::readData(path, std::chrono::milliseconds(0));
        ASSERT_TRUE(read) << "kill " << i << " (seed " << seed << "): " << read.error().description.toStdString();
        const qint64 version = completeVersion(*read);
        ASSERT_GE(version, 0) << "kill " << i << " (seed " << seed << ") left " << read->size()
                              << " bytes that are no version";
        ASSERT_TRUE(version == current || (version >= i * versionsPerWriter && version < (i + 1) * versionsPerWriter))
            << "kill " << i << ": version " << version << " was never written in this order";
        killedAfterFinishing += version != current ? 1 : 0;
        current = version;

        const QStringList leftovers =
            QDir(folder).entryList({u".config.json.tessary-*.tmp"_s}, QDir::Files | QDir::Hidden);
        // The next writer removes them before writing, so there is never more than the last kill's.
        ASSERT_LE(leftovers.size(), 1) << "kill " << i;
        killedMidWrite += leftovers.size();
        ASSERT_EQ(QDir(folder).entryList(QDir::Files).size(), 1) << "only hidden leftovers beside the file";
    }
    std::printf(
        "[ kill loop ] %d writers killed (seed %u): the file was a complete version after every kill; "
        "%d kills landed mid-write (a temporary file left behind), %d writers had finished at least one version\n",
        kills, seed, killedMidWrite, killedAfterFinishing);
    // Otherwise the loop proved nothing about torn writes.
    EXPECT_GT(killedMidWrite, kills / 4);
}

} // namespace
