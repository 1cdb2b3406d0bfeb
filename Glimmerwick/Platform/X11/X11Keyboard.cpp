#include "Platform/X11/X11Keyboard.h"

#include "Platform/Qt/XkbKeyCodes.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>

namespace glimmerwick {

namespace {

constexpr xcb_keysym_t symbolNumLock = 0xff7f;
constexpr xcb_keysym_t symbolCapsLock = 0xffe5;
constexpr xcb_keysym_t symbolShiftLeft = 0xffe1;
constexpr xcb_keysym_t symbolShiftRight = 0xffe2;
constexpr xcb_keysym_t symbolControlLeft = 0xffe3;
constexpr xcb_keysym_t symbolControlRight = 0xffe4;
constexpr xcb_keysym_t symbolAltLeft = 0xffe9;
constexpr xcb_keysym_t symbolAltRight = 0xffea;
constexpr xcb_keysym_t symbolSuperLeft = 0xffeb;
constexpr xcb_keysym_t symbolSuperRight = 0xffec;

constexpr int modifierCount = 8;
constexpr int firstVariableModifier = 3; // after Shift, Lock and Control

struct ModifierSymbols {
    EventFlags flag;
    std::array<xcb_keysym_t, 2> symbols;
};

constexpr std::array modifierSymbols{
    ModifierSymbols{eventFlag::command, {symbolControlLeft, symbolControlRight}},
    ModifierSymbols{eventFlag::control, {symbolSuperLeft, symbolSuperRight}},
    ModifierSymbols{eventFlag::option, {symbolAltLeft, symbolAltRight}},
    ModifierSymbols{eventFlag::shift, {symbolShiftLeft, symbolShiftRight}},
};

} // namespace

X11Keyboard::X11Keyboard(X11Connection& connection) : m_connection(connection)
{
    read();
}

void X11Keyboard::read()
{
    readSymbols();
    readModifiers();
    readMap();
}

void X11Keyboard::readSymbols()
{
    const xcb_setup_t* setup = xcb_get_setup(m_connection);
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto reply = m_connection.answer(xcb_get_keyboard_mapping_reply,
                                           xcb_get_keyboard_mapping(m_connection, setup->min_keycode, count));
    if (!reply) {
        return;
    }
    m_firstKey = setup->min_keycode;
    m_symbolsPerKey = reply->keysyms_per_keycode;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    m_symbols.assign(symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(reply.get()));
}

void X11Keyboard::readModifiers()
{
    const auto reply =
        m_connection.answer(xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(m_connection));
    if (!reply) {
        return;
    }
    m_modifierKeys.reset();
    m_lockKeys.reset();
    m_superMask = m_altMask = m_numLockMask = 0;
    const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(reply.get());
    for (int modifier = 0; modifier < modifierCount; ++modifier) {
        const auto mask = static_cast<std::uint16_t>(1 << modifier);
        for (int index = 0; index < reply->keycodes_per_modifier; ++index) {
            const xcb_keycode_t key = keys[modifier * reply->keycodes_per_modifier + index];
            if (key == 0) {
                continue;
            }
            m_modifierKeys.set(key);
            m_lockKeys.set(key, hasSymbol(key, symbolCapsLock) || hasSymbol(key, symbolNumLock));
            if (modifier < firstVariableModifier) {
                continue;
            }
            if (hasSymbol(key, symbolSuperLeft) || hasSymbol(key, symbolSuperRight)) {
                m_superMask = mask;
            }
            if (hasSymbol(key, symbolAltLeft) || hasSymbol(key, symbolAltRight)) {
                m_altMask = mask;
            }
            if (hasSymbol(key, symbolNumLock)) {
                m_numLockMask = mask;
            }
        }
    }
}

// The core map tells neither of AltGr, which most layouts put on a key that it does not list as a modifier,
// nor of keys that are a modifier now and a lock together with another.
void X11Keyboard::readMap()
{
    m_map = X11KeyMap::read(m_connection);
    if (!m_map) {
        return;
    }
    for (unsigned code = m_firstKey; code < KeyState().size(); ++code) {
        const auto key = static_cast<xcb_keycode_t>(code);
        m_lockKeys.set(key, m_map->isLock(key));
        m_modifierKeys.set(key, m_modifierKeys.test(key) || m_map->isModifier(key));
    }
}

bool X11Keyboard::hasSymbol(xcb_keycode_t key, xcb_keysym_t symbol) const
{
    const std::size_t start = static_cast<std::size_t>(key - m_firstKey) * m_symbolsPerKey;
    if (key < m_firstKey || start + m_symbolsPerKey > m_symbols.size()) {
        return false;
    }
    const auto first = m_symbols.begin() + static_cast<std::ptrdiff_t>(start);
    return std::find(first, first + static_cast<std::ptrdiff_t>(m_symbolsPerKey), symbol)
        != first + static_cast<std::ptrdiff_t>(m_symbolsPerKey);
}

std::vector<xcb_keycode_t> X11Keyboard::keysWithSymbol(xcb_keysym_t symbol) const
{
    std::vector<xcb_keycode_t> keys;
    for (unsigned key = m_firstKey; key < KeyState().size(); ++key) {
        if (hasSymbol(static_cast<xcb_keycode_t>(key), symbol)) {
            keys.push_back(static_cast<xcb_keycode_t>(key));
        }
    }
    return keys;
}

std::vector<xcb_keycode_t> X11Keyboard::keysOf(std::uint16_t virtualKeyCode) const
{
    if (const auto symbol = xkb::keySymbol(virtualKeyCode)) {
        return keysWithSymbol(*symbol);
    }
    const auto key = xkb::xkbKeyCode(virtualKeyCode);
    return key && *key >= m_firstKey && *key < KeyState().size()
        ? std::vector{static_cast<xcb_keycode_t>(*key)}
        : std::vector<xcb_keycode_t>();
}

std::vector<xcb_keycode_t> X11Keyboard::keysTyping(xcb_keysym_t symbol) const
{
    return m_map ? m_map->keysTyping(symbol, locks().group) : keysWithSymbol(symbol);
}

// A key that bears a modifier's name need not do its work, and two together may switch the layout.
std::optional<std::vector<xcb_keycode_t>> X11Keyboard::chord(EventFlags modifiers,
                                                             const std::vector<xcb_keycode_t>& lastKeys) const
{
    const auto mask = modifierMask(modifiers);
    if (!mask) {
        return std::nullopt;
    }
    X11KeyMap::Locks current = locks();
    current.modifiers &= harmlessLocks();
    const auto sequences = modifierSequences(modifiers);
    for (const xcb_keycode_t lastKey : lastKeys) {
        for (auto keys : sequences) {
            keys.push_back(lastKey);
            if (!m_map || m_map->yields(keys, static_cast<std::uint8_t>(*mask), current)) {
                return keys;
            }
        }
    }
    return std::nullopt;
}

/// Every way to press the modifiers: with each of their keys, and in each order.
std::vector<std::vector<xcb_keycode_t>> X11Keyboard::modifierSequences(EventFlags modifiers) const
{
    std::vector<std::vector<xcb_keycode_t>> sequences{{}};
    for (const auto& [flag, symbols] : modifierSymbols) {
        if ((modifiers & flag) == 0) {
            continue;
        }
        std::vector<std::vector<xcb_keycode_t>> longer;
        for (const auto& sequence : sequences) {
            for (const xcb_keysym_t symbol : symbols) {
                for (const xcb_keycode_t key : keysWithSymbol(symbol)) {
                    for (std::size_t place = sequence.size() + 1; place-- > 0;) {
                        longer.push_back(sequence);
                        longer.back().insert(longer.back().begin() + static_cast<std::ptrdiff_t>(place), key);
                    }
                }
            }
        }
        sequences = std::move(longer);
    }
    return sequences;
}

X11KeyMap::Locks X11Keyboard::locks() const
{
    return m_map ? X11KeyMap::locks(m_connection) : X11KeyMap::Locks();
}

std::uint8_t X11Keyboard::harmlessLocks() const
{
    return static_cast<std::uint8_t>(XCB_MOD_MASK_LOCK | m_numLockMask);
}

std::uint8_t X11Keyboard::lockedModifiers() const
{
    return static_cast<std::uint8_t>(locks().modifiers & ~harmlessLocks());
}

std::optional<std::uint16_t> X11Keyboard::modifierMask(EventFlags flags) const
{
    std::uint16_t mask = 0;
    const auto add = [&](EventFlags flag, std::uint16_t bits) {
        if ((flags & flag) == 0) {
            return true;
        }
        mask |= bits;
        return bits != 0;
    };
    const bool hasAll = add(eventFlag::shift, XCB_MOD_MASK_SHIFT)
        && add(eventFlag::command, XCB_MOD_MASK_CONTROL) && add(eventFlag::capsLock, XCB_MOD_MASK_LOCK)
        && add(eventFlag::control, m_superMask) && add(eventFlag::option, m_altMask);
    return hasAll ? std::optional(mask) : std::nullopt;
}

EventFlags X11Keyboard::flags(std::uint16_t modifierMask) const
{
    EventFlags flags = 0;
    const auto add = [&](std::uint16_t bits, EventFlags flag) {
        flags |= (modifierMask & bits) != 0 ? flag : 0;
    };
    add(XCB_MOD_MASK_SHIFT, eventFlag::shift);
    add(XCB_MOD_MASK_CONTROL, eventFlag::command);
    add(XCB_MOD_MASK_LOCK, eventFlag::capsLock);
    add(m_superMask, eventFlag::control);
    add(m_altMask, eventFlag::option);
    return flags;
}

std::vector<std::uint16_t> X11Keyboard::lockCombinations() const
{
    std::vector<std::uint16_t> combinations{0, XCB_MOD_MASK_LOCK};
    if (m_numLockMask != 0) {
        combinations.push_back(m_numLockMask);
        combinations.push_back(XCB_MOD_MASK_LOCK | m_numLockMask);
    }
    return combinations;
}

X11Keyboard::KeyState X11Keyboard::pressedKeys() const
{
    KeyState pressed;
    const auto reply = m_connection.answer(xcb_query_keymap_reply, xcb_query_keymap(m_connection));
    if (!reply) {
        return pressed;
    }
    for (std::size_t key = 0; key < pressed.size(); ++key) {
        pressed.set(key, (reply->keys[key / 8] >> (key % 8) & 1) != 0);
    }
    return pressed;
}

} // namespace glimmerwick
