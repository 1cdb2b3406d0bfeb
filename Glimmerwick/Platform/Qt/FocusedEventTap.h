#pragma once

#include "Platform/EventTap.h"

namespace glimmerwick {

class KeyEventFilter;

/// A tap for every key, where keys of other programs are out of reach: it sees those that come to this
/// program, which are all of them while the panel has the focus. So there are no taps for a combination: the
/// desktop itself must be told to show the picker. Main thread.
class FocusedEventTap : public EventTap {
public:
    explicit FocusedEventTap(KeyEventFilter& keyEventFilter);
    ~FocusedEventTap() override;

    /// Null for a combination.
    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override;

private:
    struct Tap;
    class Port;
    class Source;

    KeyEventFilter& m_keyEventFilter;
};

} // namespace glimmerwick
