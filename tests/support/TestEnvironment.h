#pragma once

#include <QByteArray>
#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace Tessary::Test {

/** Absolute path of a file in the build tree ("bin/tessary", "libexec/tessary-helper"). */
QString buildPath(const QString &relative);

/** Absolute path of a file in the source tree ("samples/…"). */
QString sourcePath(const QString &relative);

struct ProcessResult
{
    bool started = false;
    bool finished = false;
    int exitCode = -1;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    QByteArray standardOutput;
    QByteArray standardError;
};

/** Runs a program to its end (killing it after timeoutMs), feeding standardInput and collecting its output. */
ProcessResult runProcess(const QString &program, const QStringList &arguments,
                         const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                         const QByteArray &standardInput = {}, int timeoutMs = 60000);

/** Renders lines of text the way a screen shows them: anti-aliased glyphs, one colour, a small margin. */
QImage renderText(const QStringList &lines, const QString &family, int pixelSize, const QColor &foreground = Qt::black,
                  const QColor &background = Qt::white);

} // namespace Tessary::Test
