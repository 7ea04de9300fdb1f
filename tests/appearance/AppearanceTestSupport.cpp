#include "tests/appearance/AppearanceTestSupport.h"

#include <optional>

#include <QProcess>
#include <QTest>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace Tessary::Test {

std::optional<QByteArray> runServingEvents(const QString &program, const QStringList &arguments,
                                           const QByteArray &standardInput, int timeoutMs)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(5000)) {
        return std::nullopt;
    }
    process.write(standardInput);
    process.closeWriteChannel();
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return std::nullopt;
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        return std::nullopt;
    }
    return process.readAllStandardOutput();
}

bool pressKeys(const QString &chord)
{
    return runServingEvents(u"xdotool"_s, {u"key"_s, u"--clearmodifiers"_s, chord}).has_value();
}

bool clickOn(const QWidget *widget)
{
    const QPoint centre = widget->mapToGlobal(widget->rect().center());
    // No --sync: it waits for a motion that never comes when the pointer is already there.
    return runServingEvents(u"xdotool"_s, {u"mousemove"_s, QString::number(centre.x()), QString::number(centre.y()),
                                           u"click"_s, u"1"_s})
        .has_value();
}

std::optional<QString> clipboardTextElsewhere()
{
    const std::optional<QByteArray> text = runServingEvents(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s});
    if (!text) {
        return std::nullopt;
    }
    return QString::fromUtf8(*text);
}

bool offerClipboardElsewhere(const QByteArray &data, const QString &mimeType)
{
    // xclip reads the data, then keeps serving it from the background until another client takes the clipboard.
    return runServingEvents(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-t"_s, mimeType, u"-i"_s}, data)
        .has_value();
}

} // namespace Tessary::Test
