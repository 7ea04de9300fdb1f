#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace Tessary::Test {

/** Absolute path of a file in the build tree ("bin/tessary", "libexec/tessary-helper"). */
QString buildPath(const QString &relative);
/** Absolute path of a file in the source tree ("samples/…"). */
QString sourcePath(const QString &relative);
/** A file's bytes; empty when it cannot be read. */
QByteArray fileContents(const QString &path);
/** What a user reads for a string key in an interface language: its entry in that string table, else the key. */
QString translated(const QString &language, const QString &key);

struct ProcessResult
{
    int exitCode = -1;
    QByteArray standardOutput;
    QByteArray standardError;
};

/** Runs a program to its end (killing it after timeoutMs), feeding standardInput and collecting its output. */
ProcessResult runProcess(const QString &program, const QStringList &arguments,
                         const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                         const QByteArray &standardInput = {}, int timeoutMs = 60000);

/** Ends a service started by the test, and waits until the session bus has let its name go for the next one. */
void stopService(QProcess &process, const QString &busName);

/** xdotool on the test's X server; its output, trimmed. Serves this process's events meanwhile. */
QString xdotool(const QStringList &arguments);
/** Waits until a window whose title matches the pattern is mapped (shown) or no such window is (gone). */
bool waitForWindow(const QString &titlePattern, bool shown = true, int timeoutMs = 30000);
/** Where the toast's window is, as other programs find it (xdotool); empty while none is mapped. */
QRect shownToast();
/** A left-button drag from one screen point to another, through the middle, as a user selects a region. */
void drag(int fromX, int fromY, int toX, int toY);

/** A throwaway home for a child process: its own HOME, XDG folders (runtime folder private) and TMPDIR. */
class PrivateHome
{
public:
    PrivateHome();
    QString path(const QString &relative) const { return m_dir.filePath(relative); }
    /** The application's settings file in this home. */
    QString defaultsPath() const { return path(QStringLiteral("config/md.velmor.tessary/defaults.ini")); }
    /** Writes the settings file: the lines of its [General] group. */
    void writeDefaults(const QByteArray &lines) const;
    QProcessEnvironment environment() const;

private:
    QTemporaryDir m_dir;
};

/** The stand-in tray (support/sni_host.py) on the session bus, as a panel shows our item. Stopped when destroyed. */
class TrayHost
{
public:
    bool start();
    /** The first item: {"tooltip", "rows": [{"label", "enabled", "type"}]}; empty while there is none. */
    QJsonObject item() const { return ask({QStringLiteral("item")}).toObject(); }
    int itemCount() const { return int(ask({QStringLiteral("items")}).toArray().size()); }
    /** The label of the menu's status row; empty while there is no item. */
    QString statusLine() const { return item()[QStringLiteral("rows")][2][QStringLiteral("label")].toString(); }
    void click(const QString &label) const { ask({QStringLiteral("click"), label}); }

private:
    /** The host script's answer to a command, as JSON. */
    static QJsonValue ask(const QStringList &arguments);
    QProcess m_process;
};

} // namespace Tessary::Test
