#pragma once

#include <QFont>
#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

namespace Tessary::Test {

/** One line of text drawn as a recogniser sees it, with where each UTF-16 unit of the text was drawn. */
struct RenderedLine
{
    QImage image;         // RGB888, black on white
    QList<float> centres; // x of the middle of each unit's advance
    int baseline = 0;     // row the letters stand on
    int left = 0;         // where the text starts
    double pitch = 0;     // advance of "x"
    QRect box;            // from the top of the ascent to the bottom of the descent
};

RenderedLine renderLine(const QString &text, const QFont &font);

QFont fontOf(const QString &family, int pixelSize);

/**
 * Renders lines of text the way a screen shows them: anti-aliased glyphs, one colour, a small margin; hinted as
 * desktop toolkits draw, or not as browsers do.
 */
QImage renderText(const QStringList &lines, const QString &family, int pixelSize, const QColor &foreground = Qt::black,
                  const QColor &background = Qt::white, QFont::HintingPreference hinting = QFont::PreferDefaultHinting);

} // namespace Tessary::Test
