#include "tests/recognition/RenderedLine.h"

#include <cmath>

#include <QFontMetrics>
#include <QFontMetricsF>
#include <QPainter>

namespace Tessary::Test {

QFont fontOf(const QString &family, int pixelSize)
{
    QFont font(family);
    font.setPixelSize(pixelSize);
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

RenderedLine renderLine(const QString &text, const QFont &font)
{
    const QFontMetricsF metrics(font);
    RenderedLine line;
    line.left = int(font.pixelSize());
    const int top = int(font.pixelSize()) / 2;
    line.baseline = top + int(std::ceil(metrics.ascent()));
    line.pitch = metrics.horizontalAdvance(QStringLiteral("x"));
    const int width = line.left * 2 + int(std::ceil(metrics.horizontalAdvance(text)));
    const int height = line.baseline + int(std::ceil(metrics.descent())) + top;
    line.image = QImage(width, height, QImage::Format_RGB888);
    line.image.fill(Qt::white);
    QPainter painter(&line.image);
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.drawText(QPointF(line.left, line.baseline), text);
    painter.end();
    for (qsizetype i = 0; i < text.size(); ++i) {
        const qsizetype length = text.at(i).isHighSurrogate() ? 2 : 1;
        const double start = metrics.horizontalAdvance(text.left(i));
        const double end = metrics.horizontalAdvance(text.left(i + length));
        for (qsizetype k = 0; k < length; ++k) {
            line.centres.append(float(line.left + (start + end) / 2));
        }
        i += length - 1;
    }
    line.box = QRect(line.left, top, int(std::ceil(metrics.horizontalAdvance(text))),
                     int(std::ceil(metrics.ascent() + metrics.descent())));
    return line;
}

QImage renderText(const QStringList &lines, const QString &family, int pixelSize, const QColor &foreground,
                  const QColor &background, QFont::HintingPreference hinting)
{
    QFont font(family);
    font.setPixelSize(pixelSize);
    font.setHintingPreference(hinting);
    const QFontMetrics metrics(font);
    const int lineHeight = metrics.lineSpacing() + pixelSize / 3;
    int width = 0;
    for (const QString &line : lines) {
        width = std::max(width, metrics.horizontalAdvance(line));
    }
    const int margin = pixelSize / 2 + 4;
    QImage image(width + 2 * margin, int(lines.size()) * lineHeight + 2 * margin, QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setFont(font);
    painter.setPen(foreground);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        painter.drawText(margin, margin + int(i) * lineHeight + metrics.ascent(), lines[i]);
    }
    return image;
}

} // namespace Tessary::Test
