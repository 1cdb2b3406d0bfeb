#include "Platform/Qt/QtMainQueue.h"

#include "Contract/EventLoop.h"
#include "Fakes/FakeTime.h"
#include "Platform/Linux/PollMainQueue.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;

class FakeSubject {
public:
    MainQueue& queue() { return m_time; }
    bool runUntil(const std::function<bool()>& condition)
    {
        return eventually(condition, [this] { m_time.advance(1ms); });
    }

private:
    fakes::FakeTime m_time;
};

class QtSubject {
public:
    MainQueue& queue() { return m_queue; }
    bool runUntil(const std::function<bool()>& condition) { return handleEventsUntil(condition); }

private:
    QtMainQueue m_queue;
};

class PollSubject {
public:
    MainQueue& queue() { return m_queue; }
    bool runUntil(const std::function<bool()>& condition)
    {
        return eventually(condition, [this] {
            pollfd descriptor{m_queue.descriptor(), POLLIN, 0};
            ::poll(&descriptor, 1, m_queue.timeUntilDue());
            m_queue.runDueWork();
        });
    }

private:
    PollMainQueue m_queue;
};

template <typename Subject> class MainQueueContract : public ::testing::Test {
protected:
    std::vector<int> record;
    Subject subject;
    MainQueue& queue = subject.queue();

    bool runUntilRecordHolds(std::size_t count)
    {
        return subject.runUntil([this, count] { return record.size() >= count; });
    }
};

using Subjects = ::testing::Types<FakeSubject, QtSubject, PollSubject>;
TYPED_TEST_SUITE(MainQueueContract, Subjects);

TYPED_TEST(MainQueueContract, workRunsLaterAndInOrder)
{
    for (int index = 1; index <= 3; ++index) {
        this->queue.async([this, index] { this->record.push_back(index); });
    }
    EXPECT_TRUE(this->record.empty());

    ASSERT_TRUE(this->runUntilRecordHolds(3));
    EXPECT_EQ(this->record, (std::vector<int>{1, 2, 3}));
}

TYPED_TEST(MainQueueContract, workThatWorkSubmitsRunsAfterIt)
{
    this->queue.async([this] {
        this->queue.async([this] { this->record.push_back(3); });
        this->record.push_back(1);
    });
    this->queue.async([this] { this->record.push_back(2); });

    ASSERT_TRUE(this->runUntilRecordHolds(3));
    EXPECT_EQ(this->record, (std::vector<int>{1, 2, 3}));
}

TYPED_TEST(MainQueueContract, workWithoutDelayKeepsItsPlaceAmongTheRest)
{
    this->queue.async([this] { this->record.push_back(1); });
    this->queue.asyncAfter(0ns, [this] { this->record.push_back(2); }).release();
    this->queue.async([this] { this->record.push_back(3); });

    ASSERT_TRUE(this->runUntilRecordHolds(3));
    EXPECT_EQ(this->record, (std::vector<int>{1, 2, 3}));
}

TYPED_TEST(MainQueueContract, delayedWorkRunsOnceInTheOrderOfItsDueTime)
{
    const Registration third = this->queue.asyncAfter(90ms, [this] { this->record.push_back(3); });
    const Registration second = this->queue.asyncAfter(30ms, [this] { this->record.push_back(2); });
    const Registration first = this->queue.asyncAfter(1ms, [this] { this->record.push_back(1); });

    ASSERT_TRUE(this->runUntilRecordHolds(3));
    EXPECT_EQ(this->record, (std::vector<int>{1, 2, 3}));
}

TYPED_TEST(MainQueueContract, destroyingTheHandleCancels)
{
    for (const auto delay : {0ms, 5ms}) {
        const Registration cancelled = this->queue.asyncAfter(delay, [this] { this->record.push_back(1); });
    }
    const Registration kept = this->queue.asyncAfter(20ms, [this] { this->record.push_back(2); });

    ASSERT_TRUE(this->runUntilRecordHolds(1));
    EXPECT_EQ(this->record, std::vector<int>{2});
}

TYPED_TEST(MainQueueContract, releasedWorkRunsRegardless)
{
    this->queue.asyncAfter(5ms, [this] { this->record.push_back(1); }).release();

    EXPECT_TRUE(this->runUntilRecordHolds(1));
}

TYPED_TEST(MainQueueContract, workMayDestroyItsOwnHandle)
{
    Registration handle;
    handle = this->queue.asyncAfter(1ms, [this, &handle, kept = std::string(100, 'x')] {
        handle.reset();
        this->record.push_back(static_cast<int>(kept.size()));
    });

    ASSERT_TRUE(this->runUntilRecordHolds(1));
    EXPECT_EQ(this->record, std::vector<int>{100});
}

TYPED_TEST(MainQueueContract, aTimerRepeatsUntilItsWorkEndsIt)
{
    Registration timer;
    timer = this->queue.every(2ms, [this, &timer, kept = std::string(100, 'x')] {
        this->record.push_back(static_cast<int>(kept.size()));
        if (this->record.size() == 3) {
            timer.reset();
            this->record.back() = static_cast<int>(kept.size()) + 1;
        }
    });
    ASSERT_TRUE(this->runUntilRecordHolds(3));

    bool later = false;
    this->queue.asyncAfter(20ms, [&later] { later = true; }).release();
    ASSERT_TRUE(this->subject.runUntil([&later] { return later; }));

    EXPECT_EQ(this->record, (std::vector<int>{100, 100, 101}));
}

