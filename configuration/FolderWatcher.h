#pragma once

#include <cstdint>
#include <functional>
#include <set>

#include <QByteArray>
#include <QObject>
#include <QRegularExpression>
#include <QString>

class QSocketNotifier;
struct inotify_event;

namespace Tessary {

/**
 * inotify on the folder of one file, calling onChange once for each event that concerns that file: written and
 * closed, created, deleted, attributes changed, renamed away or renamed onto (a move counts once even when both of
 * its names are the file's). A sync tool's conflict copy of the file (see ConflictCopies) belongs to the file: its
 * coming and going are changes of the file, because they decide whether the file may be read. When the folder does not
 * exist, or is deleted or moved away, the nearest existing ancestor is watched until the folder is back; the folder
 * going away and coming back count as changes, and so does a lost event queue (IN_Q_OVERFLOW).
 *
 * Lives and works on one thread; SecureConfigurationFileMonitor owns that thread.
 */
class FolderWatcher final : public QObject
{
    Q_OBJECT
public:
    FolderWatcher(const QString &filePath, std::function<void()> onChange);
    ~FolderWatcher() override;

    /** Sets up inotify and the watch; call on the watcher's own thread. */
    void arm();

private:
    void readEvents();
    void handle(const inotify_event &event);
    void handleInFolder(const inotify_event &event);
    /** Watches the folder or, failing that, its nearest existing ancestor; true when it watches the folder. */
    bool watchFolderOrAncestor();

    QString m_folder;
    QByteArray m_fileName;
    QRegularExpression m_conflictCopy;
    std::function<void()> m_onChange;
    int m_inotify = -1;
    int m_watch = -1;
    bool m_watchingFolder = false;
    /** Cookies of moves already reported by their first half. */
    std::set<uint32_t> m_reportedMoves;
    QSocketNotifier *m_notifier = nullptr;
};

} // namespace Tessary
