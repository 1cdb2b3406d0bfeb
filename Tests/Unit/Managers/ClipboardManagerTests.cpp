#include "Managers/ClipboardManager.h"

#include "Fakes/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class ClipboardManagerTests : public testing::Test {
protected:
    ClipboardManagerTests()
    {
        fakes.pasteboard.calls = &calls;
        observer = fakes.notificationCenter.addObserver(
            "ClipboardManager.emojiCopied", [this](const Notification& notification) {
                const Emoji* emoji = notification.value<Emoji>("emoji");
                ASSERT_NE(emoji, nullptr);
                EXPECT_EQ(notification.object, &manager);
                EXPECT_EQ(notification.userInfo->size(), 1u);
                EXPECT_FALSE(fakes.log.lines.empty()) << "posted after the log line";
                copied.push_back(emoji->codepoint);
            });
    }

    const Emoji wave{"1f44b", "👋", "waving hand", {"hello"}, "people", true};
    fakes::FakePlatform fakes;
    fakes::CallLog calls;
    ClipboardManager manager{fakes.pasteboard, fakes.notificationCenter, fakes.log};
    std::vector<std::string> copied;
    Registration observer;
};

TEST_F(ClipboardManagerTests, ReplacesTheClipboardByTheTextAndTheConcealedMarker)
{
    fakes.pasteboard.contents = {{"public.utf8-plain-text", "old"}, {"image/png", "picture"}};

    EXPECT_TRUE(manager.copyToClipboard("👋🏿", wave));

    EXPECT_THAT(fakes.pasteboard.contents,
                ElementsAre(Pair("org.nspasteboard.ConcealedType", "glimmerwick"),
                            Pair("public.utf8-plain-text", "👋🏿")));
    EXPECT_THAT(calls,
                ElementsAre("clearContents", "setString '👋🏿' public.utf8-plain-text",
                            "setData 'glimmerwick' org.nspasteboard.ConcealedType"));
}

TEST_F(ClipboardManagerTests, LogsTheEmojisOwnTextAndAnnouncesTheCopy)
{
    manager.copyToClipboard("👋🏿", wave);

    EXPECT_THAT(fakes.log.lines,
                ElementsAre("ClipboardManager: Copied emoji 'waving hand' (👋) to clipboard"));
    EXPECT_THAT(copied, ElementsAre("1f44b"));
}

TEST_F(ClipboardManagerTests, WithoutAnEmojiLogsTheTextAndAnnouncesNothing)
{
    EXPECT_TRUE(manager.copyToClipboard("plain", std::nullopt));

    EXPECT_THAT(fakes.log.lines, ElementsAre("ClipboardManager: Copied 'plain' to clipboard"));
    EXPECT_THAT(copied, IsEmpty());
    EXPECT_THAT(calls,
                ElementsAre("clearContents", "setString 'plain' public.utf8-plain-text",
                            "setData 'glimmerwick' org.nspasteboard.ConcealedType"));
}

TEST_F(ClipboardManagerTests, ARefusedTextFailsAnnouncesNothingAndStillWritesTheMarker)
{
    fakes.pasteboard.refusals = 1;

    EXPECT_FALSE(manager.copyToClipboard("👋", wave));

    EXPECT_THAT(fakes.log.lines, ElementsAre("ClipboardManager: Failed to copy to clipboard"));
    EXPECT_THAT(copied, IsEmpty());
    EXPECT_THAT(fakes.pasteboard.contents,
                ElementsAre(Pair("org.nspasteboard.ConcealedType", "glimmerwick")));
}

TEST_F(ClipboardManagerTests, ARefusedMarkerIsNotNoticed)
{
    fakes.pasteboard.refusesData = true;

    EXPECT_TRUE(manager.copyToClipboard("👋", wave));

    EXPECT_THAT(fakes.log.lines,
                ElementsAre("ClipboardManager: Copied emoji 'waving hand' (👋) to clipboard"));
    EXPECT_THAT(copied, ElementsAre("1f44b"));
    EXPECT_THAT(fakes.pasteboard.contents, ElementsAre(Pair("public.utf8-plain-text", "👋")));
}

TEST_F(ClipboardManagerTests, TheFormerContentsAreNotRestored)
{
    fakes.pasteboard.contents = {{"public.utf8-plain-text", "old"}};

    manager.copyToClipboard("👋", wave);
    fakes.time.advance(std::chrono::hours(1));

    EXPECT_EQ(fakes.pasteboard.contents["public.utf8-plain-text"], "👋");
}

TEST_F(ClipboardManagerTests, SharedIsOneInstanceOnTheInstalledPlatform)
{
    const InstalledPlatform installed(fakes.platform);

    ClipboardManager::shared().copyToClipboard("plain", std::nullopt);

    EXPECT_EQ(&ClipboardManager::shared(), &ClipboardManager::shared());
    EXPECT_EQ(fakes.pasteboard.contents["public.utf8-plain-text"], "plain");
}

TEST(ClipboardManagerNameTests, TheNotificationsNameIsKnownToOthers)
{
    EXPECT_EQ(ClipboardManager::emojiCopiedNotification, "ClipboardManager.emojiCopied");
}

} // namespace
} // namespace glimmerwick
