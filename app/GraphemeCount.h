#pragma once

#include <QString>

namespace Tessary {

/** The number of user-perceived characters (extended grapheme clusters) in text. */
qsizetype graphemeCount(const QString &text);

} // namespace Tessary
