// Lets other programs on the session bus say what they like: arguments of calls, answers and signals of any
// type. The adapters' own code runs on a bus that the input plays. Sway is asked over a socket of its own;
// what it says of its configuration is read here as well.
//
// Input: which adapter, then its script.

#include "CommandLine.h"
#include "Fakes/FakeServices.h"
#include "Fuzz/FuzzScript.h"
#include "Fuzz/Invariant.h"
#include "Fuzz/ScriptedBus.h"
#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/InstanceObject.h"
#include "Platform/DBus/KGlobalAccelShortcut.h"
#include "Platform/DBus/PortalKeyboard.h"
#include "Platform/DBus/PortalRegistration.h"
#include "Platform/DBus/PortalRequest.h"
#include "Platform/DBus/PortalSettings.h"
#include "Platform/DBus/PortalShortcut.h"
#include "Platform/DBus/ScreenLockWatcher.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/DBus/SingleInstance.h"
#include "Platform/KeyEvent.h"
#include "Platform/Linux/SwayConfiguration.h"
#include "Platform/Tray/StatusNotifierHosts.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;

/// No input is so slow that it ends before the answer.
constexpr auto patience = 60s;

class Subject {
public:
    Subject(ScriptedBus& bus, SessionBus& sessionBus, FuzzScript& script)
        : m_bus(bus), m_sessionBus(sessionBus), m_script(script)
    {
        requireInvariant(sessionBus.isConnected(), "the bus was not lost");
    }

    void run()
    {
        m_bus.setScript(&m_script);
        switch (m_script.choice(9)) {
        case 0:
            followSettings();
            break;
        case 1:
            offerObject();
            break;
        case 2:
            makeRequest();
            break;
        case 3:
            useShortcut([](ShortcutTap::OnUnavailable tell) {
                return std::make_unique<PortalShortcut>(std::move(tell), patience);
            });
            break;
        case 4:
            useShortcut([this](ShortcutTap::OnUnavailable tell) {
                return std::make_unique<KGlobalAccelShortcut>(m_sessionBus, std::move(tell), patience);
            });
            break;
        case 5:
            useKeyboard();
            break;
        case 6:
            watch();
            break;
        case 7:
            claim();
            break;
        default:
            readConfiguration();
            break;
        }
        m_bus.settle();
        m_bus.setScript(nullptr);
    }

private:
    /// Others speak until the script ends.
    void listen(const std::function<void()>& check, const std::function<void()>& doSomething)
    {
        constexpr int mostSteps = 24;
        m_bus.settle();
        check();
        for (int step = 0; step < mostSteps && !m_script.isAtEnd(); ++step) {
            if (m_script.isChosen()) {
                doSomething();
            } else {
                m_bus.sendAnySignal();
            }
            m_bus.settle();
            check();
        }
    }

    static void checkColor(const DesktopAppearance& appearance)
    {
        if (const auto& color = appearance.accentColor) {
            for (const double part : {color->red, color->green, color->blue}) {
                requireInvariant(part >= 0 && part <= 1, "parts of a colour lie between 0 and 1");
            }
        }
    }

    void followSettings()
    {
        DesktopAppearance last;
        PortalSettings settings(m_sessionBus, [&](const DesktopAppearance& appearance) {
            requireInvariant(appearance != last, "only changes are told of");
            checkColor(appearance);
            last = appearance;
        });
        const auto check = [&] {
            requireInvariant(settings.appearance() == last, "every change is told of");
        };
        listen(check, [this] { m_bus.sendAnySignal(); });
    }

    /// Does what the program would, and remembers it.
    class Handler : public RemoteRequests {
    public:
        void perform(PickerAction) override { ++actionCount; }
        std::optional<std::string> handleArguments(const std::vector<std::string>& arguments) override
        {
            lastArguments = arguments;
            ++argumentsCount;
            const auto commandLine = CommandLine::parse(arguments);
            if (!commandLine) {
                requireInvariant(!commandLine.error().empty(), "a refusal has a reason");
                return commandLine.error();
            }
            requireInvariant(commandLine.value().toolkitArguments.size() <= arguments.size(),
                             "the toolkit gets no more than there is");
            return std::nullopt;
        }

        int actionCount = 0;
        int argumentsCount = 0;
        std::vector<std::string> lastArguments;
    };

    void offerObject()
    {
        Handler handler;
        InstanceObject object(m_sessionBus, "0.1.0");
        bool isHandled = false;
        int handledBefore = 0;
        const auto check = [&] {
            if (!isHandled) {
                requireInvariant(handler.actionCount + handler.argumentsCount == handledBefore,
                                 "nothing is done while nobody does it");
                return;
            }
            // Qt refuses what it does not know whether or not an answer is wanted.
            requireInvariant(m_bus.answerCount() >= m_bus.callCount()
                                 && m_bus.answerCount() <= m_bus.callCount() + m_bus.quietCallCount(),
                             "each call has one answer");
            requireInvariant(handler.argumentsCount == 0 || handler.lastArguments == m_bus.lastArguments(),
                             "arguments arrive as they were given");
        };
        listen(check, [&] {
            if (m_script.choice(4) != 3) {
                m_bus.sendAnyCall(busName::object);
                return;
            }
            isHandled = !isHandled;
            object.setHandler(isHandled ? &handler : nullptr);
            object.setState({m_script.isChosen(), isHandled});
            handledBefore = handler.actionCount + handler.argumentsCount;
        });
        object.setHandler(&handler);
        m_bus.settle();
        isHandled = true;
        check();
    }

