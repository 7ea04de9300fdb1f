#include "tests/support/TestEnvironment.h"

#include <QFont>
#include <QFontMetrics>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace Tessary::Test {

QString buildPath(const QString &relative)
{
    return QStringLiteral(TESSARY_TEST_BINARY_DIR) + u'/' + relative;
}

QString sourcePath(const QString &relative)
{
    return QStringLiteral(TESSARY_TEST_SOURCE_DIR) + u'/' + relative;
}

ProcessResult runProcess(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment,
                         const QByteArray &standardInput, int timeoutMs)
{
    ProcessResult result;
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    result.started = process.waitForStarted(10000);
    if (!result.started) {
        return result;
    }
    if (!standardInput.isEmpty()) {
        process.write(standardInput);
    }
    process.closeWriteChannel();
    result.finished = process.waitForFinished(timeoutMs);
    if (!result.finished) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.exitCode = process.exitCode();
    result.exitStatus = process.exitStatus();
    result.standardOutput = process.readAllStandardOutput();
    result.standardError = process.readAllStandardError();
    return result;
}

QImage renderText(const QStringList &lines, const QString &family, int pixelSize, const QColor &foreground,
                  const QColor &background)
{
    QFont font(family);
    font.setPixelSize(pixelSize);
    const QFontMetrics metrics(font);
    const int lineHeight = metrics.lineSpacing() + pixelSize / 3;
    int width = 0;
    for (const QString &line : lines) {
        width = std::max(width, metrics.horizontalAdvance(line));
    }
    const int margin = pixelSize / 2 + 4;
    QImage image(width + 2 * margin, int(lines.size()) * lineHeight + 2 * margin, QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setFont(font);
    painter.setPen(foreground);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        painter.drawText(margin, margin + int(i) * lineHeight + metrics.ascent(), lines[i]);
    }
    return image;
}

} // namespace Tessary::Test
