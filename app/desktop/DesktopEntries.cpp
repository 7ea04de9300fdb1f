#include "app/desktop/DesktopEntries.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace Tessary::DesktopEntries {

namespace {

const QString entryName = u"md.velmor.tessary.desktop"_s;

/** An Exec argument: quoted when it holds a reserved character, then escaped as a desktop entry string value. */
QString execArgument(const QString &argument)
{
    static const QString reserved = u" \t\n\"'\\><~|&;$*?#()`"_s;
    QString quoted = argument;
    if (std::any_of(argument.begin(), argument.end(), [](QChar c) { return reserved.contains(c); })) {
        quoted.clear();
        for (const QChar c : argument) {
            if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') {
                quoted += u'\\';
            }
            quoted += c;
        }
        quoted = u'"' + quoted + u'"';
    }
    // Field codes start with "%", and the value itself is a string in which "\" is an escape.
    return quoted.replace(u'%', u"%%"_s).replace(u'\\', u"\\\\"_s);
}

} // namespace

QString text(const QString &executable)
{
    QFile file(u":/desktop/md.velmor.tessary.desktop.in"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(file.readAll()).replace(u"@TESSARY_EXEC@"_s, execArgument(executable));
}

QString runningExecutable()
{
    return QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
}

QString autostartPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/autostart/"_s + entryName;
}

QString launcherPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation) + u'/' + entryName;
}

bool startsAtLogin()
{
    QFile file(autostartPath());
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    // An entry the user switched off in the desktop's own settings stays off here too.
    const QList<QByteArray> lines = file.read(64 * 1024).split('\n');
    return std::none_of(lines.begin(), lines.end(), [](const QByteArray &line) {
        const QByteArray trimmed = line.trimmed();
        return trimmed == "Hidden=true" || trimmed == "X-GNOME-Autostart-enabled=false";
    });
}

QString setStartsAtLogin(bool enabled, const QString &executable)
{
    const QString path = autostartPath();
    if (enabled) {
        return write(path, text(executable));
    }
    QFile file(path);
    if (file.exists() && !file.remove()) {
        return file.errorString();
    }
    return {};
}

QString write(const QString &path, const QString &text)
{
    if (text.isEmpty()) {
        return u"The desktop entry template is missing."_s;
    }
    if (!QDir().mkpath(QFileInfo(path).path())) {
        return u"Cannot create the folder “%1”."_s.arg(QFileInfo(path).path());
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0 || !file.commit()) {
        return file.errorString();
    }
    return {};
}

} // namespace Tessary::DesktopEntries
