#pragma once

#include "Platform/EventTap.h"
#include "Platform/X11/X11Keyboard.h"

#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace glimmerwick {

class KeyEventFilter;
class X11KeyboardGrab;

/// A tap for one combination is a passive grab of it on the root window: it works everywhere, except while
/// another program holds the keyboard (an open menu, say). A tap for every key has the keyboard brought to
/// the panel for as long as it is enabled and the panel is shown. Main thread.
class X11EventTap : public EventTap {
public:
    X11EventTap(X11Connection& toolkit, X11Keyboard& keyboard, X11KeyboardGrab& keyboardGrab,
                KeyEventFilter& keyEventFilter);
    ~X11EventTap() override;

    /// Null when another program has grabbed the combination, and when the keyboard cannot produce it.
    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override;

    /// Whether a tap for every key is enabled.
    bool isTappingEveryKey() const;

    /// The keyboard has been read again: its keys may be others now.
    void keyboardDidChange();

    /// Calls the tap whose grab brought the event here. Whether there was one.
    bool handlePassiveGrab(const xcb_key_press_event_t& event);

private:
    /// A key code with a mask of modifiers.
    using Grab = std::pair<xcb_keycode_t, std::uint16_t>;
    using Grabs = std::set<Grab>;
    struct Tap;
    class Port;
    class Source;

    Grabs grabsFor(const KeyCombination& combination) const;
    bool grab(const Grabs& grabs);
    void ungrab(const Grabs& grabs);
    void setEnabled(Tap& tap, bool enabled);
    void remove(const std::shared_ptr<Tap>& tap);
    void grabAnew(Tap& tap);
    void reportRefusal();

    X11Connection& m_toolkit;
    X11Keyboard& m_keyboard;
    X11KeyboardGrab& m_keyboardGrab;
    KeyEventFilter& m_keyEventFilter;
    std::vector<std::shared_ptr<Tap>> m_taps;
    bool m_isRefusalReported = false;
};

} // namespace glimmerwick
