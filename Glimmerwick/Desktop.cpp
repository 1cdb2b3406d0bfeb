#include "Desktop.h"

#include "Platform/Clock.h"
#include "Platform/DBus/KGlobalAccelShortcut.h"
#include "Platform/DBus/KWinKeyboardLayout.h"
#include "Platform/DBus/PasteTrust.h"
#include "Platform/DBus/PortalKeyboard.h"
#include "Platform/DBus/PortalRegistration.h"
#include "Platform/DBus/PortalShortcut.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/EventPoster.h"
#include "Platform/EventTap.h"
#include "Platform/Linux/PasteChords.h"
#include "Platform/Linux/SwayShortcut.h"
#include "Platform/MainQueue.h"
#include "Platform/PasteSurroundings.h"
#include "Platform/Qt/FocusedEventMonitors.h"
#include "Platform/Qt/FocusedEventTap.h"
#include "Platform/Qt/FocusedPanelHost.h"
#include "Platform/Qt/InjectedEventPoster.h"
#include "Platform/Qt/KeyEventFilter.h"
#include "Platform/Qt/QtPasteboard.h"
#include "Platform/UserDefaults.h"
#include "Platform/WindowSystem.h"
#include "Platform/Workspace.h"
#include "WindowSystems.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <utility>

namespace glimmerwick {

namespace {

constexpr auto consentRefusedKey = "TypingConsentRefused";
constexpr auto shortcutDeclinedKey = "ShortcutDeclined";

/// Where nobody tells of other programs' windows.
class UnknownWorkspace : public Workspace {
public:
    std::shared_ptr<RunningApplication> frontmostApplication() override { return nullptr; }
    std::vector<std::shared_ptr<RunningApplication>> runningApplications() override { return {}; }
};

/// Where no key can be pressed.
class NoEventPoster : public EventPoster {
public:
    std::unique_ptr<EventSource> makeSource() override { return nullptr; }
};

/// Sends the one who asks for a shortcut elsewhere than the one who takes all keys.
class DividedEventTap : public EventTap {
public:
    /// The shortcut's is null where there is none.
    DividedEventTap(EventTap& keys, EventTap* shortcut) : m_keys(keys), m_shortcut(shortcut) { }

    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override
    {
        if (!options.only) {
            return m_keys.create(options, std::move(callback));
        }
        return m_shortcut ? m_shortcut->create(options, std::move(callback)) : nullptr;
    }

private:
    EventTap& m_keys;
    EventTap* const m_shortcut;
};

/// Whether the toolkit's window system is X11, and the compositor beside it does part of the work.
bool needsCompositorBeside(const SessionRoutes& routes)
{
    return routes.toolkit == ToolkitRoute::x11
        && (routes.clipboard == ClipboardRoute::dataControl || routes.paste == PasteRoute::virtualKeyboard
            || routes.paste == PasteRoute::kwinFakeInput || routes.windows == WindowsRoute::foreignToplevels
            || routes.windows == WindowsRoute::plasmaWindows);
}

std::unique_ptr<KWinKeyboardLayout> makeKeyboardLayout(const DesktopContext& context)
{
    return context.routes.paste == PasteRoute::kwinFakeInput
        ? std::make_unique<KWinKeyboardLayout>(context.bus)
        : nullptr;
}

/// The layout may be null, and outlives the window system.
std::unique_ptr<WindowSystem> makeWindowSystem(const DesktopContext& context, ToolkitRoute which,
                                               const KWinKeyboardLayout* layout)
{
    WindowSystemLibrary* const library = context.windowSystems.library(which);
    if (!library) {
        throw std::runtime_error("a part of the program is missing");
    }
    std::function<std::uint32_t()> layoutInUse;
    if (layout) {
        layoutInUse = [layout] { return layout->inUse(); };
    }
    return library->make({context.mainQueue, context.clock, context.userNotice, context.routes,
                          context.pasteChordFiles, std::move(layoutInUse)});
}

std::unique_ptr<EventTap> makeShortcut(const DesktopContext& context)
{
    const auto unavailable = [report = context.reportProblem,
                              tell = context.shortcutIsUnavailable](const std::string& reason) {
        report("the shortcut cannot be had: " + reason);
        tell();
    };
    const auto declined = [unavailable, &userDefaults = context.userDefaults](const std::string& reason) {
        if (reason == PortalShortcut::declined) {
            userDefaults.setBoolean(shortcutDeclinedKey, true);
        }
        unavailable(reason);
    };
    switch (context.routes.shortcut) {
    case ShortcutRoute::kglobalaccel:
        return std::make_unique<KGlobalAccelShortcut>(context.bus, unavailable);
    case ShortcutRoute::sway: {
        const char* socket = std::getenv("SWAYSOCK");
        return std::make_unique<SwayShortcut>(socket ? socket : "", context.mainQueue, unavailable);
    }
    case ShortcutRoute::globalShortcutsPortal:
        // Whoever has said no is not asked at every login.
        return context.userDefaults.boolean(shortcutDeclinedKey).value_or(false)
            ? nullptr
            : std::make_unique<PortalShortcut>(declined);
    case ShortcutRoute::x11Grab:
    case ShortcutRoute::command:
        break;
    }
    return nullptr;
}

/// What the compositor has comes before what the toolkit's window system has.
template <typename Service>
Service* firstOf(WindowSystem* compositor, WindowSystem& toolkits, Service* (WindowSystem::*service)())
{
    Service* const found = compositor ? (compositor->*service)() : nullptr;
    return found ? found : (toolkits.*service)();
}

} // namespace

/// A panel that gets its keys as every window does.
struct Desktop::OrdinaryPanel {
    explicit OrdinaryPanel(MainQueue& mainQueue) : keyEventFilter(mainQueue) { }

