#include "configuration/SecureConfigurationFileMonitor.h"

#include <QDir>
#include <QFileInfo>
#include <QThread>

#include "configuration/FolderWatcher.h"

namespace Tessary {

SecureConfigurationFileMonitor::SecureConfigurationFileMonitor(const QString &path, std::function<void()> onChange)
    : m_path(QDir::cleanPath(QFileInfo(path).absoluteFilePath()))
    , m_onChange(std::move(onChange))
{}

SecureConfigurationFileMonitor::~SecureConfigurationFileMonitor()
{
    stop();
}

QString SecureConfigurationFileMonitor::watchedPath() const
{
    return m_path;
}

QString SecureConfigurationFileMonitor::folder() const
{
    return QFileInfo(m_path).absolutePath();
}

bool SecureConfigurationFileMonitor::isMonitoring() const
{
    return m_thread != nullptr;
}

void SecureConfigurationFileMonitor::start()
{
    if (m_thread != nullptr) {
        return;
    }
    m_thread = std::make_unique<QThread>();
    m_thread->setObjectName(QString::fromLatin1(threadName));
    auto *watcher = new FolderWatcher(m_path, m_onChange);
    watcher->moveToThread(m_thread.get());
    // Deleted on its own thread as the thread ends: its socket notifier must go where it was made.
    QObject::connect(m_thread.get(), &QThread::finished, watcher, &QObject::deleteLater);
    m_thread->start();
    // Armed on its own thread; waiting for it means a change made right after start() is seen.
    QMetaObject::invokeMethod(watcher, &FolderWatcher::arm, Qt::BlockingQueuedConnection);
}

void SecureConfigurationFileMonitor::stop()
{
    if (m_thread == nullptr) {
        return;
    }
    m_thread->quit();
    m_thread->wait();
    m_thread.reset();
}

} // namespace Tessary
