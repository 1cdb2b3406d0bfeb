#include "Managers/TypeManager.h"

#include "Platform/AccessibilityTrust.h"
#include "Platform/Clock.h"
#include "Platform/EventPoster.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Pasteboard.h"
#include "Platform/Platform.h"
#include "Platform/Workspace.h"

#include <any>
#include <cstdlib>
#include <map>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

constexpr auto activationWait = 20ms;
constexpr auto keyPressGap = 10ms;
constexpr auto restoreDelay = 100ms;

std::string trueOrFalse(bool value)
{
    return value ? "true" : "false";
}

std::string inQuotes(std::string_view value)
{
    return "'" + std::string(value) + "'";
}

} // namespace

const std::string TypeManager::willTypeEmojiNotification = "TypeManager.willTypeEmoji";
const std::string TypeManager::didTypeEmojiNotification = "TypeManager.didTypeEmoji";
const std::string TypeManager::typingFailedNotification = "TypeManager.typingFailed";

std::string_view errorDescription(TypeManagerError error)
{
    switch (error) {
    case TypeManagerError::noFrontmostApp:
        return "No previously frontmost application stored";
    case TypeManagerError::eventCreationFailed:
        return "Failed to create CGEvent";
    case TypeManagerError::eventPostingFailed:
        return "Failed to post keyboard event";
    }
    std::abort();
}

TypeManager& TypeManager::shared()
{
    return InstalledPlatform::sharedInstance<TypeManager>([](const Platform& platform) {
        return std::make_unique<TypeManager>(
            platform.process, platform.log, platform.mainQueue, platform.clock, platform.notificationCenter,
            platform.workspace, platform.pasteboard, platform.eventPoster, platform.accessibilityTrust);
    });
}

TypeManager::TypeManager(const Process& process, Log& log, MainQueue& mainQueue, Clock& clock,
                         NotificationCenter& notificationCenter, Workspace& workspace, Pasteboard& pasteboard,
                         EventPoster& eventPoster, AccessibilityTrust& accessibilityTrust)
    : m_process(process), m_log(log), m_mainQueue(mainQueue), m_clock(clock),
      m_notificationCenter(notificationCenter), m_workspace(workspace), m_pasteboard(pasteboard),
      m_eventPoster(eventPoster), m_accessibilityTrust(accessibilityTrust)
{
}

TypeManager::~TypeManager() = default;

void TypeManager::storeFrontmostApp()
{
    const auto front = m_workspace.frontmostApplication();
    if (!front || isThisProgram(*front)) {
        return;
    }
    m_previousFrontmostApp = front;
    m_log.print("TypeManager: Stored frontmost app - " + front->localizedName().value_or("Unknown"));
}

bool TypeManager::isThisProgram(const RunningApplication& application) const
{
    // A program without an identifier counts as every other program without one: better no target than
    // ourselves.
    return application.bundleIdentifier().value_or("") == m_process.bundleIdentifier;
}

void TypeManager::setTargetApp(const std::string& bundleIdentifier)
{
    m_targetApp = nullptr;
    for (const auto& application : m_workspace.runningApplications()) {
        if (application->bundleIdentifier() == bundleIdentifier) {
            m_targetApp = application;
            break;
        }
    }
    if (!m_targetApp) {
        m_log.print("[TypeManager] Warning: Could not find running app with bundle ID: " + bundleIdentifier);
        return;
    }
    m_log.print("[TypeManager] Target app set to: " + m_targetApp->localizedName().value_or(bundleIdentifier)
                + " (bundle: " + bundleIdentifier + ")");
}

void TypeManager::typeCharacter(const std::string& character, const std::optional<Emoji>& emoji,
                                Window* hidingWindow, std::function<void(bool)> completion)
{
    if (emoji) {
        m_notificationCenter.post({willTypeEmojiNotification, this, {{{"emoji", *emoji}}}});
    }
    hide(hidingWindow);

    // Released: a pick is typed, or its completion told, whatever becomes of this manager.
    m_mainQueue
        .asyncAfter(std::chrono::round<std::chrono::nanoseconds>(m_typingDelay),
                    [this, alive = m_lifetime.watch(), character, emoji, completion = std::move(completion)] {
                        const bool result = alive && performTyping(character, emoji);
                        if (completion) {
                            completion(result);
                        }
                    })
        .release();
}

void TypeManager::hide(Window* window)
{
    if (auto* picker = dynamic_cast<PickerWindow*>(window)) {
        picker->dismiss();
    } else if (window) {
        window->orderOut();
    }
}

bool TypeManager::performTyping(const std::string& character, const std::optional<Emoji>& emoji)
{
    m_log.print("TypeManager: performTyping called for " + inQuotes(character));
    activateReceivingApp();

    const bool typed = typeUsingClipboard(character);
    if (typed) {
        m_log.print("TypeManager: Typed " + inQuotes(character) + " (" + (emoji ? emoji->name : "unknown")
                    + ")");
    } else {
        m_log.print("TypeManager: Failed to type " + inQuotes(character));
    }
    if (emoji) {
        postOutcome(typed, *emoji);
    }
    return typed;
}

