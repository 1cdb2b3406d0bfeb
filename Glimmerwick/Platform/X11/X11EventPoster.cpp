#include "Platform/X11/X11EventPoster.h"

#include "Platform/Clock.h"
#include "Platform/X11/X11KeyboardGrab.h"
#include "Platform/X11/X11Pasteboard.h"
#include "Platform/X11/X11Windows.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

// A paste chord sent at once after the clipboard changed hands was ignored by such an application; 5 to 20 ms
// later it was taken.
constexpr auto settlingTime = 20ms;

constexpr xcb_keysym_t symbolSmallV = 0x76;
constexpr xcb_keysym_t symbolInsert = 0xff63;
constexpr xcb_keysym_t symbolControlLeft = 0xffe3;
constexpr xcb_keysym_t symbolShiftLeft = 0xffe1;
constexpr xcb_keysym_t symbolAltLeft = 0xffe9;
constexpr xcb_keysym_t symbolSuperLeft = 0xffeb;

std::optional<xcb_keycode_t> first(const std::vector<xcb_keycode_t>& keys)
{
    return keys.empty() ? std::nullopt : std::optional(keys.front());
}

} // namespace

/// What a source's key-down event has pressed, for its key-up event to release; at the latest when all are
/// gone.
class X11EventPoster::PressedKeys {
public:
    explicit PressedKeys(X11EventPoster& owner) : m_owner(owner) { }
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
    X11EventPoster& m_owner;
    KeySequence m_keys;
};

class X11EventPoster::Event : public KeyboardEvent {
public:
    Event(X11EventPoster& owner, std::shared_ptr<PressedKeys> pressed, std::uint16_t keyCode,
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
        const bool isPaste = m_keyCode == keyCode::v && m_flags == eventFlag::command;
        if (const auto keys = isPaste ? m_owner.paste() : m_owner.sequence(m_keyCode, m_flags)) {
            m_pressed->press(*keys);
        } else {
            std::fprintf(stderr, "glimmerwick: this keyboard cannot produce the key press\n");
        }
    }

private:
    X11EventPoster& m_owner;
    std::shared_ptr<PressedKeys> m_pressed;
    const std::uint16_t m_keyCode;
    const KeyDirection m_direction;
    EventFlags m_flags = 0;
};

class X11EventPoster::Source : public EventSource {
public:
    explicit Source(X11EventPoster& owner) : m_owner(owner), m_pressed(std::make_shared<PressedKeys>(owner))
    {
    }

    std::unique_ptr<KeyboardEvent> makeKeyboardEvent(std::uint16_t keyCode, KeyDirection direction) override
    {
        return m_owner.canPress(keyCode) ? std::make_unique<Event>(m_owner, m_pressed, keyCode, direction)
                                         : nullptr;
    }

private:
    X11EventPoster& m_owner;
    std::shared_ptr<PressedKeys> m_pressed;
};

X11EventPoster::X11EventPoster(X11Connection& toolkit, X11Keyboard& keyboard, X11Windows& windows,
                               X11KeyboardGrab& keyboardGrab, X11Pasteboard& pasteboard, PasteChords chords,
                               Clock& clock)
    : m_toolkit(toolkit), m_keyboard(keyboard), m_windows(windows), m_keyboardGrab(keyboardGrab),
      m_pasteboard(pasteboard), m_chords(std::move(chords)), m_clock(clock)
{
}

X11EventPoster::~X11EventPoster() = default;

std::unique_ptr<EventSource> X11EventPoster::makeSource()
{
    return m_toolkit.hasExtension(xcb_test_id) ? std::make_unique<Source>(*this) : nullptr;
}

bool X11EventPoster::canPress(std::uint16_t virtualKeyCode) const
{
    return sequence(virtualKeyCode, 0)
        || (virtualKeyCode == keyCode::v && sequence(PasteChord::Keys::shiftInsert));
}

