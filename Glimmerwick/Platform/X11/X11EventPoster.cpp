#include "Platform/X11/X11EventPoster.h"

#include "Platform/Clock.h"
#include "Platform/X11/X11HeldKeys.h"
#include "Platform/X11/X11KeyboardGrab.h"
#include "Platform/X11/X11Pasteboard.h"
#include "Platform/X11/X11TypingTarget.h"
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

// Who types fast still holds the last letter of the query when the pick is under way; a key cannot be pressed
// twice. Letters are held for about a tenth of a second.
constexpr auto longestHold = 300ms;
constexpr auto lookInterval = 5ms;

constexpr const char* keysAreMissing = "this keyboard lacks the keys";

void tellThatNothingWasTyped(const X11Connection& display, const char* reason)
{
    // A display that has gone away has no windows and no keys; that is told elsewhere.
    if (!display.isBroken()) {
        std::fprintf(stderr, "glimmerwick: nothing was typed: %s\n", reason);
    }
}

const char* explanation(X11TypingTarget::Obstacle obstacle)
{
    switch (obstacle) {
    case X11TypingTarget::Obstacle::windowIsGone:
        return "the window to type into is gone";
    case X11TypingTarget::Obstacle::anotherWindowHasTheKeys:
        return "another window has the keyboard";
    }
    return "";
}

/// What pastes in most of the same programs, for a keyboard that lacks the keys.
PasteChord::Keys substitute(PasteChord::Keys keys)
{
    return keys == PasteChord::Keys::controlShiftInsert ? PasteChord::Keys::controlShiftV
                                                        : PasteChord::Keys::shiftInsert;
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
        m_owner.post(*m_pressed, m_keyCode, m_flags);
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
        return m_owner.isTargetReached() && m_owner.canPress(keyCode)
            ? std::make_unique<Event>(m_owner, m_pressed, keyCode, direction)
            : nullptr;
    }

private:
    X11EventPoster& m_owner;
    std::shared_ptr<PressedKeys> m_pressed;
};

X11EventPoster::X11EventPoster(X11Connection& toolkit, X11Keyboard& keyboard, X11Windows& windows,
                               X11TypingTarget& typingTarget, X11KeyboardGrab& keyboardGrab,
                               X11HeldKeys& heldKeys, X11Pasteboard& pasteboard, PasteChords chords,
                               Clock& clock)
    : m_toolkit(toolkit), m_keyboard(keyboard), m_windows(windows), m_typingTarget(typingTarget),
      m_keyboardGrab(keyboardGrab), m_heldKeys(heldKeys), m_pasteboard(pasteboard),
      m_chords(std::move(chords)), m_clock(clock)
{
}

X11EventPoster::~X11EventPoster() = default;

std::unique_ptr<EventSource> X11EventPoster::makeSource()
{
    return m_toolkit.hasExtension(xcb_test_id) ? std::make_unique<Source>(*this) : nullptr;
}

bool X11EventPoster::isTargetReached()
{
    const auto obstacle = m_typingTarget.obstacle();
    if (obstacle) {
        tellThatNothingWasTyped(m_toolkit, explanation(*obstacle));
    }
    return !obstacle;
}

// V is asked for to paste, which other keys may do.
bool X11EventPoster::canPress(std::uint16_t virtualKeyCode)
{
    const bool canPress = virtualKeyCode == keyCode::v ? findPaste(m_windows.focusedWindow()).has_value()
                                                       : !m_keyboard.keysOf(virtualKeyCode).empty();
    if (!canPress) {
        tellThatNothingWasTyped(m_toolkit, keysAreMissing);
    }
    return canPress;
}

void X11EventPoster::post(PressedKeys& pressed, std::uint16_t virtualKeyCode, EventFlags flags)
{
    if (!isTargetReached()) {
        return;
    }
    if (virtualKeyCode == keyCode::v && flags == eventFlag::command) {
        postPaste(pressed);
    } else if (const auto keys = m_keyboard.chord(flags, m_keyboard.keysOf(virtualKeyCode))) {
        pressed.press(*keys);
    } else {
        tellThatNothingWasTyped(m_toolkit, keysAreMissing);
    }
}

void X11EventPoster::postPaste(PressedKeys& pressed)
{
    const auto target = m_windows.focusedWindow();
    const auto paste = findPasteWithFreeKeys(target);
    if (!paste) {
        tellThatNothingWasTyped(m_toolkit, keysAreMissing);
        return;
    }
    if (target && !beginPaste(*target, paste->chord)) {
        tellThatNothingWasTyped(m_toolkit, "another program has taken the clipboard");
        return;
    }
    if (paste->chord.readiness == PasteChord::Readiness::afterSettling) {
        m_clock.sleep(settlingTime);
    }
    // Again, because the preparations may have taken long enough for another window to come up.
    if (isTargetReached()) {
        pressed.press(paste->keys);
    } else {
        m_pasteboard.pasteWasCancelled();
    }
}

