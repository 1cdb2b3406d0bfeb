#pragma once

#include "Platform/Lifetime.h"

#include <coroutine>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>

namespace glimmerwick {

class MainQueue;

/// Lets a number of asynchronous sequences into a section at once; the others wait and go on in the order in
/// which they came. Main thread.
class AsyncSemaphore {
    struct State;

public:
    /// A place in the section, until it ends. May outlive the semaphore.
    class [[nodiscard]] Permit {
    public:
        Permit(Permit&& other) noexcept = default;
        Permit& operator=(Permit&&) = delete;
        ~Permit();

    private:
        friend class AsyncSemaphore;
        explicit Permit(std::shared_ptr<State> state) : m_state(std::move(state)) { }

        std::shared_ptr<State> m_state;
    };

    /// `co_await semaphore.acquire()`: goes on with a permit, at once where there is room, else from the main
    /// queue. A task destroyed before that gives up its turn.
    class Acquire {
    public:
        ~Acquire();
        Acquire(const Acquire&) = delete;
        Acquire& operator=(const Acquire&) = delete;

        bool await_ready();
        void await_suspend(std::coroutine_handle<> sequence);
        Permit await_resume() { return std::move(*m_permit); }

    private:
        friend class AsyncSemaphore;
        explicit Acquire(std::shared_ptr<State> state) : m_state(std::move(state)) { }

        std::shared_ptr<State> m_state;
        std::coroutine_handle<> m_sequence;
        std::optional<Permit> m_permit;
        Lifetime m_lifetime;
    };

    /// The queue must outlive every task that waits.
    AsyncSemaphore(MainQueue& mainQueue, std::size_t permits);
    ~AsyncSemaphore();

    Acquire acquire() { return Acquire(m_state); }

private:
    std::shared_ptr<State> m_state;
};

} // namespace glimmerwick
