#pragma once

#include <QList>
#include <QProcess>
#include <QString>

namespace Tessary::Test {

/** KDE's global shortcut daemon (kglobalaccel5) on the test's session bus and X server. Stopped when destroyed. */
class KGlobalAccelDaemon
{
public:
    ~KGlobalAccelDaemon();
    /** Starts it and waits until it owns its bus name; once destroyed, the name is free again. */
    bool start();
    /** The keys the daemon has stored for an action (empty when it does not know the action). */
    static QList<int> storedKeys(const QString &component, const QString &action);
    /** Another program takes keys for an action "grab" of its component, through the bus's command-line client. */
    static bool holdKeys(const QString &component, const QList<int> &keys);

private:
    QProcess m_process;
};

} // namespace Tessary::Test
