#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

namespace Tessary::Test {

/**
 * A real HTTPS server on 127.0.0.1 with a throwaway certificate authority made for this test run (openssl CLI).
 * The server is tests/support/https_server.py; answers are set per path with setRoute() and may change at any time.
 * Every request it receives is recorded. start() blocks until the server listens.
 */
class LoopbackHttpsServer
{
public:
    LoopbackHttpsServer();
    ~LoopbackHttpsServer();

    /** Makes the CA and a certificate for 127.0.0.1/localhost, starts the server. False (with a reason) on failure. */
    bool start(QString *error = nullptr);

    /**
     * More DNS names for the server certificate (for example "api.deepseek.com", reached through a LoopbackTunnel).
     * Call before start().
     */
    void setAdditionalHostNames(const QStringList &names);

    /** https://127.0.0.1:PORT */
    QUrl baseUrl() const;
    quint16 port() const { return m_port; }

    /** PEM file of the test CA; give it to SSL_CERT_FILE of child processes. */
    QString caCertificatePath() const;

    /** Adds the test CA to Qt's default TLS configuration of this process. */
    void trustInThisProcess() const;

    /** Sets the answer for a path (see https_server.py for the fields). */
    void setRoute(const QString &path, const QJsonObject &route);
    void clearRoutes();

    /** The requests received so far, oldest first: {"method", "path", "headers", "body"}. */
    QJsonArray requests() const;
    void clearRequests();

    /** A directory that lives as long as the server, for body files. */
    QString workPath() const;

private:
    bool run(const QString &program, const QStringList &arguments, QString *error);
    void writeRoutes();

    QTemporaryDir m_dir;
    QProcess m_process;
    QJsonObject m_routes;
    QStringList m_additionalHostNames;
    quint16 m_port = 0;
};

} // namespace Tessary::Test
