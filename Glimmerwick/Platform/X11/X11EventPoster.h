#pragma once

#include "Platform/EventPoster.h"
#include "Platform/X11/PasteChords.h"
#include "Platform/X11/X11Keyboard.h"

#include <memory>
#include <optional>
#include <vector>

namespace glimmerwick {

class Clock;
class X11KeyboardGrab;
class X11Pasteboard;
class X11Windows;

/// Presses keys through the XTEST extension. V with Command alone means "paste" and becomes the chord that
/// pastes in the application which has the focus; the pasteboard is told of it beforehand. Main thread.
class X11EventPoster : public EventPoster {
public:
    X11EventPoster(X11Connection& toolkit, X11Keyboard& keyboard, X11Windows& windows,
                   X11KeyboardGrab& keyboardGrab, X11Pasteboard& pasteboard, PasteChords chords,
                   Clock& clock);
    ~X11EventPoster() override;

    /// Null without XTEST.
    std::unique_ptr<EventSource> makeSource() override;

private:
    /// Keys that are pressed in order and released in the opposite one.
    using KeySequence = std::vector<xcb_keycode_t>;
    class PressedKeys;
    class Source;
    class Event;

    bool canPress(std::uint16_t virtualKeyCode) const;
    std::optional<KeySequence> paste();
    std::optional<KeySequence> sequence(PasteChord::Keys keys) const;
    std::optional<KeySequence> sequence(std::uint16_t virtualKeyCode, EventFlags flags) const;
    std::optional<KeySequence> withModifiers(EventFlags flags, std::optional<xcb_keycode_t> key) const;
    std::optional<xcb_keycode_t> modifierKey(EventFlags flag) const;

    void press(const KeySequence& keys);
    void release(const KeySequence& keys);
    KeySequence heldModifiers() const;
    void fake(std::uint8_t type, xcb_keycode_t key);

    X11Connection& m_toolkit;
    X11Keyboard& m_keyboard;
    X11Windows& m_windows;
    X11KeyboardGrab& m_keyboardGrab;
    X11Pasteboard& m_pasteboard;
    const PasteChords m_chords;
    Clock& m_clock;
};

} // namespace glimmerwick