std::optional<X11EventPoster::KeySequence> X11EventPoster::paste()
{
    const auto target = m_windows.focusedWindow();
    const PasteChord chord = target ? m_chords.find(m_windows.windowClass(*target)) : PasteChord();
    auto chordKeys = chord.keys;
    auto keys = sequence(chordKeys);
    if (!keys) {
        // A layout without the letter. Most programs paste with these keys as well.
        chordKeys = PasteChord::Keys::shiftInsert;
        keys = sequence(chordKeys);
    }
    if (target && keys) {
        m_pasteboard.pasteWillBegin(*target,
                                    chordKeys == PasteChord::Keys::shiftInsert
                                        ? X11SelectionService::PasteSelections::clipboardAndPrimary
                                        : X11SelectionService::PasteSelections::clipboard);
    }
    if (chord.readiness == PasteChord::Readiness::afterSettling) {
        m_clock.sleep(settlingTime);
    }
    return keys;
}

std::optional<X11EventPoster::KeySequence> X11EventPoster::sequence(PasteChord::Keys keys) const
{
    const auto letter = first(m_keyboard.keysWithSymbol(symbolSmallV));
    switch (keys) {
    case PasteChord::Keys::controlV:
        return withModifiers(eventFlag::command, letter);
    case PasteChord::Keys::controlShiftV:
        return withModifiers(eventFlag::command | eventFlag::shift, letter);
    case PasteChord::Keys::shiftInsert:
        return withModifiers(eventFlag::shift, first(m_keyboard.keysWithSymbol(symbolInsert)));
    }
    return std::nullopt;
}

std::optional<X11EventPoster::KeySequence> X11EventPoster::sequence(std::uint16_t virtualKeyCode,
                                                                    EventFlags flags) const
{
    return withModifiers(flags, first(m_keyboard.keysOf(virtualKeyCode)));
}

std::optional<X11EventPoster::KeySequence>
X11EventPoster::withModifiers(EventFlags flags, std::optional<xcb_keycode_t> key) const
{
    KeySequence keys;
    for (const EventFlags flag :
         {eventFlag::command, eventFlag::control, eventFlag::option, eventFlag::shift}) {
        if ((flags & flag) == 0) {
            continue;
        }
        const auto modifier = modifierKey(flag);
        if (!modifier) {
            return std::nullopt;
        }
        keys.push_back(*modifier);
    }
    if (!key) {
        return std::nullopt;
    }
    keys.push_back(*key);
    return keys;
}

std::optional<xcb_keycode_t> X11EventPoster::modifierKey(EventFlags flag) const
{
    switch (flag) {
    case eventFlag::command:
        return first(m_keyboard.keysWithSymbol(symbolControlLeft));
    case eventFlag::control:
        return first(m_keyboard.keysWithSymbol(symbolSuperLeft));
    case eventFlag::option:
        return first(m_keyboard.keysWithSymbol(symbolAltLeft));
    case eventFlag::shift:
        return first(m_keyboard.keysWithSymbol(symbolShiftLeft));
    default:
        return std::nullopt;
    }
}

// The grabs are the toolkit connection's, so they end in one batch with the key presses: the repeat of a key
// that is kept back would else bring its grab in between, and that would take the presses.
void X11EventPoster::press(const KeySequence& keys)
{
    m_keyboardGrab.letGo();
    const auto modifiers = heldModifiers();
    xcb_ungrab_keyboard(m_toolkit, XCB_CURRENT_TIME);
    for (const xcb_keycode_t key : modifiers) {
        fake(XCB_KEY_RELEASE, key);
    }
    for (const xcb_keycode_t key : keys) {
        fake(XCB_KEY_PRESS, key);
    }
    m_toolkit.roundTrip();
}

void X11EventPoster::release(const KeySequence& keys)
{
    std::for_each(keys.rbegin(), keys.rend(), [this](xcb_keycode_t key) { fake(XCB_KEY_RELEASE, key); });
    m_toolkit.roundTrip();
}

// Once released they are not pressed again: a key pressed here stays down on the test device when the user
// lets go of the real one, and the next paste would be a plain letter.
X11EventPoster::KeySequence X11EventPoster::heldModifiers() const
{
    const auto pressed = m_keyboard.pressedKeys();
    KeySequence modifiers;
    for (std::size_t index = 0; index < pressed.size(); ++index) {
        const auto key = static_cast<xcb_keycode_t>(index);
        if (pressed.test(index) && m_keyboard.isModifier(key) && !m_keyboard.isLock(key)) {
            modifiers.push_back(key);
        }
    }
    return modifiers;
}

void X11EventPoster::fake(std::uint8_t type, xcb_keycode_t key)
{
    xcb_test_fake_input(m_toolkit, type, key, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
}

} // namespace glimmerwick
