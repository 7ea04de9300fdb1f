#include "app/SymbolIcon.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QSvgRenderer>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

/** Renders the symbol on demand, so it stays crisp on HiDPI screens. */
class SymbolIconEngine final : public QIconEngine
{
public:
    SymbolIconEngine(QString name, QColor color)
        : m_name(std::move(name))
        , m_color(std::move(color))
    {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        // No colour of its own: the palette's text colour of this moment.
        QColor color = m_color.isValid() ? m_color : QGuiApplication::palette().color(QPalette::WindowText);
        if (mode == QIcon::Disabled) {
            color.setAlphaF(0.4f);
        }
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        const QImage image = symbolImage(m_name, color, rect.size() * ratio);
        painter->drawImage(rect, image);
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return pixmap;
    }

    QIconEngine *clone() const override { return new SymbolIconEngine(m_name, m_color); }

private:
    QString m_name;
    QColor m_color;
};

} // namespace

QImage symbolImage(const QString &name, const QColor &color, const QSize &size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(u":/symbols/%1.svg"_s.arg(name));
    if (!renderer.isValid()) {
        return image;
    }
    QPainter painter(&image);
    renderer.render(&painter);
    // The artwork is black; keep its shape and give it the colour.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    return image;
}

QIcon symbolIcon(const QString &name, const QColor &color)
{
    return QIcon(new SymbolIconEngine(name, color));
}

QIcon symbolIcon(const QString &name)
{
    return QIcon(new SymbolIconEngine(name, QColor()));
}

} // namespace Tessary
