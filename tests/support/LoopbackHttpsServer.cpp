#include "tests/support/LoopbackHttpsServer.h"

#include <cstdio>

#include <QJsonDocument>
#include <QSslCertificate>
#include <QSslConfiguration>

using namespace Qt::StringLiterals;

namespace Tessary::Test {

bool LoopbackScript::startScript(const QString &script, const QStringList &arguments, QString *error)
{
    m_process.start(u"python3"_s,
                    QStringList{QStringLiteral(TESSARY_TEST_SUPPORT_DIR "/") + script, m_dir.path()} + arguments);
    while (m_dir.isValid() && m_process.waitForStarted(10000) && !m_process.canReadLine() &&
           m_process.waitForReadyRead(30000)) {
    }
    m_port = quint16(m_process.readLine().trimmed().toUInt());
    if (m_port == 0 && error != nullptr) {
        *error = script + u" did not start: "_s + QString::fromUtf8(m_process.readAllStandardError());
    }
    return m_port != 0;
}

void LoopbackHttpsServer::trustInThisProcess() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificates(QSslCertificate::fromPath(caCertificatePath()));
    QSslConfiguration::setDefaultConfiguration(configuration);
}

void LoopbackHttpsServer::writeRoutes()
{
    // Replaced in one step: the server may read it at any moment.
    QFile file(m_dir.filePath(u"routes.json.new"_s));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(QJsonDocument(m_routes).toJson(QJsonDocument::Compact));
        file.close();
        std::rename(QFile::encodeName(file.fileName()), QFile::encodeName(m_dir.filePath(u"routes.json"_s)));
    }
}

QJsonArray LoopbackHttpsServer::requests() const
{
    QJsonArray requests;
    QFile file(m_dir.filePath(u"requests.jsonl"_s));
    for (bool open = file.open(QIODevice::ReadOnly); open && !file.atEnd();) {
        requests.append(QJsonDocument::fromJson(file.readLine()).object());
    }
    return requests;
}

} // namespace Tessary::Test
