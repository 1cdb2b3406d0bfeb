#pragma once

#include "Platform/KeyEvent.h"

#include <memory>

namespace glimmerwick {

enum class KeyDirection { down, up };

/// A synthetic key event, not yet posted.
class KeyboardEvent {
public:
    virtual ~KeyboardEvent() = default;

    /// Exactly these modifiers are down while the event is delivered, whatever the user holds.
    virtual void setFlags(EventFlags flags) = 0;

    /// Posts at the system input level. Reports no error.
    virtual void post() = 0;
};

/// What synthetic events are made from.
class EventSource {
public:
    virtual ~EventSource() = default;

    /// Null when the event cannot be made.
    virtual std::unique_ptr<KeyboardEvent> makeKeyboardEvent(std::uint16_t keyCode,
                                                             KeyDirection direction) = 0;
};

/// Presses keys on the user's behalf. Main thread.
class EventPoster {
public:
    virtual ~EventPoster() = default;

    /// Null when keys cannot be injected here.
    virtual std::unique_ptr<EventSource> makeSource() = 0;
};

} // namespace glimmerwick
