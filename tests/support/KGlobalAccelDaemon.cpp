#include "tests/support/KGlobalAccelDaemon.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QStringList>
#include <QTest>

#include "tests/support/TestEnvironment.h"

using namespace Qt::StringLiterals;

namespace Tessary::Test {

static const QString daemonName = u"org.kde.kglobalaccel"_s;

KGlobalAccelDaemon::~KGlobalAccelDaemon()
{
    stopService(m_process, daemonName);
}

bool KGlobalAccelDaemon::start()
{
    qDBusRegisterMetaType<QList<int>>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // A Qt 5 program: it must not take the Qt 6 platform choice of the test.
    environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.start(u"kglobalaccel5"_s, {});
    return m_process.waitForStarted(10000) &&
           QTest::qWaitFor(
               [] { return QDBusConnection::sessionBus().interface()->isServiceRegistered(daemonName).value(); },
               30000);
}

QList<int> KGlobalAccelDaemon::storedKeys(const QString &component, const QString &action)
{
    const QDBusMessage reply = QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(daemonName, u"/kglobalaccel"_s, u"org.kde.KGlobalAccel"_s, u"shortcut"_s)
        << QStringList{component, action, QString(), QString()});
    return reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()
               ? QList<int>()
               : qdbus_cast<QList<int>>(reply.arguments().constFirst().value<QDBusArgument>());
}

bool KGlobalAccelDaemon::holdKeys(const QString &component, const QList<int> &keys)
{
    const QString actionId = u"['%1', 'grab', 'Other program', 'Grab']"_s.arg(component);
    QStringList keyList;
    for (int key : keys) {
        keyList.append(QString::number(key));
    }
    const QStringList call{u"call"_s,          u"--session"_s,     u"--dest"_s,  daemonName,
                           u"--object-path"_s, u"/kglobalaccel"_s, u"--method"_s};
    return runProcess(u"gdbus"_s, call + QStringList{u"org.kde.KGlobalAccel.doRegister"_s, actionId}).exitCode == 0 &&
           runProcess(u"gdbus"_s, call + QStringList{u"org.kde.KGlobalAccel.setShortcut"_s, actionId,
                                                     u"@ai [%1]"_s.arg(keyList.join(u", "_s)), u"6"_s})
                   .exitCode == 0;
}

} // namespace Tessary::Test
