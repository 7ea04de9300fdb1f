#include "platform/signals/TerminationSignals.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>

namespace Tessary {

namespace {

// The classic self-pipe: the handler may only do async-signal-safe work, so it writes the signal number and the
// event loop does the rest.
int s_pipe[2] = {-1, -1};

void onSignal(int signalNumber)
{
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(s_pipe[1], &byte, 1);
    errno = saved;
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, s_pipe) != 0) {
        return;
    }
    m_notifier = new QSocketNotifier(s_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::readSignal);

    struct sigaction action
    {
    };
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaction(signalNumber, &action, nullptr);
    }
}

TerminationSignals::~TerminationSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = SIG_DFL;
    for (int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaction(signalNumber, &action, nullptr);
    }
    if (s_pipe[0] >= 0) {
        ::close(s_pipe[0]);
        ::close(s_pipe[1]);
        s_pipe[0] = s_pipe[1] = -1;
    }
}

void TerminationSignals::readSignal()
{
    unsigned char byte = 0;
    while (::read(s_pipe[0], &byte, 1) == 1) {
        Q_EMIT terminationRequested(byte);
        // exit(), not quit(): quit() lets windows veto it, and the settings window only hides when closed.
        QCoreApplication::exit(0);
    }
}

} // namespace Tessary
