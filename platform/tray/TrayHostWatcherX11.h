#pragma once

#include <QObject>

class QSocketNotifier;

namespace Tessary {

/**
 * Follows the owner of the X11 system tray selection of the first screen, on a connection of its own (so the
 * events it asks for do not change what Qt's connection receives). A new tray manager announces itself with a
 * MANAGER client message on the root window; a manager that goes away destroys its window. GUI thread.
 */
class TrayHostWatcherX11 final : public QObject
{
    Q_OBJECT
public:
    explicit TrayHostWatcherX11(QObject *parent = nullptr);
    ~TrayHostWatcherX11() override;

    /** False without an X display. */
    bool isConnected() const;
    bool hasManager() const;

Q_SIGNALS:
    void managerChanged();

private:
    void readEvents();
    void findManager();

    struct Connection;
    Connection *m_connection = nullptr;
    QSocketNotifier *m_notifier = nullptr;
    quint32 m_manager = 0;
};

} // namespace Tessary
