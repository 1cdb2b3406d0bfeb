#include "Platform/HttpListeners.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using Answer = Result<HttpResponse, TransportError>;
using testing::ElementsAre;

class HttpListenersTests : public testing::Test {
protected:
    HttpListeners::Id addNamed(const std::string& name)
    {
        return listeners->add(
            [this, name](const Answer& answer) { told.push_back(name + answer.value().body); },
            [this, name](std::uint64_t received) { told.push_back(name + std::to_string(received)); });
    }

    static Answer answer(const std::string& body) { return HttpResponse{200, body}; }

    std::shared_ptr<HttpListeners> listeners = std::make_shared<HttpListeners>();
    std::vector<std::string> told;
};

TEST_F(HttpListenersTests, TellsEachItsOwnProgressAndAnswer)
{
    const HttpListeners::Id first = addNamed("first ");
    const HttpListeners::Id second = addNamed("second ");

    HttpListeners::tellProgress(listeners, second, 7);
    HttpListeners::finish(listeners, second, answer("body"));
    HttpListeners::finish(listeners, first, answer("other body"));

    EXPECT_THAT(told, ElementsAre("second 7", "second body", "first other body"));
}

TEST_F(HttpListenersTests, TellsNobodyAnythingAfterTheAnswer)
{
    const HttpListeners::Id id = addNamed("");
    HttpListeners::finish(listeners, id, answer("body"));

    HttpListeners::tellProgress(listeners, id, 7);
    HttpListeners::finish(listeners, id, answer("again"));

    EXPECT_THAT(told, ElementsAre("body"));
    EXPECT_EQ(listeners->remove(id), HttpListeners::Removal::wasAnswered);
}

TEST_F(HttpListenersTests, WhoeverIsRemovedHearsNothingMore)
{
    const HttpListeners::Id id = addNamed("");

    EXPECT_EQ(listeners->remove(id), HttpListeners::Removal::wasWaiting);
    HttpListeners::tellProgress(listeners, id, 7);
    HttpListeners::finish(listeners, id, answer("body"));

    EXPECT_TRUE(told.empty());
}

TEST_F(HttpListenersTests, NeverGivesANumberTwice)
{
    const HttpListeners::Id first = addNamed("");
    listeners->remove(first);

    EXPECT_GT(addNamed(""), first);
}

TEST_F(HttpListenersTests, TellsNobodyWhenTheClientIsGone)
{
    const HttpListeners::Id id = addNamed("");
    const std::weak_ptr<HttpListeners> gone = listeners;
    listeners.reset();

    HttpListeners::tellProgress(gone, id, 7);
    HttpListeners::finish(gone, id, answer("body"));

    EXPECT_TRUE(told.empty());
}

TEST_F(HttpListenersTests, ProgressMayCancelItsRequest)
{
    HttpListeners::Id id = 0;
    auto kept = std::make_shared<std::string>("kept");
    id = listeners->add([this](const Answer&) { told.emplace_back("answer"); },
                        [this, &id, kept](std::uint64_t) {
                            listeners->remove(id);
                            told.push_back(*kept);
                        });

    HttpListeners::tellProgress(listeners, id, 7);
    HttpListeners::finish(listeners, id, answer("body"));

    EXPECT_THAT(told, ElementsAre("kept"));
}

TEST_F(HttpListenersTests, AnAnswerMayStartAnotherRequest)
{
    HttpListeners::Id second = 0;
    const HttpListeners::Id first =
        listeners->add([this, &second](const Answer&) { second = addNamed("second "); }, nullptr);

    HttpListeners::tellProgress(listeners, first, 7);
    HttpListeners::finish(listeners, first, answer("body"));
    HttpListeners::finish(listeners, second, answer("body"));

    EXPECT_THAT(told, ElementsAre("second body"));
}

} // namespace
} // namespace glimmerwick
