#include "tests/support/PortalStandIn.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QJsonDocument>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;

namespace Tessary::Test {

namespace {

QDBusMessage control(const QString &method)
{
    return QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                                          u"md.velmor.test.PortalStandIn"_s, method);
}

} // namespace

PortalStandIn::PortalStandIn()
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

PortalStandIn::~PortalStandIn()
{
    stop();
}

QString PortalStandIn::directory() const
{
    return m_dir.path();
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
    m_process.start(u"/usr/bin/python3"_s, arguments);
    if (!m_process.waitForStarted(10000)) {
        return false;
    }
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(30000)) {
            return false;
        }
    }
    return m_process.readLine().trimmed() == "ready";
}

void PortalStandIn::stop()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(10000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
}

void PortalStandIn::setAnswers(const QJsonObject &answers)
{
    QFile file(m_dir.filePath(u"answers.json"_s));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(QJsonDocument(answers).toJson());
    }
}

QList<QJsonObject> PortalStandIn::calls() const
{
    QList<QJsonObject> calls;
    QFile file(m_dir.filePath(u"calls.jsonl"_s));
    if (!file.open(QIODevice::ReadOnly)) {
        return calls;
    }
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (!line.isEmpty()) {
            calls.append(QJsonDocument::fromJson(line).object());
        }
    }
    return calls;
}

QList<QJsonObject> PortalStandIn::calls(const QString &method) const
{
    QList<QJsonObject> matching;
    for (const QJsonObject &call : calls()) {
        if (call.value(u"method"_s).toString() == method) {
            matching.append(call);
        }
    }
    return matching;
}

QStringList PortalStandIn::sessions() const
{
    const QDBusMessage reply = QDBusConnection::sessionBus().call(control(u"Sessions"_s));
    return reply.arguments().isEmpty() ? QStringList() : reply.arguments().constFirst().toStringList();
}

void PortalStandIn::activate(const QString &session, const QString &shortcutId) const
{
    QDBusMessage message = control(u"Activate"_s);
    message << QVariant::fromValue(QDBusObjectPath(session)) << shortcutId;
    QDBusConnection::sessionBus().call(message);
}

} // namespace Tessary::Test
