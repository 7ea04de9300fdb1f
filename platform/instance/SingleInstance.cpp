#include "platform/instance/SingleInstance.h"

#include <unistd.h>

#include <QLocalServer>
#include <QLocalSocket>

using namespace Qt::StringLiterals;

namespace Tessary {

namespace {

constexpr qsizetype maximumMessageSize = 64;

} // namespace

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::serverName()
{
    return u"md.velmor.tessary-%1"_s.arg(::getuid());
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
