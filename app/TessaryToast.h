#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include <QColor>
#include <QObject>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QTimer>

class QWidget;

namespace Tessary {

class ToastNotification;
class ToastPanel;
class UserDefaults;

/**
 * The small panel that announces the outcome of a capture near the top of the screen under the pointer. It never
 * takes the focus, lets clicks through to the window below, and hides itself 1.5 seconds after the last show
 * (60 seconds when the process was started with "--preview-toast"); a failure stays 4 seconds, long enough to read
 * its reason, and a progress toast until the next show. A show while a toast is visible replaces its content and
 * restarts the period.
 *
 * On X11 (and XWayland, where the application normally runs) it is a window of its own; with the native Wayland
 * platform, which cannot place windows, it falls back to a transient desktop notification.
 *
 * GUI thread only. The panel is created on the first show and kept for the object's life.
 */
class TessaryToast final : public QObject
{
    Q_OBJECT
public:
    /** defaults gives the interface language (key "language"); it must outlive the toast. */
    explicit TessaryToast(const UserDefaults &defaults, QObject *parent = nullptr);
    ~TessaryToast() override;

    /**
     * The success toast: "recognised" or "polished" and copied, with the character count and how to paste. When the
     * text is the content of codes, codeKinds (see Recognition) name them instead of the count.
     */
    void showCopied(qsizetype characterCount, bool polished, const QStringList &codeKinds = {});

    /**
     * The general toast. title and detail are already localised; detail absent gives a one-line toast. symbol names a
     * bundled symbol ("checkmark.circle.fill", "exclamationmark.triangle.fill"), tinted with color.
     */
    void show(const QString &title, const std::optional<QString> &detail, const QString &symbol, const QColor &color);

    /**
     * The failure toast: title (what failed) and, when given, the reason in one or two lines below it, with the
     * warning triangle in the warning colour. Both texts are already localised.
     */
    void showFailure(const QString &title, const std::optional<QString> &reason = std::nullopt);

    /** A toast for work under way (a polish): it stays until the next show or hideProgress(). title is localised. */
    void showProgress(const QString &title);
    /** Takes a progress toast off the screen; any other toast is left alone. */
    void hideProgress();

    /**
     * Places the toasts shown from now until one is taken off the screen as if the pointer were at point (the
     * desktop's logical coordinates) rather than where the pointer is; nothing restores the pointer. A capture
     * gives where its selection ended: the toast belongs on that output.
     */
    void setPlacementPoint(const std::optional<QPoint> &point);

    /** The tints of the success and failure symbols. */
    static QColor systemGreen();
    static QColor systemOrange();
    static QColor progressColor();

    /** The panel window once it has been created (first show on X11), else null. */
    QWidget *panel() const;
    bool isShowing() const;

    /** How long the next success toast stays. */
    std::chrono::milliseconds dismissDelay() const;
    /** How long the next failure toast stays. */
    std::chrono::milliseconds failureDismissDelay() const;

    /** Tests only: replaces the dismiss delay (nullopt restores the product's). */
    void setDismissDelayForTesting(std::optional<std::chrono::milliseconds> delay);

Q_SIGNALS:
    /** The toast was taken off the screen after its period. */
    void dismissed();

private:
    /** Shows the content; it stays for delay, or until replaced when there is none. */
    void present(const QString &title, const std::optional<QString> &detail, const QString &symbol, const QColor &color,
                 std::optional<std::chrono::milliseconds> delay);
    void dismiss();

    const UserDefaults &m_defaults;
    std::unique_ptr<ToastPanel> m_panel;
    std::unique_ptr<ToastNotification> m_notification;
    QTimer m_dismissTimer;
    std::optional<std::chrono::milliseconds> m_testDelay;
    std::optional<QPoint> m_placementPoint;
    bool m_showingProgress = false;
};

} // namespace Tessary
