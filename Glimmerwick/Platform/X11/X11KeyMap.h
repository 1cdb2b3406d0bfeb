#pragma once

#include "Platform/X11/X11Connection.h"

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace glimmerwick {

/// What the keys of this display type and switch, with all groups and levels. Main thread.
class X11KeyMap {
public:
    /// What has been switched on and stays on without a key held.
    struct Locks {
        std::uint8_t modifiers = 0;
        std::uint8_t latchedModifiers = 0;
        /// The layout in use.
        std::uint8_t group = 0;
    };

    /// Null without the keyboard extension.
    static std::unique_ptr<X11KeyMap> read(X11Connection& connection);

    ~X11KeyMap();
    X11KeyMap(const X11KeyMap&) = delete;
    X11KeyMap& operator=(const X11KeyMap&) = delete;

    /// What is on now.
    static Locks locks(X11Connection& connection);
    /// Ends every latch, and changes the locks of these modifiers.
    enum class Switch { off, on };
    static void switchLocks(X11Connection& connection, std::uint8_t modifiers, Switch direction);

    /// Whether the key switches modifiers or the group while it is held.
    bool isModifier(xcb_keycode_t key) const;
    /// Whether what the key switches outlasts it.
    bool isLock(xcb_keycode_t key) const;

    /// The keys that have the symbol without any modifier: those of the layout in use first.
    std::vector<xcb_keycode_t> keysTyping(xcb_keysym_t symbol, std::uint8_t group) const;

    /// Whether the keys, pressed in order, put exactly these modifiers on for the last of them, and leave no
    /// trace when they are released in the opposite order.
    bool yields(const std::vector<xcb_keycode_t>& keys, std::uint8_t modifiers, const Locks& locks) const;

private:
    template <auto unreference> struct Unreference {
        void operator()(auto* object) const { unreference(object); }
    };
    using Context = std::unique_ptr<xkb_context, Unreference<xkb_context_unref>>;
    using Map = std::unique_ptr<xkb_keymap, Unreference<xkb_keymap_unref>>;
    using State = std::unique_ptr<xkb_state, Unreference<xkb_state_unref>>;

    X11KeyMap(Context context, Map map);

    bool hasSymbol(xcb_keycode_t key, xkb_layout_index_t group, xcb_keysym_t symbol) const;

    const Context m_context;
    const Map m_map;
};

} // namespace glimmerwick
