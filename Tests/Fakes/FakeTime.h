#pragma once

#include "Platform/Clock.h"
#include "Platform/DispatchQueues.h"
#include "Platform/MainQueue.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick::fakes {

/// Virtual time and everything that runs by it: the main queue, the clock, serial and concurrent queues, all
/// on the calling thread and in a fixed order. Nothing runs until `advance` or `runUntilIdle` is called.
class FakeTime : public MainQueue, public Clock, public DispatchQueues {
public:
    // MainQueue
    void async(std::function<void()> work) override { enqueue(m_now, {}, std::move(work)); }
    Registration asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) override
    {
        mainQueueDelays.push_back(delay);
        return cancellable(enqueue(m_now + delay, {}, std::move(work)));
    }
    Registration every(std::chrono::nanoseconds interval, std::function<void()> work) override
    {
        ++timersStarted;
        return cancellable(enqueue(m_now + interval, interval, std::move(work)));
    }

    // Clock
    std::chrono::steady_clock::time_point now() override { return m_now; }
    void sleep(std::chrono::nanoseconds duration) override
    {
        sleeps.push_back(duration);
        if (onSleep) {
            onSleep(duration);
        }
        m_now += duration;
    }

    // DispatchQueues
    std::unique_ptr<SerialQueue> makeSerialQueue(const std::string& label, QualityOfService quality) override
    {
        serialQueuesMade.emplace_back(label, quality);
        return std::make_unique<FakeSerialQueue>(*this);
    }
    ConcurrentQueue& globalQueue(QualityOfService quality) override
    {
        globalQueuesAsked.push_back(quality);
        return m_concurrentQueue;
    }

    /// Runs what is due now, and what that makes due now, in order of time, then of submission.
    void runUntilIdle() { advance(std::chrono::nanoseconds(0)); }

    /// Moves time forward, running everything that falls due on the way at its own time.
    void advance(std::chrono::nanoseconds duration)
    {
        const auto end = m_now + duration;
        while (true) {
            const auto due = nextDue(end);
            if (due == m_items.end()) {
                break;
            }
            m_now = std::max(m_now, (*due)->time);
            const auto item = *due;
            m_items.erase(due);
            const auto work = item->work;
            if (item->interval.count() > 0) {
                item->time += item->interval;
                item->sequence = ++m_sequence;
                m_items.push_back(item);
            }
            work();
        }
        m_now = std::max(m_now, end);
    }

    /// What waits, timers included.
    std::size_t pendingCount() const
    {
        return static_cast<std::size_t>(
            std::count_if(m_items.begin(), m_items.end(), [](const auto& item) { return !item->cancelled; }));
    }

    std::vector<std::chrono::nanoseconds> sleeps;
    std::vector<std::chrono::nanoseconds> mainQueueDelays;
    std::vector<std::pair<std::string, QualityOfService>> serialQueuesMade;
    std::vector<QualityOfService> globalQueuesAsked;
    int timersStarted = 0;
    /// Called while the thread is "blocked", before time has moved.
    std::function<void(std::chrono::nanoseconds)> onSleep;

private:
    struct Item {
        std::chrono::steady_clock::time_point time;
        std::uint64_t sequence = 0;
        std::chrono::nanoseconds interval{0};
        std::function<void()> work;
        bool cancelled = false;
    };
    using Items = std::list<std::shared_ptr<Item>>;

    class FakeSerialQueue : public SerialQueue {
    public:
        explicit FakeSerialQueue(FakeTime& time) : m_time(time) { }
        ~FakeSerialQueue() override
        {
            for (const auto& weak : m_submitted) {
                if (const auto item = weak.lock()) {
                    m_time.cancel(item);
                }
            }
        }
        Registration asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) override
        {
            auto item = m_time.enqueue(m_time.m_now + delay, {}, std::move(work));
            m_submitted.push_back(item);
            return m_time.cancellable(std::move(item));
        }

    private:
        FakeTime& m_time;
        std::vector<std::weak_ptr<Item>> m_submitted;
    };

    class FakeConcurrentQueue : public ConcurrentQueue {
    public:
        explicit FakeConcurrentQueue(FakeTime& time) : m_time(time) { }
        void async(std::function<void()> work) override { m_time.enqueue(m_time.m_now, {}, std::move(work)); }

    private:
        FakeTime& m_time;
    };

    std::shared_ptr<Item> enqueue(std::chrono::steady_clock::time_point time,
                                  std::chrono::nanoseconds interval, std::function<void()> work)
    {
        auto item = std::make_shared<Item>();
        item->time = time;
        item->sequence = ++m_sequence;
        item->interval = interval;
        item->work = std::move(work);
        m_items.push_back(item);
        return item;
    }

    void cancel(const std::shared_ptr<Item>& item)
    {
        item->cancelled = true;
        m_items.remove(item);
    }

    Registration cancellable(std::shared_ptr<Item> item)
    {
        return Registration([this, weak = std::weak_ptr<Item>(item)] {
            if (const auto pending = weak.lock()) {
                cancel(pending);
            }
        });
    }

    Items::iterator nextDue(std::chrono::steady_clock::time_point end)
    {
        const auto next =
            std::min_element(m_items.begin(), m_items.end(), [](const auto& left, const auto& right) {
                return std::pair(left->time, left->sequence) < std::pair(right->time, right->sequence);
            });
        return next != m_items.end() && (*next)->time <= end ? next : m_items.end();
    }

    std::chrono::steady_clock::time_point m_now{std::chrono::hours(1)};
    std::uint64_t m_sequence = 0;
    Items m_items;
    FakeConcurrentQueue m_concurrentQueue{*this};
};

/// Wall time that a test sets.
class FakeFileClock : public FileClock {
public:
    std::chrono::system_clock::time_point now() override { return time; }

    std::chrono::system_clock::time_point time{std::chrono::sys_days{std::chrono::year{2026} / 11 / 21}};
};

} // namespace glimmerwick::fakes
