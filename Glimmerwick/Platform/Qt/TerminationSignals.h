#pragma once

#include <functional>
#include <memory>

namespace glimmerwick {

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread for as long as it lives, so that the
/// program ends by way of its main loop. A second signal ends the process at once. One at a time.
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
