#include "appearance/NativeAccentStyle.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyleOptionButton>

namespace Tessary {

namespace {

bool isAccented(const QStyleOption *option)
{
    return option != nullptr && option->state.testFlag(QStyle::State_Enabled) &&
           (option->state.testFlag(QStyle::State_On) || option->state.testFlag(QStyle::State_NoChange));
}

QColor accentOf(const QStyleOption *option)
{
    QColor accent = option->palette.color(QPalette::Highlight);
    if (option->state.testFlag(QStyle::State_Sunken)) {
        // Pressed: a little darker, as a pressed button is.
        accent = accent.darker(112);
    }
    return accent;
}

// The indicator's box, inset by half a pixel so that its edge is drawn on whole pixels.
QRectF indicatorRect(const QRect &rect)
{
    const qreal side = qMin(rect.width(), rect.height());
    QRectF box(0, 0, side, side);
    box.moveCenter(QRectF(rect).center());
    return box.adjusted(0.5, 0.5, -0.5, -0.5);
}

void drawCheckIndicator(QPainter *painter, const QStyleOption *option)
{
    const QRectF box = indicatorRect(option->rect);
    const QColor accent = accentOf(option);
    const qreal radius = qMax<qreal>(2, box.width() * 0.2);
    painter->setPen(QPen(accent.darker(115), 1));
    painter->setBrush(accent);
    painter->drawRoundedRect(box, radius, radius);

    const qreal side = box.width();
    painter->setPen(QPen(option->palette.color(QPalette::HighlightedText), qMax<qreal>(1.5, side * 0.14), Qt::SolidLine,
                         Qt::RoundCap, Qt::RoundJoin));
    painter->setBrush(Qt::NoBrush);
    if (option->state.testFlag(QStyle::State_NoChange)) {
        // A dash of whole pixels: a horizontal line between pixel rows would smear into two pale ones.
        const qreal width = qMax(2, qRound(side * 0.16));
        const qreal y = qRound(box.center().y() - width / 2) + width / 2;
        painter->setPen(QPen(option->palette.color(QPalette::HighlightedText), width, Qt::SolidLine, Qt::FlatCap));
        painter->drawLine(QPointF(box.left() + side * 0.26, y), QPointF(box.right() - side * 0.26, y));
        return;
    }
    QPainterPath tick;
    tick.moveTo(box.left() + side * 0.25, box.top() + side * 0.52);
    tick.lineTo(box.left() + side * 0.43, box.top() + side * 0.70);
    tick.lineTo(box.left() + side * 0.76, box.top() + side * 0.32);
    painter->drawPath(tick);
}

void drawRadioIndicator(QPainter *painter, const QStyleOption *option)
{
    const QRectF box = indicatorRect(option->rect);
    const QColor accent = accentOf(option);
    painter->setPen(QPen(accent.darker(115), 1));
    painter->setBrush(accent);
    painter->drawEllipse(box);
    const qreal dot = box.width() * 0.38;
    painter->setPen(Qt::NoPen);
    painter->setBrush(option->palette.color(QPalette::HighlightedText));
    painter->drawEllipse(box.center(), dot / 2, dot / 2);
}

// An unchecked box or circle: the field's colour inside a border in the text colour, faint but visible on light
// and dark windows alike (Fusion's border is a darker shade of the window, lost on a dark one).
void drawEmptyIndicator(QPainter *painter, const QStyleOption *option, bool round)
{
    const QRectF box = indicatorRect(option->rect);
    QColor border = option->palette.color(QPalette::WindowText);
    const bool enabled = option->state.testFlag(QStyle::State_Enabled);
    border.setAlphaF(enabled ? 0.45f : 0.2f);
    QColor fill = option->palette.color(QPalette::Base);
    if (option->state.testFlag(QStyle::State_Sunken)) {
        fill = fill.lightness() > 128 ? fill.darker(108) : fill.lighter(130);
    }
    painter->setPen(QPen(border, 1));
    painter->setBrush(fill);
    if (round) {
        painter->drawEllipse(box);
    } else {
        const qreal radius = qMax<qreal>(2, box.width() * 0.2);
        painter->drawRoundedRect(box, radius, radius);
    }
}

void drawCheckedButtonPanel(QPainter *painter, const QStyleOption *option)
{
    const QRectF panel = QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5);
    const QColor accent = accentOf(option);
    painter->setPen(QPen(accent.darker(115), 1));
    painter->setBrush(accent);
    painter->drawRoundedRect(panel, 2, 2);
}

} // namespace

NativeAccentStyle::NativeAccentStyle(QStyle *baseStyle)
    : QProxyStyle(baseStyle)
{}

void NativeAccentStyle::drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                                      const QWidget *widget) const
{
    const bool checkable =
        element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton || element == PE_PanelButtonCommand;
    // Only the checked state of a button is ours; NoChange concerns check boxes alone.
    const bool accented =
        checkable && isAccented(option) && (element == PE_IndicatorCheckBox || option->state.testFlag(State_On));
    const bool emptyIndicator = !accented && option != nullptr &&
                                (element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton) &&
                                !option->state.testFlag(State_On) && !option->state.testFlag(State_NoChange);
    if (emptyIndicator) {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        drawEmptyIndicator(painter, option, element == PE_IndicatorRadioButton);
        painter->restore();
        return;
    }
    if (!accented) {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        return;
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    switch (element) {
    case PE_IndicatorCheckBox:
        drawCheckIndicator(painter, option);
        break;
    case PE_IndicatorRadioButton:
        drawRadioIndicator(painter, option);
        break;
    default:
        drawCheckedButtonPanel(painter, option);
        break;
    }
    painter->restore();
}

void NativeAccentStyle::drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                                    const QWidget *widget) const
{
    // The label of a checked push button sits on the accent: it takes the highlighted text colour.
    if (element == CE_PushButtonLabel && option != nullptr && option->state.testFlag(State_On) &&
        option->state.testFlag(State_Enabled)) {
        if (const auto *button = qstyleoption_cast<const QStyleOptionButton *>(option)) {
            QStyleOptionButton onAccent(*button);
            const QColor text = button->palette.color(QPalette::HighlightedText);
            onAccent.palette.setColor(QPalette::ButtonText, text);
            onAccent.palette.setColor(QPalette::WindowText, text);
            QProxyStyle::drawControl(element, &onAccent, painter, widget);
            return;
        }
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}

} // namespace Tessary
