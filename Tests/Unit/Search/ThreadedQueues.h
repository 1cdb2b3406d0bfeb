#pragma once

#include "Platform/DispatchQueues.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace glimmerwick::fakes {

/// A main queue whose main thread is the one that calls `runUntil`. No delays, no timers.
class ThreadedMainQueue : public MainQueue {
public:
    void async(std::function<void()> work) override
    {
        const std::lock_guard lock(m_mutex);
        m_work.push_back(std::move(work));
        m_added.notify_one();
    }
    Registration asyncAfter(std::chrono::nanoseconds, std::function<void()>) override { std::abort(); }
    Registration every(std::chrono::nanoseconds, std::function<void()>) override { std::abort(); }

    /// False when the condition still does not hold after a generous while.
    bool runUntil(const std::function<bool()>& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            std::unique_lock lock(m_mutex);
            if (!m_added.wait_until(lock, deadline, [this] { return !m_work.empty(); })) {
                return false;
            }
            const auto work = std::move(m_work.front());
            m_work.pop_front();
            lock.unlock();
            work();
        }
        return true;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_added;
    std::deque<std::function<void()>> m_work;
};

/// Every piece of work on a thread of its own, at once. Delays are cut to nothing.
class ThreadedQueues : public DispatchQueues {
public:
    std::unique_ptr<SerialQueue> makeSerialQueue(const std::string&, QualityOfService) override
    {
        return std::make_unique<Serial>();
    }
    ConcurrentQueue& globalQueue(QualityOfService) override { return m_concurrent; }

private:
    class Concurrent : public ConcurrentQueue {
    public:
        void async(std::function<void()> work) override { m_threads.emplace_back(std::move(work)); }
        ~Concurrent() override
        {
            for (std::thread& thread : m_threads) {
                thread.join();
            }
        }

    private:
        std::vector<std::thread> m_threads;
    };

    class Serial : public SerialQueue {
    public:
        ~Serial() override
        {
            {
                const std::lock_guard lock(m_mutex);
                m_ends = true;
                m_added.notify_one();
            }
            m_thread.join();
        }
        Registration asyncAfter(std::chrono::nanoseconds, std::function<void()> work) override
        {
            auto cancelled = std::make_shared<std::atomic<bool>>(false);
            const std::lock_guard lock(m_mutex);
            m_work.push_back([cancelled, work = std::move(work)] {
                if (!*cancelled) {
                    work();
                }
            });
            m_added.notify_one();
            return Registration([cancelled] { *cancelled = true; });
        }

    private:
        void run()
        {
            while (true) {
                std::unique_lock lock(m_mutex);
                m_added.wait(lock, [this] { return m_ends || !m_work.empty(); });
                if (m_ends) {
                    return;
                }
                const auto work = std::move(m_work.front());
                m_work.pop_front();
                lock.unlock();
                work();
            }
        }

        std::mutex m_mutex;
        std::condition_variable m_added;
        std::deque<std::function<void()>> m_work;
        bool m_ends = false;
        std::thread m_thread{[this] { run(); }};
    };

    Concurrent m_concurrent;
};

/// Keeps the lines that any thread prints.
class ThreadedLog : public Log {
public:
    std::vector<std::string> lines()
    {
        const std::lock_guard lock(m_mutex);
        return m_lines;
    }

protected:
    void write(std::string_view line) override
    {
        const std::lock_guard lock(m_mutex);
        m_lines.emplace_back(line);
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

} // namespace glimmerwick::fakes
