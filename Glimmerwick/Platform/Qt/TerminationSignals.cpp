#include "Platform/Qt/TerminationSignals.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::array terminationSignals{SIGTERM, SIGINT, SIGHUP};

/// Written by the signal handler, which may do little more than write one byte.
volatile int pipeEnd = -1;

void noteSignal(int number)
{
    const int interruptedCallsError = errno;
    const char byte = 1;
    if (write(pipeEnd, &byte, 1) != 1) {
        // The pipe is gone or full: nobody listens, so the signal does what it does by default.
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
    errno = interruptedCallsError;
}

struct sigaction actionFor(int number)
{
    struct sigaction action { };
    action.sa_handler = noteSignal;
    action.sa_flags = SA_RESTART;
    // A terminal that closes sends this one several times: from the shell and from the kernel.
    if (number != SIGHUP) {
        action.sa_flags |= static_cast<int>(SA_RESETHAND);
    }
    return action;
}

} // namespace

struct TerminationSignals::State {
    std::array<int, 2> pipe{-1, -1};
    std::array<struct sigaction, terminationSignals.size()> previous{};
    std::unique_ptr<QSocketNotifier> notifier;
};

TerminationSignals::TerminationSignals(std::function<void()> handler) : m_state(std::make_unique<State>())
{
    if (pipe2(m_state->pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    pipeEnd = m_state->pipe[1];
    m_state->notifier = std::make_unique<QSocketNotifier>(m_state->pipe[0], QSocketNotifier::Read);
    QObject::connect(m_state->notifier.get(), &QSocketNotifier::activated,
                     [notifier = m_state->notifier.get(), handler = std::move(handler)] {
                         notifier->setEnabled(false);
                         handler();
                     });
    for (std::size_t index = 0; index < terminationSignals.size(); ++index) {
        struct sigaction& previous = m_state->previous[index];
        const struct sigaction action = actionFor(terminationSignals[index]);
        sigaction(terminationSignals[index], &action, &previous);
        if (previous.sa_handler == SIG_IGN) {
            // Whoever started the program asked that it outlive this signal.
            sigaction(terminationSignals[index], &previous, nullptr);
        }
    }
}

TerminationSignals::~TerminationSignals()
{
    if (!m_state->notifier) {
        return;
    }
    for (std::size_t index = 0; index < terminationSignals.size(); ++index) {
        sigaction(terminationSignals[index], &m_state->previous[index], nullptr);
    }
    m_state->notifier.reset();
    pipeEnd = -1;
    for (const int descriptor : m_state->pipe) {
        close(descriptor);
    }
}

} // namespace glimmerwick
