#include "Platform/Linux/SwayShortcut.h"

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SwayConfiguration.h"
#include "Platform/Linux/SwayConnection.h"
#include "Platform/MainQueue.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include <nlohmann/json.hpp>
#include <sys/eventfd.h>

namespace glimmerwick {

namespace {

using Json = nlohmann::json;

constexpr std::chrono::seconds timeout{2};
/// At the program's end.
constexpr std::chrono::milliseconds shortTimeout{500};

constexpr std::string_view subscription = R"(["binding", "workspace"])";

/// Does nothing but be told of.
constexpr std::string_view command = "nop glimmerwick";

// In whatever mode sway is, the binding belongs to the default one. One that is also there for windows which
// inhibit shortcuts replaces none of the user's, and of two bindings sway takes the other one. (sway 1.7
// takes this one if the other was made after it, which the configuration never is: a reload removes this
// one.)
constexpr std::string_view bind =
    "mode default bindsym --no-warn --inhibited Ctrl+Mod4+space nop glimmerwick";
constexpr std::string_view unbind = "mode default unbindsym --inhibited Ctrl+Mod4+space";

constexpr auto taken = "sway's configuration gives its keys to something else";

Json parse(const std::string& text)
{
    constexpr bool throws = false;
    return Json::parse(text, nullptr, throws);
}

/// Empty when there is none.
std::string textAt(const Json& object, const char* key)
{
    const auto found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// A user may have had sway start the picker before the picker knew how to ask sway.
bool showsPicker(const std::string& userCommand)
{
    return userCommand.find("glimmerwick") != std::string::npos;
}

bool hasSucceeded(const Json& results)
{
    return results.is_array() && !results.empty()
        && std::all_of(results.begin(), results.end(), [](const Json& result) {
               return result.is_object() && result.contains("success") && result["success"] == true;
           });
}

/// Whether a binding that was run is one of Ctrl+Super+Space.
bool isShortcut(const Json& binding)
{
    constexpr int spaceCode = 65;
    const auto mask = binding.find("event_state_mask");
    if (mask == binding.end() || !mask->is_array()) {
        return false;
    }
    std::set<std::string> modifiers;
    for (const Json& modifier : *mask) {
        modifiers.insert(modifier.is_string() ? modifier.get<std::string>() : std::string());
    }
    const auto code = binding.find("input_code");
    return modifiers == std::set<std::string>{"Control", "Mod4"}
    && (textAt(binding, "symbol") == "space" || (code != binding.end() && *code == spaceCode));
}

/// The binding in sway, kept there by a thread of its own for as long as the object lives.
class SwayBinding {
public:
    SwayBinding(std::string socketPath, SwayConnection commands, SwayConnection events, MainQueue& mainQueue,
                std::weak_ptr<ShortcutTap> tap)
        : m_socketPath(std::move(socketPath)), m_commands(std::move(commands)), m_events(std::move(events)),
          m_mainQueue(mainQueue), m_tap(std::move(tap)), m_endEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          m_thread([this] { run(); })
    {
    }
    ~SwayBinding()
    {
        ::eventfd_write(m_endEvent.get(), 1);
        m_thread.join();
    }
    SwayBinding(const SwayBinding&) = delete;
    SwayBinding& operator=(const SwayBinding&) = delete;

private:
    // From here on, on the thread.

    void run()
    {
        // Before the binding is made, so that no reload is missed that takes it away.
        const auto subscribed =
            m_events.ask(SwayMessageType::subscribe, subscription, timeout, m_endEvent.get());
        if (!subscribed) {
            reportSilence(m_events);
            return;
        }
        bindUnlessTaken();
        while (const auto event = m_events.nextEvent(m_endEvent.get())) {
            handle(*event);
        }
        if (m_isBound) {
            removeBinding();
        }
    }

    void handle(const SwayConnection::Message& event)
    {
        const Json content = parse(event.text);
        if (event.type == SwayMessageType::workspaceEvent && textAt(content, "change") == "reload") {
            m_isBound = false;
            bindUnlessTaken();
        } else if (event.type == SwayMessageType::bindingEvent && content.is_object()
                   && content.contains("binding")) {
            handleBinding(content["binding"]);
        }
    }

    void handleBinding(const Json& binding)
    {
        const std::string run = textAt(binding, "command");
        if (run == command) {
            tell([](ShortcutTap& tap) {
                tap.setAvailable();
                tap.press();
            });
        } else if (!showsPicker(run) && isShortcut(binding)) {
            reportUnavailable(taken);
        }
    }

    void bindUnlessTaken()
    {
        const auto configuration = ask(SwayMessageType::getConfig, {});
        if (!configuration) {
            return;
        }
        if (const auto users = swayCommandAtShortcut(textAt(parse(*configuration), "config"))) {
            if (!showsPicker(*users)) {
                reportUnavailable(taken);
            }
            return;
        }
        const auto results = ask(SwayMessageType::runCommand, bind);
        if (!results) {
            return;
        }
        m_isBound = hasSucceeded(parse(*results));
        if (m_isBound) {
            tell([](ShortcutTap& tap) { tap.setAvailable(); });
        } else {
            reportUnavailable("sway refuses it");
        }
    }

    std::optional<std::string> ask(SwayMessageType type, std::string_view text)
    {
        auto answer = m_commands.ask(type, text, timeout, m_endEvent.get());
        if (!answer) {
            reportSilence(m_commands);
        }
        return answer;
    }

    /// With a connection of its own: an answer may still be on its way in the other. Waits for it, because
    /// sway leaves unread what a program said before it closed its connection.
    void removeBinding() const
    {
        constexpr int noInterrupt = -1;
        if (auto connection = SwayConnection::open(m_socketPath)) {
            connection->ask(SwayMessageType::runCommand, unbind, shortTimeout, noInterrupt);
        }
    }

    /// Without sway there is no session, and nobody to be told.
    void reportSilence(const SwayConnection& connection) const
    {
        if (connection.isOpen()) {
            reportUnavailable("sway does not answer");
        }
    }

    void reportUnavailable(std::string reason) const
    {
        tell([reason = std::move(reason)](ShortcutTap& tap) { tap.setUnavailable(reason); });
    }

    template <typename Tell> void tell(Tell tellTap) const
    {
        m_mainQueue.async([weakTap = m_tap, tellTap = std::move(tellTap)] {
            if (const auto tap = weakTap.lock()) {
                tellTap(*tap);
            }
        });
    }

    const std::string m_socketPath;
    SwayConnection m_commands;
    SwayConnection m_events;
    MainQueue& m_mainQueue;
    const std::weak_ptr<ShortcutTap> m_tap;
    bool m_isBound = false;
    const FileDescriptor m_endEvent;
    /// Last, because it uses the others.
    std::thread m_thread;
};

} // namespace

SwayShortcut::SwayShortcut(std::string socketPath, MainQueue& mainQueue,
                           ShortcutTap::OnUnavailable onUnavailable)
    : m_socketPath(std::move(socketPath)), m_mainQueue(mainQueue), m_onUnavailable(std::move(onUnavailable))
{
}

std::unique_ptr<EventTapPort> SwayShortcut::create(Options options, Callback callback)
{
    if (!ShortcutTap::isPickerShortcut(options)) {
        return nullptr;
    }
    auto commands = SwayConnection::open(m_socketPath);
    auto events = SwayConnection::open(m_socketPath);
    if (!commands || !events) {
        return nullptr;
    }
    auto tap = std::make_shared<ShortcutTap>(std::move(callback), m_onUnavailable);
    auto binding = std::make_shared<SwayBinding>(m_socketPath, std::move(*commands), std::move(*events),
                                                 m_mainQueue, tap);
    return ShortcutTap::makePort(std::move(tap), Registration([binding] {}));
}

} // namespace glimmerwick
