#include "Platform/X11/X11Pasteboard.h"

#include "Contract/EventLoop.h"
#include "Contract/PasteboardContract.h"
#include "Contract/SelectionClients.h"
#include "Fakes/FakeInput.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QWindow>
#include <qguiapplication_platform.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

using PasteSelections = X11SelectionService::PasteSelections;

std::uint32_t toolkitClient()
{
    const auto* toolkit = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return X11Connection(toolkit->connection()).client();
}

bool isHinted(const std::vector<std::string>& targets)
{
    return std::ranges::find(targets, "x-kde-passwordManagerHint") != targets.end();
}

/// The toolkit takes the clipboard as of the last event it has seen, which may be from before somebody else
/// took it. The window brings it a new one.
void copyInOwnField(const QString& text)
{
    QWindow window;
    window.create();
    X11Connection display;
    // The toolkit takes the clipboard at the time of the last event that it has seen. When that is too early
    // the server refuses, and the toolkit says all the same that it has the clipboard.
    const auto isTaken = [&display] {
        const auto owner = display.answer(xcb_get_selection_owner_reply,
                                          xcb_get_selection_owner(display, display.atom("CLIPBOARD")));
        return owner && owner->owner != XCB_WINDOW_NONE && display.clientOf(owner->owner) == toolkitClient();
    };
    int attempts = 0;
    EXPECT_TRUE(handleEventsUntil([&] {
        window.setTitle(QString::number(++attempts));
        QCoreApplication::processEvents();
        QGuiApplication::clipboard()->setText(text);
        return isTaken();
    }));
}

struct FakeSubject {
    fakes::FakePasteboard pasteboard;
};

struct X11Subject {
    X11Pasteboard pasteboard{toolkitClient()};
};

using Subjects = ::testing::Types<FakeSubject, X11Subject>;
INSTANTIATE_TYPED_TEST_SUITE_P(FakeAndX11, PasteboardContract, Subjects);

class X11PasteboardTest : public ::testing::Test {
protected:
    void putText(std::string_view text)
    {
        pasteboard.clearContents();
        ASSERT_TRUE(pasteboard.setString(text, pasteboardType::string));
    }

    std::optional<std::string> text() { return pasteboard.string(pasteboardType::string); }

    static std::optional<std::string> textSeenBy(Requestor& requestor,
                                                 const std::string& selection = "CLIPBOARD")
    {
        const auto answer = requestor.request(selection, "UTF8_STRING");
        return answer ? std::optional(answer->bytes) : std::nullopt;
    }

    void copyInAnotherProgram(const std::string& copied)
    {
        const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", copied}}});
        EXPECT_EQ(text(), copied);
    }

    /// Whether a clipboard history that asks at once, and waits long, is told by what happens then.
    bool hintIsLearntInTime(const std::function<void()>& hint)
    {
        // As long as threads were seen to wait for a busy processor.
        constexpr std::chrono::milliseconds delay{226};
        // A slow machine may take more than the time for which the request is kept waiting.
        return eventually([&] {
            putText("😀");
            requestor.beginAskingForTargets();
            const auto end = std::chrono::steady_clock::now() + delay;
            eventually([end] { return std::chrono::steady_clock::now() > end; });
            hint();
            return isHinted(requestor.targetsAnswered());
        });
    }

    X11Pasteboard pasteboard{toolkitClient()};
    Requestor requestor;
};

TEST_F(X11PasteboardTest, otherProgramsSeeTheTextUnderEveryUsualName)
{
    putText("é 😀");

    for (const std::string target : {"UTF8_STRING", "text/plain;charset=utf-8", "text/plain"}) {
        const auto answer = requestor.request("CLIPBOARD", target);
        ASSERT_TRUE(answer) << target;
        EXPECT_EQ(answer->bytes, "é 😀") << target;
        EXPECT_EQ(answer->type, target);
        EXPECT_EQ(answer->format, 8) << target;
    }
    const auto anyEncoding = requestor.request("CLIPBOARD", "TEXT");
    ASSERT_TRUE(anyEncoding);
    EXPECT_EQ(anyEncoding->bytes, "é 😀");
    EXPECT_EQ(anyEncoding->type, "UTF8_STRING");
}

TEST_F(X11PasteboardTest, programsThatKnowLatin1AloneGetWhatItCanExpress)
{
    putText("é 😀");

    const auto answer = requestor.request("CLIPBOARD", "STRING");

    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->type, "STRING");
    EXPECT_TRUE(answer->bytes.starts_with("\xe9 ?")) << answer->bytes;
}

TEST_F(X11PasteboardTest, listsWhatAnOrdinaryTextCanBeHadAs)
{
    putText("text");

    EXPECT_THAT(requestor.targets(),
                UnorderedElementsAre("TARGETS", "TIMESTAMP", "MULTIPLE", "UTF8_STRING", "STRING", "TEXT",
                                     "text/plain", "text/plain;charset=utf-8"));
}

