#pragma once

#include "Platform/EventTap.h"

namespace glimmerwick {

class KeyEventFilter;

/// A tap for every key sees the keys that the compositor brings to this program, which are all of them while
/// the panel has the focus. Keys of other programs are out of reach, so there are no taps for a combination:
/// the desktop itself must be told to show the picker. Main thread.
class WaylandEventTap : public EventTap {
public:
    explicit WaylandEventTap(KeyEventFilter& keyEventFilter);
    ~WaylandEventTap() override;

    /// Null for a combination.
    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override;

private:
    struct Tap;
    class Port;
    class Source;

    KeyEventFilter& m_keyEventFilter;
};

} // namespace glimmerwick