    void makeRequest()
    {
        int answerCount = 0;
        const auto make = [&] {
            return std::make_unique<PortalRequest>(
                m_sessionBus.connection(),
                PortalRequest::Call{"org.freedesktop.portal.RemoteDesktop", "Start", {}, {}}, patience,
                [&](const PortalRequest::Answer& answer) {
                    ++answerCount;
                    const bool isSuccess = answer.outcome == PortalRequest::Outcome::success;
                    requireInvariant(answer.problem.empty() == isSuccess, "what is no success is a problem");
                });
        };
        auto request = make();
        const auto check = [&] { requireInvariant(answerCount <= 1, "a request is answered once"); };
        listen(check, [&] {
            request = make();
            answerCount = 0;
        });
    }

    void useShortcut(const std::function<std::unique_ptr<EventTap>(ShortcutTap::OnUnavailable)>& make)
    {
        int pressCount = 0;
        std::string lastReason;
        const auto shortcut = make([&](const std::string& reason) {
            requireInvariant(!reason.empty(), "what stands in the way is told");
            lastReason = reason;
        });
        EventTap::Options options;
        options.only = KeyCombination{keyCode::space, eventFlag::control | eventFlag::command, EventFlags()};
        auto port = shortcut->create(options, [&](const KeyEvent& event) {
            requireInvariant(event.keyCode == keyCode::space, "only the shortcut's key is pressed");
            ++pressCount;
            return TapDecision::swallow;
        });
        requireInvariant(port != nullptr, "the shortcut can be asked for");
        auto source = port->createRunLoopSource();
        bool isEnabled = true;
        port->setEnabled(isEnabled);
        int pressesBefore = 0;
        const auto check = [&] {
            requireInvariant(isEnabled || pressCount == pressesBefore, "a tap that is disabled sees nothing");
        };
        listen(check, [&] {
            isEnabled = !isEnabled;
            port->setEnabled(isEnabled);
            pressesBefore = pressCount;
        });
    }

    void useKeyboard()
    {
        fakes::FakeUserDefaults defaults;
        if (m_script.isChosen()) {
            defaults.setString(PortalKeyboard::restoreTokenKey, "token");
        }
        int grantCount = 0;
        PortalRegistration registration(m_sessionBus, busName::service);
        PortalKeyboard keyboard(
            m_sessionBus, registration, defaults,
            {[](PortalKeyboard::Refusal) {}, [&] { ++grantCount; },
             [](std::string_view problem) { requireInvariant(!problem.empty(), "a problem has words"); }},
            {patience, patience});
        const auto check = [&] {
            requireInvariant(keyboard.isReady() == (keyboard.state() == PortalKeyboard::State::granted),
                             "a keyboard is ready while it is granted");
            requireInvariant(!keyboard.isReady() || grantCount > 0, "and it was granted");
        };
        const KeySymbols symbols{0xffe3, 0x76};
        listen(check, [&] {
            if (!keyboard.isReady()) {
                keyboard.requestConsent();
            } else if (keyboard.press(symbols)) {
                keyboard.release(symbols);
            }
        });
    }

    void watch()
    {
        int lockCount = 0;
        int foundCount = 0;
        ScreenLockWatcher watcher(m_sessionBus, [&] { ++lockCount; });
        StatusNotifierHosts hosts(m_sessionBus, [&] { ++foundCount; });
        const auto check = [&] {
            requireInvariant(hosts.presence() == StatusNotifierHosts::Presence::unknown || foundCount > 0,
                             "what is found is told of");
            // Either bus may say so, and both are played by this one.
            requireInvariant(lockCount <= 2 * m_bus.lockCount(), "nothing but a lock is one");
        };
        listen(check, [this] { m_bus.sendAnySignal(); });
    }

    void claim()
    {
        // Whoever says that it ends is asked again until the time is up.
        const auto claimed = claimInstance(m_sessionBus, {"--toggle"}, 20ms);
        requireInvariant(claimed || !claimed.error().empty(), "what failed is told");
    }

    /// What sway tells of its own over a socket.
    void readConfiguration()
    {
        std::string configuration = m_script.text();
        swayCommandAtShortcut(configuration);
        // Behind an empty line, because a line may go on in the next one, and outside of every block.
        configuration += "\n\n";
        for (auto blocks = std::ranges::count(configuration, '{'); blocks > 0; --blocks) {
            configuration += "}\n";
        }
        const std::string keys = "Ctrl+Mod4+space";
        requireInvariant(swayCommandAtShortcut(configuration + "bindsym " + keys + " nop last") == "nop last",
                         "the last binding counts");
        requireInvariant(!swayCommandAtShortcut(configuration + "unbindsym " + keys),
                         "a binding may be taken back");
    }

    ScriptedBus& m_bus;
    SessionBus& m_sessionBus;
    FuzzScript& m_script;
};

/// Never destroyed: Qt's thread and the bus's go on until the process ends.
struct World {
    ScriptedBus bus;
    SessionBus sessionBus;
};

World* world = nullptr;

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerInitialize(int* argumentCount, char*** arguments)
{
    // What Qt says of odd messages would be most of a run's time.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type == QtFatalMsg) {
            std::fprintf(stderr, "%s\n", qUtf8Printable(text));
        }
    });
    static auto* const application = new QCoreApplication(*argumentCount, *arguments);
    static_cast<void>(application);
    glimmerwick::world = new glimmerwick::World;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    FuzzScript script({reinterpret_cast<const char*>(data), size});
    Subject(world->bus, world->sessionBus, script).run();
    return 0;
}