TEST_F(X11PasteboardTest, aConcealedEntryCarriesTheMarkerAndTheHintOfLinuxHistories)
{
    putText("😀");
    pasteboard.setData("glimmerwick", pasteboardType::concealed);

    EXPECT_THAT(requestor.targets(),
                AllOf(Contains("org.nspasteboard.ConcealedType"), Contains("x-kde-passwordManagerHint"),
                      Contains("UTF8_STRING")));
    EXPECT_EQ(requestor.request("CLIPBOARD", "org.nspasteboard.ConcealedType")->bytes, "glimmerwick");
    EXPECT_EQ(requestor.request("CLIPBOARD", "x-kde-passwordManagerHint")->bytes, "secret");
}

TEST_F(X11PasteboardTest, refusesWhatItDoesNotHold)
{
    putText("text");

    EXPECT_FALSE(requestor.request("CLIPBOARD", "image/png"));
    EXPECT_FALSE(requestor.request("CLIPBOARD", "x-kde-passwordManagerHint"));
    EXPECT_FALSE(requestor.request("CLIPBOARD", "org.nspasteboard.ConcealedType"));

    pasteboard.clearContents();

    EXPECT_FALSE(requestor.request("CLIPBOARD", "UTF8_STRING"));
}

TEST_F(X11PasteboardTest, tellsSinceWhenItOwnsTheClipboard)
{
    putText("earlier");
    const auto earlier = requestor.request("CLIPBOARD", "TIMESTAMP");
    ASSERT_TRUE(earlier);
    EXPECT_EQ(earlier->type, "INTEGER");
    EXPECT_EQ(earlier->format, 32);
    const auto since = Requestor::numbers(*earlier).at(0);
    EXPECT_NE(since, static_cast<std::uint32_t>(XCB_CURRENT_TIME));

    EXPECT_TRUE(eventually([&] {
        putText("later");
        return Requestor::numbers(*requestor.request("CLIPBOARD", "TIMESTAMP")).at(0) > since;
    }));
}

TEST_F(X11PasteboardTest, answersSeveralTargetsAtOnceAndMarksTheOnesItRefuses)
{
    putText("é");

    const auto answers =
        requestor.requestMultiple({"UTF8_STRING", "image/png", "STRING", "MULTIPLE", "TIMESTAMP"});

    ASSERT_EQ(answers.size(), 5U);
    EXPECT_EQ(answers[0], "é");
    EXPECT_EQ(answers[1], std::nullopt);
    EXPECT_EQ(answers[2], "\xe9");
    EXPECT_EQ(answers[3], std::nullopt);
    ASSERT_TRUE(answers[4]);
    EXPECT_EQ(answers[4]->size(), sizeof(xcb_timestamp_t));
}

TEST_F(X11PasteboardTest, sendsLargeTextInPieces)
{
    const std::string large(5'000'001, 'x');
    putText(large);

    const auto answer = requestor.request("CLIPBOARD", "UTF8_STRING");

    ASSERT_TRUE(answer);
    EXPECT_GT(answer->pieceCount, 1);
    // What any server takes in one request, with room for its header.
    EXPECT_LE(answer->largestPiece, 262'000U);
    EXPECT_EQ(answer->type, "UTF8_STRING");
    EXPECT_TRUE(answer->bytes == large);
    EXPECT_EQ(requestor.requestMultiple({"STRING"}).at(0)->size(), large.size());
}

TEST_F(X11PasteboardTest, aReceiverThatVanishesOrStopsTakingDisturbsNobody)
{
    const std::string large(2'000'000, 'x');
    putText(large);
    Requestor stopped;
    ASSERT_TRUE(stopped.ask("CLIPBOARD", "UTF8_STRING"));
    {
        Requestor vanishing;
        ASSERT_TRUE(vanishing.ask("CLIPBOARD", "UTF8_STRING"));
    }

    EXPECT_TRUE(textSeenBy(requestor) == large);
}

TEST_F(X11PasteboardTest, aTransferUnderWayKeepsTheTextItBeganWith)
{
    const std::string large(2'000'000, 'x');
    putText(large);
    Requestor late;
    ASSERT_TRUE(late.ask("CLIPBOARD", "UTF8_STRING"));

    putText("short");

    EXPECT_EQ(textSeenBy(requestor), "short");
    EXPECT_EQ(text(), "short");
}

TEST_F(X11PasteboardTest, aReceiverThatAsksAgainGetsTheNewTextAlone)
{
    putText(std::string(2'000'000, 'x'));
    ASSERT_TRUE(requestor.ask("CLIPBOARD", "UTF8_STRING"));
    const std::string later(1'500'000, 'y');

    putText(later);

    EXPECT_TRUE(textSeenBy(requestor) == later);
}

TEST_F(X11PasteboardTest, aReceiverThatAsksAgainGetsTheNewTextAloneHoweverShort)
{
    putText(std::string(2'000'000, 'x'));
    ASSERT_TRUE(requestor.ask("CLIPBOARD", "UTF8_STRING"));

    putText("short");

    EXPECT_EQ(textSeenBy(requestor), "short");
    // Taking it is not asking for more of the earlier one.
    EXPECT_EQ(text(), "short");
    EXPECT_FALSE(requestor.hasAnswerLeft());
}

TEST_F(X11PasteboardTest, whoeverAsksInItsNameDoesNotKeepItFromHearingOfItsOwnWindow)
{
    putText(std::string(2'000'000, 'x'));
    const xcb_window_t window = requestor.ownerOf("CLIPBOARD");

    EXPECT_FALSE(requestor.isGivenTo(window, "CLIPBOARD", "UTF8_STRING"));

    // It asks the server for the time by its own window.
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "copied"}}});
    EXPECT_EQ(text(), "copied");
}