TYPED_TEST(MainQueueContract, whatCancelledWorkHeldIsGivenUpAtOnce)
{
    const auto held = std::make_shared<int>(0);
    Registration once = this->queue.asyncAfter(1h, [held] {});
    Registration always = this->queue.every(1h, [held] {});

    once.reset();
    always.reset();

    EXPECT_EQ(held.use_count(), 1);
}

TEST(QtMainQueueTests, workFromOtherThreadsRunsOnTheMainThreadInTheirOrder)
{
    QtMainQueue queue;
    std::vector<int> record;
    bool isElsewhere = false;
    constexpr int count = 1000;

    std::thread thread([&] {
        for (int index = 0; index < count; ++index) {
            queue.async([&, index, main = QCoreApplication::instance()->thread()] {
                isElsewhere = isElsewhere || QThread::currentThread() != main;
                record.push_back(index);
            });
        }
    });
    thread.join();

    ASSERT_TRUE(handleEventsUntil([&] { return record.size() == count; }));
    EXPECT_FALSE(isElsewhere);
    EXPECT_TRUE(std::is_sorted(record.begin(), record.end()));
}

TEST(QtMainQueueTests, workNeverRunsInsideOtherWorkThatHandlesEvents)
{
    QtMainQueue queue;
    std::vector<std::string> record;
    queue.async([&] {
        record.emplace_back("begin");
        queue.async([&] { record.emplace_back("inner"); });
        queue.asyncAfter(1ms, [&] { record.emplace_back("timer"); }).release();
        QEventLoop nested;
        QTimer::singleShot(30ms, &nested, &QEventLoop::quit);
        nested.exec();
        record.emplace_back("end");
    });

    ASSERT_TRUE(handleEventsUntil([&] { return record.size() == 4; }));
    EXPECT_EQ(record, (std::vector<std::string>{"begin", "end", "inner", "timer"}));
}

TEST(QtMainQueueTests, aMainThreadThatWasHeldUpRunsARepeatingTimerOnceForAllItMissed)
{
    QtMainQueue queue;
    int ticks = 0;
    int ticksAtRelease = -1;
    const Registration timer = queue.every(1ms, [&] { ++ticks; });
    queue.async([&] {
        QEventLoop nested;
        QTimer::singleShot(50ms, &nested, &QEventLoop::quit);
        nested.exec();
        // The ticks of the nested loop wait as one; this comes right after them.
        queue.async([&] { ticksAtRelease = ticks; });
    });

    ASSERT_TRUE(handleEventsUntil([&] { return ticksAtRelease >= 0; }));
    EXPECT_EQ(ticksAtRelease, 1);
}

TEST(QtMainQueueTests, destroyingTheQueueDropsWhatWaits)
{
    const auto held = std::make_shared<int>(0);
    bool ran = false;
    Registration once;
    Registration always;
    {
        QtMainQueue queue;
        queue.async([&ran, held] { ran = true; });
        once = queue.asyncAfter(1ms, [&ran, held] { ran = true; });
        always = queue.every(1ms, [&ran, held] { ran = true; });
    }
    once.reset();
    always.reset();
    bool later = false;
    QTimer::singleShot(20ms, [&later] { later = true; });

    ASSERT_TRUE(handleEventsUntil([&] { return later; }));
    EXPECT_FALSE(ran);
    EXPECT_EQ(held.use_count(), 1);
}

TEST(PollMainQueueTests, workFromOtherThreadsWakesWhoPolls)
{
    PollMainQueue queue;
    std::thread::id ranOn;
    EXPECT_EQ(queue.timeUntilDue(), -1);
    std::thread thread([&] { queue.async([&] { ranOn = std::this_thread::get_id(); }); });

    // Without a time limit: it is the work that ends the waiting.
    pollfd descriptor{queue.descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&descriptor, 1, -1), 1);
    queue.runDueWork();
    thread.join();

    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_EQ(::poll(&descriptor, 1, 0), 0);
}

TEST(PollMainQueueTests, workThatWorkSubmitsIsLeftForTheNextTime)
{
    PollMainQueue queue;
    std::vector<int> record;
    queue.async([&] {
        record.push_back(1);
        queue.async([&] { record.push_back(2); });
    });

    queue.runDueWork();
    EXPECT_EQ(record, std::vector<int>{1});
    pollfd descriptor{queue.descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&descriptor, 1, 0), 1);
    queue.runDueWork();
    EXPECT_EQ(record, (std::vector<int>{1, 2}));
}

TEST(PollMainQueueTests, destroyingTheQueueDropsWhatWaits)
{
    const auto held = std::make_shared<int>(0);
    Registration once;
    Registration always;
    {
        PollMainQueue queue;
        queue.async([held] {});
        queue.asyncAfter(0ns, [held] {}).release();
        once = queue.asyncAfter(1ms, [held] {});
        always = queue.every(1ms, [held] {});
    }

    EXPECT_EQ(held.use_count(), 1);
    once.reset();
    always.reset();
}

} // namespace
} // namespace glimmerwick::contract
