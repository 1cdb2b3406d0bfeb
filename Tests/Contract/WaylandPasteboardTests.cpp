#include "Platform/Wayland/WaylandPasteboard.h"

#include "Contract/Eventually.h"
#include "Contract/PasteboardContract.h"
#include "Contract/WaylandClients.h"
#include "Fakes/FakeServices.h"
#include "Platform/MainQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string hint = "x-kde-passwordManagerHint";
const std::string text = "text/plain;charset=utf-8";

/// A main queue whose work waits until the test lets it run, from whatever thread it comes.
class HeldQueue : public MainQueue {
public:
    void async(std::function<void()> work) override
    {
        const std::lock_guard lock(m_mutex);
        m_work.push_back(std::move(work));
    }
    Registration asyncAfter(std::chrono::nanoseconds, std::function<void()>) override { return {}; }
    Registration every(std::chrono::nanoseconds, std::function<void()>) override { return {}; }

    void run()
    {
        std::vector<std::function<void()>> work;
        {
            const std::lock_guard lock(m_mutex);
            work = std::exchange(m_work, {});
        }
        for (const auto& piece : work) {
            piece();
        }
    }

private:
    std::mutex m_mutex;
    std::vector<std::function<void()>> m_work;
};

struct WaylandSubject {
    WaylandConnection connection{{}};
    HeldQueue mainQueue;
    fakes::FakeUserNotice userNotice;
    std::optional<std::string> toolkitText;
    WaylandPasteboard pasteboard{connection, mainQueue, userNotice, [this] { return toolkitText; }};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Wayland, PasteboardContract, WaylandSubject);

class WaylandPasteboardTest : public ::testing::Test {
protected:
    void put(std::string_view bytes)
    {
        pasteboard.clearContents();
        ASSERT_TRUE(pasteboard.setString(bytes, pasteboardType::string));
    }

    std::optional<std::string> held() { return pasteboard.string(pasteboardType::string); }

    /// As typing does: the user's text is read, and the emoji is on the clipboard when the keys are to go
    /// down.
    std::optional<std::string> beginPick(PasteSelections selections = PasteSelections::clipboard)
    {
        auto saved = held();
        put("😀");
        EXPECT_TRUE(pasteboard.pasteWillBegin(selections));
        return saved;
    }

    bool noticeComes()
    {
        return eventually([&] {
            subject.mainQueue.run();
            return !subject.userNotice.posted.empty();
        });
    }

    WaylandSubject subject;
    WaylandPasteboard& pasteboard = subject.pasteboard;
    SelectionPeer peer;
};

