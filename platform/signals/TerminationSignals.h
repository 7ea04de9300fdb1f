#pragma once

#include <QObject>

class QSocketNotifier;

namespace Tessary {

/**
 * Turns SIGTERM, SIGINT and SIGHUP into a quit of the running event loop, so that a logout or a kill ends the
 * application through its normal shutdown path (aboutToQuit) instead of cutting it off. Create once, on the GUI
 * thread, after the application object.
 */
class TerminationSignals final : public QObject
{
    Q_OBJECT
public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    /** Emitted on the GUI thread for every signal received. */
    void terminationRequested(int signalNumber);

private:
    void readSignal();

    QSocketNotifier *m_notifier = nullptr;
};

} // namespace Tessary
