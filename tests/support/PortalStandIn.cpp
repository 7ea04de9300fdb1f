#include "tests/support/PortalStandIn.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QJsonDocument>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;

namespace Tessary::Test {

static const QString portalName = u"org.freedesktop.portal.Desktop"_s;

static QDBusMessage control(const QString &method)
{
    return QDBusMessage::createMethodCall(portalName, u"/org/freedesktop/portal/desktop"_s,
                                          u"md.velmor.test.PortalStandIn"_s, method);
}

bool PortalStandIn::start(int interfaces)
{
    QStringList arguments{sourcePath(u"tests/support/portal_standin.py"_s), u"--answers"_s,
                          m_dir.filePath(u"answers.json"_s), u"--log"_s, m_dir.filePath(u"calls.jsonl"_s)};
    if (interfaces & Screenshot) {
        arguments.append(u"--screenshot"_s);
    }
    if (interfaces & GlobalShortcuts) {
        arguments.append(u"--global-shortcuts"_s);
    }
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(u"/usr/bin/python3"_s, arguments);
    while (m_process.waitForStarted(10000) && !m_process.canReadLine() && m_process.waitForReadyRead(30000)) {
    }
    return m_process.readLine().trimmed() == "ready";
}

void PortalStandIn::stop()
{
    stopService(m_process, portalName);
}

void PortalStandIn::setAnswers(const QJsonObject &answers)
{
    QFile file(m_dir.filePath(u"answers.json"_s));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(QJsonDocument(answers).toJson());
    }
}

QList<QJsonObject> PortalStandIn::calls(const QString &method) const
{
    QList<QJsonObject> calls;
    for (const QByteArray &line : fileContents(m_dir.filePath(u"calls.jsonl"_s)).split('\n')) {
        const QJsonObject call = QJsonDocument::fromJson(line).object();
        if (call.value(u"method"_s).toString() == method) {
            calls.append(call);
        }
    }
    return calls;
}

QStringList PortalStandIn::sessions() const
{
    const QDBusMessage reply = QDBusConnection::sessionBus().call(control(u"Sessions"_s));
    return reply.arguments().value(0).toStringList();
}

void PortalStandIn::activate(const QString &session, const QString &shortcutId) const
{
    QDBusConnection::sessionBus().call(control(u"Activate"_s)
                                       << QVariant::fromValue(QDBusObjectPath(session)) << shortcutId);
}

} // namespace Tessary::Test
