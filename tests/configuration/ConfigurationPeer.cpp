// Test helper: a second process that changes the configuration file and its folder while a test watches.
//
//   write PATH TEXT          writes TEXT in place, as an editor or another program would
//   replace PATH TEXT        replaces the file atomically through its own repository, as another instance of ours would
//   rename FROM TO           renames a file
//   lock FOLDER              takes the folder's lock, prints "locked" and holds it until standard input ends
//   write-slowly PATH N      takes the folder's lock, prints "locked", writes N lines in place, pausing after each
//   replace-forever PATH N   prints "ready", then replaces the file with peerDocument(N), N+1, ... until killed

#include <chrono>
#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

#include "configuration/FolderLock.h"
#include "configuration/SecureConfigurationRepository.h"
#include "tests/configuration/PeerDocument.h"

using namespace Tessary;

namespace {

void say(const char *line)
{
    std::puts(line);
    std::fflush(stdout);
}

bool writeInPlace(const QByteArray &path, const QByteArray &text)
{
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return file >= 0 && ::write(file, text.constData(), size_t(text.size())) == text.size() && ::close(file) == 0;
}

int holdLock(const QString &folder)
{
    const auto lock = FolderLock::acquire(folder);
    if (!lock) {
        return 1;
    }
    say("locked");
    while (std::getchar() != EOF) {
    }
    return 0;
}

int writeSlowly(const QByteArray &path, int lines)
{
    const auto lock = FolderLock::acquire(QFileInfo(QFile::decodeName(path)).absolutePath());
    if (!lock) {
        return 1;
    }
    say("locked");
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    for (int i = 1; i <= lines; ++i) {
        const QByteArray line = "line " + QByteArray::number(i) + " of " + QByteArray::number(lines) + "\n";
        if (::write(file, line.constData(), size_t(line.size())) != line.size()) {
            return 1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return ::close(file) == 0 ? 0 : 1;
}

int replaceForever(const QString &path, qint64 first)
{
    SecureConfigurationRepository repository(path);
    say("ready");
    for (qint64 n = first;; ++n) {
        if (!repository.replace(Test::peerDocument(n))) {
            return 1;
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    const QByteArray command = argc > 1 ? argv[1] : "";
    if (argc == 4 && command == "write") {
        return writeInPlace(argv[2], argv[3]) ? 0 : 1;
    }
    if (argc == 4 && command == "replace") {
        return SecureConfigurationRepository(QFile::decodeName(argv[2])).replace(argv[3]) ? 0 : 1;
    }
    if (argc == 4 && command == "rename") {
        return ::rename(argv[2], argv[3]) == 0 ? 0 : 1;
    }
    if (argc == 3 && command == "lock") {
        return holdLock(QFile::decodeName(argv[2]));
    }
    if (argc == 4 && command == "write-slowly") {
        return writeSlowly(argv[2], QByteArray(argv[3]).toInt());
    }
    if (argc == 4 && command == "replace-forever") {
        return replaceForever(QFile::decodeName(argv[2]), QByteArray(argv[3]).toLongLong());
    }
    std::fputs("usage: ConfigurationPeer write|replace|rename|lock|write-slowly|replace-forever ARGUMENTS\n", stderr);
    return 2;
}
