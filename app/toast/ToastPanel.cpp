#include "app/toast/ToastPanel.h"

#include <QPainter>
#include <QPainterPath>
#include <QSvgRenderer>
#include <QTextLayout>

#include "app/toast/ToastPlacement.h"

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr qreal cornerRadius = 16;
constexpr int horizontalPadding = 18;
constexpr int symbolSize = 28;
constexpr int symbolSpacing = 12;
constexpr int lineSpacing = 4;
constexpr int titlePixelSize = 14;
constexpr int detailPixelSize = 12;

QPainterPath cardPath(const QRectF &bounds)
{
    QPainterPath path;
    path.addRoundedRect(bounds, cornerRadius, cornerRadius);
    return path;
}

QColor withAlpha(QColor color, qreal alpha)
{
    color.setAlphaF(alpha);
    return color;
}

/** The detail in at most two lines of width, broken where the text allows; what does not fit is elided. */
QStringList detailLines(const QString &text, const QFont &font, int width)
{
    const QFontMetrics metrics(font);
    if (metrics.horizontalAdvance(text) <= width) {
        return {text};
    }
    QTextLayout layout(text, font);
    layout.beginLayout();
    QTextLine first = layout.createLine();
    first.setLineWidth(width);
    layout.endLayout();
    const qsizetype split = first.isValid() ? first.textLength() : 0;
    if (split <= 0 || split >= text.size()) {
        return {metrics.elidedText(text, Qt::ElideRight, width)};
    }
    return {text.first(split).trimmed(), metrics.elidedText(text.sliced(split).trimmed(), Qt::ElideRight, width)};
}

} // namespace

ToastPanel::ToastPanel(bool translucent)
    : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                           Qt::WindowTransparentForInput | Qt::X11BypassWindowManagerHint)
    , m_translucent(translucent)
{
    // xdotool and window lists find the toast by this name; it has no title bar to show it.
    setWindowTitle(u"Tessary Toast"_s);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground, translucent);
    setFocusPolicy(Qt::NoFocus);
    setFixedSize(toastSize);
}

void ToastPanel::setContent(const ToastContent &content)
{
    m_content = content;
    update();
}

const ToastContent &ToastPanel::content() const
{
    return m_content;
}

void ToastPanel::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (!m_translucent) {
        // The X shape extension gives rounded corners without a compositing manager.
        setMask(QRegion(cardPath(rect()).toFillPolygon().toPolygon()));
    }
}

QImage ToastPanel::tintedSymbol() const
{
    const qreal ratio = devicePixelRatioF();
    QImage image(QSize(symbolSize, symbolSize) * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(u":/symbols/"_s + m_content.symbol + u".svg"_s);
    if (!renderer.isValid()) {
        return {};
    }
    QPainter painter(&image);
    renderer.render(&painter, QRectF(0, 0, symbolSize, symbolSize));
    // The symbols are drawn in one colour; keep their shape, take the tint.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(QRectF(0, 0, symbolSize, symbolSize), m_content.color);
    return image;
}

void ToastPanel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor window = palette().color(QPalette::Window);
    const QColor text = palette().color(QPalette::WindowText);

    if (!m_translucent) {
        painter.fillRect(rect(), window);
    } else {
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(rect(), Qt::transparent);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        painter.fillPath(cardPath(rect()), withAlpha(window, 0.92));
    }
    painter.setPen(QPen(withAlpha(text, 0.08), 1));
    painter.drawPath(cardPath(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5)));

    const QRect inner = rect().adjusted(horizontalPadding, 0, -horizontalPadding, 0);
    const QImage symbol = tintedSymbol();
    if (!symbol.isNull()) {
        painter.drawImage(QPoint(inner.left(), inner.center().y() - symbolSize / 2 + 1), symbol);
    }

    QFont titleFont = font();
    titleFont.setPixelSize(titlePixelSize);
    titleFont.setWeight(QFont::DemiBold);
    QFont detailFont = font();
    detailFont.setPixelSize(detailPixelSize);
    detailFont.setWeight(QFont::Normal);
    const QFontMetrics titleMetrics(titleFont);
    const QFontMetrics detailMetrics(detailFont);

    const int textLeft = inner.left() + symbolSize + symbolSpacing;
    const int textWidth = inner.right() - textLeft;
    const QStringList details =
        m_content.detail ? detailLines(*m_content.detail, detailFont, textWidth) : QStringList();
    int blockHeight = titleMetrics.height();
    if (!details.isEmpty()) {
        blockHeight += lineSpacing + int(details.size()) * detailMetrics.height();
    }
    int top = inner.center().y() - blockHeight / 2 + 1;

    painter.setFont(titleFont);
    painter.setPen(text);
    painter.drawText(QRect(textLeft, top, textWidth, titleMetrics.height()), Qt::AlignLeft | Qt::AlignVCenter,
                     titleMetrics.elidedText(m_content.title, Qt::ElideRight, textWidth));
    top += titleMetrics.height() + lineSpacing;
    painter.setFont(detailFont);
    painter.setPen(withAlpha(text, 0.55));
    for (const QString &line : details) {
        painter.drawText(QRect(textLeft, top, textWidth, detailMetrics.height()), Qt::AlignLeft | Qt::AlignVCenter,
                         line);
        top += detailMetrics.height();
    }
}

} // namespace Tessary
