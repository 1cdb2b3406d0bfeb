#include "Managers/TypeManager.h"

#include "Fakes/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using fakes::FakeRunningApplication;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string plainText = "public.utf8-plain-text";

class FakeWindow : public Window {
public:
    explicit FakeWindow(fakes::CallLog& calls) : m_calls(calls) { }
    void orderOut() override { m_calls.push_back("window orderOut"); }

private:
    fakes::CallLog& m_calls;
};

class FakePickerWindow : public PickerWindow {
public:
    explicit FakePickerWindow(fakes::CallLog& calls) : m_calls(calls) { }
    void orderOut() override { m_calls.push_back("picker orderOut"); }
    void dismiss() override { m_calls.push_back("picker dismiss"); }

private:
    fakes::CallLog& m_calls;
};

class TypeManagerTests : public testing::Test {
protected:
    TypeManagerTests()
    {
        fakes.pasteboard.calls = &calls;
        fakes.eventPoster.calls = &calls;
        fakes.time.onSleep = [this](std::chrono::nanoseconds duration) {
            calls.push_back("sleep " + std::to_string(duration / 1us) + "us");
        };
        for (const char* name :
             {"TypeManager.willTypeEmoji", "TypeManager.didTypeEmoji", "TypeManager.typingFailed"}) {
            observers.push_back(fakes.notificationCenter.addObserver(
                name, [this](const Notification& notification) { note(notification); }));
        }
    }

    void note(const Notification& notification)
    {
        EXPECT_EQ(notification.object, manager.get());
        const Emoji* emoji = notification.value<Emoji>("emoji");
        std::string call = "post " + notification.name + " " + (emoji ? emoji->codepoint : "without emoji");
        if (const auto* error = notification.value<TypeManagerError>("error")) {
            call += " " + std::string(errorDescription(*error));
        }
        EXPECT_EQ(notification.userInfo->size(), notification.name == "TypeManager.typingFailed" ? 2u : 1u);
        calls.push_back(call);
    }

    std::unique_ptr<TypeManager> makeManager()
    {
        return std::make_unique<TypeManager>(fakes.process, fakes.log, fakes.time, fakes.time,
                                             fakes.notificationCenter, fakes.workspace, fakes.pasteboard,
                                             fakes.eventPoster, fakes.accessibilityTrust);
    }

    std::shared_ptr<FakeRunningApplication> makeApplication(std::optional<std::string> identifier,
                                                            std::optional<std::string> name,
                                                            std::int32_t pid = 4711)
    {
        auto application =
            std::make_shared<FakeRunningApplication>(std::move(identifier), std::move(name), pid);
        application->calls = &calls;
        return application;
    }

    /// Remembers an editor as the application to type into, and forgets that this was logged.
    std::shared_ptr<FakeRunningApplication> storeEditor()
    {
        auto editor = makeApplication("org.example.Editor", "Editor");
        fakes.workspace.frontmost = editor;
        manager->storeFrontmostApp();
        fakes.log.lines.clear();
        return editor;
    }

    void type(const std::string& character, const std::optional<Emoji>& emoji, Window* window = nullptr)
    {
        manager->typeCharacter(character, emoji, window, [this](bool result) { results.push_back(result); });
    }

    std::optional<std::string> clipboardText()
    {
        const auto found = fakes.pasteboard.contents.find(plainText);
        return found == fakes.pasteboard.contents.end() ? std::nullopt : std::optional(found->second);
    }

    const Emoji wave{"1f44b", "👋", "waving hand", {"hello"}, "people", true};
    fakes::FakePlatform fakes;
    fakes::CallLog calls;
    std::unique_ptr<TypeManager> manager = makeManager();
    std::vector<bool> results;
    std::vector<Registration> observers;
};

// Remembering the application

TEST_F(TypeManagerTests, StoresTheFrontmostApplication)
{
    fakes.workspace.frontmost = makeApplication("org.example.Editor", "Editor");

    manager->storeFrontmostApp();

    EXPECT_THAT(fakes.log.lines, ElementsAre("TypeManager: Stored frontmost app - Editor"));
}

TEST_F(TypeManagerTests, AnApplicationWithoutNameOrIdentifierIsStoredAsUnknown)
{
    fakes.workspace.frontmost = makeApplication(std::nullopt, std::nullopt);

    manager->storeFrontmostApp();

    EXPECT_THAT(fakes.log.lines, ElementsAre("TypeManager: Stored frontmost app - Unknown"));
}

