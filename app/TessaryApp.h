#pragma once

#include <QObject>
#include <QStringList>

namespace Tessary {

/**
 * The application delegate: owns everything that lives for the whole run of the tray application. Its static
 * main() is the application's entry once the updater's modes have declined the arguments.
 */
class TessaryApp final : public QObject
{
    Q_OBJECT
public:
    /**
     * Tests the command-line modes in their fixed order and runs the first that applies; otherwise starts the
     * application and runs its event loop. Returns the process's exit status.
     */
    static int main(int &argc, char **argv, const QStringList &arguments);

    explicit TessaryApp(QStringList arguments, QObject *parent = nullptr);

    /** The launch sequence; queued to run once the event loop has started. */
    void applicationDidFinishLaunching();
    /** The shutdown sequence; runs when the event loop is about to end (Quit, SIGTERM, logout). */
    void applicationWillTerminate();

private:
    QStringList m_arguments;
};

} // namespace Tessary
