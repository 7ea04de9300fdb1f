#include "core/TlsTrust.h"

#include <QFile>
#include <QFileInfo>
#include <QSslCertificate>
#include <QSslConfiguration>

namespace Tessary::TlsTrust {

namespace {

/**
 * Whether the file is one of the system's own bundles, which Qt already reads certificate by certificate from the
 * same folders. Containers commonly point SSL_CERT_FILE at /etc/ssl/certs/ca-certificates.crt, and parsing the
 * system's roots once more would add a third of a second to every start for nothing.
 */
bool isSystemBundle(const QString &path)
{
    const QString folder = QFileInfo(QFileInfo(path).canonicalFilePath()).path();
    for (const char *systemFolder : {"/etc/ssl/certs", "/usr/lib/ssl/certs", "/usr/local/ssl/certs", "/var/ssl/certs",
                                     "/etc/openssl/certs", "/opt/openssl/certs"}) {
        if (folder == QFileInfo(QString::fromLatin1(systemFolder)).canonicalFilePath()) {
            return true;
        }
    }
    return false;
}

} // namespace

int addRootsFromEnvironment()
{
    const QString path = qEnvironmentVariable("SSL_CERT_FILE");
    if (path.isEmpty() || !QFile::exists(path) || isSystemBundle(path)) {
        return 0;
    }
    const QList<QSslCertificate> extra = QSslCertificate::fromPath(path, QSsl::Pem);
    if (extra.isEmpty()) {
        return 0;
    }
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    // An explicit list ends Qt's loading of system roots on demand, so the system's roots go into it as well.
    QList<QSslCertificate> roots = configuration.caCertificates();
    for (const QSslCertificate &root : QSslConfiguration::systemCaCertificates()) {
        if (!roots.contains(root)) {
            roots.append(root);
        }
    }
    int added = 0;
    for (const QSslCertificate &certificate : extra) {
        if (!roots.contains(certificate)) {
            roots.append(certificate);
            ++added;
        }
    }
    configuration.setCaCertificates(roots);
    QSslConfiguration::setDefaultConfiguration(configuration);
    return added;
}

} // namespace Tessary::TlsTrust
