#pragma once

#include <QImage>
#include <QList>
#include <QObject>
#include <QPixmap>
#include <QRect>

class QWidget;

namespace Tessary {

/**
 * The interactive region selection over frozen screen images: one window per screen shows that screen's picture
 * dimmed; the user drags a rectangle (across screens if they like), releases to accept, presses Escape or the right
 * button to cancel. The result is in physical pixels of the screens, at the highest pixel density among those it
 * covers, and carries the point where the user let go (setCaptureSelectionEnd). GUI thread; exactly one of selected()
 * or cancelled() follows start().
 */
class RegionSelector final : public QObject
{
    Q_OBJECT
public:
    struct Screen
    {
        QRect geometry; // logical, in the desktop's coordinates
        QPixmap image;  // carries its device pixel ratio
    };

    explicit RegionSelector(QList<Screen> screens, QObject *parent = nullptr);
    ~RegionSelector() override;

    void start();

    /** The part of the frozen screens inside a logical rectangle. */
    QImage compose(const QRect &region) const;

    // Called by the screen windows, in the desktop's logical coordinates.
    void press(const QPoint &globalPosition);
    void move(const QPoint &globalPosition);
    void release(const QPoint &globalPosition);
    void cancel();
    QRect selection() const;
    bool isDragging() const;

Q_SIGNALS:
    void selected(const QImage &image);
    void cancelled();
    void selectionChanged();

private:
    void finish();

    QList<Screen> m_screens;
    QList<QWidget *> m_windows;
    QPoint m_anchor;
    QPoint m_current;
    bool m_dragging = false;
    bool m_done = false;
};

} // namespace Tessary
