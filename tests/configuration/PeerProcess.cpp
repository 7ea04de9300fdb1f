#include "tests/configuration/PeerProcess.h"

namespace Tessary::Test {

bool PeerProcess::run(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(CONFIGURATION_PEER), arguments);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

PeerProcess::~PeerProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

bool PeerProcess::start(const QStringList &arguments)
{
    m_process.start(QStringLiteral(CONFIGURATION_PEER), arguments);
    return m_process.waitForReadyRead(10000) && m_process.canReadLine();
}

bool PeerProcess::release()
{
    m_process.closeWriteChannel();
    return waitForFinished() && m_process.exitCode() == 0;
}

qint64 PeerProcess::processId() const
{
    return m_process.processId();
}

bool PeerProcess::waitForFinished()
{
    return m_process.waitForFinished(10000);
}

} // namespace Tessary::Test
