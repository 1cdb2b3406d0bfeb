#include "Platform/Wayland/WaylandKeymap.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <wayland-client-protocol.h>
#include <xkbcommon/xkbcommon.h>

#include <utility>

namespace glimmerwick {

namespace {

constexpr xkb_level_index_t withoutModifiers = 0;

/// In bytes. A keyboard with four layouts takes some 70,000.
constexpr std::uint32_t longestText = 4 * 1024 * 1024;

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};
using Context = std::unique_ptr<xkb_context, ContextDeleter>;

// The variables that would change it are for the keyboards that the user types on.
Context makeContext()
{
    return Context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
}

/// No symbol when there are none or several.
xkb_keysym_t symbolOf(xkb_keymap* keymap, xkb_keycode_t key, xkb_layout_index_t layout)
{
    const xkb_keysym_t* symbols = nullptr;
    return xkb_keymap_key_get_syms_by_level(keymap, key, layout, withoutModifiers, &symbols) == 1
        ? *symbols
        : static_cast<xkb_keysym_t>(XKB_KEY_NoSymbol);
}

/// Reading on behind the end of a file that is mapped into memory ends the process.
bool holds(int descriptor, std::uint32_t size)
{
    struct stat status { };
    return size <= longestText && fstat(descriptor, &status) == 0 && status.st_size >= off_t{size};
}

} // namespace

void WaylandKeymap::Deleter::operator()(xkb_keymap* keymap) const
{
    xkb_keymap_unref(keymap);
}

std::unique_ptr<WaylandKeymap> WaylandKeymap::us()
{
    const Context context = makeContext();
    const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
    Handle keymap(context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)
                          : nullptr);
    return std::unique_ptr<WaylandKeymap>(keymap ? new WaylandKeymap(std::move(keymap)) : nullptr);
}

std::unique_ptr<WaylandKeymap> WaylandKeymap::read(std::uint32_t format, int descriptor, std::uint32_t size)
{
    const Context context = makeContext();
    if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 || !context || size == 0 || !holds(descriptor, size)) {
        return nullptr;
    }
    void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (text == MAP_FAILED) {
        return nullptr;
    }
    // Without the zero at its end.
    Handle keymap(xkb_keymap_new_from_buffer(context.get(), static_cast<const char*>(text), size - 1,
                                             XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS));
    munmap(text, size);
    return std::unique_ptr<WaylandKeymap>(keymap ? new WaylandKeymap(std::move(keymap)) : nullptr);
}

WaylandKeymap::WaylandKeymap(Handle keymap) : m_keymap(std::move(keymap)) { }

WaylandKeymap::~WaylandKeymap() = default;

std::optional<std::uint32_t> WaylandKeymap::keyTyping(std::uint32_t keySymbol, std::uint32_t layout) const
{
    for (auto key = xkb_keymap_min_keycode(get()); key <= xkb_keymap_max_keycode(get()); ++key) {
        const xkb_layout_index_t count = xkb_keymap_num_layouts_for_key(get(), key);
        // A key with fewer layouts than others repeats them.
        if (count > 0 && symbolOf(get(), key, layout % count) == keySymbol) {
            return key;
        }
    }
    return std::nullopt;
}

std::vector<std::uint32_t>
WaylandKeymap::keysWith(const std::function<bool(std::uint32_t keySymbol)>& accepts) const
{
    std::vector<std::uint32_t> keys;
    for (auto key = xkb_keymap_min_keycode(get()); key <= xkb_keymap_max_keycode(get()); ++key) {
        for (xkb_layout_index_t layout = 0; layout < xkb_keymap_num_layouts_for_key(get(), key); ++layout) {
            if (accepts(symbolOf(get(), key, layout))) {
                keys.push_back(key);
                break;
            }
        }
    }
    return keys;
}

} // namespace glimmerwick