TEST_F(X11PasteboardTest, nobodyIsRefusedWhileOneTextReplacesAnother)
{
    constexpr int requests = 50;
    putText("earlier");
    // New contents are not told at once; wait until these are.
    ASSERT_EQ(textSeenBy(requestor), "earlier");
    std::atomic<bool> isReplacing = false;
    std::jthread replacing;

    const int refusals = requestor.refusalsWhileTheServerIsGrabbed("CLIPBOARD", "UTF8_STRING", requests, [&] {
        if (!replacing.joinable()) {
            replacing = std::jthread([&] {
                isReplacing = true;
                pasteboard.clearContents();
                pasteboard.setString("later", pasteboardType::string);
            });
        }
        return isReplacing.load();
    });
    replacing.join();

    EXPECT_EQ(refusals, 0);
    EXPECT_EQ(textSeenBy(requestor), "later");
}

TEST_F(X11PasteboardTest, keepsWhatItWasGivenWhileTheServerAnswersNobody)
{
    constexpr std::chrono::milliseconds longerThanTheTimeIsWaitedFor{1500};
    // Whatever is asked only once has been asked then.
    putText("earlier");
    Requestor busy;
    std::atomic<bool> isGrabbed = false;
    std::jthread grabbing([&] {
        busy.grabServer([&] {
            isGrabbed = true;
            const auto end = std::chrono::steady_clock::now() + longerThanTheTimeIsWaitedFor;
            eventually([end] { return std::chrono::steady_clock::now() > end; });
        });
    });
    ASSERT_TRUE(eventually([&] { return isGrabbed.load(); }));

    pasteboard.clearContents();

    EXPECT_TRUE(pasteboard.setString("kept", pasteboardType::string));
    EXPECT_EQ(textSeenBy(requestor), "kept");
}

TEST_F(X11PasteboardTest, lateNewsOfALossThatIsNoLongerTrueChangesNothing)
{
    putText("taken back");

    requestor.pretendLossOf("CLIPBOARD");

    EXPECT_EQ(textSeenBy(requestor), "taken back");
    EXPECT_EQ(text(), "taken back");
}

TEST_F(X11PasteboardTest, theToolkitReadsItWhileTheMainThreadWaits)
{
    putText("for the search field 😀");

    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("for the search field 😀"));
}

TEST_F(X11PasteboardTest, readsTextThatWasCopiedInThisProgramsOwnFields)
{
    putText("before");

    copyInOwnField(QStringLiteral("copied from the search field 😀"));

    EXPECT_EQ(text(), "copied from the search field 😀");
    EXPECT_FALSE(pasteboard.setString("too late", pasteboardType::string));
}

TEST_F(X11PasteboardTest, readsTextOfOtherPrograms)
{
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "Grüße 😀"}}});

    EXPECT_EQ(text(), "Grüße 😀");
}

TEST_F(X11PasteboardTest, fallsBackToWhatTheOtherProgramOffers)
{
    {
        const ForeignOwner modern("CLIPBOARD",
                                  {{"text/plain;charset=utf-8", {"text/plain;charset=utf-8", "Grüße"}}});
        EXPECT_EQ(text(), "Grüße");
    }
    const ForeignOwner old("CLIPBOARD", {{"STRING", {"STRING", "Gr\xfc\xdf"}}});

    EXPECT_EQ(text(), "Grüß");
    EXPECT_THAT(old.askedTargets(),
                ElementsAre("TARGETS", "UTF8_STRING", "text/plain;charset=utf-8", "text/plain", "STRING",
                            "x-kde-passwordManagerHint"));
}

TEST_F(X11PasteboardTest, readsTextWhateverItsOwnerCallsIt)
{
    const auto read = [&](const std::string& target, const std::string& type, const std::string& bytes) {
        const ForeignOwner owner("CLIPBOARD", {{target, {type, bytes}}}, ForeignOwner::Manner::listing);
        return text();
    };

    EXPECT_EQ(read("text/plain", "text/plain", "Grüße"), "Grüße");
    EXPECT_EQ(read("text/plain", "text/plain", "Gr\xfc\xdf"), "Grüß");
    EXPECT_EQ(read("text/plain", "STRING", "Gr\xfc\xdf"), "Grüß");
    EXPECT_EQ(read("UTF8_STRING", "UTF8_STRING", "Gr\xfc"), "Gr\xfc");
    EXPECT_EQ(read("TEXT", "UTF8_STRING", "Grüße"), "Grüße");
    EXPECT_EQ(read("TEXT", "STRING", "Gr\xfc\xdf"), "Grüß");
    EXPECT_EQ(read("TEXT", "COMPOUND_TEXT", "Gr\xfc\xdf"), "Grüß");
    EXPECT_EQ(read("TEXT", "COMPOUND_TEXT", "\x1b$)B\xc6\xfc"), std::nullopt);
    EXPECT_EQ(read("TEXT", "image/png", "\x89PNG"), std::nullopt);
}

