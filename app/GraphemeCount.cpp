#include "app/GraphemeCount.h"

#include <QTextBoundaryFinder>

namespace Tessary {

qsizetype graphemeCount(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() > 0) {
        ++count;
    }
    return count;
}

} // namespace Tessary
