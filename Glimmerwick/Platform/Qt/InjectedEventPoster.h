#pragma once

#include "Platform/EventPoster.h"
#include "Platform/InjectedKeyboard.h"
#include "Platform/Linux/PasteChords.h"

#include <cstdint>
#include <memory>

namespace glimmerwick {

class Clock;
class PasteSurroundings;

/// Presses keys on a keyboard of the program's own. V with Command alone means "paste" and becomes the chord
/// that pastes in the application in front; the surroundings are told of it beforehand.
///
/// Nothing is pressed while the surroundings know an obstacle: no event can be made then, and one that has
/// been made presses nothing; nor does a paste when another program has taken the clipboard. Standard error
/// says why. Main thread.
class InjectedEventPoster : public EventPoster {
public:
    /// The keyboard, the surroundings and the clock must outlive this and every source that comes from here.
    InjectedEventPoster(InjectedKeyboard& keyboard, PasteSurroundings& surroundings, PasteChords chords,
                        Clock& clock);
    ~InjectedEventPoster() override;

    /// Null while what the keyboard presses does not arrive.
    std::unique_ptr<EventSource> makeSource() override;

private:
    class PressedKeys;
    class Source;
    class Event;

    bool isTargetReached();
    bool canPress(std::uint16_t virtualKeyCode);
    void post(PressedKeys& pressed, std::uint16_t virtualKeyCode, EventFlags flags);
    void postPaste(PressedKeys& pressed);

    InjectedKeyboard& m_keyboard;
    PasteSurroundings& m_surroundings;
    const PasteChords m_chords;
    Clock& m_clock;
};

} // namespace glimmerwick
