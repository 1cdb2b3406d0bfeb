#include "Managers/AsyncSemaphore.h"

#include "Fakes/FakeTime.h"
#include "Platform/Task.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

/// Never goes on: its task is destroyed while it waits.
struct Forever {
    bool await_ready() const { return false; }
    void await_suspend(std::coroutine_handle<>) const { }
    void await_resume() const { }
};

class AsyncSemaphoreTests : public testing::Test {
protected:
    /// Stays in the section until its task is destroyed.
    Task<int> stay(std::string name)
    {
        const auto permit = co_await semaphore->acquire();
        entered.push_back(name);
        co_await Forever();
        co_return 0;
    }

    void begin(const std::string& name)
    {
        tasks.emplace(name, stay(name));
        tasks.at(name).start();
    }

    void end(const std::string& name) { tasks.erase(name); }

    fakes::FakeTime time;
    std::unique_ptr<AsyncSemaphore> semaphore = std::make_unique<AsyncSemaphore>(time, 2);
    std::vector<std::string> entered;
    std::map<std::string, Task<int>> tasks;
};

using Names = std::vector<std::string>;

TEST_F(AsyncSemaphoreTests, LetsAsManyInAtOnceAsItHasPermits)
{
    begin("a");
    begin("b");
    begin("c");
    time.runUntilIdle();

    EXPECT_EQ(entered, (Names{"a", "b"}));
}

TEST_F(AsyncSemaphoreTests, LetsTheOthersInInTheirOrderFromTheMainQueue)
{
    for (const char* name : {"a", "b", "c", "d", "e"}) {
        begin(name);
    }

    end("b");
    EXPECT_EQ(entered, (Names{"a", "b"}));
    time.runUntilIdle();
    EXPECT_EQ(entered, (Names{"a", "b", "c"}));

    end("a");
    end("c");
    time.runUntilIdle();
    EXPECT_EQ(entered, (Names{"a", "b", "c", "d", "e"}));
}

TEST_F(AsyncSemaphoreTests, LetsNobodyOvertakeTheOneWhoseTurnItIs)
{
    begin("a");
    begin("b");
    begin("c");

    end("a");
    begin("d");
    time.runUntilIdle();

    EXPECT_EQ(entered, (Names{"a", "b", "c"}));
}

TEST_F(AsyncSemaphoreTests, ForgetsOneThatGaveUpWaiting)
{
    begin("a");
    begin("b");
    begin("c");
    begin("d");

    end("c");
    end("a");
    time.runUntilIdle();

    EXPECT_EQ(entered, (Names{"a", "b", "d"}));
}

TEST_F(AsyncSemaphoreTests, PassesOnTheTurnOfOneThatGivesUpJustThen)
{
    begin("a");
    begin("b");
    begin("c");
    begin("d");

    end("a");
    end("c");
    time.runUntilIdle();

    EXPECT_EQ(entered, (Names{"a", "b", "d"}));
}

TEST_F(AsyncSemaphoreTests, IsAsFreeAsAtFirstWhenAllHaveLeft)
{
    begin("a");
    begin("b");
    begin("c");
    tasks.clear();
    time.runUntilIdle();
    entered.clear();

    begin("d");
    begin("e");

    EXPECT_EQ(entered, (Names{"d", "e"}));
}

TEST_F(AsyncSemaphoreTests, MayEndBeforeThoseInsideAndThoseWaiting)
{
    begin("a");
    begin("b");
    begin("c");

    semaphore.reset();
    end("a");
    time.runUntilIdle();

    EXPECT_EQ(entered, (Names{"a", "b", "c"}));
}

} // namespace
} // namespace glimmerwick
