#include "Platform/X11/X11KeyMap.h"

// The header was written for C and names a field so.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>

namespace glimmerwick {

namespace {

/// The modifiers that X11 knows by number; the map adds its own by name.
constexpr xkb_mod_mask_t realModifiers = 0xff;

constexpr auto temporary =
    static_cast<xkb_state_component>(XKB_STATE_MODS_DEPRESSED | XKB_STATE_LAYOUT_DEPRESSED);
constexpr auto lasting = static_cast<xkb_state_component>(
    XKB_STATE_MODS_LATCHED | XKB_STATE_MODS_LOCKED | XKB_STATE_LAYOUT_LATCHED | XKB_STATE_LAYOUT_LOCKED);

bool hasAny(xkb_state* state, xkb_state_component component)
{
    return xkb_state_serialize_mods(state, component) != 0
        || xkb_state_serialize_layout(state, component) != 0;
}

} // namespace

X11KeyMap::X11KeyMap(Context context, Map map) : m_context(std::move(context)), m_map(std::move(map)) { }

X11KeyMap::~X11KeyMap() = default;

std::unique_ptr<X11KeyMap> X11KeyMap::read(X11Connection& connection)
{
    const bool hasExtension =
        xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr)
        != 0;
    const std::int32_t device = hasExtension ? xkb_x11_get_core_keyboard_device_id(connection) : -1;
    Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    Map map(context && device >= 0 ? xkb_x11_keymap_new_from_device(context.get(), connection, device,
                                                                    XKB_KEYMAP_COMPILE_NO_FLAGS)
                                   : nullptr);
    return map ? std::unique_ptr<X11KeyMap>(new X11KeyMap(std::move(context), std::move(map))) : nullptr;
}

X11KeyMap::Locks X11KeyMap::locks(X11Connection& connection)
{
    const auto reply =
        connection.answer(xcb_xkb_get_state_reply, xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD));
    return reply ? Locks{reply->lockedMods, reply->latchedMods, reply->lockedGroup} : Locks();
}

void X11KeyMap::switchLocks(X11Connection& connection, std::uint8_t modifiers, Switch direction)
{
    const std::uint8_t locks = direction == Switch::on ? modifiers : 0;
    xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, modifiers, locks, 0, 0, realModifiers, 0,
                             0);
}

bool X11KeyMap::isModifier(xcb_keycode_t key) const
{
    const State state(xkb_state_new(m_map.get()));
    xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
    return hasAny(state.get(), temporary);
}

bool X11KeyMap::isLock(xcb_keycode_t key) const
{
    const State state(xkb_state_new(m_map.get()));
    xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
    xkb_state_update_key(state.get(), key, XKB_KEY_UP);
    return hasAny(state.get(), lasting);
}

std::vector<xcb_keycode_t> X11KeyMap::keysTyping(xcb_keysym_t symbol, std::uint8_t group) const
{
    std::vector<xcb_keycode_t> ofLayoutInUse;
    std::vector<xcb_keycode_t> others;
    for (auto code = xkb_keymap_min_keycode(m_map.get()); code <= xkb_keymap_max_keycode(m_map.get());
         ++code) {
        const auto key = static_cast<xcb_keycode_t>(code);
        const xkb_layout_index_t groups = xkb_keymap_num_layouts_for_key(m_map.get(), code);
        if (groups == 0) {
            continue;
        }
        // A key with fewer groups than there are layouts starts again with its first.
        if (hasSymbol(key, group % groups, symbol)) {
            ofLayoutInUse.push_back(key);
            continue;
        }
        for (xkb_layout_index_t other = 0; other < groups; ++other) {
            if (hasSymbol(key, other, symbol)) {
                others.push_back(key);
                break;
            }
        }
    }
    ofLayoutInUse.insert(ofLayoutInUse.end(), others.begin(), others.end());
    return ofLayoutInUse;
}

bool X11KeyMap::hasSymbol(xcb_keycode_t key, xkb_layout_index_t group, xcb_keysym_t symbol) const
{
    constexpr xkb_level_index_t withoutModifiers = 0;
    const xkb_keysym_t* symbols = nullptr;
    const int count = xkb_keymap_key_get_syms_by_level(m_map.get(), key, group, withoutModifiers, &symbols);
    return count == 1 && *symbols == symbol;
}

bool X11KeyMap::yields(const std::vector<xcb_keycode_t>& keys, std::uint8_t modifiers,
                       const Locks& locks) const
{
    const State state(xkb_state_new(m_map.get()));
    xkb_state_update_mask(state.get(), 0, 0, locks.modifiers, 0, 0, locks.group);
    const auto lockedModifiers = xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_LOCKED);
    const auto group = xkb_state_serialize_layout(state.get(), XKB_STATE_LAYOUT_EFFECTIVE);
    for (const xcb_keycode_t key : keys) {
        xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
    }
    const auto effective = xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_EFFECTIVE) & realModifiers;
    const bool isReached = effective == (modifiers | (lockedModifiers & realModifiers))
        && xkb_state_serialize_layout(state.get(), XKB_STATE_LAYOUT_EFFECTIVE) == group;
    std::for_each(keys.rbegin(), keys.rend(),
                  [&](xcb_keycode_t key) { xkb_state_update_key(state.get(), key, XKB_KEY_UP); });
    return isReached && xkb_state_serialize_layout(state.get(), XKB_STATE_LAYOUT_EFFECTIVE) == group
        && xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_EFFECTIVE) == lockedModifiers;
}

} // namespace glimmerwick