TEST_F(X11PasteboardTest, anAnswerThatIsNoListOfTargetsIsNotTakenForOne)
{
    const ForeignOwner owner("CLIPBOARD",
                             {{"TARGETS", {"UTF8_STRING", "copied"}}, {"STRING", {"STRING", "copied"}}});

    EXPECT_EQ(text(), "copied");
}

TEST_F(X11PasteboardTest, anEmptyListOfTargetsIsNoneAtAll)
{
    const ForeignOwner owner("CLIPBOARD",
                             {{"TARGETS", {"ATOM", ""}}, {"UTF8_STRING", {"UTF8_STRING", "copied"}}});

    EXPECT_EQ(text(), "copied");
}

TEST_F(X11PasteboardTest, aReadIsTimedAsAWhole)
{
    // Each of the two answers alone would come in time.
    constexpr std::chrono::milliseconds perPiece{400};
    constexpr std::size_t size = 8 * 64 * 1024;
    const ForeignOwner owner("CLIPBOARD",
                             {{"TARGETS", {"STRING", std::string(size, '.')}},
                              {"UTF8_STRING", {"UTF8_STRING", std::string(size, 'x')}}},
                             ForeignOwner::Manner::inPieces, [&](const std::string&) {
                                 const auto end = std::chrono::steady_clock::now() + perPiece;
                                 eventually([end] { return std::chrono::steady_clock::now() > end; });
                             });

    EXPECT_EQ(text(), std::nullopt);
}

TEST_F(X11PasteboardTest, aClipboardWithoutTextReadsAsNothing)
{
    const ForeignOwner owner("CLIPBOARD", {{"image/png", {"image/png", "\x89PNG"}}});

    EXPECT_EQ(text(), std::nullopt);
    EXPECT_EQ(pasteboard.string("image/png"), "\x89PNG");
}

TEST_F(X11PasteboardTest, aPictureIsNoTextWhateverItsOwnerSays)
{
    const ForeignOwner owner("CLIPBOARD", {{"image/png", {"image/png", "\x89PNG"}}},
                             ForeignOwner::Manner::indiscriminate);

    EXPECT_EQ(text(), std::nullopt);
    EXPECT_THAT(owner.askedTargets(), ElementsAre("TARGETS"));
}

TEST_F(X11PasteboardTest, aClipboardThatNobodyOwnsReadsAsNothing)
{
    {
        const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "gone with its program"}}});
        ASSERT_EQ(text(), "gone with its program");
    }

    EXPECT_TRUE(eventually([&] { return text() == std::nullopt; }));
}

TEST_F(X11PasteboardTest, readsLargeTextThatComesInPieces)
{
    std::string large;
    while (large.size() < 3'000'000) {
        large += "😀 " + std::to_string(large.size());
    }
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", large}}},
                             ForeignOwner::Manner::inPieces);

    EXPECT_TRUE(text() == large);
}

TEST_F(X11PasteboardTest, takesTheLargestTextItAllowsAndNoLargerOne)
{
    X11Pasteboard other(0);
    std::string largest(64 * 1024 * 1024, 'x');
    other.clearContents();
    ASSERT_TRUE(other.setString(largest, pasteboardType::string));
    EXPECT_TRUE(text() == largest);

    largest += 'x';
    other.clearContents();
    ASSERT_TRUE(other.setString(largest, pasteboardType::string));
    EXPECT_EQ(text(), std::nullopt);
}

TEST_F(X11PasteboardTest, givesUpOnAnOwnerThatDoesNotAnswer)
{
    {
        const ForeignOwner silent("CLIPBOARD", {}, ForeignOwner::Manner::silent);
        EXPECT_EQ(text(), std::nullopt);
        EXPECT_THAT(silent.askedTargets(), ElementsAre("TARGETS"));
    }
    const ForeignOwner stalling("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "never comes"}}},
                                ForeignOwner::Manner::stalling);

    EXPECT_EQ(text(), std::nullopt);

    putText("still works");
    EXPECT_EQ(textSeenBy(requestor), "still works");
}

TEST_F(X11PasteboardTest, servesOthersWhileItWaitsForAnAnswer)
{
    const auto isServedMeanwhile = [&] {
        putText("emoji");
        pasteboard.pasteWillBegin(requestor.window(), PasteSelections::clipboardAndPrimary);
        const ForeignOwner silent("CLIPBOARD", {}, ForeignOwner::Manner::silent);
        std::atomic<bool> isWaiting = true;
        bool wasServed = false;
        std::jthread other([&] {
            eventually([&] { return !silent.askedTargets().empty(); });
            wasServed = textSeenBy(requestor, "PRIMARY") == "emoji" && isWaiting;
        });
        EXPECT_EQ(text(), std::nullopt);
        isWaiting = false;
        other.join();
        return wasServed;
    };

    // On a slow machine the wait may be over too soon.
    EXPECT_TRUE(eventually(isServedMeanwhile));
}

