#pragma once

#include <QNetworkProxy>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace Tessary::Test {

/**
 * An HTTP CONNECT proxy on 127.0.0.1 (tests/support/connect_proxy.py) that ends every tunnel at one loopback port.
 * With it as the proxy of a QNetworkAccessManager, a request to https://api.example.com reaches a
 * LoopbackHttpsServer whose certificate names that host (LoopbackHttpsServer::setAdditionalHostNames): nothing is
 * resolved and nothing leaves the machine.
 */
class LoopbackTunnel
{
public:
    LoopbackTunnel();
    ~LoopbackTunnel();

    /** Starts the proxy towards 127.0.0.1:targetPort; blocks until it listens. */
    bool start(quint16 targetPort, QString *error = nullptr);

    QNetworkProxy proxy() const;

    /** The "host:port" targets clients asked for, oldest first. */
    QStringList connectTargets() const;

private:
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
};

} // namespace Tessary::Test
