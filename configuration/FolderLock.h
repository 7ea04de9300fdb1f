#pragma once

#include <chrono>

#include <QString>

#include "configuration/SecureConfigurationError.h"
#include "core/Result.h"

namespace Tessary {

/**
 * Exclusive access to the files of one folder among cooperating processes: an advisory lock (flock) on the folder
 * itself, so that no lock file appears in a folder that a sync tool copies to other devices. Held while the object
 * lives. Sync tools do not take it; the repository's content check protects against them.
 */
class FolderLock final
{
public:
    /** How long acquire() keeps trying before it gives up. */
    static constexpr std::chrono::milliseconds defaultTimeout{5000};

    /**
     * Tries every 50 ms, blocking the calling thread. Unavailable when the lock is still taken after the time-out; a
     * System error when the folder cannot be opened. The descriptor is close-on-exec, so a child process we start
     * never inherits the lock.
     */
    static Result<FolderLock, SecureConfigurationError> acquire(const QString &folder,
                                                                std::chrono::milliseconds timeout = defaultTimeout);

    FolderLock(FolderLock &&other) noexcept;
    FolderLock &operator=(FolderLock &&other) noexcept;
    FolderLock(const FolderLock &) = delete;
    FolderLock &operator=(const FolderLock &) = delete;
    ~FolderLock();

private:
    explicit FolderLock(int descriptor);

    int m_descriptor = -1;
};

} // namespace Tessary
