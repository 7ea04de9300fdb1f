#pragma once

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

namespace Tessary::Test {

/** A Python script of tests/support in a folder of its own, listening on 127.0.0.1; killed with its owner. */
class LoopbackScript
{
public:
    quint16 port() const { return m_port; }

protected:
    /** Starts the script with the folder and arguments, and waits until it listens. False (with a reason) if not. */
    bool startScript(const QString &script, const QStringList &arguments, QString *error);

    QTemporaryDir m_dir;

private:
    QProcess m_process;
    quint16 m_port = 0;
};

/**
 * A real HTTPS server on 127.0.0.1 (https_server.py) with a certificate authority made for it alone (openssl).
 * Answers are set per path with setRoute() and may change at any time; every request it receives is recorded.
 */
class LoopbackHttpsServer : public LoopbackScript
{
public:
    /** Makes the certificates (127.0.0.1, localhost and the additional names) and starts; blocks until it listens. */
    bool start(QString *error = nullptr) { return startScript(QStringLiteral("https_server.py"), m_hostNames, error); }
    /** Starts speaking plain HTTP on the address ("127.0.0.1" or "::1") instead, without certificates. */
    bool startPlain(const QString &address)
    {
        return startScript(QStringLiteral("https_server.py"), {QStringLiteral("--plain=") + address}, nullptr);
    }
    /** More DNS names for the certificate (such as "api.deepseek.com", reached through a LoopbackTunnel). */
    void setAdditionalHostNames(const QStringList &names) { m_hostNames = names; }
    /** https://127.0.0.1:PORT */
    QUrl baseUrl() const { return QUrl(QStringLiteral("https://127.0.0.1:%1").arg(port())); }
    /** PEM file of the server's certificate authority, for SSL_CERT_FILE of child processes. */
    QString caCertificatePath() const { return m_dir.filePath(QStringLiteral("ca.pem")); }
    /** Adds the certificate authority to Qt's default TLS configuration of this process. */
    void trustInThisProcess() const;
    /** Sets the answer for a path (see https_server.py for the fields). */
    void setRoute(const QString &path, const QJsonObject &route)
    {
        m_routes.insert(path, route);
        writeRoutes();
    }
    void clearRoutes()
    {
        m_routes = {};
        writeRoutes();
    }
    /** The requests received so far, oldest first: {"method", "path", "headers", "body"}. */
    QJsonArray requests() const;
    void clearRequests() { QFile::remove(m_dir.filePath(QStringLiteral("requests.jsonl"))); }
    /** A folder that lives as long as the server, for body files. */
    QString workPath() const { return m_dir.path(); }

private:
    void writeRoutes();
    QJsonObject m_routes;
    QStringList m_hostNames;
};

} // namespace Tessary::Test
