#include "configuration/FolderWatcher.h"

#include <cerrno>
#include <cstring>

#include <sys/inotify.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include "configuration/ConflictCopies.h"

namespace Tessary {

namespace {

// Silent unless asked for (QT_LOGGING_RULES="tessary.*=true").
Q_LOGGING_CATEGORY(lcMonitor, "tessary.configuration", QtCriticalMsg)

// Editors that write in place send many IN_MODIFY; IN_CLOSE_WRITE marks the end of a write.
constexpr uint32_t folderEvents = IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_ATTRIB |
                                  IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// Above a missing folder only its (re)appearance matters, and the ancestor itself going away.
constexpr uint32_t ancestorEvents = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// A move whose second half never comes (moved out of the folder) leaves its cookie behind; keep only a few.
constexpr std::size_t rememberedMoves = 64;

QString nearestExistingAncestor(const QString &folder)
{
    QFileInfo path(folder);
    while (!path.isDir() && !path.isRoot()) {
        path.setFile(path.absolutePath());
    }
    return path.absoluteFilePath();
}

} // namespace

FolderWatcher::FolderWatcher(const QString &filePath, std::function<void()> onChange)
    : m_folder(QFileInfo(filePath).absolutePath())
    , m_fileName(QFile::encodeName(QFileInfo(filePath).fileName()))
    , m_conflictCopy(ConflictCopies::expression(QFileInfo(filePath).fileName()))
    , m_onChange(std::move(onChange))
{}

FolderWatcher::~FolderWatcher()
{
    delete m_notifier;
    if (m_inotify >= 0) {
        ::close(m_inotify);
    }
}

void FolderWatcher::arm()
{
    // Close-on-exec, so that a helper process we start does not inherit the watch.
    m_inotify = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (m_inotify < 0) {
        qCWarning(lcMonitor) << "no file monitor:" << std::strerror(errno);
        return;
    }
    m_notifier = new QSocketNotifier(m_inotify, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &FolderWatcher::readEvents);
    watchFolderOrAncestor();
}

bool FolderWatcher::watchFolderOrAncestor()
{
    // Bounded, in case the path keeps changing under us.
    for (int attempt = 0; attempt < 10; ++attempt) {
        if (m_watch >= 0) {
            // Its IN_IGNORED arrives later with the old watch number, which handle() then no longer knows.
            ::inotify_rm_watch(m_inotify, m_watch);
        }
        m_watch = ::inotify_add_watch(m_inotify, QFile::encodeName(m_folder).constData(), folderEvents);
        m_watchingFolder = m_watch >= 0;
        if (m_watchingFolder) {
            return true;
        }
        if (errno != ENOENT) {
            break;
        }
        const QString ancestor = nearestExistingAncestor(m_folder);
        m_watch = ::inotify_add_watch(m_inotify, QFile::encodeName(ancestor).constData(), ancestorEvents);
        if (m_watch < 0 && errno != ENOENT) {
            break;
        }
        // A step towards the folder taken before the watch was in place would go unseen: look again.
        if (m_watch >= 0 && nearestExistingAncestor(m_folder) == ancestor) {
            return false;
        }
    }
    qCWarning(lcMonitor) << "cannot watch" << m_folder << std::strerror(errno);
    return false;
}

void FolderWatcher::readEvents()
{
    alignas(inotify_event) char buffer[16 * 1024];
    for (;;) {
        const ssize_t length = ::read(m_inotify, buffer, sizeof buffer);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            return; // EAGAIN: drained
        }
        for (const char *cursor = buffer; cursor < buffer + length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(cursor);
            cursor += sizeof(inotify_event) + event->len;
            handle(*event);
        }
    }
}

void FolderWatcher::handle(const inotify_event &event)
{
    if (event.mask & IN_Q_OVERFLOW) {
        // Events were lost, ours perhaps among them.
        m_onChange();
        return;
    }
    if (event.wd != m_watch) {
        return; // a watch we replaced
    }
    if (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) {
        const bool wasWatchingFolder = m_watchingFolder;
        if (watchFolderOrAncestor() || wasWatchingFolder) {
            m_onChange(); // the folder went away, or came back: the file with it
        }
        return;
    }
    if (!m_watchingFolder) {
        // Something appeared above the folder; perhaps the folder itself, perhaps only a step towards it.
        if (watchFolderOrAncestor()) {
            m_onChange();
        }
        return;
    }
    handleInFolder(event);
}

void FolderWatcher::handleInFolder(const inotify_event &event)
{
    const bool ours = event.len > 0 && (std::strcmp(event.name, m_fileName.constData()) == 0 ||
                                        m_conflictCopy.match(QFile::decodeName(event.name)).hasMatch());
    if (event.mask & IN_MOVED_FROM) {
        if (ours) {
            if (m_reportedMoves.size() >= rememberedMoves) {
                m_reportedMoves.clear();
            }
            m_reportedMoves.insert(event.cookie);
            m_onChange();
        }
        return;
    }
    if (event.mask & IN_MOVED_TO) {
        // The first half of this move named our file and was reported already.
        if (m_reportedMoves.erase(event.cookie) == 0 && ours) {
            m_onChange();
        }
        return;
    }
    if (ours) {
        m_onChange();
    }
}

} // namespace Tessary
