#include "updater/NativeFileMove.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <QFile>
#include <QFileInfo>
#include <QUuid>

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace Tessary {

namespace {

fs::path toPath(const QString &path)
{
    return fs::path(QFile::encodeName(path).toStdString());
}

/**
 * What could not be done, in the updater's words: the system's own (errno's) are English only. The helper, which
 * moves bundles too, writes nothing anywhere, so they are not logged either.
 */
NativeUpdateError systemError(const QString &text, const QString &path, const std::error_code &)
{
    return NativeUpdateError::message(text, {path});
}

} // namespace

bool removeItem(const QString &path)
{
    std::error_code error;
    fs::remove_all(toPath(path), error);
    return !error;
}

Result<void, NativeUpdateError> moveItem(const QString &source, const QString &destination)
{
    const QByteArray from = QFile::encodeName(source);
    const QByteArray to = QFile::encodeName(destination);
    std::error_code error;
    if (fs::symlink_status(toPath(destination), error).type() != fs::file_type::not_found) {
        return unexpected(NativeUpdateError::message(u"“%1”已存在。"_s, {destination}));
    }
    if (std::rename(from.constData(), to.constData()) == 0) {
        return {};
    }
    const int renameError = errno;
    if (renameError != EXDEV) {
        const std::error_code code(renameError, std::generic_category());
        return unexpected(systemError(u"无法移动“%1”。"_s, source, code));
    }

    const QFileInfo target(destination);
    const QString staging = target.path() + u"/."_s + target.fileName() + u".incoming-"_s +
                            QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    fs::copy(toPath(source), toPath(staging), fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    if (error) {
        removeItem(staging);
        return unexpected(systemError(u"无法复制“%1”。"_s, source, error));
    }
    if (std::rename(QFile::encodeName(staging).constData(), to.constData()) != 0) {
        const std::error_code stagingError(errno, std::generic_category());
        removeItem(staging);
        return unexpected(systemError(u"无法移动“%1”。"_s, source, stagingError));
    }
    // The copy is in place; a source that cannot be deleted only wastes space in the temporary folder.
    removeItem(source);
    return {};
}

} // namespace Tessary
