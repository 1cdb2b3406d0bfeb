#include "Platform/X11/X11EventMonitors.h"

#include "Platform/Qt/KeyEventFilter.h"
#include "Platform/Qt/XkbKeyCodes.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11EventTap.h"
#include "Platform/X11/X11EventWatcher.h"
#include "Platform/X11/X11KeyboardGrab.h"

#include <QGuiApplication>

#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

namespace glimmerwick {

namespace {

constexpr std::uint32_t leftButton = 1;
constexpr std::uint32_t rightButton = 3;

template <auto unreference> struct Unreference {
    void operator()(auto* object) const { unreference(object); }
};
using XkbContext = std::unique_ptr<xkb_context, Unreference<xkb_context_unref>>;
using XkbKeymap = std::unique_ptr<xkb_keymap, Unreference<xkb_keymap_unref>>;
using XkbState = std::unique_ptr<xkb_state, Unreference<xkb_state_unref>>;

} // namespace

/// Makes of a key code what the toolkit would: symbol, modifiers, text.
class X11EventMonitors::KeyTranslator {
public:
    explicit KeyTranslator(X11Connection& display)
        : m_display(display), m_context(xkb_context_new(XKB_CONTEXT_NO_FLAGS))
    {
        if (xkb_x11_setup_xkb_extension(m_display, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                        XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                        nullptr, nullptr, nullptr, nullptr)
            != 0) {
            m_device = xkb_x11_get_core_keyboard_device_id(m_display);
        }
    }

    void forgetKeymap() { m_keymap.reset(); }

    /// Nothing for modifier keys, and when the server lacks the keyboard extension.
    std::optional<KeyEvent> translate(xcb_keycode_t key)
    {
        if (!m_keymap && m_context && m_device >= 0) {
            m_keymap.reset(xkb_x11_keymap_new_from_device(m_context.get(), m_display, m_device,
                                                          XKB_KEYMAP_COMPILE_NO_FLAGS));
        }
        const XkbState state(m_keymap ? xkb_x11_state_new_from_device(m_keymap.get(), m_display, m_device)
                                      : nullptr);
        if (!state) {
            return std::nullopt;
        }
        const xkb_keysym_t symbol = xkb_state_key_get_one_sym(state.get(), key);
        if (isModifier(symbol)) {
            return std::nullopt;
        }
        return KeyEvent{EventType::keyDown, xkb::virtualKeyCode(key, symbol), flags(*state),
                        characters(*state, key)};
    }

private:
    static bool isModifier(xkb_keysym_t symbol)
    {
        return (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R) || symbol == XKB_KEY_Num_Lock
            || (symbol >= XKB_KEY_ISO_Lock && symbol <= XKB_KEY_ISO_Level5_Lock);
    }

    static EventFlags flags(xkb_state& state)
    {
        EventFlags flags = 0;
        const auto add = [&](const char* modifier, EventFlags flag) {
            if (xkb_state_mod_name_is_active(&state, modifier, XKB_STATE_MODS_EFFECTIVE) > 0) {
                flags |= flag;
            }
        };
        add(XKB_MOD_NAME_SHIFT, eventFlag::shift);
        add(XKB_MOD_NAME_CTRL, eventFlag::command);
        add(XKB_MOD_NAME_LOGO, eventFlag::control);
        add(XKB_MOD_NAME_ALT, eventFlag::option);
        add(XKB_MOD_NAME_CAPS, eventFlag::capsLock);
        return flags;
    }

    static std::optional<std::string> characters(xkb_state& state, xcb_keycode_t key)
    {
        const int size = xkb_state_key_get_utf8(&state, key, nullptr, 0);
        if (size <= 0) {
            return std::nullopt;
        }
        std::string text(static_cast<std::size_t>(size) + 1, '\0');
        xkb_state_key_get_utf8(&state, key, text.data(), text.size());
        text.pop_back();
        return text;
    }

    X11Connection& m_display;
    XkbContext m_context;
    std::int32_t m_device = -1;
    XkbKeymap m_keymap;
};

X11EventMonitors::X11EventMonitors(X11Connection& display, X11EventWatcher& watcher,
                                   KeyEventFilter& keyEventFilter, X11EventTap& eventTap,
                                   X11KeyboardGrab& keyboardGrab, std::uint32_t toolkitClient)
    : m_display(display), m_watcher(watcher), m_keyEventFilter(keyEventFilter), m_eventTap(eventTap),
      m_keyboardGrab(keyboardGrab), m_toolkitClient(toolkitClient),
      m_translator(std::make_unique<KeyTranslator>(display))
{
}

X11EventMonitors::~X11EventMonitors() = default;

Registration X11EventMonitors::addLocalKeyDownMonitor(std::function<MonitorDecision(const KeyEvent&)> handler)
{
    return m_keyEventFilter.addLocalMonitor(std::move(handler));
}

Registration X11EventMonitors::addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler)
{
    return m_watcher.onRawKeyPress([this, handler = std::move(handler)](xcb_keycode_t key) {
        if (!areKeysForOthers()) {
            return;
        }
        if (const auto event = m_translator->translate(key)) {
            handler(*event);
        }
    });
}

Registration X11EventMonitors::addGlobalMouseDownMonitor(std::function<void()> handler)
{
    return m_watcher.onRawButtonPress([this, handler = std::move(handler)](std::uint32_t button) {
        if ((button == leftButton || button == rightButton) && !isPointerOverOwnWindow()) {
            handler();
        }
    });
}

void X11EventMonitors::keyboardDidChange()
{
    m_translator->forgetKeymap();
}

// Raw input tells of every press; those that a tap or the toolkit shows are not shown here again.
bool X11EventMonitors::areKeysForOthers() const
{
    return !m_eventTap.isTappingEveryKey() && !m_keyboardGrab.isEngaged() && !QGuiApplication::focusWindow();
}

bool X11EventMonitors::isPointerOverOwnWindow() const
{
    xcb_window_t window = m_display.root();
    while (window != XCB_WINDOW_NONE) {
        const auto pointer = m_display.answer(xcb_query_pointer_reply, xcb_query_pointer(m_display, window));
        if (!pointer) {
            return false;
        }
        window = pointer->child;
        if (window != XCB_WINDOW_NONE && m_display.clientOf(window) == m_toolkitClient) {
            return true;
        }
    }
    return false;
}

} // namespace glimmerwick
