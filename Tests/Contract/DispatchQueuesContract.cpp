#include "Platform/Linux/DispatchQueues.h"

#include "Contract/Eventually.h"
#include "Fakes/FakeTime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;

class FakeQueues {
public:
    DispatchQueues& queues() { return m_time; }
    bool runUntil(const std::function<bool()>& condition)
    {
        return eventually(condition, [this] { m_time.advance(1ms); });
    }

private:
    fakes::FakeTime m_time;
};

class RealQueues {
public:
    DispatchQueues& queues() { return m_queues; }
    bool runUntil(const std::function<bool()>& condition) { return eventually(condition); }

private:
    ThreadDispatchQueues m_queues;
};

/// What ran, in its order, on whatever thread.
class Record {
public:
    void add(int entry)
    {
        const std::lock_guard lock(m_mutex);
        m_entries.push_back(entry);
    }
    std::vector<int> entries() const
    {
        const std::lock_guard lock(m_mutex);
        return m_entries;
    }
    bool holds(std::size_t count) const { return entries().size() >= count; }

private:
    mutable std::mutex m_mutex;
    std::vector<int> m_entries;
};

template <typename Subject> class DispatchQueuesContract : public ::testing::Test {
protected:
    Record record;
    Subject subject;
    std::unique_ptr<SerialQueue> queue =
        subject.queues().makeSerialQueue("com.glimmerwick.test", QualityOfService::userInitiated);
};

using Subjects = ::testing::Types<FakeQueues, RealQueues>;
TYPED_TEST_SUITE(DispatchQueuesContract, Subjects);

TYPED_TEST(DispatchQueuesContract, serialWorkRunsInTheOrderOfSubmission)
{
    constexpr int count = 200;

    for (int index = 0; index < count; ++index) {
        this->queue->asyncAfter(0ns, [this, index] { this->record.add(index); }).release();
    }

    ASSERT_TRUE(this->subject.runUntil([this] { return this->record.holds(count); }));
    for (int index = 0; index < count; ++index) {
        EXPECT_EQ(this->record.entries()[static_cast<std::size_t>(index)], index);
    }
}

TYPED_TEST(DispatchQueuesContract, delayedWorkRunsInTheOrderOfItsDueTime)
{
    this->queue->asyncAfter(120ms, [this] { this->record.add(3); }).release();
    this->queue->asyncAfter(60ms, [this] { this->record.add(2); }).release();
    this->queue->asyncAfter(0ms, [this] { this->record.add(1); }).release();

    ASSERT_TRUE(this->subject.runUntil([this] { return this->record.holds(3); }));
    EXPECT_EQ(this->record.entries(), (std::vector<int>{1, 2, 3}));
}

TYPED_TEST(DispatchQueuesContract, destroyingTheHandleCancelsWorkThatHasNotStarted)
{
    {
        const Registration cancelled = this->queue->asyncAfter(10ms, [this] { this->record.add(1); });
    }
    const Registration kept = this->queue->asyncAfter(30ms, [this] { this->record.add(2); });

    ASSERT_TRUE(this->subject.runUntil([this] { return this->record.holds(1); }));
    EXPECT_EQ(this->record.entries(), (std::vector<int>{2}));
}

TYPED_TEST(DispatchQueuesContract, aHandleMayOutliveItsWorkAndItsQueue)
{
    Registration done = this->queue->asyncAfter(0ns, [this] { this->record.add(1); });
    Registration waiting = this->queue->asyncAfter(1h, [this] { this->record.add(2); });
    ASSERT_TRUE(this->subject.runUntil([this] { return this->record.holds(1); }));

    this->queue.reset();
    done.reset();
    waiting.reset();

    EXPECT_EQ(this->record.entries(), (std::vector<int>{1}));
}

TYPED_TEST(DispatchQueuesContract, destroyingTheQueueDropsWhatHasNotStarted)
{
    this->queue->asyncAfter(1h, [this] { this->record.add(1); }).release();

    this->queue.reset();

    EXPECT_TRUE(this->record.entries().empty());
}

TYPED_TEST(DispatchQueuesContract, workMaySubmitMoreWork)
{
    this->queue
        ->asyncAfter(0ns, [this] { this->queue->asyncAfter(0ns, [this] { this->record.add(1); }).release(); })
        .release();

    EXPECT_TRUE(this->subject.runUntil([this] { return this->record.holds(1); }));
}

TYPED_TEST(DispatchQueuesContract, theGlobalQueueRunsEveryPieceOfWork)
{
    constexpr int count = 500;
    ConcurrentQueue& global = this->subject.queues().globalQueue(QualityOfService::userInitiated);

    for (int index = 0; index < count; ++index) {
        global.async([this, index] { this->record.add(index); });
    }

    EXPECT_TRUE(this->subject.runUntil([this] { return this->record.holds(count); }));
}

