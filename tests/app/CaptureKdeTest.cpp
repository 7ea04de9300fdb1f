// A capture on a KDE desktop as a user makes one: the running application with KDE's global shortcut daemon (the
// real kglobalaccel5), the shortcut pressed and a region dragged over a window of known text (xdotool), the text read
// back from the clipboard by another program (xclip).

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPixmap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "tests/support/KGlobalAccelDaemon.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString python = u"/usr/bin/python3"_s;
const QString hostScript = sourcePath(u"tests/support/sni_host.py"_s);

QString statusLine()
{
    const QByteArray json = runProcess(python, {hostScript, u"item"_s}).standardOutput;
    const QJsonArray rows = QJsonDocument::fromJson(json).object().value(u"rows"_s).toArray();
    return rows.size() > 2 ? rows[2].toObject().value(u"label"_s).toString() : QString();
}

QString clipboard()
{
    return QString::fromUtf8(runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s}).standardOutput);
}

bool selectorShown()
{
    return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Capture$"_s})
                .standardOutput.isEmpty();
}

TEST(CaptureKdeTest, ShortcutThroughKdesDaemonCopiesTheTextAndQuitLetsTheKeyGo)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") || qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        GTEST_SKIP() << "needs an X server and a private session bus (runs under with-xvfb with-session-bus)";
    }
    QProcess host;
    host.start(python, {hostScript, u"serve"_s});
    ASSERT_TRUE(host.waitForReadyRead(10000));
    KGlobalAccelDaemon daemon;
    ASSERT_TRUE(daemon.start());

    QLabel text;
    text.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    text.setPixmap(QPixmap(sourcePath(u"samples/tessary-sample.png"_s)));
    text.move(0, 0);
    text.adjustSize();
    text.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&text));

    QTemporaryDir config;
    QTemporaryDir temporary;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CONFIG_HOME"_s, config.path());
    environment.insert(u"TMPDIR"_s, temporary.path());
    QProcess app;
    app.setProcessEnvironment(environment);
    app.setProcessChannelMode(QProcess::ForwardedChannels);
    app.start(buildPath(u"bin/tessary"_s), {});
    ASSERT_TRUE(app.waitForStarted());
    ASSERT_TRUE(QTest::qWaitFor([] { return !statusLine().isEmpty(); }, 20000)) << "tray item registered";
    ASSERT_TRUE(QTest::qWaitFor(
        [] { return !KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty(); }, 20000));

    runProcess(u"xdotool"_s, {u"key"_s, u"ctrl+shift+super+2"_s});
    ASSERT_TRUE(QTest::qWaitFor(selectorShown, 20000));
    const QSize size = text.size();
    runProcess(u"xdotool"_s,
               {u"mousemove"_s, u"0"_s, u"0"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"200"_s, u"100"_s,
                u"mousemove"_s, QString::number(size.width()), QString::number(size.height()), u"mouseup"_s, u"1"_s});
    QFile sample(sourcePath(u"samples/tessary-sample.txt"_s));
    ASSERT_TRUE(sample.open(QIODevice::ReadOnly));
    const QString expected = QString::fromUtf8(sample.readAll()).trimmed();
    EXPECT_TRUE(QTest::qWaitFor([&] { return clipboard() == expected; }, 30000)) << clipboard().toStdString();

    // Quitting gives the key back to the desktop.
    app.terminate();
    ASSERT_TRUE(app.waitForFinished(20000));
    EXPECT_TRUE(KGlobalAccelDaemon::storedKeys(u"md.velmor.tessary"_s, u"capture"_s).isEmpty());
    host.kill();
    host.waitForFinished();
}

} // namespace
