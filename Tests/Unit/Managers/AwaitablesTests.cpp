#include "Managers/Awaitables.h"

#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"
#include "Platform/Task.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

Task<int> hop(MainQueue& mainQueue)
{
    co_await MainQueueHop(mainQueue);
    co_return 7;
}

Task<std::string> fetch(HttpClient& client)
{
    HttpRequest request;
    request.url = "https://host/a";
    const auto outcome = co_await HttpGet(client, std::move(request));
    co_return outcome ? outcome.value().body : outcome.error().description;
}

TEST(MainQueueHop, GoesOnFromTheMainQueueBehindEarlierWork)
{
    fakes::FakeTime time;
    std::vector<std::string> order;
    auto task = hop(time);

    time.async([&] { order.emplace_back("earlier"); });
    task.start([&](int) { order.emplace_back("task"); });
    time.async([&] { order.emplace_back("later"); });
    EXPECT_TRUE(order.empty());
    time.runUntilIdle();

    EXPECT_EQ(order, (std::vector<std::string>{"earlier", "task", "later"}));
}

TEST(MainQueueHop, OfADestroyedTaskNeverGoesOn)
{
    fakes::FakeTime time;
    bool completed = false;
    {
        auto task = hop(time);
        task.start([&](int) { completed = true; });
    }

    time.runUntilIdle();

    EXPECT_FALSE(completed);
}

TEST(HttpGet, GoesOnWithTheResponse)
{
    fakes::FakeTime time;
    fakes::FakeHttpClient client(time);
    std::optional<std::string> result;
    auto task = fetch(client);
    task.start([&](std::string body) { result = std::move(body); });

    client.answer(0, 200, "body");
    EXPECT_EQ(result, std::nullopt);
    time.runUntilIdle();

    EXPECT_EQ(client.exchanges[0]->request.url, "https://host/a");
    EXPECT_EQ(result, "body");
}

TEST(HttpGet, GoesOnWithATransportError)
{
    fakes::FakeTime time;
    fakes::FakeHttpClient client(time);
    std::optional<std::string> result;
    auto task = fetch(client);
    task.start([&](std::string body) { result = std::move(body); });

    client.answer(0, Failure{TransportError{"no route"}});
    time.runUntilIdle();

    EXPECT_EQ(result, "no route");
    EXPECT_FALSE(client.exchanges[0]->cancelled);
}

TEST(HttpGet, OfADestroyedTaskCancelsTheRequest)
{
    fakes::FakeTime time;
    fakes::FakeHttpClient client(time);
    bool completed = false;
    auto task = fetch(client);
    task.start([&](const std::string&) { completed = true; });
    client.answer(0, 200, "too late");

    task.cancel();
    time.runUntilIdle();

    EXPECT_TRUE(client.exchanges[0]->cancelled);
    EXPECT_FALSE(completed);
}

} // namespace
} // namespace glimmerwick
