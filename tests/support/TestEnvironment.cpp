#include "tests/support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

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

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString translated(const QString &language, const QString &key)
{
    const QByteArray table = fileContents(sourcePath(u"app/resources/i18n/%1.lproj/Localizable.json"_s.arg(language)));
    return QJsonDocument::fromJson(table).object().value(key).toString(key);
}

ProcessResult runProcess(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment,
                         const QByteArray &standardInput, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForStarted(10000)) {
        return {};
    }
    process.write(standardInput);
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
    }
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

void stopService(QProcess &process, const QString &busName)
{
    process.terminate();
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished(5000);
    }
    (void)QTest::qWaitFor(
        [&] { return !QDBusConnection::sessionBus().interface()->isServiceRegistered(busName).value(); }, 10000);
}

QString xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(u"xdotool"_s, arguments);
    // Our own windows may have to answer the X server meanwhile.
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 20000)) {
        process.kill();
        process.waitForFinished();
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

bool waitForWindow(const QString &titlePattern, bool shown, int timeoutMs)
{
    const QStringList search{u"search"_s, u"--onlyvisible"_s, u"--name"_s, titlePattern};
    return QTest::qWaitFor([&] { return xdotool(search).isEmpty() != shown; }, timeoutMs);
}

QRect shownToast()
{
    const QString window = xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s});
    const QRegularExpressionMatch match =
        QRegularExpression(uR"(Position: (-?\d+),(-?\d+).*Geometry: (\d+)x(\d+))"_s,
                           QRegularExpression::DotMatchesEverythingOption)
            .match(window.isEmpty() ? QString() : xdotool({u"getwindowgeometry"_s, window.section(u'\n', 0, 0)}));
    return match.hasMatch() ? QRect(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt(),
                                    match.captured(4).toInt())
                            : QRect();
}

void drag(int fromX, int fromY, int toX, int toY)
{
    const auto number = [](int value) { return QString::number(value); };
    xdotool({u"mousemove"_s, number(fromX), number(fromY), u"mousedown"_s, u"1"_s, u"mousemove"_s,
             number((fromX + toX) / 2), number((fromY + toY) / 2), u"mousemove"_s, number(toX), number(toY),
             u"mouseup"_s, u"1"_s});
}

PrivateHome::PrivateHome()
{
    for (const QString &folder : {u"home"_s, u"config/md.velmor.tessary"_s, u"data"_s, u"runtime"_s, u"tmp"_s}) {
        QDir().mkpath(path(folder));
    }
    QFile::setPermissions(path(u"runtime"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void PrivateHome::writeDefaults(const QByteArray &lines) const
{
    QFile file(defaultsPath());
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write("[General]\n" + lines);
    }
}

QProcessEnvironment PrivateHome::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, path(u"home"_s));
    environment.insert(u"XDG_CONFIG_HOME"_s, path(u"config"_s));
    environment.insert(u"XDG_DATA_HOME"_s, path(u"data"_s));
    environment.insert(u"XDG_RUNTIME_DIR"_s, path(u"runtime"_s));
    environment.insert(u"TMPDIR"_s, path(u"tmp"_s));
    return environment;
}

bool TrayHost::start()
{
    m_process.start(u"/usr/bin/python3"_s, {sourcePath(u"tests/support/sni_host.py"_s), u"serve"_s});
    while (!m_process.canReadLine() && m_process.waitForReadyRead(30000)) {
    }
    return m_process.readLine().trimmed() == "ready";
}

QJsonValue TrayHost::ask(const QStringList &arguments)
{
    const QStringList script{sourcePath(u"tests/support/sni_host.py"_s)};
    return QJsonDocument::fromJson("[" + runProcess(u"/usr/bin/python3"_s, script + arguments).standardOutput + "]")
        .array()
        .at(0);
}

} // namespace Tessary::Test