    KeyEventFilter keyEventFilter;
    FocusedEventTap eventTap{keyEventFilter};
    FocusedEventMonitors eventMonitors{keyEventFilter};
    FocusedPanelHost panelHost;
};

Desktop::Desktop(const DesktopContext& context)
    : m_keyboardLayout(makeKeyboardLayout(context)),
      m_windowSystem(makeWindowSystem(context, context.routes.toolkit, m_keyboardLayout.get())),
      m_compositor(needsCompositorBeside(context.routes)
                       ? makeWindowSystem(context, ToolkitRoute::wayland, m_keyboardLayout.get())
                       : nullptr),
      m_shortcut(makeShortcut(context)), m_userDefaults(context.userDefaults)
{
    context.windowSystems.endProbing();
    m_pasteboard = firstOf(m_compositor.get(), *m_windowSystem, &WindowSystem::pasteboard);
    if (!m_pasteboard) {
        m_ownPasteboard = std::make_unique<QtPasteboard>();
        m_pasteboard = m_ownPasteboard.get();
    }
    m_workspace = firstOf(m_compositor.get(), *m_windowSystem, &WindowSystem::workspace);
    if (!m_workspace) {
        m_ownWorkspace = std::make_unique<UnknownWorkspace>();
        m_workspace = m_ownWorkspace.get();
    }
    m_panelHost = m_windowSystem->panelHost();
    m_eventMonitors = m_windowSystem->eventMonitors();
    m_eventTap = m_windowSystem->eventTap();
    if (!m_panelHost) {
        m_ordinaryPanel = std::make_unique<OrdinaryPanel>(context.mainQueue);
        m_panelHost = &m_ordinaryPanel->panelHost;
        m_eventMonitors = &m_ordinaryPanel->eventMonitors;
        m_eventTap = &m_ordinaryPanel->eventTap;
    }
    if (context.routes.shortcut != ShortcutRoute::x11Grab) {
        m_ownEventTap = std::make_unique<DividedEventTap>(*m_eventTap, m_shortcut.get());
        m_eventTap = m_ownEventTap.get();
    }
    makePoster(context);
}

void Desktop::makePoster(const DesktopContext& context)
{
    m_eventPoster = m_windowSystem->eventPoster();
    m_trust = m_windowSystem->accessibilityTrust();
    if (m_eventPoster && m_trust) {
        return;
    }
    InjectedKeyboard* keyboard = firstOf(m_compositor.get(), *m_windowSystem, &WindowSystem::keyboard);
    if (context.routes.paste == PasteRoute::remoteDesktopPortal) {
        makePortalKeyboard(context);
        keyboard = m_portalKeyboard.get();
        m_ownTrust = std::make_unique<PasteTrust>(*m_portalKeyboard, context.userNotice,
                                                  [this] { askForConsent(Asking::onceForAll); });
    } else {
        m_ownTrust = std::make_unique<PasteTrust>(keyboard, context.userNotice);
    }
    m_trust = m_ownTrust.get();
    auto* const surroundings = firstOf(m_compositor.get(), *m_windowSystem, &WindowSystem::pasteSurroundings);
    // No route leads to keys without one to the clipboard.
    if (keyboard && surroundings) {
        m_ownPoster = std::make_unique<InjectedEventPoster>(
            *keyboard, *surroundings, PasteChords(context.pasteChordFiles), context.clock);
    } else {
        m_ownPoster = std::make_unique<NoEventPoster>();
    }
    m_eventPoster = m_ownPoster.get();
}

void Desktop::makePortalKeyboard(const DesktopContext& context)
{
    m_portalBus = std::make_unique<SessionBus>();
    m_portalRegistration = std::make_unique<PortalRegistration>(*m_portalBus, context.bundleIdentifier);
    const auto refused = [report = context.reportProblem, tell = context.typingIsRefused,
                          &userDefaults = context.userDefaults](PortalKeyboard::Refusal refusal) {
        if (refusal == PortalKeyboard::Refusal::byPortal) {
            report("the desktop portal does not let emoji be typed");
            return;
        }
        report("the user does not let emoji be typed");
        userDefaults.setBoolean(consentRefusedKey, true);
        tell();
    };
    const auto granted = [&userDefaults = context.userDefaults] {
        if (userDefaults.boolean(consentRefusedKey).value_or(false)) {
            userDefaults.setBoolean(consentRefusedKey, false);
        }
    };
    m_portalKeyboard = std::make_unique<PortalKeyboard>(
        *m_portalBus, *m_portalRegistration, context.userDefaults,
        PortalKeyboard::Hooks{refused, granted, context.reportProblem}, PortalKeyboard::Patience());
}

Desktop::~Desktop() = default;

void Desktop::askForConsent(Asking asking)
{
    if (!m_portalKeyboard || m_portalKeyboard->isReady()) {
        return;
    }
    const bool mayAsk = asking == Asking::again || !m_userDefaults.boolean(consentRefusedKey).value_or(false);
    if (mayAsk) {
        m_portalKeyboard->requestConsent();
    }
}

} // namespace glimmerwick
