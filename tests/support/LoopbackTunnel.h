#pragma once

#include <QNetworkProxy>

#include "tests/support/LoopbackHttpsServer.h"
#include "tests/support/TestEnvironment.h"

namespace Tessary::Test {

/**
 * An HTTP CONNECT proxy on 127.0.0.1 (connect_proxy.py) that ends every tunnel at one loopback port. As the proxy
 * of a QNetworkAccessManager, it lets a request to https://api.example.com reach a LoopbackHttpsServer whose
 * certificate names that host: nothing is resolved and nothing leaves the machine.
 */
class LoopbackTunnel : public LoopbackScript
{
public:
    /** Starts the proxy towards 127.0.0.1:targetPort; blocks until it listens. */
    bool start(quint16 targetPort, QString *error = nullptr)
    {
        return startScript(QStringLiteral("connect_proxy.py"), {QString::number(targetPort)}, error);
    }

    QNetworkProxy proxy() const { return QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), port()); }

    /** The "host:port" targets clients asked for, oldest first. */
    QStringList connectTargets() const
    {
        const QString targets = QString::fromUtf8(fileContents(m_dir.filePath(QStringLiteral("targets.log"))));
        return targets.split(u'\n', Qt::SkipEmptyParts);
    }
};

} // namespace Tessary::Test