TEST_F(TypeManagerTests, ThisProgramOrNoApplicationInFrontKeepsTheStoredOne)
{
    const auto editor = storeEditor();

    fakes.workspace.frontmost = makeApplication("com.glimmerwick.Glimmerwick", "Glimmerwick");
    manager->storeFrontmostApp();
    fakes.workspace.frontmost = nullptr;
    manager->storeFrontmostApp();

    EXPECT_THAT(fakes.log.lines, IsEmpty());
    type("x", std::nullopt);
    fakes.time.advance(1s);
    EXPECT_EQ(editor->activations.size(), 1u);
}

TEST_F(TypeManagerTests, ThisProgramWithoutAnIdentifierIsAnApplicationWithoutOne)
{
    fakes.process.bundleIdentifier = "";
    fakes.workspace.frontmost = makeApplication(std::nullopt, "Nameless");

    manager->storeFrontmostApp();

    EXPECT_THAT(fakes.log.lines, IsEmpty());
}

TEST_F(TypeManagerTests, ALaterApplicationReplacesTheStoredOne)
{
    const auto editor = storeEditor();
    const auto terminal = makeApplication("org.example.Terminal", "Terminal");
    fakes.workspace.frontmost = terminal;

    manager->storeFrontmostApp();
    type("x", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_THAT(editor->activations, IsEmpty());
    EXPECT_EQ(terminal->activations.size(), 1u);
}

// The forced target

TEST_F(TypeManagerTests, TheTargetIsTheFirstRunningApplicationWithExactlyThatIdentifier)
{
    const auto otherCase = makeApplication("org.example.editor", "Other case");
    const auto nameless = makeApplication(std::nullopt, "Nameless");
    const auto first = makeApplication("org.example.Editor", "First", 1);
    const auto second = makeApplication("org.example.Editor", "Second", 2);
    fakes.workspace.running = {nameless, otherCase, first, second};

    manager->setTargetApp("org.example.Editor");
    type("x", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_EQ(fakes.log.lines[0], "[TypeManager] Target app set to: First (bundle: org.example.Editor)");
    EXPECT_EQ(first->activations.size(), 1u);
    EXPECT_THAT(second->activations, IsEmpty());
    EXPECT_THAT(otherCase->activations, IsEmpty());
}

TEST_F(TypeManagerTests, ATargetWithoutNameIsLoggedByItsIdentifier)
{
    fakes.workspace.running = {makeApplication("org.example.Editor", std::nullopt)};

    manager->setTargetApp("org.example.Editor");

    EXPECT_THAT(
        fakes.log.lines,
        ElementsAre("[TypeManager] Target app set to: org.example.Editor (bundle: org.example.Editor)"));
}

TEST_F(TypeManagerTests, TheTargetWinsOverTheStoredApplicationForEveryPick)
{
    const auto editor = storeEditor();
    const auto target = makeApplication("org.example.Target", "Target", 99);
    fakes.workspace.running = {target};
    manager->setTargetApp("org.example.Target");
    fakes.log.lines.clear();

    type("x", std::nullopt);
    fakes.time.advance(1s);
    manager->storeFrontmostApp();
    type("y", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_EQ(fakes.log.lines[1], "TypeManager: Activating target app: Target (PID: 99)");
    EXPECT_EQ(target->activations.size(), 2u);
    EXPECT_THAT(editor->activations, IsEmpty());
}

TEST_F(TypeManagerTests, ATargetThatDoesNotRunClearsAnEarlierOne)
{
    const auto target = makeApplication("org.example.Target", "Target");
    fakes.workspace.running = {target};
    manager->setTargetApp("org.example.Target");
    fakes.log.lines.clear();

    manager->setTargetApp("org.example.Gone");
    type("x", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_EQ(fakes.log.lines[0],
              "[TypeManager] Warning: Could not find running app with bundle ID: org.example.Gone");
    EXPECT_THAT(target->activations, IsEmpty());
}

// Typing

TEST_F(TypeManagerTests, TypesIntoTheStoredApplicationAndPutsTheClipboardBack)
{
    const auto editor = storeEditor();
    fakes.pasteboard.contents = {{plainText, "old"}};
    FakePickerWindow picker(calls);

    type("👋🏿", wave, &picker);
    calls.push_back("returned");
    fakes.time.advance(1s);

    EXPECT_THAT(calls,
                ElementsAre("post TypeManager.willTypeEmoji 1f44b", "picker dismiss", "returned",
                            "activate Editor", "sleep 20000us", "string public.utf8-plain-text",
                            "clearContents", "setString '👋🏿' public.utf8-plain-text",
                            "string public.utf8-plain-text", "post key-down", "sleep 10000us", "post key-up",
                            "post TypeManager.didTypeEmoji 1f44b", "clearContents",
                            "setString 'old' public.utf8-plain-text"));
    EXPECT_THAT(
        fakes.log.lines,
        ElementsAre("TypeManager: performTyping called for '👋🏿'",
                    "TypeManager: Activating previous frontmost app: Editor (PID: 4711)",
                    "TypeManager: App activation returned: true (using activateIgnoringOtherApps)",
                    "TypeManager: Waited 20ms for app activation",
                    "TypeManager: typeUsingClipboard called with '👋🏿'",
                    "TypeManager: Saved clipboard contents: 'old'",
                    "TypeManager: Set clipboard to emoji successfully",
                    "TypeManager: Verified clipboard now contains: '👋🏿'",
                    "TypeManager: About to simulate paste...", "TypeManager: Accessibility trusted = true",
                    "TypeManager: Created CGEventSource successfully",
                    "TypeManager: Created keyDown event with Command modifier",
                    "TypeManager: Created keyUp event with Command modifier",
                    "TypeManager: Posting keyDown event to .cghidEventTap...",
                    "TypeManager: Posting keyUp event to .cghidEventTap...",
                    "TypeManager: Events posted successfully (with 10ms gap between keyDown/keyUp)",
                    "TypeManager: simulatePaste returned true", "TypeManager: Typed '👋🏿' (waving hand)",
                    "TypeManager: Restoring original clipboard contents...",
                    "TypeManager: Clipboard restored to: 'old'"));
    EXPECT_THAT(results, ElementsAre(true));
    EXPECT_THAT(editor->activations, ElementsAre(ActivationOption::ignoringOtherApps));
    EXPECT_EQ(static_cast<unsigned>(editor->activations[0]), 2u);
    EXPECT_THAT(fakes.eventPoster.posted,
                ElementsAre(fakes::FakeEventPoster::Posted{9, KeyDirection::down, 0x100000},
                            fakes::FakeEventPoster::Posted{9, KeyDirection::up, 0x100000}));
}

TEST_F(TypeManagerTests, KeepsToTheTimeline)
{
    storeEditor();
    fakes.pasteboard.contents = {{plainText, "old"}};
    const auto start = fakes.time.now();
    std::vector<std::chrono::nanoseconds> posts;
    fakes.eventPoster.onPost = [&](const auto&) { posts.push_back(fakes.time.now() - start); };

    type("x", wave);
    fakes.time.advance(49ms);
    EXPECT_THAT(fakes.log.lines, IsEmpty());
    EXPECT_THAT(results, IsEmpty());

    fakes.time.advance(1ms);
    EXPECT_THAT(results, ElementsAre(true));
    EXPECT_THAT(posts, ElementsAre(70ms, 80ms));
    EXPECT_EQ(fakes.time.now() - start, 80ms);

    fakes.time.advance(99ms);
    EXPECT_EQ(clipboardText(), "x");
    fakes.time.advance(1ms);
    EXPECT_EQ(clipboardText(), "old");
    EXPECT_THAT(fakes.time.mainQueueDelays, ElementsAre(50ms, 100ms));
}

TEST_F(TypeManagerTests, AnyOtherWindowIsOnlyOrderedOut)
{
    FakeWindow window(calls);

    type("x", std::nullopt, &window);

    EXPECT_THAT(calls, ElementsAre("window orderOut"));
}

TEST_F(TypeManagerTests, WithoutAStoredApplicationPastesIntoWhateverIsInFront)
{
    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_THAT(calls,
                ElementsAre("post TypeManager.willTypeEmoji 1f44b", "string public.utf8-plain-text",
                            "clearContents", "setString 'x' public.utf8-plain-text",
                            "string public.utf8-plain-text", "post key-down", "sleep 10000us", "post key-up",
                            "post TypeManager.didTypeEmoji 1f44b"));
    EXPECT_THAT(
        fakes.log.lines,
        ElementsAre("TypeManager: performTyping called for 'x'",
                    "TypeManager: WARNING - No target or previous frontmost app stored!",
                    "TypeManager: typeUsingClipboard called with 'x'",
                    "TypeManager: Saved clipboard contents: '(nil)'",
                    "TypeManager: Set clipboard to emoji successfully",
                    "TypeManager: Verified clipboard now contains: 'x'",
                    "TypeManager: About to simulate paste...", "TypeManager: Accessibility trusted = true",
                    "TypeManager: Created CGEventSource successfully",
                    "TypeManager: Created keyDown event with Command modifier",
                    "TypeManager: Created keyUp event with Command modifier",
                    "TypeManager: Posting keyDown event to .cghidEventTap...",
                    "TypeManager: Posting keyUp event to .cghidEventTap...",
                    "TypeManager: Events posted successfully (with 10ms gap between keyDown/keyUp)",
                    "TypeManager: simulatePaste returned true", "TypeManager: Typed 'x' (waving hand)",
                    "TypeManager: Restoring original clipboard contents...",
                    "TypeManager: No previous clipboard content to restore"));
    EXPECT_THAT(results, ElementsAre(true));
}

TEST_F(TypeManagerTests, AFailedActivationIsLoggedAndTypingGoesAhead)
{
    const auto editor = makeApplication("org.example.Editor", std::nullopt, -1);
    editor->activates = false;
    fakes.workspace.frontmost = editor;
    manager->storeFrontmostApp();
    fakes.log.lines.clear();

    type("x", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_EQ(fakes.log.lines[1], "TypeManager: Activating previous frontmost app: Unknown (PID: -1)");
    EXPECT_EQ(fakes.log.lines[2],
              "TypeManager: App activation returned: false (using activateIgnoringOtherApps)");
    EXPECT_EQ(fakes.log.lines[3], "TypeManager: Waited 20ms for app activation");
    EXPECT_THAT(results, ElementsAre(true));
}

TEST_F(TypeManagerTests, WithoutAnEmojiTypesAndPostsNothing)
{
    type("x", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_THAT(results, ElementsAre(true));
    EXPECT_TRUE(fakes.log.contains("TypeManager: Typed 'x' (unknown)"));
    EXPECT_EQ(fakes.eventPoster.posted.size(), 2u);
    EXPECT_THAT(calls, testing::Not(testing::Contains(testing::HasSubstr("post TypeManager"))));
}

TEST_F(TypeManagerTests, FailsWithoutAnEmojiAndPostsNothing)
{
    fakes.accessibilityTrust.trusted = false;

    type("x", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_TRUE(fakes.log.contains("TypeManager: Failed to type 'x'"));
    EXPECT_THAT(calls, testing::Not(testing::Contains(testing::HasSubstr("post TypeManager"))));
}

TEST_F(TypeManagerTests, TypesWithoutACompletion)
{
    manager->typeCharacter("x", wave, nullptr, nullptr);
    fakes.time.advance(1s);

    EXPECT_EQ(fakes.eventPoster.posted.size(), 2u);
}

// The clipboard

TEST_F(TypeManagerTests, AnEmptyClipboardKeepsTheEmoji)
{
    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_EQ(clipboardText(), "x");
}

TEST_F(TypeManagerTests, AnEmptyTextIsATextToRestore)
{
    fakes.pasteboard.contents = {{plainText, ""}};

    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_EQ(clipboardText(), "");
    EXPECT_EQ(fakes.log.lines.back(), "TypeManager: Clipboard restored to: ''");
}

TEST_F(TypeManagerTests, AClipboardWithoutTextHoldsOnlyTheEmojiAfterwards)
{
    fakes.pasteboard.contents = {{"image/png", "picture"}};

    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_THAT(fakes.pasteboard.contents, ElementsAre(testing::Pair(plainText, "x")));
}

TEST_F(TypeManagerTests, ASecondPickWithinTheRestoreDelaySavesTheFirstEmoji)
{
    fakes.pasteboard.contents = {{plainText, "old"}};
    type("first", wave);
    fakes.time.advance(50ms);

    type("second", wave);
    fakes.time.advance(50ms);

    EXPECT_TRUE(fakes.log.contains("TypeManager: Saved clipboard contents: 'first'"));
    fakes.time.advance(1s);
    EXPECT_EQ(clipboardText(), "first");
}

TEST_F(TypeManagerTests, ARefusedClipboardGetsItsTextBackAtOnceAndNothingIsPasted)
{
    storeEditor();
    fakes.pasteboard.contents = {{plainText, "old"}};
    fakes.pasteboard.refusals = 1;

    type("x", wave);
    fakes.time.advance(50ms);

    EXPECT_THAT(calls,
                ElementsAre("post TypeManager.willTypeEmoji 1f44b", "activate Editor", "sleep 20000us",
                            "string public.utf8-plain-text", "clearContents",
                            "setString 'x' public.utf8-plain-text", "clearContents",
                            "setString 'old' public.utf8-plain-text",
                            "post TypeManager.typingFailed 1f44b Failed to post keyboard event"));
    EXPECT_THAT(fakes.log.lines,
                ElementsAre("TypeManager: performTyping called for 'x'",
                            "TypeManager: Activating previous frontmost app: Editor (PID: 4711)",
                            "TypeManager: App activation returned: true (using activateIgnoringOtherApps)",
                            "TypeManager: Waited 20ms for app activation",
                            "TypeManager: typeUsingClipboard called with 'x'",
                            "TypeManager: Saved clipboard contents: 'old'",
                            "TypeManager: Failed to set clipboard contents!",
                            "TypeManager: Failed to type 'x'"));
    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_EQ(clipboardText(), "old");
    EXPECT_EQ(fakes.time.pendingCount(), 0u);
}

TEST_F(TypeManagerTests, ARefusedEmptyClipboardIsLeftEmpty)
{
    fakes.pasteboard.refusals = 1;

    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_THAT(fakes.pasteboard.contents, IsEmpty());
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "clearContents"), 1);
}

TEST_F(TypeManagerTests, AClipboardThatCannotBeReadBackIsPastedUnverified)
{
    class UnreadablePasteboard : public fakes::FakePasteboard {
    public:
        std::optional<std::string> string(const std::string&) override { return std::nullopt; }
    } pasteboard;
    TypeManager blind(fakes.process, fakes.log, fakes.time, fakes.time, fakes.notificationCenter,
                      fakes.workspace, pasteboard, fakes.eventPoster, fakes.accessibilityTrust);

    blind.typeCharacter("x", std::nullopt, nullptr, [this](bool result) { results.push_back(result); });
    fakes.time.advance(1s);

    EXPECT_EQ(fakes.log.lines[4], "TypeManager: Set clipboard to emoji successfully");
    EXPECT_EQ(fakes.log.lines[5], "TypeManager: About to simulate paste...");
    EXPECT_THAT(results, ElementsAre(true));
}

// Failures of the paste

/// The log lines from the paste's beginning to its outcome.
std::vector<std::string> pasteLines(const fakes::FakeLog& log)
{
    const auto begin =
        std::find(log.lines.begin(), log.lines.end(), "TypeManager: About to simulate paste...");
    return {begin, log.lines.end()};
}

TEST_F(TypeManagerTests, WithoutPermissionTheClipboardIsRestoredAndTheFailureAnnounced)
{
    fakes.pasteboard.contents = {{plainText, "old"}};
    fakes.accessibilityTrust.trusted = false;

    type("x", wave);
    fakes.time.advance(50ms);

    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_EQ(calls.back(), "post TypeManager.typingFailed 1f44b Failed to post keyboard event");
    fakes.time.advance(99ms);
    EXPECT_EQ(clipboardText(), "x");
    fakes.time.advance(1ms);
    EXPECT_EQ(clipboardText(), "old");
    EXPECT_THAT(fakes.eventPoster.posted, IsEmpty());
    EXPECT_EQ(fakes.accessibilityTrust.promptCount, 0);
    EXPECT_THAT(
        pasteLines(fakes.log),
        ElementsAre("TypeManager: About to simulate paste...", "TypeManager: Accessibility trusted = false",
                    "TypeManager: WARNING - Accessibility permissions not granted!",
                    "TypeManager: Go to System Preferences > Privacy & Security > Accessibility and add "
                    "this app",
                    "TypeManager: simulatePaste returned false", "TypeManager: Failed to type 'x'",
                    "TypeManager: Restoring original clipboard contents...",
                    "TypeManager: Clipboard restored to: 'old'"));
}

TEST_F(TypeManagerTests, FailsWithoutAnEventSource)
{
    fakes.eventPoster.failsSource = true;

    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_THAT(fakes.eventPoster.posted, IsEmpty());
    EXPECT_THAT(pasteLines(fakes.log),
                ElementsAre("TypeManager: About to simulate paste...",
                            "TypeManager: Accessibility trusted = true",
                            "TypeManager: Failed to create CGEventSource",
                            "TypeManager: simulatePaste returned false", "TypeManager: Failed to type 'x'",
                            "TypeManager: Restoring original clipboard contents...",
                            "TypeManager: No previous clipboard content to restore"));
}

TEST_F(TypeManagerTests, FailsWithoutAKeyDownEvent)
{
    fakes.eventPoster.failsKeyDown = true;

    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_THAT(fakes.eventPoster.posted, IsEmpty());
    EXPECT_THAT(pasteLines(fakes.log),
                ElementsAre("TypeManager: About to simulate paste...",
                            "TypeManager: Accessibility trusted = true",
                            "TypeManager: Created CGEventSource successfully",
                            "TypeManager: Failed to create keyDown CGEvent",
                            "TypeManager: simulatePaste returned false", "TypeManager: Failed to type 'x'",
                            "TypeManager: Restoring original clipboard contents...",
                            "TypeManager: No previous clipboard content to restore"));
}

TEST_F(TypeManagerTests, FailsWithoutAKeyUpEventAndPressesNothing)
{
    fakes.eventPoster.failsKeyUp = true;

    type("x", wave);
    fakes.time.advance(1s);

    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_THAT(fakes.eventPoster.posted, IsEmpty());
    EXPECT_THAT(pasteLines(fakes.log),
                ElementsAre("TypeManager: About to simulate paste...",
                            "TypeManager: Accessibility trusted = true",
                            "TypeManager: Created CGEventSource successfully",
                            "TypeManager: Created keyDown event with Command modifier",
                            "TypeManager: Failed to create keyUp CGEvent",
                            "TypeManager: simulatePaste returned false", "TypeManager: Failed to type 'x'",
                            "TypeManager: Restoring original clipboard contents...",
                            "TypeManager: No previous clipboard content to restore"));
}

// Lifetime

TEST_F(TypeManagerTests, AManagerGoneBeforeTheDelayTypesNothingAndCompletesWithFalse)
{
    type("x", std::nullopt);

    manager.reset();
    EXPECT_THAT(results, IsEmpty());
    fakes.time.advance(1s);

    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_THAT(fakes.log.lines, IsEmpty());
    EXPECT_THAT(fakes.eventPoster.posted, IsEmpty());
}

TEST_F(TypeManagerTests, AManagerGoneWithoutACompletionIsHarmless)
{
    manager->typeCharacter("x", std::nullopt, nullptr, nullptr);

    manager.reset();
    fakes.time.advance(1s);

    EXPECT_THAT(fakes.log.lines, IsEmpty());
}

TEST_F(TypeManagerTests, TheClipboardIsRestoredEvenIfTheManagerIsGone)
{
    fakes.pasteboard.contents = {{plainText, "old"}};
    type("x", std::nullopt);
    fakes.time.advance(50ms);

    manager.reset();
    fakes.time.advance(1s);

    EXPECT_EQ(clipboardText(), "old");
    EXPECT_EQ(fakes.log.lines.back(), "TypeManager: Clipboard restored to: 'old'");
}

TEST_F(TypeManagerTests, TheCompletionMayDestroyTheManager)
{
    manager->typeCharacter("x", wave, nullptr, [this](bool result) {
        results.push_back(result);
        manager.reset();
    });

    fakes.time.advance(1s);

    EXPECT_THAT(results, ElementsAre(true));
}

TEST_F(TypeManagerTests, LineBreaksOfClipboardTextsStayOnOneLine)
{
    fakes.pasteboard.contents = {{plainText, "one\ntwo"}};

    type("x", std::nullopt);
    fakes.time.advance(1s);

    EXPECT_EQ(fakes.log.lines.back(), "TypeManager: Clipboard restored to: 'one\\ntwo'");
    EXPECT_EQ(clipboardText(), "one\ntwo");
}

TEST_F(TypeManagerTests, SharedIsOneInstanceOnTheInstalledPlatform)
{
    const InstalledPlatform installed(fakes.platform);
    fakes.workspace.frontmost = makeApplication("org.example.Editor", "Editor");

    TypeManager::shared().storeFrontmostApp();

    EXPECT_EQ(&TypeManager::shared(), &TypeManager::shared());
    EXPECT_THAT(fakes.log.lines, ElementsAre("TypeManager: Stored frontmost app - Editor"));
}

TEST(TypeManagerErrorTests, EveryErrorHasItsDescription)
{
    EXPECT_EQ(errorDescription(TypeManagerError::noFrontmostApp),
              "No previously frontmost application stored");
    EXPECT_EQ(errorDescription(TypeManagerError::eventCreationFailed), "Failed to create CGEvent");
    EXPECT_EQ(errorDescription(TypeManagerError::eventPostingFailed), "Failed to post keyboard event");
}

} // namespace
} // namespace glimmerwick
