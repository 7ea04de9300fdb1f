#pragma once

#include <QObject>

class QLocalServer;

namespace Tessary {

/**
 * Keeps one running application per user session. The first instance listens on a local socket
 * "md.velmor.tessary-<uid>" in the session's runtime folder; a later launch hands its request ("reopen", "capture")
 * to it and exits. GUI thread only.
 */
class SingleInstance final : public QObject
{
    Q_OBJECT
public:
    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    static QString serverName();

    /**
     * Delivers one message to the running instance. Returns true once the instance has confirmed it, false when no
     * instance answers within the time-out (then this process should become the instance).
     */
    static bool sendToRunningInstance(const QByteArray &message, int timeoutMs = 2000);

    /** Starts listening, replacing a socket left behind by an instance that died. */
    bool listen();

Q_SIGNALS:
    /** A later launch asked for something; emitted on the GUI thread. */
    void messageReceived(const QByteArray &message);

private:
    void acceptConnections();

    QLocalServer *m_server = nullptr;
};

} // namespace Tessary
