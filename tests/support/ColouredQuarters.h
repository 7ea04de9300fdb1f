#pragma once

#include <QColor>
#include <QPainter>
#include <QWidget>

namespace Tessary::Test {

/** Red and green side by side over blue and yellow, so that captured pixels tell where they came from. */
class ColouredQuarters final : public QWidget
{
protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const int w = width() / 2;
        const int h = height() / 2;
        painter.fillRect(0, 0, w, h, QColor(255, 0, 0));
        painter.fillRect(w, 0, width() - w, h, QColor(0, 255, 0));
        painter.fillRect(0, h, w, height() - h, QColor(0, 0, 255));
        painter.fillRect(w, h, width() - w, height() - h, QColor(255, 255, 0));
    }
};

} // namespace Tessary::Test
