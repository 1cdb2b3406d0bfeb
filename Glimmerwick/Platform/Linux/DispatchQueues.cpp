#include "Platform/Linux/DispatchQueues.h"

#include <algorithm>
#include <cassert>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

using Work = std::function<void()>;
using TimePoint = std::chrono::steady_clock::time_point;

void prepareThread(const std::string& label, QualityOfService quality)
{
    // The kernel keeps 15 bytes of a thread's name; the end of a dotted label tells most.
    constexpr std::size_t longestName = 15;
    const std::string name = label.size() > longestName ? label.substr(label.size() - longestName) : label;
    pthread_setname_np(pthread_self(), name.c_str());

    if (quality == QualityOfService::utility) {
        constexpr int utilityNiceness = 10;
        // On Linux a niceness belongs to the thread. Without it the work is merely less polite.
        setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), utilityNiceness);
    }
}

TimePoint dueTime(std::chrono::nanoseconds delay)
{
    const TimePoint now = std::chrono::steady_clock::now();
    const auto room = TimePoint::max() - now;
    return now + std::clamp<std::chrono::nanoseconds>(delay, std::chrono::nanoseconds(0), room);
}

} // namespace

/// One worker thread and the work that waits for it, in order of its due time, then of submission.
class ThreadDispatchQueues::ThreadSerialQueue : public SerialQueue {
public:
    ThreadSerialQueue(const std::string& label, QualityOfService quality)
        : m_thread([this, label, quality] {
              prepareThread(label, quality);
              runWork();
          })
    {
    }

    ~ThreadSerialQueue() override
    {
        assert(std::this_thread::get_id() != m_thread.get_id());
        std::map<Key, Work> dropped;
        {
            const std::lock_guard lock(m_schedule->mutex);
            m_schedule->ending = true;
            dropped.swap(m_schedule->items);
        }
        m_schedule->changed.notify_all();
        m_thread.join();
    }

    Registration asyncAfter(std::chrono::nanoseconds delay, Work work) override
    {
        Key key;
        {
            const std::lock_guard lock(m_schedule->mutex);
            key = Key{dueTime(delay), ++m_schedule->sequence};
            m_schedule->items.emplace(key, std::move(work));
        }
        m_schedule->changed.notify_one();

        return Registration([weak = std::weak_ptr<Schedule>(m_schedule), key] {
            if (const auto schedule = weak.lock()) {
                schedule->take(key);
            }
        });
    }

private:
    using Key = std::pair<TimePoint, std::uint64_t>;

    /// Shared with the handles, which may outlive the queue.
    struct Schedule {
        std::mutex mutex;
        std::condition_variable changed;
        std::map<Key, Work> items;
        std::uint64_t sequence = 0;
        bool ending = false;

        /// What the work holds may run anything when it is destroyed, so that must happen without the lock:
        /// the caller gets the work.
        std::map<Key, Work>::node_type take(const Key& key)
        {
            const std::lock_guard lock(mutex);
            return items.extract(key);
        }
    };

    void runWork()
    {
        while (const auto item = waitForNext()) {
            item.mapped()();
        }
    }

    /// Empty when the queue ends.
    std::map<Key, Work>::node_type waitForNext()
    {
        std::unique_lock lock(m_schedule->mutex);
        while (!m_schedule->ending) {
            if (m_schedule->items.empty()) {
                m_schedule->changed.wait(lock);
                continue;
            }
            const TimePoint due = m_schedule->items.begin()->first.first;
            if (due <= std::chrono::steady_clock::now()) {
                return m_schedule->items.extract(m_schedule->items.begin());
            }
            m_schedule->changed.wait_until(lock, due);
        }
        return {};
    }

    std::shared_ptr<Schedule> m_schedule = std::make_shared<Schedule>();
    std::thread m_thread;
};

/// A few threads that take work from one list. The threads start with the first work.
class ThreadDispatchQueues::ThreadPool : public ConcurrentQueue {
public:
    explicit ThreadPool(QualityOfService quality) : m_quality(quality) { }

    ~ThreadPool() override
    {
        std::deque<Work> dropped;
        {
            const std::lock_guard lock(m_mutex);
            m_ending = true;
            dropped.swap(m_items);
        }
        m_changed.notify_all();
        for (std::thread& thread : m_threads) {
            assert(std::this_thread::get_id() != thread.get_id());
            thread.join();
        }
    }

    void async(Work work) override
    {
        {
            const std::lock_guard lock(m_mutex);
            if (m_ending) {
                return;
            }
            m_items.push_back(std::move(work));
            startThreadIfNeeded();
        }
        m_changed.notify_one();
    }

private:
    /// Needs the lock.
    void startThreadIfNeeded()
    {
        if (m_items.size() <= m_idleThreads || m_threads.size() >= largestSize()) {
            return;
        }
        m_threads.emplace_back([this] {
            prepareThread("worker", m_quality);
            runWork();
        });
    }

    static std::size_t largestSize() { return std::clamp(std::thread::hardware_concurrency(), 2U, 4U); }

    void runWork()
    {
        std::unique_lock lock(m_mutex);
        while (true) {
            ++m_idleThreads;
            m_changed.wait(lock, [this] { return m_ending || !m_items.empty(); });
            --m_idleThreads;
            if (m_ending) {
                return;
            }
            Work work = std::move(m_items.front());
            m_items.pop_front();
            lock.unlock();
            work();
            work = nullptr;
            lock.lock();
        }
    }

    const QualityOfService m_quality;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Work> m_items;
    std::size_t m_idleThreads = 0;
    bool m_ending = false;
    std::vector<std::thread> m_threads;
};

ThreadDispatchQueues::ThreadDispatchQueues()
    : m_utilityQueue(std::make_unique<ThreadPool>(QualityOfService::utility)),
      m_userInitiatedQueue(std::make_unique<ThreadPool>(QualityOfService::userInitiated))
{
}

ThreadDispatchQueues::~ThreadDispatchQueues() = default;

std::unique_ptr<SerialQueue> ThreadDispatchQueues::makeSerialQueue(const std::string& label,
                                                                   QualityOfService quality)
{
    return std::make_unique<ThreadSerialQueue>(label, quality);
}

ConcurrentQueue& ThreadDispatchQueues::globalQueue(QualityOfService quality)
{
    return quality == QualityOfService::utility ? *m_utilityQueue : *m_userInitiatedQueue;
}

} // namespace glimmerwick