TEST_F(X11PasteboardTest, writesNothingOnceAnotherProgramOwnsTheClipboard)
{
    putText("mine");
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "theirs"}}});

    EXPECT_FALSE(pasteboard.setString("mine again", pasteboardType::string));
    EXPECT_FALSE(pasteboard.setData("glimmerwick", pasteboardType::concealed));
    EXPECT_EQ(text(), "theirs");

    putText("taken back");
    EXPECT_EQ(text(), "taken back");
    EXPECT_EQ(textSeenBy(requestor), "taken back");
}

TEST_F(X11PasteboardTest, writesNothingBeforeItHasTakenTheClipboard)
{
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "theirs"}}});

    EXPECT_FALSE(pasteboard.setString("mine", pasteboardType::string));
    EXPECT_EQ(text(), "theirs");
}

TEST_F(X11PasteboardTest, aPasteTargetGetsTheEmojiHoweverLateItAsks)
{
    copyInAnotherProgram("the user's text");
    Requestor target;
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);

    putText("the user's text");

    EXPECT_EQ(textSeenBy(requestor), "the user's text");
    EXPECT_EQ(text(), "the user's text");
    EXPECT_THAT(target.targets(), Contains("UTF8_STRING"));
    EXPECT_EQ(textSeenBy(target), "😀");
}

TEST_F(X11PasteboardTest, aPasteEndsSoonAfterItHasBeenTaken)
{
    // Well before it would end by itself, unless the machine is slow.
    constexpr std::chrono::milliseconds soon{1500};
    const auto ownedSince = [&] {
        return Requestor::numbers(*requestor.request("CLIPBOARD", "TIMESTAMP")).at(0);
    };
    Requestor target;
    EXPECT_TRUE(eventually([&] {
        putText("😀");
        pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
        const auto before = ownedSince();
        const auto begin = std::chrono::steady_clock::now();
        putText("the user's text");
        EXPECT_EQ(textSeenBy(target), "😀");
        // Not by taking it again, which would make the paste last.
        EXPECT_TRUE(eventually([&] { return ownedSince() != before; }));
        const bool isSoon = std::chrono::steady_clock::now() - begin < soon;
        EXPECT_EQ(textSeenBy(target), "the user's text");
        return isSoon;
    }));
}

TEST_F(X11PasteboardTest, aChangeDuringAPasteIsToldWhenThePasteIsOver)
{
    const auto ownedSince = [&] {
        return Requestor::numbers(*requestor.request("CLIPBOARD", "TIMESTAMP")).at(0);
    };
    copyInAnotherProgram("the user's text");
    Requestor target;
    putText("😀");
    const auto before = ownedSince();
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);

    putText("the user's text");

    EXPECT_EQ(ownedSince(), before);
    EXPECT_EQ(textSeenBy(requestor), "the user's text");
    EXPECT_EQ(textSeenBy(target), "😀");
    EXPECT_TRUE(eventually([&] { return ownedSince() != before; }));
    EXPECT_EQ(textSeenBy(requestor), "the user's text");
}

TEST_F(X11PasteboardTest, theNextPasteBeginsWithTellingOfItsText)
{
    const auto ownedSince = [&] {
        return Requestor::numbers(*requestor.request("CLIPBOARD", "TIMESTAMP")).at(0);
    };
    Requestor target;
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
    ASSERT_EQ(textSeenBy(target), "😀");
    const auto before = ownedSince();

    // Server time counts milliseconds, and a paste may begin in the same one as that before.
    EXPECT_TRUE(eventually([&] {
        putText("🚀");
        pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
        return ownedSince() != before;
    }));
    EXPECT_EQ(textSeenBy(target), "🚀");
}

TEST_F(X11PasteboardTest, aChangeDuringAPasteIsNotToldOnceAnotherProgramOwnsTheClipboard)
{
    Requestor target;
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
    putText("the user's text");

    const ForeignOwner other("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "copied meanwhile"}}});

    const auto afterwards = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
    EXPECT_TRUE(eventually([&] {
        EXPECT_EQ(textSeenBy(requestor), "copied meanwhile");
        return HasFailure() || std::chrono::steady_clock::now() > afterwards;
    }));
    EXPECT_EQ(text(), "copied meanwhile");
}

TEST_F(X11PasteboardTest, noPasteBeginsOnceAnotherProgramOwnsTheClipboard)
{
    putText("😀");
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "theirs"}}});

    EXPECT_FALSE(pasteboard.pasteWillBegin(requestor.window(), PasteSelections::clipboard));

    putText("😀");
    EXPECT_TRUE(pasteboard.pasteWillBegin(requestor.window(), PasteSelections::clipboard));
}

