#include "Platform/Wayland/WaylandEventPoster.h"

#include "Platform/Clock.h"
#include "Platform/Qt/XkbKeyCodes.h"
#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandPasteboard.h"
#include "Platform/Wayland/WaylandWindows.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

// As long as such applications need under X11 to learn what is on the clipboard.
constexpr auto settlingTime = 20ms;

struct Modifier {
    EventFlags flag;
    std::uint32_t keySymbol;
};

constexpr std::array modifierTable{
    Modifier{eventFlag::command, XKB_KEY_Control_L},
    Modifier{eventFlag::control, XKB_KEY_Super_L},
    Modifier{eventFlag::option, XKB_KEY_Alt_L},
    Modifier{eventFlag::shift, XKB_KEY_Shift_L},
};

void tellThatNothingWasTyped(const char* reason)
{
    std::fprintf(stderr, "glimmerwick: nothing was typed: %s\n", reason);
}

const char* explanation(WaylandWindows::Obstacle obstacle)
{
    switch (obstacle) {
    case WaylandWindows::Obstacle::windowIsGone:
        return "the window to type into is gone";
    case WaylandWindows::Obstacle::anotherWindowHasTheKeys:
        return "another window has the keyboard";
    }
    return "";
}

std::optional<std::uint32_t> keyOf(const WaylandVirtualKeyboard& keyboard, std::uint16_t virtualKeyCode)
{
    const auto symbol = xkb::keySymbol(virtualKeyCode);
    return symbol ? keyboard.keyTyping(*symbol) : xkb::xkbKeyCode(virtualKeyCode);
}

} // namespace

/// What a source's key-down event has pressed, for its key-up event to release; at the latest when all are
/// gone.
class WaylandEventPoster::PressedKeys {
public:
    explicit PressedKeys(WaylandEventPoster& owner) : m_owner(owner) { }
    ~PressedKeys() { release(); }
    PressedKeys(const PressedKeys&) = delete;
    PressedKeys& operator=(const PressedKeys&) = delete;

    void press(KeySequence keys)
    {
        release();
        m_keys = std::move(keys);
        m_owner.press(m_keys);
    }
    void release()
    {
        if (!m_keys.empty()) {
            m_owner.release(std::exchange(m_keys, {}));
        }
    }

private:
    WaylandEventPoster& m_owner;
    KeySequence m_keys;
};

class WaylandEventPoster::Event : public KeyboardEvent {
public:
    Event(WaylandEventPoster& owner, std::shared_ptr<PressedKeys> pressed, std::uint16_t keyCode,
          KeyDirection direction)
        : m_owner(owner), m_pressed(std::move(pressed)), m_keyCode(keyCode), m_direction(direction)
    {
    }

    void setFlags(EventFlags flags) override { m_flags = flags; }

    void post() override
    {
        if (m_direction == KeyDirection::up) {
            m_pressed->release();
            return;
        }
        m_owner.post(*m_pressed, m_keyCode, m_flags);
    }

private:
    WaylandEventPoster& m_owner;
    std::shared_ptr<PressedKeys> m_pressed;
    const std::uint16_t m_keyCode;
    const KeyDirection m_direction;
    EventFlags m_flags = 0;
};

class WaylandEventPoster::Source : public EventSource {
public:
    explicit Source(WaylandEventPoster& owner)
        : m_owner(owner), m_pressed(std::make_shared<PressedKeys>(owner))
    {
    }

    std::unique_ptr<KeyboardEvent> makeKeyboardEvent(std::uint16_t keyCode, KeyDirection direction) override
    {
        return m_owner.isTargetReached() && m_owner.canPress(keyCode)
            ? std::make_unique<Event>(m_owner, m_pressed, keyCode, direction)
            : nullptr;
    }

private:
    WaylandEventPoster& m_owner;
    std::shared_ptr<PressedKeys> m_pressed;
};

WaylandEventPoster::WaylandEventPoster(WaylandConnection& connection, WaylandWindows& windows,
                                       WaylandPasteboard& pasteboard, PasteChords chords, Clock& clock)
    : m_connection(connection), m_windows(windows), m_pasteboard(pasteboard), m_chords(std::move(chords)),
      m_clock(clock), m_keyboard(connection.perform([](WaylandDisplay& display) {
          auto keyboard = WaylandVirtualKeyboard::make(display);
          // One that is refused ends the connection, which is to be known before anything relies on it.
          display.roundTrip();
          return keyboard;
      }))
{
}

