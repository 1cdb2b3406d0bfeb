#include "Platform/Linux/PollMainQueue.h"

#include "Platform/Linux/WakeDescriptor.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace glimmerwick {

namespace {

using Clock = std::chrono::steady_clock;
using Work = std::function<void()>;

} // namespace

struct PollMainQueue::State : std::enable_shared_from_this<PollMainQueue::State> {
    /// The number keeps the order of what is due at the same time.
    using Key = std::pair<Clock::time_point, std::uint64_t>;

    struct Timer {
        /// Null when cancelled or done.
        std::shared_ptr<const Work> work;
        /// Of what repeats.
        std::optional<std::chrono::nanoseconds> interval;
        Key key;
    };

    void submit(Work work)
    {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(work));
        wake.wake();
    }

    Registration startTimer(std::chrono::nanoseconds delay, std::optional<std::chrono::nanoseconds> interval,
                            Work work)
    {
        const auto timer = std::make_shared<Timer>();
        timer->work = std::make_shared<const Work>(std::move(work));
        timer->interval = interval;
        if (delay.count() <= 0 && !interval) {
            submit([this, timer] { run(timer); });
        } else {
            schedule(timer, delay);
        }
        return Registration([weak = weak_from_this(), timer] {
            if (const auto state = weak.lock()) {
                state->timers.erase(timer->key);
            }
            const auto dropped = std::exchange(timer->work, nullptr);
        });
    }

    void schedule(const std::shared_ptr<Timer>& timer, std::chrono::nanoseconds delay)
    {
        timer->key = {Clock::now() + delay, ++lastNumber};
        timers.emplace(timer->key, timer);
    }

    void submitDueTimers()
    {
        const auto now = Clock::now();
        while (!timers.empty() && timers.begin()->first.first <= now) {
            const auto timer = timers.extract(timers.begin()).mapped();
            submit([this, timer] { run(timer); });
        }
    }

    void run(const std::shared_ptr<Timer>& timer)
    {
        // The work may cancel itself, so it is held while it runs.
        const auto work = timer->interval ? timer->work : std::exchange(timer->work, nullptr);
        if (!work) {
            return;
        }
        if (timer->interval) {
            schedule(timer, *timer->interval);
        }
        (*work)();
    }

    std::mutex mutex;
    std::deque<Work> waiting;
    WakeDescriptor wake;

    // The main thread's own.
    std::map<Key, std::shared_ptr<Timer>> timers;
    std::uint64_t lastNumber = 0;
};

PollMainQueue::PollMainQueue() : m_state(std::make_shared<State>()) { }

PollMainQueue::~PollMainQueue()
{
    // What the work holds may cancel other work when it is destroyed.
    const auto timers = std::exchange(m_state->timers, {});
    for (const auto& [key, timer] : timers) {
        timer->work = nullptr;
    }
    std::deque<Work> dropped;
    const std::lock_guard lock(m_state->mutex);
    dropped.swap(m_state->waiting);
}

void PollMainQueue::async(std::function<void()> work)
{
    m_state->submit(std::move(work));
}

Registration PollMainQueue::asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work)
{
    return m_state->startTimer(delay, std::nullopt, std::move(work));
}

Registration PollMainQueue::every(std::chrono::nanoseconds interval, std::function<void()> work)
{
    return m_state->startTimer(interval, interval, std::move(work));
}

int PollMainQueue::descriptor() const
{
    return m_state->wake.get();
}

int PollMainQueue::timeUntilDue() const
{
    if (m_state->timers.empty()) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(m_state->timers.begin()->first.first - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

void PollMainQueue::runDueWork()
{
    // The work may destroy the queue.
    const auto state = m_state;
    state->submitDueTimers();
    std::size_t left = 0;
    {
        const std::lock_guard lock(state->mutex);
        left = state->waiting.size();
        state->wake.settle();
    }
    for (; left > 0; --left) {
        Work work;
        {
            const std::lock_guard lock(state->mutex);
            if (state->waiting.empty()) {
                return;
            }
            work = std::move(state->waiting.front());
            state->waiting.pop_front();
        }
        work();
    }
}

} // namespace glimmerwick