TEST_F(WaylandPasteboardTest, otherProgramsSeeACopyUnderEveryUsualNameAndWithBothMarks)
{
    put("é 😀");
    pasteboard.setData("glimmerwick", pasteboardType::concealed);

    for (const std::string type :
         {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain", "TEXT", "STRING"}) {
        EXPECT_EQ(peer.read(type), "é 😀") << type;
    }
    EXPECT_EQ(peer.read("org.nspasteboard.ConcealedType"), "glimmerwick");
    EXPECT_EQ(peer.read(hint), "secret");
    EXPECT_EQ(peer.read("image/png"), std::nullopt);
}

TEST_F(WaylandPasteboardTest, theClipboardToolReadsWhatIsCopied)
{
    put("é 😀");
    pasteboard.setData("glimmerwick", pasteboardType::concealed);

    EXPECT_EQ(outputOf("wl-paste --no-newline"), "é 😀");
}

TEST_F(WaylandPasteboardTest, readsWhatTheClipboardToolCopies)
{
    const ForeignProgram tool("wl-copy --foreground 'Grüße 😀'");

    EXPECT_TRUE(eventually([&] { return held() == "Grüße 😀"; }));
}

TEST_F(WaylandPasteboardTest, anUnmarkedTextIsShownInTheEndAndNotAtOnce)
{
    // On a slow machine the time for which it is kept back may be over before the first look.
    EXPECT_TRUE(eventually([&] {
        peer.offer({{text, "theirs"}});
        put("unmarked");
        const bool isKeptBack = peer.read() == "theirs";
        EXPECT_TRUE(eventually([&] { return peer.read() == "unmarked"; }));
        return isKeptBack;
    }));
    EXPECT_FALSE(peer.sees(hint));
}

TEST_F(WaylandPasteboardTest, clearingAloneLeavesTheClipboardEmptyForEverybody)
{
    peer.offer({{text, "theirs"}});

    pasteboard.clearContents();

    EXPECT_EQ(held(), std::nullopt);
    EXPECT_TRUE(eventually([&] { return !peer.sees(text); }));
    EXPECT_TRUE(pasteboard.setString("still mine", pasteboardType::string));
}

TEST_F(WaylandPasteboardTest, aMarkedCopyChangesTheClipboardOnce)
{
    const int before = peer.changes();

    put("😀");
    pasteboard.setData("glimmerwick", pasteboardType::concealed);

    EXPECT_EQ(peer.read(), "😀");
    EXPECT_EQ(peer.changes(), before + 1);
}

TEST_F(WaylandPasteboardTest, readsTextUnderWhateverNameItIsOffered)
{
    const auto read = [&](const std::string& type, const std::string& bytes) {
        peer.offer({{type, bytes}});
        return held();
    };

    EXPECT_EQ(read("text/plain;charset=utf-8", "Grüße"), "Grüße");
    EXPECT_EQ(read("UTF8_STRING", "Grüße"), "Grüße");
    EXPECT_EQ(read("text/plain", "Grüße"), "Grüße");
    EXPECT_EQ(read("text/plain", "Gr\xfc\xdf"), "Grüß");
    EXPECT_EQ(read("STRING", "Gr\xfc\xdf"), "Grüß");
    EXPECT_EQ(read("STRING", "Grüße"), "Grüße");
    EXPECT_EQ(read("UTF8_STRING", "Gr\xfc"), "Gr\xfc");
    EXPECT_EQ(read("UTF8_STRING", ""), "");
    EXPECT_EQ(read("image/png", "\x89PNG"), std::nullopt);
    EXPECT_EQ(pasteboard.string("image/png"), "\x89PNG");
}

TEST_F(WaylandPasteboardTest, asksForTheBestNameAlone)
{
    peer.offer({{"STRING", "?"}, {"UTF8_STRING", "best"}, {"text/plain", "good"}});

    EXPECT_EQ(held(), "best");
    EXPECT_THAT(peer.askedTypes(), ElementsAre("UTF8_STRING"));
}

TEST_F(WaylandPasteboardTest, largeTextsGoBothWays)
{
    std::string large;
    while (large.size() < 3'000'000) {
        large += "😀 " + std::to_string(large.size());
    }
    peer.offer({{text, large}});
    EXPECT_TRUE(held() == large);

    large += "mine";
    put(large);
    pasteboard.setData("glimmerwick", pasteboardType::concealed);
    EXPECT_TRUE(peer.read() == large);
}

TEST_F(WaylandPasteboardTest, takesTheLargestTextItAllowsAndNoLargerOne)
{
    std::string largest(64 * 1024 * 1024, 'x');
    peer.offer({{text, largest}});
    EXPECT_TRUE(held() == largest);

    largest += 'x';
    peer.offer({{text, largest}});
    EXPECT_EQ(held(), std::nullopt);
}

TEST_F(WaylandPasteboardTest, givesUpOnAnOwnerThatDoesNotAnswer)
{
    peer.offer({{text, "never comes"}}, WaylandSelection::clipboard, SelectionPeer::Manner::silent);
    EXPECT_EQ(held(), std::nullopt);

    peer.offer({{text, "never comes"}}, WaylandSelection::clipboard, SelectionPeer::Manner::stalling);
    EXPECT_EQ(held(), std::nullopt);
    EXPECT_THAT(peer.askedTypes(), SizeIs(2));

    put("still works");
    SelectionPeer reader;
    EXPECT_TRUE(eventually([&] { return reader.sees("UTF8_STRING") && reader.read() == "still works"; }));
}

TEST_F(WaylandPasteboardTest, aReaderThatTakesNothingDisturbsNobody)
{
    const std::string large(2'000'000, 'x');
    put(large);
    pasteboard.setData("glimmerwick", pasteboardType::concealed);
    SelectionPeer stopped;
    const int stoppedReader = stopped.beginReading();
    close(stopped.beginReading());

    EXPECT_TRUE(peer.read() == large);

    // What it began with stays what it gets.
    put("later");
    EXPECT_TRUE(eventually([&] { return peer.read() == "later"; }));
    EXPECT_TRUE(readToEnd(stoppedReader) == large);
}

TEST_F(WaylandPasteboardTest, readersThatTakeNothingAreNotTooManyAtOnce)
{
    constexpr int most = 64;
    const std::string large(2'000'000, 'x');
    put(large);
    pasteboard.setData("glimmerwick", pasteboardType::concealed);
    SelectionPeer stopped;
    std::vector<int> readers;
    for (int reader = 0; reader < most; ++reader) {
        readers.push_back(stopped.beginReading());
    }

    EXPECT_EQ(peer.read(), "");

    for (const int reader : readers) {
        EXPECT_TRUE(readToEnd(reader) == large);
    }
    EXPECT_TRUE(eventually([&] { return peer.read() == large; }));
}

TEST_F(WaylandPasteboardTest, writesNothingOnceAnotherProgramOwnsTheClipboard)
{
    put("mine");
    pasteboard.setData("glimmerwick", pasteboardType::concealed);
    peer.offer({{text, "theirs"}});

    EXPECT_FALSE(pasteboard.setString("mine again", pasteboardType::string));
    EXPECT_FALSE(pasteboard.setData("glimmerwick", pasteboardType::concealed));
    EXPECT_FALSE(pasteboard.pasteWillBegin(PasteSelections::clipboard));
    EXPECT_EQ(held(), "theirs");

    put("taken back");
    EXPECT_EQ(held(), "taken back");
    EXPECT_TRUE(eventually([&] { return peer.read() == "taken back"; }));
}

TEST_F(WaylandPasteboardTest, whoTakesTheClipboardBeforeItsTextIsShownKeepsIt)
{
    // On a slow machine the text may be shown before that.
    EXPECT_TRUE(eventually([&] {
        peer.offer({{text, "earlier"}});
        put("mine");
        const bool wasShown = peer.read() == "mine";
        peer.offer({{text, "theirs"}});
        EXPECT_FALSE(pasteboard.setString("mine again", pasteboardType::string));
        EXPECT_EQ(held(), "theirs");
        return !wasShown;
    }));
    const auto afterwards = std::chrono::steady_clock::now() + std::chrono::milliseconds(800);
    EXPECT_TRUE(eventually([&] {
        EXPECT_EQ(peer.read(), "theirs");
        return HasFailure() || std::chrono::steady_clock::now() > afterwards;
    }));
}

TEST_F(WaylandPasteboardTest, writesNothingBeforeItHasTakenTheClipboard)
{
    peer.offer({{text, "theirs"}});

    EXPECT_FALSE(pasteboard.setString("mine", pasteboardType::string));
    EXPECT_EQ(held(), "theirs");
}

TEST_F(WaylandPasteboardTest, theToolkitsOwnTextIsTakenFromTheToolkit)
{
    peer.offer({{text, "cannot be sent now"}}, WaylandSelection::clipboard, SelectionPeer::Manner::silent);
    subject.toolkitText = "from the search field";

    EXPECT_EQ(held(), "from the search field");
    EXPECT_EQ(pasteboard.string(pasteboardType::concealed), std::nullopt);
    EXPECT_THAT(peer.askedTypes(), IsEmpty());

    // The toolkit may not have heard of it yet that the clipboard is no longer its own.
    put("mine");
    EXPECT_EQ(held(), "mine");
}

TEST_F(WaylandPasteboardTest, aPasteShowsTheEmojiAtOnceAndAsksHistoriesNotToRecordIt)
{
    peer.offer({{text, "the user's text"}});

    EXPECT_EQ(beginPick(), "the user's text");

    EXPECT_EQ(peer.read(hint), "secret");
    EXPECT_EQ(peer.read(), "😀");
    EXPECT_EQ(pasteboard.string(pasteboardType::concealed), std::nullopt);
}

TEST_F(WaylandPasteboardTest, theUsersTextIsShownAgainOnlyWhenTheEmojiHasBeenTaken)
{
    // Slower than the text is put back, and faster than the paste ends without it.
    constexpr std::chrono::milliseconds slow{300};
    // On a slow machine the paste may be over before the application asks.
    EXPECT_TRUE(eventually([&] {
        peer.offer({{text, "the user's text"}});
        const auto saved = beginPick();
        put(*saved);
        EXPECT_EQ(held(), "the user's text");
        const auto end = std::chrono::steady_clock::now() + slow;
        eventually([end] { return std::chrono::steady_clock::now() > end; });

        const bool isInTime = peer.read() == "😀";

        EXPECT_TRUE(eventually([&] { return peer.read() == "the user's text"; }));
        EXPECT_FALSE(peer.sees(hint));
        return isInTime;
    }));
    EXPECT_TRUE(subject.userNotice.posted.empty());
}

TEST_F(WaylandPasteboardTest, aPasteEndsSoonAfterItHasBeenTaken)
{
    // Well before it would end by itself, unless the machine is slow.
    constexpr std::chrono::milliseconds soon{1500};
    EXPECT_TRUE(eventually([&] {
        peer.offer({{text, "the user's text"}});
        const auto saved = beginPick();
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(peer.read(), "😀");
        put(*saved);
        // Not by reading it again, which would make the paste last.
        EXPECT_TRUE(eventually([&] { return !peer.sees(hint); }));
        const bool isSoon = std::chrono::steady_clock::now() - begin < soon;
        EXPECT_EQ(peer.read(), "the user's text");
        return isSoon;
    }));
}

TEST_F(WaylandPasteboardTest, aPasteThatNobodyTakesEndsAndTheUserIsTold)
{
    peer.offer({{text, "the user's text"}});
    const auto saved = beginPick();
    put(*saved);
    // What histories look at before they record anything is no paste.
    EXPECT_EQ(peer.read(hint), "secret");

    // Looking at what is offered takes nothing.
    EXPECT_TRUE(eventually([&] { return !peer.sees(hint); }));

    EXPECT_EQ(peer.read(), "the user's text");
    EXPECT_TRUE(noticeComes());
    EXPECT_THAT(subject.userNotice.posted, SizeIs(1));
}

TEST_F(WaylandPasteboardTest, aPasteThatIsCancelledIsOverWithoutANotice)
{
    peer.offer({{text, "the user's text"}});
    const auto saved = beginPick();

    pasteboard.pasteWasCancelled();
    put(*saved);

    EXPECT_EQ(peer.read(), "the user's text");
    subject.mainQueue.run();
    EXPECT_THAT(subject.userNotice.posted, IsEmpty());
}

TEST_F(WaylandPasteboardTest, theEmojiStaysWhenThereIsNothingToPutBack)
{
    peer.offer({{"image/png", "\x89PNG"}});
    EXPECT_EQ(beginPick(), std::nullopt);

    EXPECT_EQ(peer.read(), "😀");

    EXPECT_EQ(held(), "😀");
    pasteboard.pasteWasCancelled();
    EXPECT_EQ(peer.read(), "😀");
}

TEST_F(WaylandPasteboardTest, aSecondPasteBeginsWhenTheFirstHasBeenTaken)
{
    // Long enough for the second to be wanted, and shorter than the first waits to be taken.
    constexpr std::chrono::milliseconds slow{200};
    // On a slow machine the first may have been given up by then.
    EXPECT_TRUE(eventually([&] {
        put("😀");
        EXPECT_TRUE(pasteboard.pasteWillBegin(PasteSelections::clipboard));
        put("🚀");
        std::optional<std::string> taken;
        std::jthread application([&] {
            const auto end = std::chrono::steady_clock::now() + slow;
            eventually([end] { return std::chrono::steady_clock::now() > end; });
            taken = peer.read();
        });

        EXPECT_TRUE(pasteboard.pasteWillBegin(PasteSelections::clipboard));

        application.join();
        EXPECT_EQ(peer.read(), "🚀");
        return taken == "😀";
    }));
}

TEST_F(WaylandPasteboardTest, aSecondPasteIsNeverShownWithoutItsHint)
{
    peer.offer({{text, "the user's text"}});
    const auto saved = beginPick();
    put(*saved);
    put("🚀");
    const int before = peer.changes();

    // Nobody takes the first, which ends meanwhile.
    EXPECT_TRUE(pasteboard.pasteWillBegin(PasteSelections::clipboard));

    EXPECT_EQ(peer.read(hint), "secret");
    EXPECT_EQ(peer.read(), "🚀");
    EXPECT_EQ(peer.changes(), before + 1);
}

TEST_F(WaylandPasteboardTest, whoCopiesDuringAPasteKeepsTheClipboard)
{
    peer.offer({{text, "the user's text"}});
    const auto saved = beginPick();
    put(*saved);

    SelectionPeer other;
    other.offer({{text, "copied meanwhile"}});

    EXPECT_FALSE(pasteboard.setString("too late", pasteboardType::string));
    EXPECT_TRUE(noticeComes());
    EXPECT_EQ(peer.read(), "copied meanwhile");
}

TEST_F(WaylandPasteboardTest, theSelectedTextIsReplacedForAPasteAndOfferedAgainAfterIt)
{
    peer.offer({{text, "selected"}}, WaylandSelection::primary);
    peer.offer({{text, "the user's text"}});
    const auto saved = beginPick(PasteSelections::clipboardAndPrimary);
    put(*saved);

    EXPECT_EQ(peer.read(text, WaylandSelection::primary), "😀");

    EXPECT_TRUE(eventually([&] { return peer.read(text, WaylandSelection::primary) == "selected"; }));
    EXPECT_EQ(peer.read(), "the user's text");
}

TEST_F(WaylandPasteboardTest, aPasteOfTheClipboardLeavesTheSelectedTextAlone)
{
    peer.offer({{text, "selected"}}, WaylandSelection::primary);

    put("😀");
    pasteboard.pasteWillBegin(PasteSelections::clipboard);

    EXPECT_EQ(peer.read(text, WaylandSelection::primary), "selected");
}

TEST_F(WaylandPasteboardTest, aSecretIsStillOneWhenItIsPutBack)
{
    peer.offer({{text, "password"}, {hint, "secret"}});

    // What is read of it the second time is this program's own.
    for (int pick = 0; pick < 2; ++pick) {
        const auto saved = beginPick();
        ASSERT_EQ(saved, "password");
        EXPECT_EQ(peer.read(), "😀");
        put(*saved);

        ASSERT_TRUE(eventually([&] { return peer.read() == "password"; }));
        EXPECT_EQ(peer.read(hint), "secret");
        EXPECT_EQ(pasteboard.string(pasteboardType::concealed), std::nullopt);
    }
}

TEST_F(WaylandPasteboardTest, noOtherTextBecomesASecret)
{
    peer.offer({{text, "password"}, {hint, "secret"}});
    beginPick();
    EXPECT_EQ(peer.read(), "😀");
    put("something else");
    EXPECT_TRUE(eventually([&] { return peer.read() == "something else"; }));
    EXPECT_FALSE(peer.sees(hint));

    peer.offer({{text, "public"}, {hint, "nothing special"}});
    ASSERT_EQ(beginPick(), "public");
    EXPECT_EQ(peer.read(), "😀");
    put("public");
    EXPECT_TRUE(eventually([&] { return peer.read() == "public"; }));
    EXPECT_FALSE(peer.sees(hint));
}

} // namespace
} // namespace glimmerwick::contract
