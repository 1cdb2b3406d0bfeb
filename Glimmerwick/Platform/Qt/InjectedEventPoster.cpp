#include "Platform/Qt/InjectedEventPoster.h"

#include "Platform/Clock.h"
#include "Platform/PasteSurroundings.h"
#include "Platform/Qt/XkbKeyCodes.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
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

void tellThatNothingWasTyped(const std::string& reason)
{
    std::fprintf(stderr, "glimmerwick: nothing was typed: %s\n", reason.c_str());
}

KeySymbols chord(EventFlags modifiers, std::uint32_t symbol)
{
    KeySymbols symbols;
    for (const Modifier& modifier : modifierTable) {
        if ((modifiers & modifier.flag) != 0) {
            symbols.push_back(modifier.keySymbol);
        }
    }
    symbols.push_back(symbol);
    return symbols;
}

KeySymbols chord(PasteChord::Keys keys)
{
    switch (keys) {
    case PasteChord::Keys::controlV:
        return chord(eventFlag::command, XKB_KEY_v);
    case PasteChord::Keys::controlShiftV:
        return chord(eventFlag::command | eventFlag::shift, XKB_KEY_v);
    case PasteChord::Keys::shiftInsert:
        return chord(eventFlag::shift, XKB_KEY_Insert);
    case PasteChord::Keys::controlShiftInsert:
        return chord(eventFlag::command | eventFlag::shift, XKB_KEY_Insert);
    }
    return {};
}

} // namespace

/// What a source's key-down event has pressed, for its key-up event to release; at the latest when all are
/// gone.
class InjectedEventPoster::PressedKeys {
public:
    explicit PressedKeys(InjectedKeyboard& keyboard) : m_keyboard(keyboard) { }
    ~PressedKeys() { release(); }
    PressedKeys(const PressedKeys&) = delete;
    PressedKeys& operator=(const PressedKeys&) = delete;

    /// False when it is not certain that the keys are down; some may be, which are let go at once.
    bool press(KeySymbols symbols)
    {
        release();
        m_symbols = std::move(symbols);
        const bool isPressed = m_keyboard.press(m_symbols);
        if (!isPressed) {
            tellThatNothingWasTyped("the keys were not taken");
            release();
        }
        return isPressed;
    }
    void release()
    {
        if (!m_symbols.empty()) {
            m_keyboard.release(std::exchange(m_symbols, {}));
        }
    }

private:
    InjectedKeyboard& m_keyboard;
    KeySymbols m_symbols;
};

class InjectedEventPoster::Event : public KeyboardEvent {
public:
    Event(InjectedEventPoster& owner, std::shared_ptr<PressedKeys> pressed, std::uint16_t keyCode,
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
    InjectedEventPoster& m_owner;
    std::shared_ptr<PressedKeys> m_pressed;
    const std::uint16_t m_keyCode;
    const KeyDirection m_direction;
    EventFlags m_flags = 0;
};

class InjectedEventPoster::Source : public EventSource {
public:
    explicit Source(InjectedEventPoster& owner)
        : m_owner(owner), m_pressed(std::make_shared<PressedKeys>(owner.m_keyboard))
    {
    }

    std::unique_ptr<KeyboardEvent> makeKeyboardEvent(std::uint16_t keyCode, KeyDirection direction) override
    {
        return m_owner.isTargetReached() && m_owner.canPress(keyCode)
            ? std::make_unique<Event>(m_owner, m_pressed, keyCode, direction)
            : nullptr;
    }

private:
    InjectedEventPoster& m_owner;
    std::shared_ptr<PressedKeys> m_pressed;
};

InjectedEventPoster::InjectedEventPoster(InjectedKeyboard& keyboard, PasteSurroundings& surroundings,
                                         PasteChords chords, Clock& clock)
    : m_keyboard(keyboard), m_surroundings(surroundings), m_chords(std::move(chords)), m_clock(clock)
{
}

InjectedEventPoster::~InjectedEventPoster() = default;

std::unique_ptr<EventSource> InjectedEventPoster::makeSource()
{
    return m_keyboard.isReady() ? std::make_unique<Source>(*this) : nullptr;
}

bool InjectedEventPoster::isTargetReached()
{
    const auto obstacle = m_surroundings.obstacle();
    if (obstacle) {
        tellThatNothingWasTyped(*obstacle);
    }
    return !obstacle;
}

bool InjectedEventPoster::canPress(std::uint16_t virtualKeyCode)
{
    const auto symbol = xkb::usKeySymbol(virtualKeyCode);
    const bool canPress = symbol && m_keyboard.canType(*symbol);
    if (!canPress) {
        tellThatNothingWasTyped("there is no such key");
    }
    return canPress;
}

void InjectedEventPoster::post(PressedKeys& pressed, std::uint16_t virtualKeyCode, EventFlags flags)
{
    if (!isTargetReached()) {
        return;
    }
    if (virtualKeyCode == keyCode::v && flags == eventFlag::command) {
        postPaste(pressed);
    } else if (const auto symbol = xkb::usKeySymbol(virtualKeyCode)) {
        pressed.press(chord(flags, *symbol));
    }
}

void InjectedEventPoster::postPaste(PressedKeys& pressed)
{
    const PasteChord paste = m_chords.find(m_surroundings.frontmostApplication());
    const bool usesPrimary = paste.keys == PasteChord::Keys::shiftInsert;
    if (!m_surroundings.pasteWillBegin(usesPrimary ? PasteSelections::clipboardAndPrimary
                                                   : PasteSelections::clipboard)) {
        tellThatNothingWasTyped("another program has taken the clipboard");
        return;
    }
    if (paste.readiness == PasteChord::Readiness::afterSettling) {
        m_clock.sleep(settlingTime);
    }
    // Again, because the preparations may have taken long enough for another window to come up.
    if (!isTargetReached() || !pressed.press(chord(paste.keys))) {
        m_surroundings.pasteWasCancelled();
    }
}

} // namespace glimmerwick
