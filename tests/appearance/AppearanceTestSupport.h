#pragma once

#include <optional>

#include <QByteArray>
#include <QString>
#include <QStringList>

class QWidget;

namespace Tessary::Test {

/**
 * Runs a program to its end while this process keeps serving its event loop, so that the program may ask us for
 * the clipboard we own. Returns its standard output, or nothing when it failed or took longer than timeoutMs.
 */
std::optional<QByteArray> runServingEvents(const QString &program, const QStringList &arguments,
                                           const QByteArray &standardInput = {}, int timeoutMs = 10000);

/** A real key press on the X server (xdotool), for example "ctrl+c". */
bool pressKeys(const QString &chord);

/** A real left click on the X server at the centre of a shown widget. */
bool clickOn(const QWidget *widget);

/** The clipboard's text as another X client (xclip) reads it. */
std::optional<QString> clipboardTextElsewhere();

/** Makes another X client (xclip) own the clipboard with the given data of the given type. */
bool offerClipboardElsewhere(const QByteArray &data, const QString &mimeType = QStringLiteral("UTF8_STRING"));

} // namespace Tessary::Test
