#pragma once

#include <QByteArray>

class QString;

namespace Tessary {

/** JSON text written exactly as the Mac's default JSON encoder writes it, so both systems produce the same bytes. */
namespace JsonText {

/**
 * text as a JSON string literal: quotes, backslashes and "/" escaped ("\/"), the usual short escapes for control
 * characters and "\u00XX" for the rest of them; everything else as UTF-8.
 */
QByteArray quoted(const QString &text);

} // namespace JsonText

} // namespace Tessary