TEST_F(X11PasteboardTest, aPasteThatIsCancelledIsOver)
{
    Requestor target;
    const ForeignOwner selected("PRIMARY", {{"UTF8_STRING", {"UTF8_STRING", "selected"}}});
    copyInAnotherProgram("the user's text");
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboardAndPrimary);

    pasteboard.pasteWasCancelled();
    putText("the user's text");

    EXPECT_EQ(textSeenBy(target), "the user's text");
    EXPECT_EQ(textSeenBy(target, "PRIMARY"), "selected");
}

TEST_F(X11PasteboardTest, anApplicationThatIsBusyThroughTwoPastesGetsBoth)
{
    Requestor target;
    // On a slow machine the first may be over before it is taken again.
    EXPECT_TRUE(eventually([&] {
        putText("😀");
        pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
        putText("🚀");
        std::vector<std::optional<std::string>> taken;
        std::jthread busy([&] {
            eventually([&] { return textSeenBy(requestor) == "🚀" && isHinted(requestor.targets()); });
            taken = {textSeenBy(target), textSeenBy(target)};
        });

        EXPECT_TRUE(pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard));

        busy.join();
        EXPECT_EQ(textSeenBy(target), "🚀");
        // Applications ask more than once for one paste.
        return taken == std::vector<std::optional<std::string>>{"😀", "😀"};
    }));
}

TEST_F(X11PasteboardTest, aPasteThatNobodyTakesDelaysTheNextOneForAWhileOnly)
{
    Requestor target;
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
    putText("🚀");

    EXPECT_TRUE(pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard));

    EXPECT_EQ(textSeenBy(target), "🚀");
}

TEST_F(X11PasteboardTest, aPasteThatNobodyTakesEndsAsWell)
{
    Requestor target;
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
    putText("the user's text");

    // Asking what there is takes nothing, so only the time limit can end the paste.
    EXPECT_TRUE(eventually([&] { return !isHinted(target.targets()); }));

    EXPECT_EQ(textSeenBy(target), "the user's text");
}

TEST_F(X11PasteboardTest, onlyTheContentsThemselvesCountAsTaken)
{
    constexpr std::chrono::milliseconds longerThanAfterTaking{400};
    Requestor target;

    // On a slow machine the time limit may end the paste first.
    EXPECT_TRUE(eventually([&] {
        putText("😀");
        pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
        putText("the user's text");
        target.request("CLIPBOARD", "image/png");
        target.requestMultiple({"TARGETS", "image/png"});
        const auto end = std::chrono::steady_clock::now() + longerThanAfterTaking;
        eventually([end] { return std::chrono::steady_clock::now() > end; });
        return textSeenBy(target) == "😀";
    }));
}

TEST_F(X11PasteboardTest, aTargetThatGoesOnAskingMayTakeItTwice)
{
    constexpr std::chrono::milliseconds busy{600};
    Requestor target;

    // On a slow machine the time limit may end the paste first.
    EXPECT_TRUE(eventually([&] {
        putText("😀");
        pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
        putText("the user's text");
        EXPECT_EQ(textSeenBy(target), "😀");
        target.targets();
        const auto end = std::chrono::steady_clock::now() + busy;
        eventually([end] { return std::chrono::steady_clock::now() > end; });
        return textSeenBy(target) == "😀";
    }));
    EXPECT_TRUE(eventually([&] { return textSeenBy(target) == "the user's text"; }));
}

TEST_F(X11PasteboardTest, aPasteOfTheClipboardLeavesTheSelectedTextAlone)
{
    Requestor terminal;
    const ForeignOwner selected("PRIMARY", {{"UTF8_STRING", {"UTF8_STRING", "selected"}}});
    putText("😀");
    pasteboard.pasteWillBegin(terminal.window(), PasteSelections::clipboardAndPrimary);
    ASSERT_EQ(textSeenBy(terminal, "PRIMARY"), "😀");
    ASSERT_TRUE(eventually([&] { return textSeenBy(terminal, "PRIMARY") == "selected"; }));
    Requestor target;

    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);

    EXPECT_EQ(textSeenBy(target, "PRIMARY"), "selected");
    EXPECT_EQ(textSeenBy(target), "😀");
}

TEST_F(X11PasteboardTest, historiesAreAskedNotToRecordWhatIsOnlyPasted)
{
    copyInAnotherProgram("the user's text");
    Requestor target;
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);

    EXPECT_TRUE(isHinted(requestor.targets()));

    putText("the user's text");
    EXPECT_FALSE(isHinted(requestor.targets()));
}

TEST_F(X11PasteboardTest, historiesThatAskBeforeThePasteBeginsLearnOfItAllTheSame)
{
    EXPECT_TRUE(hintIsLearntInTime([&] {
        Requestor target;
        pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
    }));
}

TEST_F(X11PasteboardTest, historiesThatAskBeforeACopyIsMarkedLearnOfItAllTheSame)
{
    EXPECT_TRUE(hintIsLearntInTime([&] { pasteboard.setData("glimmerwick", pasteboardType::concealed); }));
}

