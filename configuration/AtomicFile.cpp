#include "configuration/AtomicFile.h"

#include <cerrno>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace Tessary::AtomicFile {

namespace {

const auto temporaryInfix = u".tessary-"_s;
const auto temporarySuffix = u".tmp"_s;

/** Closes the descriptor when it goes out of scope. */
class Descriptor
{
public:
    explicit Descriptor(int descriptor)
        : m_descriptor(descriptor)
    {}
    ~Descriptor()
    {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const { return m_descriptor; }
    /** Closes now, reporting the result: a delayed write error can show up only here. */
    bool close() { return ::close(std::exchange(m_descriptor, -1)) == 0; }

private:
    int m_descriptor;
};

bool writeAll(int descriptor, const QByteArray &data)
{
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t written = ::write(descriptor, data.constData() + done, size_t(data.size() - done));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            errno = written == 0 ? EIO : errno;
            return false;
        }
        done += written;
    }
    return true;
}

QString temporaryPath(const QFileInfo &target)
{
    // Hidden, so that sync tools skip it or at least do not show it.
    return target.absolutePath() + u"/."_s + target.fileName() + temporaryInfix +
           QString::number(QRandomGenerator::system()->generate64(), 36) + temporarySuffix;
}

} // namespace

Result<std::optional<QByteArray>, SecureConfigurationError> read(const QString &path, qint64 limit)
{
    // Non-blocking, so that a FIFO put in the file's place cannot hang us; it is refused below like any other
    // file that is not a regular one.
    const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.get() < 0) {
        if (errno == ENOENT) {
            return std::optional<QByteArray>();
        }
        return unexpected(SecureConfigurationError::system(u"open"_s, path, errno));
    }
    struct stat status
    {
    };
    if (::fstat(file.get(), &status) != 0) {
        return unexpected(SecureConfigurationError::system(u"stat"_s, path, errno));
    }
    if (!S_ISREG(status.st_mode)) {
        return unexpected(SecureConfigurationError::system(u"read"_s, path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL));
    }
    if (status.st_size > limit) {
        return unexpected(SecureConfigurationError::of(SecureConfigurationError::Code::TooLarge));
    }
    QByteArray data;
    data.reserve(qsizetype(status.st_size) + 1);
    char chunk[64 * 1024];
    for (;;) {
        const ssize_t count = ::read(file.get(), chunk, sizeof chunk);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return unexpected(SecureConfigurationError::system(u"read"_s, path, errno));
        }
        if (count == 0) {
            break;
        }
        data.append(chunk, count);
        // The file may have grown since fstat(): a sync tool does not take our lock.
        if (data.size() > limit) {
            return unexpected(SecureConfigurationError::of(SecureConfigurationError::Code::TooLarge));
        }
    }
    return std::optional<QByteArray>(std::move(data));
}

Result<void, SecureConfigurationError> write(const QString &path, const QByteArray &data)
{
    const QFileInfo target(path);
    const QString temporary = temporaryPath(target);
    const QByteArray temporaryName = QFile::encodeName(temporary);
    const QByteArray targetName = QFile::encodeName(target.absoluteFilePath());

    mode_t mode = S_IRUSR | S_IWUSR;
    struct stat existing
    {
    };
    if (::stat(targetName.constData(), &existing) == 0) {
        mode = existing.st_mode & 07777;
    }
    Descriptor file(::open(temporaryName.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (file.get() < 0) {
        return unexpected(SecureConfigurationError::system(u"create a file in"_s, target.absolutePath(), errno));
    }
    // fchmod, because the mode given to open() passes through the umask.
    if (!writeAll(file.get(), data) || ::fchmod(file.get(), mode) != 0 || ::fsync(file.get()) != 0 || !file.close()) {
        const int error = errno;
        ::unlink(temporaryName.constData());
        return unexpected(SecureConfigurationError::system(u"write"_s, target.absoluteFilePath(), error));
    }
    if (::rename(temporaryName.constData(), targetName.constData()) != 0) {
        const int error = errno;
        ::unlink(temporaryName.constData());
        return unexpected(SecureConfigurationError::system(u"replace"_s, path, error));
    }
    // The rename must reach the disk too, or a power cut could bring the old file back after we reported success.
    const Descriptor folder(
        ::open(QFile::encodeName(target.absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0 || ::fsync(folder.get()) != 0) {
        return unexpected(SecureConfigurationError::system(u"flush"_s, target.absolutePath(), errno));
    }
    return {};
}

Result<void, SecureConfigurationError> copy(const QString &from, const QString &to)
{
    const QString folder = QFileInfo(to).absolutePath();
    if (!QDir().mkpath(folder)) {
        return unexpected(SecureConfigurationError::system(u"create"_s, folder, errno));
    }
    auto data = read(from, std::numeric_limits<qint64>::max() - 1);
    if (!data) {
        return unexpected(data.error());
    }
    if (!data->has_value()) {
        return unexpected(SecureConfigurationError::system(u"open"_s, from, ENOENT));
    }
    return write(to, **data);
}

void removeLeftovers(const QString &path)
{
    const QFileInfo target(path);
    const QRegularExpression leftover(
        QRegularExpression::anchoredPattern(QRegularExpression::escape(u"."_s + target.fileName() + temporaryInfix) +
                                            u"[0-9a-z]+"_s + QRegularExpression::escape(temporarySuffix)));
    QDir folder(target.absolutePath());
    const QStringList names = folder.entryList({u"."_s + target.fileName() + temporaryInfix + u'*'},
                                               QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : names) {
        if (leftover.match(name).hasMatch()) {
            folder.remove(name);
        }
    }
}

} // namespace Tessary::AtomicFile
