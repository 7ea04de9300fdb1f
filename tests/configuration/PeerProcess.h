#pragma once

#include <QProcess>
#include <QStringList>

namespace Tessary::Test {

/** The ConfigurationPeer helper: another program that changes the configuration file while a test watches. */
struct PeerProcess
{
    /** Runs "write PATH TEXT" (in place) or "replace PATH TEXT" (atomically, as another instance of ours would). */
    static bool run(const QStringList &arguments)
    {
        QProcess process;
        process.start(QStringLiteral(CONFIGURATION_PEER), arguments);
        return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit &&
               process.exitCode() == 0;
    }
};

} // namespace Tessary::Test
