#pragma once

#include "Platform/EventMonitors.h"
#include "Platform/EventPoster.h"
#include "Platform/EventTap.h"
#include "Platform/PanelHost.h"
#include "Platform/Pasteboard.h"
#include "Platform/Workspace.h"

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::fakes {

/// A list of what was called, shared by fakes when a test asserts one order over several of them.
using CallLog = std::vector<std::string>;

/// Keeps taps, the newest first, and sends them key presses as a keyboard would.
class FakeEventTap : public EventTap {
public:
    struct Tap {
        Options options;
        Callback callback;
        bool enabled = false;
        int enableCount = 0;
        bool hasSource = false;
    };

    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override
    {
        ++createCount;
        if (calls) {
            calls->emplace_back("create tap");
        }
        if (refuses) {
            return nullptr;
        }
        taps.push_front(std::make_shared<Tap>(Tap{options, std::move(callback)}));
        return std::make_unique<Port>(*this, taps.front());
    }

    /// Delivers an event to the enabled taps in order until one swallows it.
    TapDecision send(const KeyEvent& event)
    {
        const auto current = taps;
        for (const auto& tap : current) {
            if (tap->enabled && tap->hasSource && tap->callback(event) == TapDecision::swallow) {
                return TapDecision::swallow;
            }
        }
        return TapDecision::pass;
    }
    TapDecision press(std::uint16_t code, EventFlags flags = 0,
                      std::optional<std::string> characters = std::nullopt)
    {
        return send(KeyEvent{EventType::keyDown, code, flags, std::move(characters)});
    }

    bool refuses = false;
    bool refusesSources = false;
    int createCount = 0;
    CallLog* calls = nullptr;
    std::list<std::shared_ptr<Tap>> taps;

private:
    class Source : public RunLoopSource {
    public:
        explicit Source(std::shared_ptr<Tap> tap) : m_tap(std::move(tap)) { m_tap->hasSource = true; }
        ~Source() override { m_tap->hasSource = false; }

    private:
        std::shared_ptr<Tap> m_tap;
    };

    class Port : public EventTapPort {
    public:
        Port(FakeEventTap& owner, std::shared_ptr<Tap> tap) : m_owner(owner), m_tap(std::move(tap)) { }
        ~Port() override { m_owner.taps.remove(m_tap); }
        std::unique_ptr<RunLoopSource> createRunLoopSource() override
        {
            return m_owner.refusesSources ? nullptr : std::make_unique<Source>(m_tap);
        }
        void setEnabled(bool enabled) override
        {
            m_tap->enabled = enabled;
            m_tap->enableCount += enabled ? 1 : 0;
        }

    private:
        FakeEventTap& m_owner;
        std::shared_ptr<Tap> m_tap;
    };
};

/// Keeps posted events; fails on demand.
class FakeEventPoster : public EventPoster {
public:
    struct Posted {
        std::uint16_t keyCode = 0;
        KeyDirection direction = KeyDirection::down;
        EventFlags flags = 0;

        friend bool operator==(const Posted&, const Posted&) = default;
    };

    std::unique_ptr<EventSource> makeSource() override
    {
        return failsSource ? nullptr : std::make_unique<Source>(*this);
    }

    std::vector<Posted> posted;
    bool failsSource = false;
    bool failsKeyDown = false;
    bool failsKeyUp = false;
    std::function<void(const Posted&)> onPost;
    CallLog* calls = nullptr;

private:
    class Event : public KeyboardEvent {
    public:
        Event(FakeEventPoster& owner, Posted event) : m_owner(owner), m_event(event) { }
        void setFlags(EventFlags flags) override { m_event.flags = flags; }
        void post() override
        {
            m_owner.posted.push_back(m_event);
            if (m_owner.calls) {
                m_owner.calls->push_back(m_event.direction == KeyDirection::down ? "post key-down"
                                                                                 : "post key-up");
            }
            if (m_owner.onPost) {
                m_owner.onPost(m_event);
            }
        }

    private:
        FakeEventPoster& m_owner;
        Posted m_event;
    };

    class Source : public EventSource {
    public:
        explicit Source(FakeEventPoster& owner) : m_owner(owner) { }
        std::unique_ptr<KeyboardEvent> makeKeyboardEvent(std::uint16_t keyCode,
                                                         KeyDirection direction) override
        {
            const bool fails = direction == KeyDirection::down ? m_owner.failsKeyDown : m_owner.failsKeyUp;
            return fails ? nullptr : std::make_unique<Event>(m_owner, Posted{keyCode, direction, 0});
        }

    private:
        FakeEventPoster& m_owner;
    };
};

/// Types and their bytes in a map.
class FakePasteboard : public Pasteboard {
public:
    void clearContents() override
    {
        contents.clear();
        note("clearContents");
    }
    bool setString(std::string_view text, const std::string& type) override
    {
        note("setString '" + std::string(text) + "' " + type);
        if (refusals > 0) {
            --refusals;
            return false;
        }
        contents[type] = std::string(text);
        return true;
    }
    bool setData(std::string_view bytes, const std::string& type) override
    {
        note("setData '" + std::string(bytes) + "' " + type);
        if (refusesData) {
            return false;
        }
        contents[type] = std::string(bytes);
        return true;
    }
    std::optional<std::string> string(const std::string& type) override
    {
        note("string " + type);
        const auto found = contents.find(type);
        return found == contents.end() ? std::nullopt : std::optional(found->second);
    }

    std::map<std::string, std::string> contents;
    /// How many of the next `setString` calls are refused.
    int refusals = 0;
    bool refusesData = false;
    CallLog* calls = nullptr;

private:
    void note(std::string call)
    {
        if (calls) {
            calls->push_back(std::move(call));
        }
    }
};

class FakeRunningApplication : public RunningApplication {
public:
    FakeRunningApplication(std::optional<std::string> identifier, std::optional<std::string> name,
                           std::int32_t pid)
        : identifier_(std::move(identifier)), name_(std::move(name)), pid_(pid)
    {
    }
    std::optional<std::string> bundleIdentifier() const override { return identifier_; }
    std::optional<std::string> localizedName() const override { return name_; }
    std::int32_t processIdentifier() const override { return pid_; }
    bool activate(ActivationOption option) override
    {
        activations.push_back(option);
        if (calls) {
            calls->push_back("activate " + name_.value_or("?"));
        }
        return activates;
    }

    bool activates = true;
    std::vector<ActivationOption> activations;
    CallLog* calls = nullptr;

private:
    std::optional<std::string> identifier_;
    std::optional<std::string> name_;
    std::int32_t pid_;
};

class FakeWorkspace : public Workspace {
public:
    std::shared_ptr<RunningApplication> frontmostApplication() override { return frontmost; }
    std::vector<std::shared_ptr<RunningApplication>> runningApplications() override { return running; }

    std::shared_ptr<RunningApplication> frontmost;
    std::vector<std::shared_ptr<RunningApplication>> running;
};

/// Keeps the monitors and lets a test play the user.
class FakeEventMonitors : public EventMonitors {
public:
    Registration addLocalKeyDownMonitor(std::function<MonitorDecision(const KeyEvent&)> handler) override
    {
        return add(localKeyDown, std::move(handler));
    }
    Registration addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override
    {
        return add(globalKeyDown, std::move(handler));
    }
    Registration addGlobalMouseDownMonitor(std::function<void()> handler) override
    {
        return add(globalMouseDown, std::move(handler));
    }

    MonitorDecision sendLocalKeyDown(const KeyEvent& event)
    {
        const auto current = localKeyDown;
        for (const auto& handler : current) {
            if ((*handler)(event) == MonitorDecision::consume) {
                return MonitorDecision::consume;
            }
        }
        return MonitorDecision::pass;
    }
    void sendGlobalKeyDown(const KeyEvent& event)
    {
        const auto current = globalKeyDown;
        for (const auto& handler : current) {
            (*handler)(event);
        }
    }
    void sendGlobalMouseDown()
    {
        const auto current = globalMouseDown;
        for (const auto& handler : current) {
            (*handler)();
        }
    }

    template <typename F> using Handlers = std::list<std::shared_ptr<std::function<F>>>;

    Handlers<MonitorDecision(const KeyEvent&)> localKeyDown;
    Handlers<void(const KeyEvent&)> globalKeyDown;
    Handlers<void()> globalMouseDown;

private:
    template <typename F> Registration add(Handlers<F>& handlers, std::function<F> handler)
    {
        auto kept = std::make_shared<std::function<F>>(std::move(handler));
        handlers.push_back(kept);
        return Registration([&handlers, kept] { handlers.remove(kept); });
    }
};

class FakePanelHost : public PanelHost {
public:
    bool needsOrdinaryPanel() const override { return isOrdinary; }
    std::optional<ScreenPoint> pointerPosition() override { return pointer; }
    void panelDidShow(NativeWindow) override { note("panelDidShow"); }
    void makePanelKey(NativeWindow) override { note("makePanelKey"); }
    void panelWillHide(NativeWindow) override { note("panelWillHide"); }
    Backdrop shapePanel(NativeWindow, PanelOutline outline) override
    {
        outlines.push_back(outline);
        return backdrop;
    }
    ScreenRect visibleFrame(ScreenRect screen) override
    {
        screens.push_back(screen);
        return {screen.x, screen.y, screen.width, screen.height - dockHeight};
    }
    Registration onBackdropChanged(std::function<void()> handler) override
    {
        backdropChanged = std::move(handler);
        return Registration([this] { backdropChanged = nullptr; });
    }
    Registration onKeysLost(std::function<void()> handler) override
    {
        keysLost = std::move(handler);
        return Registration([this] { keysLost = nullptr; });
    }

    bool isOrdinary = false;
    /// Nothing when the toolkit knows.
    std::optional<ScreenPoint> pointer;

    Backdrop backdrop = Backdrop::translucent;
    /// In pixels, along the bottom of every screen.
    int dockHeight = 0;
    std::vector<ScreenRect> screens;
    /// Null while nobody listens.
    std::function<void()> backdropChanged;
    std::function<void()> keysLost;
    std::vector<PanelOutline> outlines;
    CallLog calls;

private:
    void note(const char* call) { calls.emplace_back(call); }
};

} // namespace glimmerwick::fakes