TEST(ThreadDispatchQueuesTests, serialWorkRunsOnOneThreadThatCarriesTheEndOfTheLabel)
{
    ThreadDispatchQueues queues;
    const auto queue = queues.makeSerialQueue("com.glimmerwick.search", QualityOfService::userInitiated);
    const auto describeThread = [&queue] {
        std::promise<std::pair<std::thread::id, std::string>> promise;
        queue
            ->asyncAfter(0ns,
                         [&promise] {
                             char name[16] = {};
                             pthread_getname_np(pthread_self(), name, sizeof name);
                             promise.set_value({std::this_thread::get_id(), name});
                         })
            .release();
        return promise.get_future().get();
    };

    const auto first = describeThread();
    const auto second = describeThread();

    EXPECT_EQ(first, second);
    EXPECT_NE(first.first, std::this_thread::get_id());
    EXPECT_EQ(first.second, "mmerwick.search");
}

TEST(ThreadDispatchQueuesTests, destroyingASerialQueueWaitsForTheWorkThatRuns)
{
    ThreadDispatchQueues queues;
    std::atomic<bool> started = false;
    std::atomic<bool> finished = false;
    auto queue = queues.makeSerialQueue("test", QualityOfService::utility);
    queue
        ->asyncAfter(0ns,
                     [&] {
                         started = true;
                         std::this_thread::sleep_for(50ms);
                         finished = true;
                     })
        .release();
    ASSERT_TRUE(eventually([&] { return started.load(); }));

    queue.reset();

    EXPECT_TRUE(finished);
}

TEST(ThreadDispatchQueuesTests, destroyingAHandleDoesNotWaitForItsRunningWork)
{
    ThreadDispatchQueues queues;
    std::promise<void> started;
    std::promise<void> release;
    const auto queue = queues.makeSerialQueue("test", QualityOfService::utility);
    Registration handle = queue->asyncAfter(0ns, [&] {
        started.set_value();
        release.get_future().wait();
    });
    started.get_future().wait();

    // Would never return if it waited: the work goes on only afterwards.
    handle.reset();
    release.set_value();
}

TEST(ThreadDispatchQueuesTests, workForTheGlobalQueueRunsSideBySide)
{
    ThreadDispatchQueues queues;
    ConcurrentQueue& global = queues.globalQueue(QualityOfService::utility);
    std::promise<void> fromSecond;
    std::atomic<bool> firstFinished = false;

    // The first waits for the second, so that they must overlap to end.
    global.async([&] {
        fromSecond.get_future().wait();
        firstFinished = true;
    });
    global.async([&] { fromSecond.set_value(); });

    EXPECT_TRUE(eventually([&] { return firstFinished.load(); }));
}

TEST(ThreadDispatchQueuesTests, destroyingTheQueuesWaitsForConcurrentWorkThatRunsAndDropsTheRest)
{
    constexpr int count = 64;
    std::atomic<int> started = 0;
    std::atomic<int> finished = 0;
    {
        ThreadDispatchQueues queues;
        ConcurrentQueue& global = queues.globalQueue(QualityOfService::userInitiated);
        for (int index = 0; index < count; ++index) {
            global.async([&] {
                ++started;
                std::this_thread::sleep_for(20ms);
                ++finished;
            });
        }
        ASSERT_TRUE(eventually([&] { return started > 0; }));
    }

    EXPECT_EQ(started, finished);
    EXPECT_LT(started, count);
}

TEST(ThreadDispatchQueuesTests, whatDroppedWorkHoldsMayUseTheQueueWhenItIsDestroyed)
{
    struct Submitter {
        SerialQueue* queue;
        explicit Submitter(SerialQueue* itsQueue) : queue(itsQueue) { }
        ~Submitter()
        {
            queue->asyncAfter(0ns, [] {}).release();
        }
    };
    ThreadDispatchQueues queues;
    const auto queue = queues.makeSerialQueue("test", QualityOfService::utility);

    {
        const auto held = std::make_shared<Submitter>(queue.get());
        const Registration cancelled = queue->asyncAfter(1h, [held] {});
    }

    std::promise<void> stillRuns;
    queue->asyncAfter(0ns, [&] { stillRuns.set_value(); }).release();
    EXPECT_EQ(stillRuns.get_future().wait_for(patience), std::future_status::ready);
}

TEST(ThreadDispatchQueuesTests, submittingAndCancellingFromManyThreadsIsSafe)
{
    ThreadDispatchQueues queues;
    const auto queue = queues.makeSerialQueue("test", QualityOfService::userInitiated);
    std::atomic<int> ran = 0;
    constexpr int threadCount = 4;
    constexpr int perThread = 200;

    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&] {
            for (int index = 0; index < perThread; ++index) {
                Registration handle = queue->asyncAfter(std::chrono::microseconds(index), [&] { ++ran; });
                if (index % 2 == 0) {
                    handle.release();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_TRUE(eventually([&] { return ran >= threadCount * perThread / 2; }));
}

} // namespace
} // namespace glimmerwick::contract
