#include "configuration/FolderLock.h"

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QFile>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr std::chrono::milliseconds retryInterval{50};

} // namespace

Result<FolderLock, SecureConfigurationError> FolderLock::acquire(const QString &folder,
                                                                 std::chrono::milliseconds timeout)
{
    // Close-on-exec: a helper started while we hold the lock must not keep it.
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return unexpected(SecureConfigurationError::system(u"open"_s, folder, errno));
    }
    QElapsedTimer timer;
    timer.start();
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            const int error = errno;
            ::close(descriptor);
            return unexpected(SecureConfigurationError::system(u"lock"_s, folder, error));
        }
        if (std::chrono::milliseconds(timer.elapsed()) >= timeout) {
            ::close(descriptor);
            return unexpected(SecureConfigurationError::of(SecureConfigurationError::Code::Unavailable));
        }
        std::this_thread::sleep_for(retryInterval);
    }
    return FolderLock(descriptor);
}

FolderLock::FolderLock(int descriptor)
    : m_descriptor(descriptor)
{}

FolderLock::FolderLock(FolderLock &&other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
{}

FolderLock &FolderLock::operator=(FolderLock &&other) noexcept
{
    if (this != &other) {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

FolderLock::~FolderLock()
{
    // Closing the descriptor releases the lock.
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

} // namespace Tessary
