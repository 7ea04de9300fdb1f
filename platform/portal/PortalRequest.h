#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

class QDBusPendingCallWatcher;
class QDBusServiceWatcher;

namespace Tessary {

/**
 * One call to an org.freedesktop.portal interface whose answer arrives later as the Response signal of a Request
 * object. The portal sends that signal only to a caller that is still connected and already listening, so the
 * request subscribes on the path it predicts from its own token before it calls, and follows the path the portal
 * returns if that differs.
 *
 * GUI thread (any thread with an event loop). Exactly one of responded() or failed() follows start(); after that the
 * request does nothing more. Deleting it abandons the call.
 */
class PortalRequest final : public QObject
{
    Q_OBJECT
public:
    explicit PortalRequest(QDBusConnection bus, QObject *parent = nullptr);

    /**
     * Calls method of interface on the portal's desktop object with arguments followed by options, to which the
     * request adds its "handle_token". Portal methods of this kind all take their options last.
     */
    void start(const QString &interface, const QString &method, const QVariantList &arguments, QVariantMap options);

    /** The object path the Response is expected on (valid after start()). */
    QString handlePath() const;

    static QString desktopService();
    static QString desktopPath();

Q_SIGNALS:
    /** The portal's answer: 0 success, 1 cancelled by the user, 2 ended some other way (refused, failed). */
    void responded(uint response, const QVariantMap &results);
    /** The call itself failed, or the portal went away before answering; detail is one line for the log or a user. */
    void failed(const QString &detail);

private Q_SLOTS:
    // Connected by name: QDBusConnection::connect() only takes slot signatures.
    void onResponse(uint response, const QVariantMap &results);

private:
    void listenOn(const QString &path);
    void stopListening();
    void onCallFinished(QDBusPendingCallWatcher *watcher);
    void finish();

    QDBusConnection m_bus;
    QString m_path;
    QDBusServiceWatcher *m_serviceWatcher = nullptr;
    bool m_finished = false;
};

} // namespace Tessary
