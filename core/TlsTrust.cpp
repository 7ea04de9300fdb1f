#include "core/TlsTrust.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>

namespace Tessary::TlsTrust {

int addRootsFromEnvironment()
{
    const QString path = qEnvironmentVariable("SSL_CERT_FILE");
    if (path.isEmpty() || !QFile::exists(path)) {
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
