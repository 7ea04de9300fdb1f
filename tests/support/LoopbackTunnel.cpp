#include "tests/support/LoopbackTunnel.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace Tessary::Test {

LoopbackTunnel::LoopbackTunnel() = default;

LoopbackTunnel::~LoopbackTunnel()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

bool LoopbackTunnel::start(quint16 targetPort, QString *error)
{
    if (!m_dir.isValid()) {
        return false;
    }
    m_process.start(u"python3"_s, {QStringLiteral(TESSARY_TEST_SUPPORT_DIR "/connect_proxy.py"),
                                   QString::number(targetPort), m_dir.filePath(u"targets.log"_s)});
    if (!m_process.waitForStarted(10000)) {
        return false;
    }
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(10000)) {
            if (error != nullptr) {
                *error = u"proxy did not start: "_s + QString::fromUtf8(m_process.readAllStandardError());
            }
            return false;
        }
    }
    m_port = quint16(m_process.readLine().trimmed().toUInt());
    return m_port != 0;
}

QNetworkProxy LoopbackTunnel::proxy() const
{
    return QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, m_port);
}

QStringList LoopbackTunnel::connectTargets() const
{
    QFile file(m_dir.filePath(u"targets.log"_s));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

} // namespace Tessary::Test
