#include "configuration/SecureConfigurationRepository.h"

#include <cerrno>

#include <QDir>
#include <QFileInfo>

#include "configuration/AtomicFile.h"
#include "configuration/ConflictCopies.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

using Code = SecureConfigurationError::Code;

Unexpected<SecureConfigurationError> failure(Code code)
{
    return unexpected(SecureConfigurationError::of(code));
}

QString folderOf(const QString &path)
{
    return QFileInfo(path).absolutePath();
}

} // namespace

SecureConfigurationRepository::SecureConfigurationRepository(const QString &path, std::chrono::milliseconds lockTimeout)
    : m_path(QDir::cleanPath(QFileInfo(path).absoluteFilePath()))
    , m_lockTimeout(lockTimeout)
{}

QString SecureConfigurationRepository::path() const
{
    return m_path;
}

QUrl SecureConfigurationRepository::url() const
{
    return QUrl::fromLocalFile(m_path);
}

qint64 SecureConfigurationRepository::revision() const
{
    return m_revision;
}

bool SecureConfigurationRepository::isCurrent(const QByteArray &data) const
{
    return m_expected.has_value() && *m_expected == data;
}

Result<QByteArray, SecureConfigurationError>
SecureConfigurationRepository::readData(const QString &path, std::chrono::milliseconds lockTimeout)
{
    const QFileInfo file(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    const auto lock = FolderLock::acquire(file.absolutePath(), lockTimeout);
    if (!lock) {
        return unexpected(lock.error());
    }
    if (ConflictCopies::exist(file.absolutePath(), file.fileName())) {
        return failure(Code::Conflict);
    }
    auto data = AtomicFile::read(file.absoluteFilePath(), sizeLimit);
    if (!data) {
        return unexpected(data.error());
    }
    if (!data->has_value()) {
        return unexpected(SecureConfigurationError::system(u"open"_s, file.absoluteFilePath(), ENOENT));
    }
    return std::move(**data);
}

Result<QByteArray, SecureConfigurationError> SecureConfigurationRepository::read()
{
    auto data = readData(m_path, m_lockTimeout);
    if (!data) {
        return unexpected(data.error());
    }
    return adopt(*data);
}

Result<QByteArray, SecureConfigurationError> SecureConfigurationRepository::adopt(const QByteArray &data)
{
    if (data.size() > sizeLimit) {
        return failure(Code::TooLarge);
    }
    setBaseline(data);
    return data;
}

Result<void, SecureConfigurationError> SecureConfigurationRepository::write(const QByteArray &data)
{
    if (data.size() > sizeLimit) {
        return failure(Code::TooLarge);
    }
    const auto lock = lockForWriting();
    if (!lock) {
        return unexpected(lock.error());
    }
    // While a conflict copy waits for the user, another write would only add a third version to choose from.
    if (ConflictCopies::exist(folderOf(m_path), QFileInfo(m_path).fileName())) {
        return failure(Code::Conflict);
    }
    const auto unchanged = fileHoldsBaseline();
    if (!unchanged) {
        return unexpected(unchanged.error());
    }
    if (!*unchanged) {
        return failure(Code::ExternalChange);
    }
    if (auto written = AtomicFile::write(m_path, data); !written) {
        return written;
    }
    setBaseline(data);
    return {};
}

Result<void, SecureConfigurationError> SecureConfigurationRepository::replace(const QByteArray &data,
                                                                              const QString &backupPath)
{
    const auto lock = lockForWriting();
    if (!lock) {
        return unexpected(lock.error());
    }
    if (!backupPath.isEmpty() && QFileInfo::exists(m_path)) {
        if (auto backup = AtomicFile::copy(m_path, backupPath); !backup) {
            return backup;
        }
    }
    if (auto written = AtomicFile::write(m_path, data); !written) {
        return written;
    }
    setBaseline(data);
    return {};
}

Result<FolderLock, SecureConfigurationError> SecureConfigurationRepository::lockForWriting() const
{
    const QString folder = folderOf(m_path);
    if (!QDir().mkpath(folder)) {
        return unexpected(SecureConfigurationError::system(u"create"_s, folder, errno));
    }
    auto lock = FolderLock::acquire(folder, m_lockTimeout);
    if (lock) {
        // Under the lock no write of ours is under way, so any temporary file is a killed writer's.
        AtomicFile::removeLeftovers(m_path);
    }
    return lock;
}

Result<bool, SecureConfigurationError> SecureConfigurationRepository::fileHoldsBaseline() const
{
    // A file larger than the baseline cannot hold it, so it need not be loaded.
    const auto onDisk = AtomicFile::read(m_path, m_expected ? m_expected->size() : 0);
    if (!onDisk) {
        if (onDisk.error().code == Code::TooLarge) {
            return false;
        }
        return unexpected(onDisk.error());
    }
    return *onDisk == m_expected;
}

void SecureConfigurationRepository::setBaseline(const QByteArray &data)
{
    m_expected = data;
    ++m_revision;
}

} // namespace Tessary
