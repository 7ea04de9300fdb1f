#include "tests/support/LoopbackHttpsServer.h"

#include <cstdio>

#include <QFile>
#include <QJsonDocument>
#include <QSslCertificate>
#include <QSslConfiguration>

using namespace Qt::StringLiterals;

namespace Tessary::Test {

LoopbackHttpsServer::LoopbackHttpsServer() = default;

LoopbackHttpsServer::~LoopbackHttpsServer()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

bool LoopbackHttpsServer::run(const QString &program, const QStringList &arguments, QString *error)
{
    QProcess process;
    process.setWorkingDirectory(m_dir.path());
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        if (error != nullptr) {
            *error = program + u" failed: "_s + QString::fromUtf8(process.readAllStandardError());
        }
        return false;
    }
    return true;
}

bool LoopbackHttpsServer::start(QString *error)
{
    if (!m_dir.isValid()) {
        return false;
    }
    const QString openssl = u"openssl"_s;
    const bool made =
        run(openssl,
            {u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s,
             u"-keyout"_s, u"ca.key"_s, u"-out"_s, u"ca.pem"_s, u"-days"_s, u"2"_s, u"-subj"_s,
             u"/CN=Tessary Test CA"_s},
            error) &&
        run(openssl,
            {u"req"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s,
             u"-keyout"_s, u"server.key"_s, u"-out"_s, u"server.csr"_s, u"-subj"_s, u"/CN=127.0.0.1"_s},
            error);
    if (!made) {
        return false;
    }
    QFile extensions(m_dir.filePath(u"server.ext"_s));
    if (!extensions.open(QIODevice::WriteOnly)) {
        return false;
    }
    QByteArray alternativeNames = "IP:127.0.0.1,DNS:localhost";
    for (const QString &name : std::as_const(m_additionalHostNames)) {
        alternativeNames += ",DNS:" + name.toUtf8();
    }
    extensions.write("subjectAltName=" + alternativeNames +
                     "\nbasicConstraints=CA:FALSE\n"
                     "keyUsage=digitalSignature\nextendedKeyUsage=serverAuth\n");
    extensions.close();
    if (!run(openssl,
             {u"x509"_s, u"-req"_s, u"-in"_s, u"server.csr"_s, u"-CA"_s, u"ca.pem"_s, u"-CAkey"_s, u"ca.key"_s,
              u"-CAcreateserial"_s, u"-out"_s, u"server.pem"_s, u"-days"_s, u"2"_s, u"-extfile"_s, u"server.ext"_s},
             error)) {
        return false;
    }
    writeRoutes();
    QFile::remove(m_dir.filePath(u"requests.jsonl"_s));

    m_process.setWorkingDirectory(m_dir.path());
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start(u"python3"_s, {QStringLiteral(TESSARY_TEST_SUPPORT_DIR "/https_server.py"),
                                   m_dir.filePath(u"server.pem"_s), m_dir.filePath(u"server.key"_s),
                                   m_dir.filePath(u"routes.json"_s), m_dir.filePath(u"requests.jsonl"_s)});
    if (!m_process.waitForStarted(10000)) {
        return false;
    }
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(10000)) {
            if (error != nullptr) {
                *error = u"server did not start: "_s + QString::fromUtf8(m_process.readAllStandardError());
            }
            return false;
        }
    }
    m_port = quint16(m_process.readLine().trimmed().toUInt());
    return m_port != 0;
}

void LoopbackHttpsServer::setAdditionalHostNames(const QStringList &names)
{
    m_additionalHostNames = names;
}

QUrl LoopbackHttpsServer::baseUrl() const
{
    return QUrl(u"https://127.0.0.1:%1"_s.arg(m_port));
}

QString LoopbackHttpsServer::caCertificatePath() const
{
    return m_dir.filePath(u"ca.pem"_s);
}

void LoopbackHttpsServer::trustInThisProcess() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificates(QSslCertificate::fromPath(caCertificatePath()));
    QSslConfiguration::setDefaultConfiguration(configuration);
}

void LoopbackHttpsServer::setRoute(const QString &path, const QJsonObject &route)
{
    m_routes.insert(path, route);
    writeRoutes();
}

void LoopbackHttpsServer::clearRoutes()
{
    m_routes = {};
    writeRoutes();
}

void LoopbackHttpsServer::writeRoutes()
{
    // Replaced atomically: the server may read it at any moment.
    const QString target = m_dir.filePath(u"routes.json"_s);
    QFile file(target + u".new"_s);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(QJsonDocument(m_routes).toJson(QJsonDocument::Compact));
        file.close();
        ::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(target).constData());
    }
}

QJsonArray LoopbackHttpsServer::requests() const
{
    QJsonArray requests;
    QFile file(m_dir.filePath(u"requests.jsonl"_s));
    if (!file.open(QIODevice::ReadOnly)) {
        return requests;
    }
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (!line.isEmpty()) {
            requests.append(QJsonDocument::fromJson(line).object());
        }
    }
    return requests;
}

void LoopbackHttpsServer::clearRequests()
{
    QFile::remove(m_dir.filePath(u"requests.jsonl"_s));
}

QString LoopbackHttpsServer::workPath() const
{
    return m_dir.path();
}

} // namespace Tessary::Test
