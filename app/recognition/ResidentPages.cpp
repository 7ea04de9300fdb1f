#include "app/recognition/ResidentPages.h"

#include <sys/mman.h>

#include <QByteArrayList>
#include <QFile>

namespace Tessary::ResidentPages {

namespace {

/** The libraries that only recognition runs: their code is read again from the page cache at the next capture. */
bool recognitionLibrary(const QByteArray &path)
{
    static const QByteArrayList names{"/libtesseract.", "/liblept.",    "/libopencv_", "/libprotobuf.",
                                      "/libgomp.",      "/libarchive.", "/libtessary"};
    for (const QByteArray &name : names) {
        if (path.contains(name)) {
            return true;
        }
    }
    return false;
}

bool fontFile(const QByteArray &path)
{
    return path.endsWith(".ttc") || path.endsWith(".otf") || path.endsWith(".ttf");
}

} // namespace

void dropRecognitionCode()
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly)) {
        return;
    }
    // "start-end perms offset device inode path"; the file is read in one go, since madvise changes nothing in it.
    const QByteArrayList lines = maps.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QByteArrayList fields = line.simplified().split(' ');
        if (fields.size() < 6) {
            continue;
        }
        const QByteArray &permissions = fields[1];
        const QByteArray &path = fields[5];
        // Executable, never writable code; or a font file mapped read-only. A page once written (data, relocated
        // tables) would lose its changes, so nothing else qualifies.
        const bool code = permissions == "r-xp" && recognitionLibrary(path);
        const bool font = permissions.startsWith("r--") && fontFile(path);
        if (!code && !font) {
            continue;
        }
        const QByteArrayList range = fields[0].split('-');
        bool ok = false, okEnd = false;
        const quintptr start = range.value(0).toULongLong(&ok, 16);
        const quintptr end = range.value(1).toULongLong(&okEnd, 16);
        if (ok && okEnd && end > start) {
            madvise(reinterpret_cast<void *>(start), end - start, MADV_DONTNEED);
        }
    }
}

} // namespace Tessary::ResidentPages