WaylandEventPoster::~WaylandEventPoster()
{
    m_connection.perform([this](WaylandDisplay&) { m_keyboard.reset(); });
}

std::unique_ptr<EventSource> WaylandEventPoster::makeSource()
{
    return m_keyboard && !m_connection.isLost() ? std::make_unique<Source>(*this) : nullptr;
}

bool WaylandEventPoster::isTargetReached()
{
    const auto obstacle = m_windows.obstacle();
    if (obstacle) {
        tellThatNothingWasTyped(explanation(*obstacle));
    }
    return !obstacle;
}

bool WaylandEventPoster::canPress(std::uint16_t virtualKeyCode)
{
    const bool canPress = keyOf(*m_keyboard, virtualKeyCode).has_value();
    if (!canPress) {
        tellThatNothingWasTyped("there is no such key");
    }
    return canPress;
}

void WaylandEventPoster::post(PressedKeys& pressed, std::uint16_t virtualKeyCode, EventFlags flags)
{
    if (!isTargetReached()) {
        return;
    }
    if (virtualKeyCode == keyCode::v && flags == eventFlag::command) {
        postPaste(pressed);
    } else {
        pressed.press(sequence(flags, keyOf(*m_keyboard, virtualKeyCode)));
    }
}

void WaylandEventPoster::postPaste(PressedKeys& pressed)
{
    const auto window = m_windows.frontmost();
    const PasteChord chord = window ? m_chords.find(window->appId) : PasteChord();
    const bool usesPrimary = chord.keys == PasteChord::Keys::shiftInsert;
    if (!m_pasteboard.pasteWillBegin(usesPrimary ? WaylandPasteboard::PasteSelections::clipboardAndPrimary
                                                 : WaylandPasteboard::PasteSelections::clipboard)) {
        tellThatNothingWasTyped("another program has taken the clipboard");
        return;
    }
    if (chord.readiness == PasteChord::Readiness::afterSettling) {
        m_clock.sleep(settlingTime);
    }
    // Again, because the preparations may have taken long enough for another window to come up.
    if (isTargetReached()) {
        pressed.press(sequence(chord.keys));
    } else {
        m_pasteboard.pasteWasCancelled();
    }
}

WaylandEventPoster::KeySequence WaylandEventPoster::sequence(PasteChord::Keys keys) const
{
    const auto with = [this](EventFlags modifiers, std::uint32_t symbol) {
        return sequence(modifiers, m_keyboard->keyTyping(symbol));
    };
    switch (keys) {
    case PasteChord::Keys::controlV:
        return with(eventFlag::command, XKB_KEY_v);
    case PasteChord::Keys::controlShiftV:
        return with(eventFlag::command | eventFlag::shift, XKB_KEY_v);
    case PasteChord::Keys::shiftInsert:
        return with(eventFlag::shift, XKB_KEY_Insert);
    case PasteChord::Keys::controlShiftInsert:
        return with(eventFlag::command | eventFlag::shift, XKB_KEY_Insert);
    }
    return {};
}

WaylandEventPoster::KeySequence WaylandEventPoster::sequence(EventFlags modifiers,
                                                             std::optional<std::uint32_t> key) const
{
    KeySequence keys;
    const auto add = [&keys](std::optional<std::uint32_t> pressed) {
        if (pressed) {
            keys.push_back(*pressed);
        }
    };
    for (const Modifier& modifier : modifierTable) {
        if ((modifiers & modifier.flag) != 0) {
            add(m_keyboard->keyTyping(modifier.keySymbol));
        }
    }
    add(key);
    return keys;
}

void WaylandEventPoster::press(const KeySequence& keys)
{
    m_connection.perform([&](WaylandDisplay& display) {
        for (const std::uint32_t key : keys) {
            m_keyboard->press(key);
        }
        display.roundTrip();
    });
}

void WaylandEventPoster::release(const KeySequence& keys)
{
    m_connection.perform([&](WaylandDisplay& display) {
        std::for_each(keys.rbegin(), keys.rend(), [this](std::uint32_t key) { m_keyboard->release(key); });
        display.roundTrip();
    });
}

} // namespace glimmerwick
