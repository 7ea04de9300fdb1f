// A polish the service refuses, as a user meets it: the running application with its tray, a region dragged over
// text, and a loopback server answering 401 with an OpenAI-style explanation.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include "app/localization/TessaryLocalized.h"
#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;
using namespace Tessary::Test;

namespace {

const QString python = u"/usr/bin/python3"_s;
const QString hostScript = sourcePath(u"tests/support/sni_host.py"_s);

QString clipboard()
{
    return QString::fromUtf8(runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s}).standardOutput);
}

QString statusLine()
{
    const QByteArray json = runProcess(python, {hostScript, u"item"_s}).standardOutput;
    const QJsonArray rows = QJsonDocument::fromJson(json).object().value(u"rows"_s).toArray();
    return rows.size() > 2 ? rows[2].toObject().value(u"label"_s).toString() : QString();
}

bool visible(const QString &windowName)
{
    return !runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, windowName})
                .standardOutput.isEmpty();
}

// Runs on the display of tests/support/with-xvfb, inside the keyring of tests/support/with-keyring.
TEST(PolishFailureTest, RefusalShowsTheServicesReasonInAToastAndLeavesTheClipboard)
{
    QProcess host;
    host.start(python, {hostScript, u"serve"_s});
    ASSERT_TRUE(host.waitForReadyRead(10000));
    QLabel text;
    text.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    text.setPixmap(QPixmap(sourcePath(u"samples/tessary-sample.png"_s)));
    text.adjustSize();
    text.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&text));

    LoopbackHttpsServer server;
    ASSERT_TRUE(server.start());
    const QByteArray refusal =
        R"({"error":{"message":"Incorrect API key provided: sk-wrong.","type":"invalid_request_error"}})";
    server.setRoute(u"/v1/chat/completions"_s, {{u"status"_s, 401}, {u"body"_s, QString::fromUtf8(refusal)}});

    QTemporaryDir config;
    QDir().mkpath(config.filePath(u"md.velmor.tessary"_s));
    QFile defaults(config.filePath(u"md.velmor.tessary/defaults.ini"_s));
    ASSERT_TRUE(defaults.open(QIODevice::WriteOnly));
    defaults.write("[General]\nlanguage=en\naiModel=m\naiBaseURL=" + server.baseUrl().toString().toUtf8() + "/v1\n");
    defaults.close();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CONFIG_HOME"_s, config.path());
    environment.insert(u"SSL_CERT_FILE"_s, server.caCertificatePath());
    ASSERT_EQ(runProcess(buildPath(u"bin/tessary"_s), {u"--set-ai-key-stdin"_s}, environment, "sk-wrong\n").exitCode,
              0);
    runProcess(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-i"_s}, environment, "before");
    ASSERT_TRUE(QTest::qWaitFor([] { return clipboard() == u"before"_s; }, 5000));

    QProcess app;
    app.setProcessEnvironment(environment);
    app.start(buildPath(u"bin/tessary"_s), {});
    ASSERT_TRUE(QTest::qWaitFor([] { return !statusLine().isEmpty(); }, 20000)) << "tray item registered";
    runProcess(python, {hostScript, u"click"_s, Tessary::tessaryLocalized(u"选区识字并 AI 润色"_s, u"en"_s)});
    ASSERT_TRUE(QTest::qWaitFor([] { return visible(u"^Tessary Capture$"_s); }, 10000));
    runProcess(u"xdotool"_s,
               {u"mousemove"_s, u"0"_s, u"0"_s, u"mousedown"_s, u"1"_s, u"mousemove"_s, u"200"_s, u"100"_s,
                u"mousemove"_s, QString::number(text.width()), QString::number(text.height()), u"mouseup"_s, u"1"_s});

    EXPECT_TRUE(
        QTest::qWaitFor([] { return statusLine().contains(u"Incorrect API key provided: sk-wrong."_s); }, 30000))
        << statusLine().toStdString();
    // The failure toast, not the one of the polish under way: its triangle is in the warning colour.
    const QString toast = QString::fromUtf8(
        runProcess(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Tessary Toast$"_s}).standardOutput);
    ASSERT_FALSE(toast.trimmed().isEmpty());
    const QImage shown = QGuiApplication::primaryScreen()->grabWindow(toast.trimmed().toULongLong()).toImage();
    bool warningColour = false;
    for (int y = 0; y < shown.height() && !warningColour; ++y) {
        for (int x = 0; x < shown.width() && !warningColour; ++x) {
            const QColor pixel = shown.pixelColor(x, y);
            warningColour = pixel.red() > 230 && pixel.green() > 120 && pixel.green() < 180 && pixel.blue() < 40;
        }
    }
    EXPECT_TRUE(warningColour);
    EXPECT_EQ(clipboard(), u"before"_s);
    EXPECT_EQ(server.requests().size(), 1);
    app.terminate();
    app.waitForFinished(5000);
    host.kill();
    host.waitForFinished();
}

} // namespace
