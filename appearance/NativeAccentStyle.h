#pragma once

#include <QProxyStyle>

namespace Tessary {

/**
 * A style over another (the application uses Fusion) that shows the accent colour where a user expects it on the
 * controls the base style draws in neutral tones: a checked push button (the selected segment of a segmented
 * control) is filled with it, and checked check boxes and radio buttons get a filled indicator with a white mark.
 * The colour is each widget's QPalette::Highlight, so a window tinted by NativeAppAppearance::tint() shows its
 * palette and every other window the application's highlight. Disabled controls keep the base style's grey.
 *
 * Installed application-wide with QApplication::setStyle(), which takes ownership. GUI thread only.
 */
class NativeAccentStyle final : public QProxyStyle
{
    Q_OBJECT
public:
    /** Takes ownership of baseStyle; none means the application's default style. */
    explicit NativeAccentStyle(QStyle *baseStyle = nullptr);

    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget = nullptr) const override;
    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget = nullptr) const override;
};

} // namespace Tessary
