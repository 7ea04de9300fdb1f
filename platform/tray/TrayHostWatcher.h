#pragma once

#include <memory>

#include <QObject>

namespace Tessary {

class TrayHostWatcherX11;

/**
 * Whether the desktop shows tray icons now, and when that changes: a StatusNotifierItem host registered with the
 * session bus's org.kde.StatusNotifierWatcher (KDE, GNOME's AppIndicator extension, XFCE…), or an X11 system tray
 * (an XEmbed manager owning the _NET_SYSTEM_TRAY_S0 selection). At login the panel often starts after the
 * applications of the autostart folder, and a panel may restart or go: the watcher follows both kinds without
 * polling.
 *
 * It asks nothing of Qt's tray support, which settles on one kind the first time it is asked and keeps to it: create
 * the tray icon only once this watcher reports a host. GUI thread.
 */
class TrayHostWatcher final : public QObject
{
    Q_OBJECT
public:
    explicit TrayHostWatcher(QObject *parent = nullptr);
    ~TrayHostWatcher() override;

    bool isAvailable() const;

Q_SIGNALS:
    /** A tray host appeared where there was none, or the last one went. */
    void availabilityChanged(bool available);

private Q_SLOTS:
    void querySni();

private:
    void update();

    bool m_sniHost = false;
    bool m_available = false;
    std::unique_ptr<TrayHostWatcherX11> m_x11;
};

} // namespace Tessary
