#include "Managers/AsyncSemaphore.h"

#include "Platform/MainQueue.h"

#include <utility>

namespace glimmerwick {

struct AsyncSemaphore::State {
    MainQueue& mainQueue;
    std::size_t free;
    /// Those whose turn has not come. They take themselves out when they are destroyed.
    std::list<Acquire*> waiting;
};

AsyncSemaphore::AsyncSemaphore(MainQueue& mainQueue, std::size_t permits)
    : m_state(std::make_shared<State>(State{mainQueue, permits, {}}))
{
}

AsyncSemaphore::~AsyncSemaphore() = default;

AsyncSemaphore::Permit::~Permit()
{
    if (!m_state) {
        return;
    }
    if (m_state->waiting.empty()) {
        ++m_state->free;
        return;
    }
    Acquire& next = *m_state->waiting.front();
    m_state->waiting.pop_front();
    MainQueue& mainQueue = m_state->mainQueue;
    // The permit is handed on at once, so that nobody who comes meanwhile is let in before.
    next.m_permit.emplace(Permit(std::move(m_state)));
    // Not from here: whoever ends a permit may be in the middle of ending the next sequence too.
    mainQueue.async([sequence = next.m_sequence, alive = next.m_lifetime.watch()] {
        if (alive) {
            sequence.resume();
        }
    });
}

AsyncSemaphore::Acquire::~Acquire()
{
    if (!m_permit) {
        m_state->waiting.remove(this);
    }
}

bool AsyncSemaphore::Acquire::await_ready()
{
    if (m_state->free == 0) {
        return false;
    }
    --m_state->free;
    m_permit.emplace(Permit(m_state));
    return true;
}

void AsyncSemaphore::Acquire::await_suspend(std::coroutine_handle<> sequence)
{
    m_sequence = sequence;
    m_state->waiting.push_back(this);
}

} // namespace glimmerwick
