#include "helper/update/DittoTool.h"

#include <cstdio>
#include <memory>

#include <archive.h>
#include <archive_entry.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

using namespace Qt::StringLiterals;

namespace Tessary::DittoTool {

namespace {

// An application bundle is tens of megabytes in a few hundred files; these bounds stop zip bombs long before
// they fill the disk.
constexpr la_int64_t maximumUnpackedSize = la_int64_t(2) << 30;
constexpr int maximumEntries = 100000;

using ArchivePointer = std::unique_ptr<struct archive, int (*)(struct archive *)>;

ArchivePointer openArchive(const QString &path)
{
    ArchivePointer archive(archive_read_new(), &archive_read_free);
    archive_read_support_format_zip(archive.get());
    if (archive_read_open_filename(archive.get(), QFile::encodeName(path).constData(), 1 << 16) != ARCHIVE_OK) {
        return ArchivePointer(nullptr, &archive_read_free);
    }
    return archive;
}

QString archiveError(struct archive *archive)
{
    const char *message = archive_error_string(archive);
    return u"damaged archive: "_s + QString::fromUtf8(message != nullptr ? message : "unknown error");
}

Result<void, QString> checkEntry(struct archive_entry *entry)
{
    const char *rawName = archive_entry_pathname(entry);
    const QString name = QString::fromUtf8(rawName != nullptr ? rawName : "");
    if (name.isEmpty() || name.startsWith(u'/')) {
        return unexpected(u"absolute or empty path in archive: "_s + name);
    }
    const QStringList parts = name.split(u'/', Qt::SkipEmptyParts);
    if (parts.contains(u".."_s)) {
        return unexpected(u"path leaves the folder: "_s + name);
    }
    if (archive_entry_hardlink(entry) != nullptr) {
        return unexpected(u"hard link in archive: "_s + name);
    }
    switch (archive_entry_filetype(entry)) {
    case AE_IFREG:
    case AE_IFDIR:
        return {};
    case AE_IFLNK:
        return unexpected(u"symbolic link in archive: "_s + name);
    default:
        return unexpected(u"special file in archive: "_s + name);
    }
}

// First pass: read every header, so a bad entry anywhere refuses the archive before a byte is written.
Result<void, QString> checkArchive(const QString &archivePath)
{
    const ArchivePointer archive = openArchive(archivePath);
    if (!archive) {
        return unexpected(u"cannot open archive "_s + archivePath);
    }
    struct archive_entry *entry = nullptr;
    la_int64_t total = 0;
    int count = 0;
    int status = ARCHIVE_OK;
    while ((status = archive_read_next_header(archive.get(), &entry)) == ARCHIVE_OK) {
        if (const auto checked = checkEntry(entry); !checked) {
            return checked;
        }
        total += archive_entry_size_is_set(entry) ? archive_entry_size(entry) : 0;
        if (++count > maximumEntries || total > maximumUnpackedSize) {
            return unexpected(u"archive too large"_s);
        }
        if (archive_read_data_skip(archive.get()) != ARCHIVE_OK) {
            return unexpected(archiveError(archive.get()));
        }
    }
    if (status != ARCHIVE_EOF) {
        return unexpected(archiveError(archive.get()));
    }
    if (count == 0) {
        return unexpected(u"empty archive"_s);
    }
    return {};
}

Result<void, QString> copyData(struct archive *reader, struct archive *writer, la_int64_t &total)
{
    const void *buffer = nullptr;
    size_t size = 0;
    la_int64_t offset = 0;
    for (;;) {
        const int status = archive_read_data_block(reader, &buffer, &size, &offset);
        if (status == ARCHIVE_EOF) {
            return {};
        }
        if (status != ARCHIVE_OK) {
            return unexpected(archiveError(reader));
        }
        // Sizes in the headers may lie; count what really comes out.
        total += la_int64_t(size);
        if (total > maximumUnpackedSize) {
            return unexpected(u"archive too large"_s);
        }
        if (archive_write_data_block(writer, buffer, size, offset) != ARCHIVE_OK) {
            return unexpected(u"cannot write: "_s + QString::fromUtf8(archive_error_string(writer)));
        }
    }
}

} // namespace

Result<void, QString> extract(const QString &archivePath, const QString &folder)
{
    if (!QFileInfo(folder).isDir()) {
        return unexpected(u"no such folder: "_s + folder);
    }
    if (const auto checked = checkArchive(archivePath); !checked) {
        return checked;
    }
    const ArchivePointer reader = openArchive(archivePath);
    if (!reader) {
        return unexpected(u"cannot open archive "_s + archivePath);
    }
    ArchivePointer writer(archive_write_disk_new(), &archive_write_free);
    // The secure flags repeat the checks above at the system-call level, where a path cannot be played with
    // between checking and writing (a folder swapped for a link, say).
    archive_write_disk_set_options(writer.get(), ARCHIVE_EXTRACT_SECURE_NODOTDOT | ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                                                     ARCHIVE_EXTRACT_SECURE_NOABSOLUTEPATHS | ARCHIVE_EXTRACT_PERM |
                                                     ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_NO_OVERWRITE);
    // Entries are written relative to the folder: absolute target paths would defeat the secure flags.
    const QString previous = QDir::currentPath();
    if (!QDir::setCurrent(folder)) {
        return unexpected(u"cannot enter "_s + folder);
    }
    const auto restore = qScopeGuard([&previous] { QDir::setCurrent(previous); });
    struct archive_entry *entry = nullptr;
    la_int64_t total = 0;
    int status = ARCHIVE_OK;
    while ((status = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
        if (const auto checked = checkEntry(entry); !checked) {
            return checked;
        }
        const bool directory = archive_entry_filetype(entry) == AE_IFDIR;
        const bool executable = (archive_entry_perm(entry) & 0111) != 0;
        archive_entry_set_perm(entry, directory || executable ? 0755 : 0644);
        if (archive_write_header(writer.get(), entry) != ARCHIVE_OK) {
            return unexpected(u"cannot write: "_s + QString::fromUtf8(archive_error_string(writer.get())));
        }
        if (!directory) {
            if (const auto copied = copyData(reader.get(), writer.get(), total); !copied) {
                return copied;
            }
        }
        if (archive_write_finish_entry(writer.get()) != ARCHIVE_OK) {
            return unexpected(u"cannot write: "_s + QString::fromUtf8(archive_error_string(writer.get())));
        }
    }
    if (status != ARCHIVE_EOF) {
        return unexpected(archiveError(reader.get()));
    }
    if (archive_write_close(writer.get()) != ARCHIVE_OK) {
        return unexpected(u"cannot write: "_s + QString::fromUtf8(archive_error_string(writer.get())));
    }
    return {};
}

int run(const QStringList &arguments)
{
    if (arguments.size() != 4 || arguments[0] != u"-x"_s || arguments[1] != u"-k"_s) {
        std::fputs("usage: tessary-helper ditto -x -k ZIP FOLDER\n", stderr);
        return 1;
    }
    const auto extracted = extract(arguments[2], arguments[3]);
    if (!extracted) {
        std::fprintf(stderr, "ditto: %s\n", qPrintable(extracted.error()));
        return 1;
    }
    return 0;
}

} // namespace Tessary::DittoTool
