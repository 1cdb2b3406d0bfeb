#pragma once

#include "Platform/EventPoster.h"
#include "Platform/Linux/PasteChords.h"
#include "Platform/Wayland/WaylandVirtualKeyboard.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace glimmerwick {

class Clock;
class WaylandConnection;
class WaylandPasteboard;
class WaylandWindows;

/// Presses keys on a virtual keyboard, which is there from the beginning. V with Command alone means "paste"
/// and becomes the chord that pastes in the application in front; the pasteboard is told of it beforehand.
///
/// Nothing is pressed that would reach another window than the one activated last: no event can be made then,
/// and one that has been made presses nothing; nor does a paste when another program has taken the clipboard.
/// Standard error says why. Main thread.
class WaylandEventPoster : public EventPoster {
public:
    WaylandEventPoster(WaylandConnection& connection, WaylandWindows& windows, WaylandPasteboard& pasteboard,
                       PasteChords chords, Clock& clock);
    ~WaylandEventPoster() override;

    /// Null when the compositor lends no keyboards, and when the connection is lost.
    std::unique_ptr<EventSource> makeSource() override;

private:
    /// Keys that are pressed in order and released in the opposite one.
    using KeySequence = std::vector<std::uint32_t>;
    class PressedKeys;
    class Source;
    class Event;

    bool isTargetReached();
    bool canPress(std::uint16_t virtualKeyCode);
    void post(PressedKeys& pressed, std::uint16_t virtualKeyCode, EventFlags flags);
    void postPaste(PressedKeys& pressed);
    KeySequence sequence(PasteChord::Keys keys) const;
    KeySequence sequence(EventFlags modifiers, std::optional<std::uint32_t> key) const;

    void press(const KeySequence& keys);
    void release(const KeySequence& keys);

    WaylandConnection& m_connection;
    WaylandWindows& m_windows;
    WaylandPasteboard& m_pasteboard;
    const PasteChords m_chords;
    Clock& m_clock;
    /// The connection's thread, but for its map, which never changes. Null when there are none to be had.
    std::unique_ptr<WaylandVirtualKeyboard> m_keyboard;
};

} // namespace glimmerwick
