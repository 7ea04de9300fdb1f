#include "app/recognition/PanelLines.h"

#include <algorithm>

namespace Tessary::PanelLines {

namespace {

bool isPanel(QSize screen, const PassLine &line)
{
    constexpr int edge = 2; // pixels from the screen's edge that still touch it
    const QRect &box = line.box;
    const bool across = box.left() < edge && box.right() >= screen.width() - edge;
    const bool down = box.top() < edge && box.bottom() >= screen.height() - edge;
    if ((!across && !down) || line.confidence >= unsureBelow) {
        return false;
    }
    const auto characters = std::count_if(line.text.cbegin(), line.text.cend(), [](QChar c) { return !c.isSpace(); });
    // Even narrow Latin letters take half the line's height; four times the room the reading needs is not a line.
    const int length = across ? box.width() : box.height();
    const int thickness = across ? box.height() : box.width();
    return length > 4 * thickness * std::max<qsizetype>(1, characters);
}

} // namespace

void drop(QSize screen, ScriptChoice::Choice &choice)
{
    for (qsizetype i = choice.pass.lines.size() - 1; i >= 0; --i) {
        if (isPanel(screen, choice.pass.lines[i])) {
            choice.removeLine(i);
        }
    }
}

} // namespace Tessary::PanelLines
