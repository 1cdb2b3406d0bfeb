#include "Platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

class NotificationCenterTests : public testing::Test {
protected:
    Registration record(const std::string& name, const std::string& mark, const void* object = nullptr)
    {
        return center->addObserver(
            name, [this, mark](const Notification&) { calls.push_back(mark); }, object);
    }

    std::unique_ptr<NotificationCenter> center = std::make_unique<NotificationCenter>();
    std::vector<std::string> calls;
};

using Calls = std::vector<std::string>;

TEST_F(NotificationCenterTests, CallsTheObserversOfANameInTheOrderOfRegistration)
{
    const auto first = record("a", "first");
    const auto other = record("b", "other");
    const auto second = record("a", "second");

    center->post({"a", nullptr, std::nullopt});

    EXPECT_EQ(calls, (Calls{"first", "second"}));
}

TEST_F(NotificationCenterTests, DeliversBeforePostReturnsWithSenderAndUserInfo)
{
    const int sender = 0;
    std::optional<Notification> received;
    const auto observer =
        center->addObserver("a", [&](const Notification& notification) { received = notification; });

    center->post({"a", &sender, {{{"key", std::string("value")}}}});

    ASSERT_TRUE(received);
    EXPECT_EQ(received->name, "a");
    EXPECT_EQ(received->object, &sender);
    ASSERT_TRUE(received->value<std::string>("key"));
    EXPECT_EQ(*received->value<std::string>("key"), "value");
}

TEST_F(NotificationCenterTests, HearsOneSenderAloneWhenAskedTo)
{
    const int sender = 0;
    const int stranger = 0;
    const auto observer = record("a", "sender", &sender);
    const auto all = record("a", "all");

    center->post({"a", &stranger, std::nullopt});
    center->post({"a", nullptr, std::nullopt});
    center->post({"a", &sender, std::nullopt});

    EXPECT_EQ(calls, (Calls{"all", "all", "sender", "all"}));
}

TEST_F(NotificationCenterTests, ForgetsAnObserverWhoseHandleIsGone)
{
    auto observer = record("a", "gone");
    observer.reset();

    center->post({"a", nullptr, std::nullopt});

    EXPECT_TRUE(calls.empty());
}

TEST_F(NotificationCenterTests, KeepsAnObserverWhoseHandleIsReleased)
{
    record("a", "kept").release();

    center->post({"a", nullptr, std::nullopt});

    EXPECT_EQ(calls, Calls{"kept"});
}

TEST_F(NotificationCenterTests, DoesNotCallAnObserverRemovedWhileItDelivers)
{
    Registration second;
    const auto first = center->addObserver("a", [&](const Notification&) {
        calls.push_back("first");
        second.reset();
    });
    second = record("a", "second");
    const auto third = record("a", "third");

    center->post({"a", nullptr, std::nullopt});

    EXPECT_EQ(calls, (Calls{"first", "third"}));
}

TEST_F(NotificationCenterTests, LetsAnObserverRemoveItself)
{
    Registration self;
    const auto witness = std::make_shared<int>(0);
    self = center->addObserver("a", [&, witness](const Notification&) {
        self.reset();
        calls.push_back(witness.use_count() > 1 ? "alive" : "dead");
    });

    center->post({"a", nullptr, std::nullopt});
    center->post({"a", nullptr, std::nullopt});

    EXPECT_EQ(calls, Calls{"alive"});
    EXPECT_EQ(witness.use_count(), 1);
}

TEST_F(NotificationCenterTests, CallsAnObserverAddedWhileItDeliversFromTheNextTimeOn)
{
    Registration added;
    const auto first = center->addObserver("a", [&](const Notification&) {
        calls.push_back("first");
        if (!added) {
            added = record("a", "added");
        }
    });

    center->post({"a", nullptr, std::nullopt});
    center->post({"a", nullptr, std::nullopt});

    EXPECT_EQ(calls, (Calls{"first", "first", "added"}));
}

TEST_F(NotificationCenterTests, DeliversWhatAnObserverPostsAtOnce)
{
    const auto outer = center->addObserver("a", [&](const Notification&) {
        calls.push_back("before");
        center->post({"b", nullptr, std::nullopt});
        calls.push_back("after");
    });
    const auto inner = record("b", "inner");

    center->post({"a", nullptr, std::nullopt});

    EXPECT_EQ(calls, (Calls{"before", "inner", "after"}));
}

TEST_F(NotificationCenterTests, MayGoBeforeTheHandles)
{
    auto observer = record("a", "a");

    center.reset();
    observer.reset();

    EXPECT_TRUE(calls.empty());
}

TEST_F(NotificationCenterTests, MayBeDestroyedByAnObserver)
{
    const auto first = center->addObserver("a", [&](const Notification&) { center.reset(); });
    const auto second = record("a", "second");

    center->post({"a", nullptr, std::nullopt});

    EXPECT_EQ(center, nullptr);
}

TEST(Notification, GivesAValueOfExactlyTheTypeAskedFor)
{
    const Notification notification{"a", nullptr, {{{"number", 7}}}};

    ASSERT_TRUE(notification.value<int>("number"));
    EXPECT_EQ(*notification.value<int>("number"), 7);
    EXPECT_EQ(notification.value<long>("number"), nullptr);
    EXPECT_EQ(notification.value<int>("Number"), nullptr);
    EXPECT_EQ((Notification{"a", nullptr, std::nullopt}).value<int>("number"), nullptr);
}

} // namespace
} // namespace glimmerwick
