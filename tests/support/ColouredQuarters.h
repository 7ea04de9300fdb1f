#pragma once

#include <QPainter>
#include <QWidget>

namespace Tessary::Test {

/** Red and green side by side over blue and yellow, so that captured pixels tell where they came from. */
inline QImage colouredQuarters(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    const int w = size.width() / 2;
    const int h = size.height() / 2;
    painter.fillRect(0, 0, w, h, QColor(255, 0, 0));
    painter.fillRect(w, 0, size.width() - w, h, QColor(0, 255, 0));
    painter.fillRect(0, h, w, size.height() - h, QColor(0, 0, 255));
    painter.fillRect(w, h, size.width() - w, size.height() - h, QColor(255, 255, 0));
    return image;
}

/** A window showing colouredQuarters() over its whole area. */
class ColouredQuarters final : public QWidget
{
protected:
    void paintEvent(QPaintEvent *) override { QPainter(this).drawImage(0, 0, colouredQuarters(size())); }
};

} // namespace Tessary::Test
