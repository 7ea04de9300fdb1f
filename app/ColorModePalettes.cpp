#include "app/ColorModePalettes.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

#include "appearance/NativeAccentStyle.h"

using namespace Qt::StringLiterals;

namespace Tessary::ColorModePalettes {

QPalette light()
{
    QPalette palette(QColor(0xEC, 0xEC, 0xEC));
    palette.setColor(QPalette::Window, QColor(0xEC, 0xEC, 0xEC));
    palette.setColor(QPalette::WindowText, QColor(0x1D, 0x1D, 0x1F));
    palette.setColor(QPalette::Base, Qt::white);
    palette.setColor(QPalette::AlternateBase, QColor(0xF5, 0xF5, 0xF5));
    palette.setColor(QPalette::Text, QColor(0x1D, 0x1D, 0x1F));
    palette.setColor(QPalette::Button, QColor(0xF6, 0xF6, 0xF6));
    palette.setColor(QPalette::ButtonText, QColor(0x1D, 0x1D, 0x1F));
    palette.setColor(QPalette::ToolTipBase, QColor(0xFF, 0xFF, 0xF0));
    palette.setColor(QPalette::ToolTipText, QColor(0x1D, 0x1D, 0x1F));
    palette.setColor(QPalette::PlaceholderText, QColor(0x1D, 0x1D, 0x1F, 0x80));
    palette.setColor(QPalette::Highlight, QColor(0x00, 0x7A, 0xFF));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x00, 0x66, 0xD6));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x1D, 0x1D, 0x1F, 0x60));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x1D, 0x1D, 0x1F, 0x60));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x1D, 0x1D, 0x1F, 0x60));
    return palette;
}

QPalette dark()
{
    QPalette palette(QColor(0x32, 0x32, 0x34));
    palette.setColor(QPalette::Window, QColor(0x2B, 0x2B, 0x2D));
    palette.setColor(QPalette::WindowText, QColor(0xF2, 0xF2, 0xF7));
    palette.setColor(QPalette::Base, QColor(0x1E, 0x1E, 0x20));
    palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x26, 0x28));
    palette.setColor(QPalette::Text, QColor(0xF2, 0xF2, 0xF7));
    palette.setColor(QPalette::Button, QColor(0x3A, 0x3A, 0x3C));
    palette.setColor(QPalette::ButtonText, QColor(0xF2, 0xF2, 0xF7));
    palette.setColor(QPalette::ToolTipBase, QColor(0x3A, 0x3A, 0x3C));
    palette.setColor(QPalette::ToolTipText, QColor(0xF2, 0xF2, 0xF7));
    palette.setColor(QPalette::PlaceholderText, QColor(0xF2, 0xF2, 0xF7, 0x80));
    palette.setColor(QPalette::Highlight, QColor(0x0A, 0x84, 0xFF));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x40, 0x9C, 0xFF));
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Light, QColor(0x48, 0x48, 0x4A));
    palette.setColor(QPalette::Midlight, QColor(0x3E, 0x3E, 0x40));
    palette.setColor(QPalette::Mid, QColor(0x2A, 0x2A, 0x2C));
    palette.setColor(QPalette::Dark, QColor(0x1A, 0x1A, 0x1C));
    palette.setColor(QPalette::Shadow, Qt::black);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0xF2, 0xF2, 0xF7, 0x60));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0xF2, 0xF2, 0xF7, 0x60));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0xF2, 0xF2, 0xF7, 0x60));
    return palette;
}

void apply(bool dark)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance())) {
        return;
    }
    // Fusion, with checked controls in the accent colour of their window.
    if (qobject_cast<NativeAccentStyle *>(QApplication::style()) == nullptr) {
        QApplication::setStyle(new NativeAccentStyle(QStyleFactory::create(u"Fusion"_s)));
    }
    QApplication::setPalette(dark ? ColorModePalettes::dark() : light());
}

bool isDarkApplied()
{
    return QApplication::palette().color(QPalette::Window).lightness() < 128;
}

} // namespace Tessary::ColorModePalettes
