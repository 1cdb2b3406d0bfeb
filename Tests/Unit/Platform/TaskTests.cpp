#include "Platform/Task.h"

#include <gtest/gtest.h>

#include <coroutine>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

/// Suspends whoever awaits it until the test opens it.
class Gate {
public:
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) { m_waiting = handle; }
    void await_resume() const noexcept { }

    void open() { std::exchange(m_waiting, nullptr).resume(); }

private:
    std::coroutine_handle<> m_waiting;
};

Task<int> returnAtOnce(int value)
{
    co_return value;
}

Task<int> waitFor(Gate& gate, int value)
{
    co_await gate;
    co_return value;
}

Task<int> addTwo(Gate& gate)
{
    const int first = co_await returnAtOnce(40);
    const int second = co_await waitFor(gate, 2);
    co_return first + second;
}

Task<std::shared_ptr<int>> holdWhileWaiting(Gate& gate, std::shared_ptr<int> witness)
{
    co_await gate;
    co_return witness;
}

Task<std::shared_ptr<int>> awaitHolding(Gate& gate, std::shared_ptr<int> witness)
{
    auto held = co_await holdWhileWaiting(gate, witness);
    co_return held;
}

TEST(Task, RunsNothingUntilItIsStarted)
{
    bool ran = false;
    const auto run = [](bool& hasRun) -> Task<int> {
        hasRun = true;
        co_return 1;
    };

    auto task = run(ran);
    EXPECT_FALSE(ran);

    task.start();
    EXPECT_TRUE(ran);
}

TEST(Task, ThatNeverSuspendsCompletesInsideStart)
{
    std::optional<int> result;

    auto task = returnAtOnce(7);
    task.start([&](int value) { result = value; });

    EXPECT_EQ(result, 7);
}

TEST(Task, CompletesOnceWhenItsSequenceHasEnded)
{
    Gate gate;
    std::vector<int> results;
    auto task = waitFor(gate, 7);
    task.start([&](int value) { results.push_back(value); });
    EXPECT_TRUE(results.empty());

    gate.open();

    EXPECT_EQ(results, std::vector<int>{7});
}

TEST(Task, AwaitsOtherTasksInOrder)
{
    Gate gate;
    std::optional<int> result;
    auto task = addTwo(gate);
    task.start([&](int value) { result = value; });

    gate.open();

    EXPECT_EQ(result, 42);
}

TEST(Task, MovesAResultThatCannotBeCopied)
{
    const auto make = []() -> Task<std::unique_ptr<int>> { co_return std::make_unique<int>(5); };
    std::unique_ptr<int> result;

    auto task = make();
    task.start([&](std::unique_ptr<int> value) { result = std::move(value); });

    ASSERT_TRUE(result);
    EXPECT_EQ(*result, 5);
}

TEST(Task, DestroyedWhileItWaitsReleasesWhatItAndTheAwaitedTaskHold)
{
    Gate gate;
    const auto witness = std::make_shared<int>(0);
    bool completed = false;
    {
        auto task = awaitHolding(gate, witness);
        task.start([&](const std::shared_ptr<int>&) { completed = true; });
        EXPECT_GT(witness.use_count(), 1);
    }

    EXPECT_EQ(witness.use_count(), 1);
    EXPECT_FALSE(completed);
}

TEST(Task, DestroyedBeforeItStartsReleasesItsParameters)
{
    Gate gate;
    const auto witness = std::make_shared<int>(0);

    holdWhileWaiting(gate, witness).cancel();

    EXPECT_EQ(witness.use_count(), 1);
}

TEST(Task, MayBeDestroyedByItsOwnCompletion)
{
    Gate gate;
    std::optional<Task<int>> task = waitFor(gate, 7);
    int result = 0;
    task->start([&](int value) {
        task.reset();
        result = value;
    });

    gate.open();

    EXPECT_EQ(result, 7);
    EXPECT_FALSE(task);
}

TEST(Task, ReplacedByAnotherIsCancelled)
{
    Gate first;
    Gate second;
    std::vector<int> results;
    const auto record = [&](int value) { results.push_back(value); };
    auto task = waitFor(first, 1);
    task.start(record);

    task = waitFor(second, 2);
    task.start(record);
    second.open();

    EXPECT_EQ(results, std::vector<int>{2});
}

TEST(Task, ThatWasMovedFromIsEmpty)
{
    auto task = returnAtOnce(7);

    const auto moved = std::move(task);

    EXPECT_TRUE(moved);
    EXPECT_FALSE(task);
    EXPECT_FALSE(Task<int>());
}

} // namespace
} // namespace glimmerwick
