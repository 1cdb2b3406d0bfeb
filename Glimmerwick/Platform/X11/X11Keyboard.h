#pragma once

#include "Platform/KeyEvent.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11KeyMap.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace glimmerwick {

/// What the keys and modifiers of this display are, as it was when last read. Main thread.
class X11Keyboard {
public:
    using KeyState = std::bitset<256>;

    /// Reads at once. The connection must outlive this object.
    explicit X11Keyboard(X11Connection& connection);

    /// Reads again; for when the mapping has changed.
    void read();

    /// Every key that has the symbol in any group or level, in order.
    std::vector<xcb_keycode_t> keysWithSymbol(xcb_keysym_t symbol) const;
    /// Every key that the logic knows under this code.
    std::vector<xcb_keycode_t> keysOf(std::uint16_t virtualKeyCode) const;

    /// Every key that types the symbol without any modifier; those of the layout in use come first.
    std::vector<xcb_keycode_t> keysTyping(xcb_keysym_t symbol) const;

    /// The keys to press in order so that the last, the first possible one of these, comes with exactly these
    /// modifiers besides Caps and Num Lock. Nothing when this keyboard has no such keys.
    std::optional<std::vector<xcb_keycode_t>> chord(EventFlags modifiers,
                                                    const std::vector<xcb_keycode_t>& lastKeys) const;

    /// What is switched on now besides Caps and Num Lock, and would change what keys do.
    std::uint8_t latchedModifiers() const { return locks().latchedModifiers; }
    std::uint8_t lockedModifiers() const;

    bool isModifier(xcb_keycode_t key) const { return m_modifierKeys.test(key); }
    bool isLock(xcb_keycode_t key) const { return m_lockKeys.test(key); }

    /// The modifier bits that the flags stand for; nothing when this keyboard lacks one of them.
    std::optional<std::uint16_t> modifierMask(EventFlags flags) const;
    EventFlags flags(std::uint16_t modifierMask) const;

    /// The combinations of Caps Lock and Num Lock: none, each, both.
    std::vector<std::uint16_t> lockCombinations() const;

    /// The keys that are down now.
    KeyState pressedKeys() const;

private:
    void readSymbols();
    void readModifiers();
    void readMap();
    X11KeyMap::Locks locks() const;
    std::uint8_t harmlessLocks() const;
    std::vector<std::vector<xcb_keycode_t>> modifierSequences(EventFlags modifiers) const;
    bool hasSymbol(xcb_keycode_t key, xcb_keysym_t symbol) const;

    X11Connection& m_connection;
    std::unique_ptr<X11KeyMap> m_map;
    xcb_keycode_t m_firstKey = 0;
    std::size_t m_symbolsPerKey = 0;
    std::vector<xcb_keysym_t> m_symbols;
    KeyState m_modifierKeys;
    KeyState m_lockKeys;
    std::uint16_t m_superMask = 0;
    std::uint16_t m_altMask = 0;
    std::uint16_t m_numLockMask = 0;
};

} // namespace glimmerwick
