#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace Tessary::Test {

/**
 * The stand-in desktop portal (support/portal_standin.py) as a child process on the test's session bus: it owns
 * org.freedesktop.portal.Desktop, answers as told and logs every call. Stopped when destroyed.
 */
class PortalStandIn
{
public:
    enum Interface { Screenshot = 1, GlobalShortcuts = 2 };

    ~PortalStandIn() { stop(); }
    /** Starts it offering the given interfaces; false when it did not come up within a generous time. */
    bool start(int interfaces);
    void stop();
    /** What the methods answer from now on ({"Screenshot": {"response": 2}}). */
    void setAnswers(const QJsonObject &answers);
    /** The calls of one method so far, oldest first: {"method", "sender", "args"}. */
    QList<QJsonObject> calls(const QString &method) const;
    /** The session objects that exist now. */
    QStringList sessions() const;
    /** Sends Activated for a shortcut of a session, as the desktop does when its trigger is pressed. */
    void activate(const QString &session, const QString &shortcutId) const;
    QString directory() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
    QProcess m_process;
};

} // namespace Tessary::Test