TEST_F(X11PasteboardTest, aMarkedCopyIsShownAtOnce)
{
    // On a slow machine the time for which anything else is kept back may be over too soon.
    EXPECT_TRUE(eventually([&] {
        const auto begin = std::chrono::steady_clock::now();
        putText("😀");
        pasteboard.setData("glimmerwick", pasteboardType::concealed);
        EXPECT_EQ(textSeenBy(requestor), "😀");
        return std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(400);
    }));
}

TEST_F(X11PasteboardTest, theUsersOwnTextIsShownAtOnce)
{
    copyInAnotherProgram("the user's text");
    putText("😀");
    Requestor target;
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
    EXPECT_EQ(textSeenBy(target), "😀");

    // On a slow machine the time for which anything else is kept back may be over too soon.
    EXPECT_TRUE(eventually([&] {
        const auto begin = std::chrono::steady_clock::now();
        putText("the user's text");
        EXPECT_EQ(textSeenBy(requestor), "the user's text");
        const bool isAtOnce = std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(400);
        copyInAnotherProgram("the user's text");
        putText("😀");
        return isAtOnce;
    }));
}

TEST_F(X11PasteboardTest, theEmojiStaysWhenThereIsNothingToPutBack)
{
    Requestor target;
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);

    ASSERT_EQ(textSeenBy(target), "😀");

    EXPECT_EQ(textSeenBy(requestor), "😀");
    EXPECT_EQ(text(), "😀");
}

TEST_F(X11PasteboardTest, theSelectedTextIsReplacedForAPasteAndOfferedAgainAfterIt)
{
    Requestor target;
    const ForeignOwner selected("PRIMARY", {{"UTF8_STRING", {"UTF8_STRING", "selected"}}});
    putText("😀");
    pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboardAndPrimary);
    putText("the user's text");

    EXPECT_EQ(textSeenBy(target, "PRIMARY"), "😀");

    EXPECT_TRUE(eventually([&] { return textSeenBy(target, "PRIMARY") == "selected"; }));
}

class X11PasteboardSecretTest : public X11PasteboardTest {
protected:
    static ForeignOwner::Contents copied(const std::string& text, const std::string& hint)
    {
        return {{"UTF8_STRING", {"UTF8_STRING", text}},
                {"x-kde-passwordManagerHint", {"x-kde-passwordManagerHint", hint}}};
    }

    /// As typing does up to the chord.
    std::optional<std::string> beginPick()
    {
        const auto saved = text();
        putText("😀");
        EXPECT_EQ(text(), "😀");
        pasteboard.pasteWillBegin(target.window(), PasteSelections::clipboard);
        return saved;
    }

    Requestor target;
};

TEST_F(X11PasteboardSecretTest, aSecretIsStillOneWhenItIsPutBack)
{
    const ForeignOwner passwordManager("CLIPBOARD", copied("password", "secret"),
                                       ForeignOwner::Manner::listing);

    // What is read of it the second time is this program's own.
    for (int pick = 0; pick < 2; ++pick) {
        const auto saved = beginPick();
        ASSERT_EQ(saved, "password");
        putText(*saved);

        ASSERT_TRUE(isHinted(requestor.targets()));
        EXPECT_EQ(requestor.request("CLIPBOARD", "x-kde-passwordManagerHint")->bytes, "secret");
        EXPECT_EQ(textSeenBy(requestor), "password");
        EXPECT_EQ(pasteboard.string(pasteboardType::concealed), std::nullopt);
    }
}

TEST_F(X11PasteboardSecretTest, aSecretIsStillOneWhenAnotherPickComesBeforeItIsPutBack)
{
    const ForeignOwner passwordManager("CLIPBOARD", copied("password", "secret"),
                                       ForeignOwner::Manner::listing);
    beginPick();
    beginPick();

    putText("password");

    EXPECT_TRUE(isHinted(requestor.targets()));
}

TEST_F(X11PasteboardSecretTest, noOtherTextBecomesASecret)
{
    {
        const ForeignOwner passwordManager("CLIPBOARD", copied("password", "secret"));
        ASSERT_EQ(beginPick(), "password");
    }
    putText("something else");
    EXPECT_FALSE(isHinted(requestor.targets()));

    const ForeignOwner unhinted("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "password"}}});
    ASSERT_EQ(beginPick(), "password");
    putText("password");
    EXPECT_FALSE(isHinted(requestor.targets()));

    const ForeignOwner otherwiseHinted("CLIPBOARD", copied("public", "nothing special"));
    ASSERT_EQ(beginPick(), "public");
    putText("public");
    EXPECT_FALSE(isHinted(requestor.targets()));
}

TEST_F(X11PasteboardSecretTest, aTextWhoseOwnerIsSlowToSayWhatItHintsIsASecret)
{
    std::atomic<bool> isPutBack = false;
    const ForeignOwner passwordManager("CLIPBOARD", copied("password", "secret"),
                                       ForeignOwner::Manner::listing, [&](const std::string& asked) {
                                           if (asked == "x-kde-passwordManagerHint") {
                                               eventually([&] { return isPutBack.load(); });
                                           }
                                       });
    ASSERT_EQ(beginPick(), "password");

    putText("password");
    isPutBack = true;

    EXPECT_TRUE(isHinted(requestor.targets()));
}

TEST_F(X11PasteboardSecretTest, anOwnerThatListsNoHintIsNotAskedForIt)
{
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "text"}}},
                             ForeignOwner::Manner::listing);

    EXPECT_EQ(beginPick(), "text");

    EXPECT_THAT(owner.askedTargets(), ElementsAre("TARGETS", "UTF8_STRING"));
}

