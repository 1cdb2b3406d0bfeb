#pragma once

#include <functional>
#include <memory>

namespace glimmerwick {

/// Turns the first of SIGTERM, SIGINT and SIGHUP into a call on the main thread, so that the program ends by
/// way of its main loop, and keeps the others from cutting that short for as long as it lives: a session that
/// ends may send all of them at once. SIGTERM or SIGINT sent once more ends the process where it is. One at a
/// time.
///
/// A signal that comes before the event loop runs is told when it does. Needs the QCoreApplication.
class TerminationSignals {
public:
    explicit TerminationSignals(std::function<void()> handler);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace glimmerwick