void TypeManager::activateReceivingApp()
{
    const auto& application = m_targetApp ? m_targetApp : m_previousFrontmostApp;
    if (!application) {
        m_log.print("TypeManager: WARNING - No target or previous frontmost app stored!");
        return;
    }
    m_log.print(std::string("TypeManager: Activating ") + (m_targetApp ? "target" : "previous frontmost")
                + " app: " + application->localizedName().value_or("Unknown")
                + " (PID: " + std::to_string(application->processIdentifier()) + ")");
    const bool activated = application->activate(ActivationOption::ignoringOtherApps);
    m_log.print("TypeManager: App activation returned: " + trueOrFalse(activated)
                + " (using activateIgnoringOtherApps)");
    m_clock.sleep(activationWait);
    m_log.print("TypeManager: Waited 20ms for app activation");
}

void TypeManager::postOutcome(bool typed, const Emoji& emoji)
{
    std::map<std::string, std::any> userInfo{{"emoji", emoji}};
    if (!typed) {
        userInfo.emplace("error", TypeManagerError::eventPostingFailed);
    }
    m_notificationCenter.post(
        {typed ? didTypeEmojiNotification : typingFailedNotification, this, std::move(userInfo)});
}

bool TypeManager::typeUsingClipboard(const std::string& character)
{
    m_log.print("TypeManager: typeUsingClipboard called with " + inQuotes(character));
    const std::optional<std::string> saved = m_pasteboard.string(pasteboardType::string);
    m_log.print("TypeManager: Saved clipboard contents: " + inQuotes(saved.value_or("(nil)")));

    m_pasteboard.clearContents();
    if (!m_pasteboard.setString(character, pasteboardType::string)) {
        m_log.print("TypeManager: Failed to set clipboard contents!");
        if (saved) {
            m_pasteboard.clearContents();
            m_pasteboard.setString(*saved, pasteboardType::string);
        }
        return false;
    }
    m_log.print("TypeManager: Set clipboard to emoji successfully");
    if (const auto verified = m_pasteboard.string(pasteboardType::string)) {
        m_log.print("TypeManager: Verified clipboard now contains: " + inQuotes(*verified));
    }

    m_log.print("TypeManager: About to simulate paste...");
    const bool pasted = simulatePaste();
    m_log.print("TypeManager: simulatePaste returned " + trueOrFalse(pasted));
    scheduleRestore(saved);
    return pasted;
}

void TypeManager::scheduleRestore(std::optional<std::string> saved)
{
    // Holds no manager: the user's clipboard comes back even if the manager is gone by then.
    m_mainQueue
        .asyncAfter(restoreDelay,
                    [&log = m_log, &pasteboard = m_pasteboard, saved = std::move(saved)] {
                        log.print("TypeManager: Restoring original clipboard contents...");
                        if (!saved) {
                            log.print("TypeManager: No previous clipboard content to restore");
                            return;
                        }
                        pasteboard.clearContents();
                        pasteboard.setString(*saved, pasteboardType::string);
                        log.print("TypeManager: Clipboard restored to: " + inQuotes(*saved));
                    })
        .release();
}

bool TypeManager::simulatePaste()
{
    const bool trusted = m_accessibilityTrust.isTrusted();
    m_log.print("TypeManager: Accessibility trusted = " + trueOrFalse(trusted));
    if (!trusted) {
        m_log.print("TypeManager: WARNING - Accessibility permissions not granted!");
        m_log.print(
            "TypeManager: Go to System Preferences > Privacy & Security > Accessibility and add this app");
        return false;
    }

    const auto source = m_eventPoster.makeSource();
    if (!source) {
        m_log.print("TypeManager: Failed to create CGEventSource");
        return false;
    }
    m_log.print("TypeManager: Created CGEventSource successfully");

    const auto keyDown = makePasteKeyEvent(*source, KeyDirection::down);
    const auto keyUp = keyDown ? makePasteKeyEvent(*source, KeyDirection::up) : nullptr;
    if (!keyUp) {
        return false;
    }

    m_log.print("TypeManager: Posting keyDown event to .cghidEventTap...");
    keyDown->post();
    m_clock.sleep(keyPressGap);
    m_log.print("TypeManager: Posting keyUp event to .cghidEventTap...");
    keyUp->post();
    m_log.print("TypeManager: Events posted successfully (with 10ms gap between keyDown/keyUp)");
    return true;
}

std::unique_ptr<KeyboardEvent> TypeManager::makePasteKeyEvent(EventSource& source, KeyDirection direction)
{
    const std::string name = direction == KeyDirection::down ? "keyDown" : "keyUp";
    auto event = source.makeKeyboardEvent(keyCode::v, direction);
    if (!event) {
        m_log.print("TypeManager: Failed to create " + name + " CGEvent");
        return nullptr;
    }
    event->setFlags(eventFlag::command);
    m_log.print("TypeManager: Created " + name + " event with Command modifier");
    return event;
}

} // namespace glimmerwick
