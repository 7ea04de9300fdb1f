#pragma once

#include <QProcess>
#include <QStringList>

namespace Tessary::Test {

/** The ConfigurationPeer helper running as a second process. */
class PeerProcess final
{
public:
    /** Runs one short command to its end; true when it succeeded. */
    static bool run(const QStringList &arguments);

    ~PeerProcess();

    /** Starts a long-running command and waits for its first line ("locked", "ready"); true when it came. */
    bool start(const QStringList &arguments);
    /** Ends its standard input, which releases a held lock, and waits for it to exit. */
    bool release();
    qint64 processId() const;
    bool waitForFinished();

private:
    QProcess m_process;
};

} // namespace Tessary::Test
