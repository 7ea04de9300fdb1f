#pragma once

#include <functional>
#include <memory>

#include <QString>

class QThread;

namespace Tessary {

class FolderWatcher;

/**
 * Tells its owner whenever one file changes, whoever changed it: a write, an atomic replace (a rename onto its
 * name), a rename away, deletion, creation, a change of permissions, the folder disappearing or coming back, and
 * lost events. It watches the containing folder, so it keeps working when the file is replaced or does not exist
 * yet. A sync tool's conflict copy of the file appearing or going away is a change of the file too (it decides
 * whether the file may be read). Changes to other files in the folder are ignored. Our own writes are reported too.
 *
 * onChange runs on the monitor's own thread, named "md.velmor.mac-configuration-monitor", one call at a time, once
 * per event that concerns the file: nothing is debounced or merged. The owner moves work to its own thread.
 *
 * start() and stop() are called from the owner's thread, never from onChange; both may be repeated. start() returns
 * with the watch in place; stop() returns once the thread has ended, so no call comes after it.
 * Destruction stops the monitor.
 */
class SecureConfigurationFileMonitor final
{
public:
    static constexpr auto threadName = "md.velmor.mac-configuration-monitor";

    /** Does not start watching. */
    SecureConfigurationFileMonitor(const QString &path, std::function<void()> onChange);
    ~SecureConfigurationFileMonitor();
    SecureConfigurationFileMonitor(const SecureConfigurationFileMonitor &) = delete;
    SecureConfigurationFileMonitor &operator=(const SecureConfigurationFileMonitor &) = delete;

    /** The absolute, cleaned path of the file. */
    QString watchedPath() const;
    /** The folder that is watched: the file's folder. */
    QString folder() const;
    bool isMonitoring() const;

    void start();
    void stop();

private:
    QString m_path;
    std::function<void()> m_onChange;
    std::unique_ptr<QThread> m_thread;
};

} // namespace Tessary
