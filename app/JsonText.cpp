#include "app/JsonText.h"

#include <QString>

namespace Tessary::JsonText {

QByteArray quoted(const QString &text)
{
    QByteArray out = "\"";
    for (const char32_t c : text.toStdU32String()) {
        switch (c) {
        case U'"':
            out += "\\\"";
            break;
        case U'\\':
            out += "\\\\";
            break;
        case U'/':
            out += "\\/";
            break;
        case U'\n':
            out += "\\n";
            break;
        case U'\r':
            out += "\\r";
            break;
        case U'\t':
            out += "\\t";
            break;
        case U'\b':
            out += "\\b";
            break;
        case U'\f':
            out += "\\f";
            break;
        default:
            if (c < 0x20) {
                out += "\\u" + QByteArray::number(static_cast<uint>(c), 16).rightJustified(4, '0');
            } else {
                out += QString::fromUcs4(&c, 1).toUtf8();
            }
        }
    }
    out += '"';
    return out;
}

} // namespace Tessary::JsonText