class X11PasteboardEndTest : public ::testing::Test {
protected:
    /// Ends the pasteboard and tells what the session's clipboard manager could keep of it, which asks for so
    /// long.
    std::optional<std::string> keptAtTheEnd(std::chrono::milliseconds busy = {},
                                            std::chrono::milliseconds asking = {})
    {
        const auto isOver = [](std::chrono::milliseconds time) {
            const auto end = std::chrono::steady_clock::now() + time;
            return [end] { return std::chrono::steady_clock::now() >= end; };
        };
        std::optional<std::string> kept;
        Requestor saver;
        {
            const ForeignOwner manager("CLIPBOARD_MANAGER", {{"SAVE_TARGETS", {"NULL", ""}}},
                                       ForeignOwner::Manner::atOnce, [&](const std::string&) {
                                           eventually(isOver(busy));
                                           const auto hasAsked = isOver(asking);
                                           do {
                                               const auto answer = saver.request("CLIPBOARD", "UTF8_STRING");
                                               kept = answer ? std::optional(answer->bytes) : std::nullopt;
                                           } while (kept && !hasAsked());
                                       });
            pasteboard.reset();
        }
        return kept;
    }

    /// As typing does up to the chord.
    void beginPick()
    {
        pasteboard->string(pasteboardType::string);
        pasteboard->clearContents();
        ASSERT_TRUE(pasteboard->setString("😀", pasteboardType::string));
        ASSERT_EQ(pasteboard->string(pasteboardType::string), "😀");
        pasteboard->pasteWillBegin(target.window(), PasteSelections::clipboard);
    }

    Requestor target;
    std::optional<X11Pasteboard> pasteboard{std::in_place, toolkitClient()};
};

TEST_F(X11PasteboardEndTest, theClipboardManagerKeepsTheText)
{
    pasteboard->clearContents();
    pasteboard->setString("to be kept", pasteboardType::string);

    EXPECT_EQ(keptAtTheEnd(), "to be kept");
}

TEST_F(X11PasteboardEndTest, aBusyClipboardManagerIsWaitedFor)
{
    pasteboard->clearContents();
    pasteboard->setString("to be kept", pasteboardType::string);

    EXPECT_EQ(keptAtTheEnd(std::chrono::milliseconds(1000)), "to be kept");
}

TEST_F(X11PasteboardEndTest, aClipboardManagerThatIsStillTakingIsWaitedFor)
{
    pasteboard->clearContents();
    pasteboard->setString("to be kept", pasteboardType::string);

    EXPECT_EQ(keptAtTheEnd({}, std::chrono::milliseconds(3000)), "to be kept");
}

TEST_F(X11PasteboardEndTest, theClipboardManagerKeepsTheUsersTextInsteadOfAPassingEmoji)
{
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "the user's text"}}});
    beginPick();
    beginPick();

    EXPECT_EQ(keptAtTheEnd(), "the user's text");
}

TEST_F(X11PasteboardEndTest, textFromThisProgramsOwnFieldsIsTheUsersAsWell)
{
    copyInOwnField(QStringLiteral("from the search field"));
    beginPick();

    EXPECT_EQ(keptAtTheEnd(), "from the search field");
}

TEST_F(X11PasteboardEndTest, theClipboardManagerKeepsTheEmojiWhenThereIsNothingToPutBack)
{
    const ForeignOwner owner("CLIPBOARD", {{"image/png", {"image/png", "\x89PNG"}}});
    beginPick();

    EXPECT_EQ(keptAtTheEnd(), "😀");
}

TEST_F(X11PasteboardEndTest, whatWasCopiedAfterAPickIsKept)
{
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "the user's text"}}});
    beginPick();
    pasteboard->clearContents();
    pasteboard->setString("🎈", pasteboardType::string);
    pasteboard->setData("glimmerwick", pasteboardType::concealed);

    EXPECT_EQ(keptAtTheEnd(), "🎈");
}

TEST_F(X11PasteboardEndTest, aSecretIsGivenToNoClipboardManager)
{
    const ForeignOwner passwordManager(
        "CLIPBOARD",
        {{"UTF8_STRING", {"UTF8_STRING", "password"}},
         {"x-kde-passwordManagerHint", {"x-kde-passwordManagerHint", "secret"}}},
        ForeignOwner::Manner::listing);
    beginPick();

    EXPECT_EQ(keptAtTheEnd(), std::nullopt);
}

} // namespace
} // namespace glimmerwick::contract
