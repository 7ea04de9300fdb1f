#include "appearance/NativeAppearanceTile.h"

#include <QPainter>
#include <QPainterPath>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr int tileHeight = 56;
constexpr int horizontalPadding = 11;
constexpr int spacing = 10;
constexpr int iconSide = 38;
constexpr int checkSide = 18;
constexpr qreal cornerRadius = 11;

// Point sizes of the layout this section follows, relative to its body text (13).
constexpr qreal bodyPointSize = 13;
constexpr qreal namePointSize = 12;

void drawCheckMark(QPainter &painter, const QRectF &rect, const QColor &color)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(rect);
    QPainterPath tick;
    const qreal s = rect.width();
    tick.moveTo(rect.left() + s * 0.28, rect.top() + s * 0.52);
    tick.lineTo(rect.left() + s * 0.44, rect.top() + s * 0.68);
    tick.lineTo(rect.left() + s * 0.72, rect.top() + s * 0.36);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Qt::white, s * 0.11, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(tick);
}

} // namespace

NativeAppearanceTile::NativeAppearanceTile(NativeAccentPalette palette, const QIcon &icon, QWidget *parent)
    : QAbstractButton(parent)
    , m_palette(palette)
    , m_icon(icon)
{
    setObjectName(u"palette-"_s + palette.rawValue());
    setCheckable(true);
    // Siblings form one exclusive group: checking one unchecks the others, and the arrow keys move between them.
    setAutoExclusive(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setCursor(Qt::PointingHandCursor);
    updateAccessibleTexts();
    // Checking a sibling unchecks this one without a call of ours.
    connect(this, &QAbstractButton::toggled, this, [this] {
        updateAccessibleTexts();
        update();
    });
}

NativeAccentPalette NativeAppearanceTile::accentPalette() const
{
    return m_palette;
}

bool NativeAppearanceTile::isSelected() const
{
    return isChecked();
}

void NativeAppearanceTile::setSelected(bool selected)
{
    if (selected == isChecked()) {
        return;
    }
    if (selected) {
        setChecked(true);
    } else {
        // An auto-exclusive button refuses to be unchecked while it is the checked one of its group.
        setAutoExclusive(false);
        setChecked(false);
        setAutoExclusive(true);
    }
}

void NativeAppearanceTile::setTexts(const QString &name, const QString &labelSuffix, const QString &selectedText,
                                    const QString &notSelectedText)
{
    m_name = name;
    m_labelSuffix = labelSuffix;
    m_selectedText = selectedText;
    m_notSelectedText = notSelectedText;
    setText(name);
    updateAccessibleTexts();
    updateGeometry();
    update();
}

void NativeAppearanceTile::updateAccessibleTexts()
{
    setAccessibleName(m_name + m_labelSuffix);
    setAccessibleDescription(isChecked() ? m_selectedText : m_notSelectedText);
}

QFont NativeAppearanceTile::nameFont() const
{
    QFont nameFont = font();
    nameFont.setPointSizeF(font().pointSizeF() * namePointSize / bodyPointSize);
    nameFont.setWeight(isChecked() ? QFont::DemiBold : QFont::Normal);
    return nameFont;
}

QSize NativeAppearanceTile::sizeHint() const
{
    QFont bold = nameFont();
    bold.setWeight(QFont::DemiBold);
    const int nameWidth = QFontMetrics(bold).horizontalAdvance(m_name);
    return {horizontalPadding + iconSide + spacing + nameWidth + spacing + checkSide + horizontalPadding, tileHeight};
}

QSize NativeAppearanceTile::minimumSizeHint() const
{
    return {horizontalPadding + iconSide + horizontalPadding, tileHeight};
}

void NativeAppearanceTile::nextCheckState()
{
    // A click only asks for the palette; the selection comes back through setSelected().
}

void NativeAppearanceTile::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    const bool selected = isChecked();
    const QColor color = m_palette.color();

    const qreal borderWidth = selected ? 1.5 : 1.0;
    const QRectF tileRect =
        QRectF(rect()).adjusted(borderWidth / 2, borderWidth / 2, -borderWidth / 2, -borderWidth / 2);
    QColor fill = color;
    fill.setAlphaF(selected ? 0.12f : 0.045f);
    QColor border = color;
    border.setAlphaF(selected ? 0.62f : 0.12f);
    painter.setPen(QPen(border, borderWidth));
    painter.setBrush(fill);
    painter.drawRoundedRect(tileRect, cornerRadius, cornerRadius);

    if (isDown()) {
        // Pressed: darken the tile a little, as a pressed button does.
        QColor shade = palette().color(QPalette::WindowText);
        shade.setAlphaF(0.08f);
        painter.setPen(Qt::NoPen);
        painter.setBrush(shade);
        painter.drawRoundedRect(tileRect, cornerRadius, cornerRadius);
    }

    const int middle = height() / 2;
    const QRect iconRect(horizontalPadding, middle - iconSide / 2, iconSide, iconSide);
    m_icon.paint(&painter, iconRect, Qt::AlignCenter, isEnabled() ? QIcon::Normal : QIcon::Disabled);

    const QRectF checkRect(width() - horizontalPadding - checkSide, middle - checkSide / 2.0, checkSide, checkSide);
    if (selected) {
        drawCheckMark(painter, checkRect, color);
    }

    const int nameLeft = iconRect.right() + 1 + spacing;
    const QRect nameRect(nameLeft, 0, int(checkRect.left()) - spacing - nameLeft, height());
    const QFont font = nameFont();
    painter.setFont(font);
    painter.setPen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
    painter.drawText(nameRect, Qt::AlignLeft | Qt::AlignVCenter,
                     QFontMetrics(font).elidedText(m_name, Qt::ElideRight, nameRect.width()));

    if (hasFocus()) {
        QColor ring = palette().color(QPalette::Highlight);
        ring.setAlphaF(0.9f);
        painter.setPen(QPen(ring, 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), cornerRadius - 0.5, cornerRadius - 0.5);
    }
}

} // namespace Tessary