std::optional<X11EventPoster::Paste> X11EventPoster::findPaste(std::optional<xcb_window_t> target)
{
    PasteChord chord = target ? m_chords.find(m_windows.windowClass(*target)) : PasteChord();
    if (auto keys = sequence(chord.keys)) {
        return Paste{chord, *std::move(keys)};
    }
    chord.keys = substitute(chord.keys);
    auto keys = sequence(chord.keys);
    return keys ? std::optional(Paste{chord, *std::move(keys)}) : std::nullopt;
}

std::optional<X11EventPoster::Paste> X11EventPoster::findPasteWithFreeKeys(std::optional<xcb_window_t> target)
{
    auto paste = findPaste(target);
    if (paste && !isFree(paste->keys.back())) {
        const auto other = substitute(paste->chord.keys);
        if (auto keys = sequence(other)) {
            *paste = {{other, paste->chord.readiness}, *std::move(keys)};
        }
    }
    return paste;
}

bool X11EventPoster::beginPaste(xcb_window_t target, const PasteChord& chord)
{
    return m_pasteboard.pasteWillBegin(target,
                                       chord.keys == PasteChord::Keys::shiftInsert
                                           ? X11SelectionService::PasteSelections::clipboardAndPrimary
                                           : X11SelectionService::PasteSelections::clipboard);
}

/// Waits a little for the user to let go of the key.
bool X11EventPoster::isFree(xcb_keycode_t key)
{
    const auto end = m_clock.now() + longestHold;
    while (m_keyboard.pressedKeys().test(key)) {
        if (m_clock.now() >= end) {
            return false;
        }
        m_clock.sleep(lookInterval);
    }
    return true;
}

std::optional<X11EventPoster::KeySequence> X11EventPoster::sequence(PasteChord::Keys keys) const
{
    const auto with = [this](EventFlags modifiers, xcb_keysym_t symbol) {
        return m_keyboard.chord(modifiers, m_keyboard.keysTyping(symbol));
    };
    switch (keys) {
    case PasteChord::Keys::controlV:
        return with(eventFlag::command, symbolSmallV);
    case PasteChord::Keys::controlShiftV:
        return with(eventFlag::command | eventFlag::shift, symbolSmallV);
    case PasteChord::Keys::shiftInsert:
        return with(eventFlag::shift, symbolInsert);
    case PasteChord::Keys::controlShiftInsert:
        return with(eventFlag::command | eventFlag::shift, symbolInsert);
    }
    return std::nullopt;
}

// The grabs are the toolkit connection's, so they end in one batch with the key presses: the repeat of a key
// that is kept back would else bring its grab in between, and that would take the presses.
void X11EventPoster::press(const KeySequence& keys)
{
    m_keyboardGrab.suspend();
    m_heldKeys.update();
    const auto modifiers = heldModifiers();
    xcb_ungrab_keyboard(m_toolkit, XCB_CURRENT_TIME);
    for (const xcb_keycode_t key : modifiers) {
        fake(XCB_KEY_RELEASE, key);
    }
    switchOffLocks();
    for (const xcb_keycode_t key : keys) {
        fake(XCB_KEY_PRESS, key);
    }
    m_toolkit.roundTrip();
}

void X11EventPoster::release(const KeySequence& keys)
{
    std::for_each(keys.rbegin(), keys.rend(), [this](xcb_keycode_t key) { fake(XCB_KEY_RELEASE, key); });
    switchOnLocks();
    m_toolkit.roundTrip();
    // The user may have opened the picker again since the pick; keys typed now are meant for it.
    m_keyboardGrab.resume();
}

// Sticky keys, and layouts that lock a level, leave modifiers on with no key held.
void X11EventPoster::switchOffLocks()
{
    m_locksToRestore = m_keyboard.lockedModifiers();
    if (m_locksToRestore != 0 || m_keyboard.latchedModifiers() != 0) {
        X11KeyMap::switchLocks(m_toolkit, m_locksToRestore, X11KeyMap::Switch::off);
    }
}

void X11EventPoster::switchOnLocks()
{
    if (const auto locks = std::exchange(m_locksToRestore, 0); locks != 0) {
        X11KeyMap::switchLocks(m_toolkit, locks, X11KeyMap::Switch::on);
    }
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
