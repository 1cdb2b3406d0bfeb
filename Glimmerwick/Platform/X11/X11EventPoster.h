#pragma once

#include "Platform/EventPoster.h"
#include "Platform/Linux/PasteChords.h"
#include "Platform/X11/X11Keyboard.h"

#include <memory>
#include <optional>
#include <vector>

namespace glimmerwick {

class Clock;
class X11HeldKeys;
class X11KeyboardGrab;
class X11Pasteboard;
class X11TypingTarget;
class X11Windows;

/// Presses keys through the XTEST extension. V with Command alone means "paste" and becomes the chord that
/// pastes in the application which has the focus; the pasteboard is told of it beforehand.
///
/// Nothing is pressed that would reach another window than the one activated last: no event can be made then,
/// and one that has been made presses nothing; nor does a paste when another program has taken the clipboard.
/// Standard error says why. Main thread.
class X11EventPoster : public EventPoster {
public:
    X11EventPoster(X11Connection& toolkit, X11Keyboard& keyboard, X11Windows& windows,
                   X11TypingTarget& typingTarget, X11KeyboardGrab& keyboardGrab, X11HeldKeys& heldKeys,
                   X11Pasteboard& pasteboard, PasteChords chords, Clock& clock);
    ~X11EventPoster() override;

    /// Null without XTEST.
    std::unique_ptr<EventSource> makeSource() override;

private:
    /// Keys that are pressed in order and released in the opposite one.
    using KeySequence = std::vector<xcb_keycode_t>;
    class PressedKeys;
    class Source;
    class Event;

    struct Paste {
        PasteChord chord;
        KeySequence keys;
    };

    bool isTargetReached();
    bool canPress(std::uint16_t virtualKeyCode);
    void post(PressedKeys& pressed, std::uint16_t virtualKeyCode, EventFlags flags);
    void postPaste(PressedKeys& pressed);
    std::optional<Paste> findPaste(std::optional<xcb_window_t> target);
    std::optional<Paste> findPasteWithFreeKeys(std::optional<xcb_window_t> target);
    bool beginPaste(xcb_window_t target, const PasteChord& chord);
    bool isFree(xcb_keycode_t key);
    std::optional<KeySequence> sequence(PasteChord::Keys keys) const;

    void press(const KeySequence& keys);
    void release(const KeySequence& keys);
    void switchOffLocks();
    void switchOnLocks();
    KeySequence heldModifiers() const;
    void fake(std::uint8_t type, xcb_keycode_t key);

    X11Connection& m_toolkit;
    X11Keyboard& m_keyboard;
    X11Windows& m_windows;
    X11TypingTarget& m_typingTarget;
    X11KeyboardGrab& m_keyboardGrab;
    X11HeldKeys& m_heldKeys;
    X11Pasteboard& m_pasteboard;
    const PasteChords m_chords;
    Clock& m_clock;
    /// Switched off for as long as keys are pressed.
    std::uint8_t m_locksToRestore = 0;
};

} // namespace glimmerwick
