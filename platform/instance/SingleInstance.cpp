#include "platform/instance/SingleInstance.h"

#include <unistd.h>

#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr qsizetype maximumMessageSize = 64;

} // namespace

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::serverName()
{
    // The user's runtime folder belongs to the login session and only its owner may enter it; without one, a name
    // in the temporary folder keyed by the user.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString name = u"md.velmor.tessary-%1"_s.arg(::getuid());
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir()) {
        return runtime + u'/' + name;
    }
    return name;
}

bool SingleInstance::sendToRunningInstance(const QByteArray &message, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(serverName());
    if (!socket.waitForConnected(timeoutMs)) {
        return false;
    }
    socket.write(message + '\n');
    if (!socket.waitForBytesWritten(timeoutMs)) {
        return false;
    }
    // The instance answers once it has taken the request, so a dying instance is not mistaken for a live one.
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(timeoutMs)) {
            return false;
        }
    }
    return socket.readLine().trimmed() == "ok";
}

bool SingleInstance::listen()
{
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(serverName())) {
        // Nobody answered before we got here, so the socket is a leftover.
        QLocalServer::removeServer(serverName());
        if (!m_server->listen(serverName())) {
            return false;
        }
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
    return true;
}

void SingleInstance::acceptConnections()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > maximumMessageSize) {
                    socket->abort();
                }
                return;
            }
            const QByteArray message = socket->readLine(maximumMessageSize).trimmed();
            socket->write("ok\n");
            socket->flush();
            socket->disconnectFromServer();
            Q_EMIT messageReceived(message);
        });
    }
}

} // namespace Tessary
