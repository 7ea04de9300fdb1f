#include "app/TessaryIcon.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <QHash>
#include <QIconEngine>
#include <QLineF>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

using namespace Qt::StringLiterals;

namespace Tessary::TessaryIcon {

namespace {

// The artwork is laid out on a 1024 × 1024 canvas whose origin is the bottom-left corner, y growing upwards.
constexpr qreal canvas = 1024;

QPointF canvasPoint(qreal x, qreal y)
{
    return {x, canvas - y};
}

// The four corners of the viewfinder, each as two separate strokes.
constexpr std::array<std::array<qreal, 4>, 8> viewfinder{{
    {264, 704, 264, 814},
    {264, 814, 374, 814},
    {650, 814, 760, 814},
    {760, 814, 760, 704},
    {264, 320, 264, 210},
    {264, 210, 374, 210},
    {650, 210, 760, 210},
    {760, 210, 760, 320},
}};

class TessaryIconEngine final : public QIconEngine
{
public:
    explicit TessaryIconEngine(NativeAccentPalette palette)
        : m_palette(palette)
    {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        const qreal ratio = painter->device() != nullptr ? painter->device()->devicePixelRatioF() : 1.0;
        const int side = qMin(rect.width(), rect.height());
        if (side <= 0) {
            return;
        }
        QPixmap rendering = pixmap(QSize(side, side) * ratio, mode, state);
        rendering.setDevicePixelRatio(ratio);
        const QRect target(rect.x() + (rect.width() - side) / 2, rect.y() + (rect.height() - side) / 2, side, side);
        painter->drawPixmap(target, rendering);
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) override
    {
        if (size.isEmpty()) {
            return {};
        }
        const quint64 key = (quint64(size.width()) << 32) | (quint64(size.height()) << 2) | quint64(mode);
        if (const auto cached = m_renderings.constFind(key); cached != m_renderings.cend()) {
            return *cached;
        }
        const int side = qMin(size.width(), size.height());
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            painter.drawImage(QPoint((size.width() - side) / 2, (size.height() - side) / 2), render(m_palette, side));
        }
        if (mode == QIcon::Disabled) {
            image = disabled(image);
        }
        const QPixmap rendering = QPixmap::fromImage(image);
        m_renderings.insert(key, rendering);
        return rendering;
    }

    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        // Window managers read the icon at these sizes (_NET_WM_ICON); every other size is drawn on request.
        return {QSize(16, 16), QSize(24, 24),   QSize(32, 32),  QSize(48, 48),
                QSize(64, 64), QSize(128, 128), QSize(256, 256)};
    }

    QString key() const override { return u"TessaryIcon"_s; }
    QIconEngine *clone() const override { return new TessaryIconEngine(*this); }
    bool isNull() override { return false; }

private:
    // Greyed and faded, as a disabled control's icon looks.
    static QImage disabled(const QImage &image)
    {
        QImage grey = image.convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < grey.height(); ++y) {
            auto *line = reinterpret_cast<QRgb *>(grey.scanLine(y));
            for (int x = 0; x < grey.width(); ++x) {
                const int gray = qGray(line[x]);
                line[x] = qRgba(gray, gray, gray, qAlpha(line[x]) * 2 / 5);
            }
        }
        return grey;
    }

    NativeAccentPalette m_palette;
    QHash<quint64, QPixmap> m_renderings;
};

// Below this size the strokes would be thinner than a pixel and smear into the fill, so they are set on the pixel
// grid instead: one pixel wide, and the cursor's stem two pixels when the icon's centre falls between two pixels, so
// that the glyph stays symmetric.
constexpr int smallestSmoothSide = 32;

void fillSquare(QPainter &painter, qreal side, NativeAccentPalette palette)
{
    const qreal scale = side / canvas;
    QPainterPath square;
    square.addRoundedRect(QRectF(48 * scale, 48 * scale, 928 * scale, 928 * scale), 210 * scale, 210 * scale);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(square, palette.color());
}

void drawSmooth(QPainter &painter, qreal side, NativeAccentPalette palette)
{
    fillSquare(painter, side, palette);
    const qreal scale = side / canvas;
    const auto place = [scale](qreal x, qreal y) -> QPointF { return canvasPoint(x, y) * scale; };

    painter.setPen(QPen(Qt::white, 44 * scale, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    for (const auto &segment : viewfinder) {
        painter.drawLine(QLineF(place(segment[0], segment[1]), place(segment[2], segment[3])));
    }

    QPainterPath cursor;
    cursor.moveTo(place(385, 650));
    cursor.lineTo(place(640, 650));
    cursor.moveTo(place(512, 650));
    cursor.lineTo(place(512, 362));
    cursor.moveTo(place(405, 362));
    cursor.lineTo(place(619, 362));
    painter.setPen(QPen(Qt::white, 52 * scale, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(cursor);
}

void drawOnPixelGrid(QPainter &painter, int side, NativeAccentPalette palette)
{
    fillSquare(painter, side, palette);
    const qreal scale = side / canvas;
    const qreal centre = side / 2.0;
    // The pixel a coordinate falls in; a coordinate on a pixel boundary goes to the pixel nearer the centre, so that
    // mirror-image strokes land on mirror-image pixels.
    const auto pixel = [centre](qreal position) -> int {
        return position < centre ? int(std::floor(position)) : int(std::ceil(position)) - 1;
    };
    // An axis-aligned stroke between two canvas points, as whole pixels.
    const auto stroke = [&](qreal x1, qreal y1, qreal x2, qreal y2) {
        const QPointF from = canvasPoint(x1, y1) * scale;
        const QPointF to = canvasPoint(x2, y2) * scale;
        painter.fillRect(QRect(QPoint(pixel(qMin(from.x(), to.x())), pixel(qMin(from.y(), to.y()))),
                               QPoint(pixel(qMax(from.x(), to.x())), pixel(qMax(from.y(), to.y())))),
                         Qt::white);
    };

    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const auto &segment : viewfinder) {
        stroke(segment[0], segment[1], segment[2], segment[3]);
    }
    stroke(385, 650, 640, 650);
    stroke(405, 362, 619, 362);
    const int top = pixel((canvas - 650) * scale);
    const int bottom = pixel((canvas - 362) * scale);
    const int stemLeft = side % 2 == 0 ? side / 2 - 1 : side / 2;
    painter.fillRect(QRect(QPoint(stemLeft, top), QPoint(side / 2, bottom)), Qt::white);
}

} // namespace

void paint(QPainter &painter, const QRectF &rect, NativeAccentPalette palette)
{
    painter.save();
    painter.translate(rect.topLeft());
    drawSmooth(painter, qMin(rect.width(), rect.height()), palette);
    painter.restore();
}

QImage render(NativeAccentPalette palette, int pixelSize)
{
    if (pixelSize <= 0) {
        return {};
    }
    QImage image(pixelSize, pixelSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    if (pixelSize < smallestSmoothSide) {
        drawOnPixelGrid(painter, pixelSize, palette);
    } else {
        drawSmooth(painter, pixelSize, palette);
    }
    return image;
}

QIcon image(NativeAccentPalette palette)
{
    return QIcon(new TessaryIconEngine(palette));
}

QColor statusIconColor(NativeAccentPalette palette)
{
    return palette.color();
}

QIcon statusIcon(NativeAccentPalette palette)
{
    // The application icon: a tile of the palette's mid-tone with a white glyph stands out from light and dark
    // panels alike, where a glyph of one colour sinks into one of them.
    return image(palette);
}

} // namespace Tessary::TessaryIcon
