#pragma once

#include <chrono>
#include <optional>

#include <QByteArray>
#include <QString>
#include <QUrl>

#include "configuration/FolderLock.h"
#include "configuration/SecureConfigurationError.h"
#include "core/Result.h"

namespace Tessary {

/**
 * Reads and writes one small configuration file in a folder that other devices and processes change behind our back
 * (a folder that a sync tool keeps in step between machines).
 *
 * - Every access holds the folder's lock (see FolderLock), so cooperating processes never see each other's
 *   half-done work; when the lock stays taken past the time-out the access fails with Unavailable.
 * - Files and data over sizeLimit bytes are refused with TooLarge.
 * - Nothing is read, and write() writes nothing, while a sync tool's conflict copy of the file lies beside it
 *   (Conflict): the user settles the conflict first. replace() is the user's explicit choice and goes ahead.
 * - write() replaces only the bytes this repository last saw (its baseline) and fails with ExternalChange otherwise,
 *   so a change made elsewhere is never overwritten unseen.
 * - Writes are atomic: after a crash at any moment the file holds the old bytes or the new ones.
 *
 * Holds no parsed data: callers encode and decode. Every call is synchronous and blocks until the lock is granted
 * and the work is done. Not thread-safe: one owner thread. A failed call changes neither baseline nor revision.
 */
class SecureConfigurationRepository final
{
public:
    /** Decimal megabytes: exactly 5,000,000 bytes are accepted. */
    static constexpr qint64 sizeLimit = 5'000'000;

    /** Touches no file. The lock time-out is there for tests; the default is the one to use. */
    explicit SecureConfigurationRepository(const QString &path,
                                           std::chrono::milliseconds lockTimeout = FolderLock::defaultTimeout);

    /** The absolute, cleaned path given at construction; every operation works on it. */
    QString path() const;
    QUrl url() const;
    /** Counts baseline changes (read, adopt, write, replace); starts at 0 and is never reset. */
    qint64 revision() const;
    /** True only when there is a baseline and data equals it byte for byte. */
    bool isCurrent(const QByteArray &data) const;

    /**
     * The bytes of the file at path, read under the folder's lock; changes no repository. A missing file is a System
     * error (ENOENT).
     */
    static Result<QByteArray, SecureConfigurationError>
    readData(const QString &path, std::chrono::milliseconds lockTimeout = FolderLock::defaultTimeout);
    /** readData() of our file, then adopt(). */
    Result<QByteArray, SecureConfigurationError> read();
    /** Makes data the baseline without touching the disk, for bytes the caller read itself. */
    Result<QByteArray, SecureConfigurationError> adopt(const QByteArray &data);
    /**
     * Replaces the file atomically with data, creating its folders, but only while the file still holds the
     * baseline (with no baseline, only while there is no file) and no conflict copy lies beside it. Afterwards data
     * is the baseline.
     */
    Result<void, SecureConfigurationError> write(const QByteArray &data);
    /**
     * Replaces the file atomically with data whatever it holds (no baseline check, no size check). When backupPath is
     * given and the file exists, the old file is first copied there (folders created); if that fails nothing is
     * written. Afterwards data is the baseline.
     */
    Result<void, SecureConfigurationError> replace(const QByteArray &data, const QString &backupPath = {});

private:
    Result<FolderLock, SecureConfigurationError> lockForWriting() const;
    Result<bool, SecureConfigurationError> fileHoldsBaseline() const;
    void setBaseline(const QByteArray &data);

    QString m_path;
    std::chrono::milliseconds m_lockTimeout;
    std::optional<QByteArray> m_expected;
    qint64 m_revision = 0;
};

} // namespace Tessary
