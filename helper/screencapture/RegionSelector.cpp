#include "helper/screencapture/RegionSelector.h"

#include <algorithm>
#include <cmath>

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWidget>

#include "platform/capture/CaptureSelectionEnd.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

/** One screen's frozen picture, dimmed except for the selection, with the selection's size beside it. */
class ScreenWindow final : public QWidget
{
public:
    ScreenWindow(RegionSelector &selector, const RegionSelector::Screen &screen)
        : QWidget(nullptr,
                  Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint)
        , m_selector(selector)
        , m_screen(screen)
    {
        setAttribute(Qt::WA_DeleteOnClose, false);
        setWindowTitle(u"Tessary Capture"_s);
        setCursor(Qt::CrossCursor);
        setMouseTracking(true);
        setGeometry(screen.geometry);
        connect(&selector, &RegionSelector::selectionChanged, this, qOverload<>(&QWidget::update));
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.drawPixmap(rect(), m_screen.image);
        painter.fillRect(rect(), QColor(0, 0, 0, 110));
        const QRect selection = m_selector.selection().translated(-m_screen.geometry.topLeft());
        if (selection.isEmpty()) {
            return;
        }
        // The selected part shows undimmed.
        const qreal ratio = m_screen.image.devicePixelRatio();
        const QRect source(QPointF(selection.topLeft()).toPoint() * ratio, selection.size() * ratio);
        painter.drawPixmap(selection, m_screen.image, source);
        painter.setPen(QPen(QColor(0x0a, 0x84, 0xff), 1));
        painter.drawRect(selection.adjusted(0, 0, -1, -1));

        const QSize physical = (m_selector.selection().size() * ratio);
        const QString label = u"%1 × %2"_s.arg(physical.width()).arg(physical.height());
        const QFontMetrics metrics(font());
        QRect box(0, 0, metrics.horizontalAdvance(label) + 12, metrics.height() + 6);
        box.moveBottomLeft(selection.topLeft() - QPoint(0, 4));
        if (box.top() < 0) {
            box.moveTopLeft(selection.bottomLeft() + QPoint(0, 4));
        }
        painter.fillRect(box, QColor(0, 0, 0, 180));
        painter.setPen(Qt::white);
        painter.drawText(box, Qt::AlignCenter, label);
    }

    void mousePressEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::RightButton) {
            m_selector.cancel();
        } else if (event->button() == Qt::LeftButton) {
            m_selector.press(desktopPosition(event));
        }
    }

    void mouseMoveEvent(QMouseEvent *event) override { m_selector.move(desktopPosition(event)); }

    void mouseReleaseEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton) {
            m_selector.release(desktopPosition(event));
        }
    }

    void keyPressEvent(QKeyEvent *event) override
    {
        if (event->key() == Qt::Key_Escape) {
            m_selector.cancel();
        }
    }

private:
    /**
     * The event's point on the desktop. The window covers its screen exactly; a Wayland client is never told where
     * its window is, so Qt's global position there is a guess.
     */
    QPoint desktopPosition(const QMouseEvent *event) const
    {
        return m_screen.geometry.topLeft() + event->position().toPoint();
    }

    RegionSelector &m_selector;
    RegionSelector::Screen m_screen;
};

} // namespace

RegionSelector::RegionSelector(QList<Screen> screens, QObject *parent)
    : QObject(parent)
    , m_screens(std::move(screens))
{}

RegionSelector::~RegionSelector()
{
    qDeleteAll(m_windows);
}

void RegionSelector::start()
{
    // A native Wayland client cannot place windows; a full-screen window on each output is what it may ask for.
    const bool placeByCompositor = QGuiApplication::platformName() == u"wayland";
    for (const Screen &screen : std::as_const(m_screens)) {
        auto *window = new ScreenWindow(*this, screen);
        m_windows.append(window);
        if (placeByCompositor) {
            window->setScreen(QGuiApplication::screenAt(screen.geometry.center()));
            window->showFullScreen();
        } else {
            window->show();
        }
    }
    // Escape must reach us although the windows never become active (there is no window manager focus for them).
    if (!m_windows.isEmpty()) {
        m_windows.first()->activateWindow();
        m_windows.first()->grabKeyboard();
    }
}

QRect RegionSelector::selection() const
{
    if (!m_dragging && !m_done) {
        return {};
    }
    return QRect(m_anchor, m_current).normalized().adjusted(0, 0, -1, -1);
}

bool RegionSelector::isDragging() const
{
    return m_dragging;
}

void RegionSelector::press(const QPoint &globalPosition)
{
    m_anchor = m_current = globalPosition;
    m_dragging = true;
    Q_EMIT selectionChanged();
}

void RegionSelector::move(const QPoint &globalPosition)
{
    if (m_dragging) {
        m_current = globalPosition;
        Q_EMIT selectionChanged();
    }
}

void RegionSelector::release(const QPoint &globalPosition)
{
    if (!m_dragging) {
        return;
    }
    m_current = globalPosition;
    m_dragging = false;
    const QRect region = QRect(m_anchor, m_current).normalized();
    // QRect(a, b) includes both corners; a drag from x to x + n covers n pixels.
    const QRect covered(region.topLeft(), QSize(region.width() - 1, region.height() - 1));
    finish();
    if (covered.width() <= 0 || covered.height() <= 0) {
        Q_EMIT cancelled();
        return;
    }
    QImage image = compose(covered);
    setCaptureSelectionEnd(image, m_current);
    Q_EMIT selected(image);
}

void RegionSelector::cancel()
{
    finish();
    Q_EMIT cancelled();
}

void RegionSelector::finish()
{
    m_done = true;
    for (QWidget *window : std::as_const(m_windows)) {
        window->releaseKeyboard();
        window->hide();
    }
}

QImage RegionSelector::compose(const QRect &region) const
{
    qreal ratio = 1.0;
    for (const Screen &screen : m_screens) {
        if (screen.geometry.intersects(region)) {
            ratio = std::max(ratio, screen.image.devicePixelRatio());
        }
    }
    QImage image(QSize(qRound(region.width() * ratio), qRound(region.height() * ratio)), QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const Screen &screen : m_screens) {
        const QRect part = screen.geometry.intersected(region);
        if (part.isEmpty()) {
            continue;
        }
        const qreal screenRatio = screen.image.devicePixelRatio();
        const QRectF source(QPointF(part.topLeft() - screen.geometry.topLeft()) * screenRatio,
                            QSizeF(part.size()) * screenRatio);
        const QRectF target(QPointF(part.topLeft() - region.topLeft()) * ratio, QSizeF(part.size()) * ratio);
        painter.drawPixmap(target, screen.image, source);
    }
    return image;
}

} // namespace Tessary
