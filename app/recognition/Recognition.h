#pragma once

#include <QString>
#include <QStringList>

namespace Tessary {

/** What a recognition found in an image: the text to copy, and where that text came from. */
struct Recognition
{
    /**
     * The text lines, or the contents of the codes, one per line in reading order; empty when the image holds
     * neither.
     */
    QString text;

    /**
     * The kinds of the codes the text is the content of ("二维码" for a QR code, else the symbology's own name,
     * "EAN-13", "Code 128"), in reading order without repeats; empty when the text was read from lettering.
     */
    QStringList codeKinds;

    bool isCode() const { return !codeKinds.isEmpty(); }
};

} // namespace Tessary
