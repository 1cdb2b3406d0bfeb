#pragma once

#include "Platform/Qt/HandlerList.h"

struct wl_keyboard;
struct wl_keyboard_listener;
struct wl_seat;
struct wl_seat_listener;
struct wl_surface;

namespace glimmerwick {

/// Which of this program's surfaces has the keys. The toolkit knows, too, but says nothing when they go and
/// come back at once. On the toolkit's connection. Main thread.
class WaylandKeyboardFocus {
public:
    /// Takes the seat over, which may be null.
    explicit WaylandKeyboardFocus(wl_seat* seat);
    ~WaylandKeyboardFocus();
    WaylandKeyboardFocus(const WaylandKeyboardFocus&) = delete;
    WaylandKeyboardFocus& operator=(const WaylandKeyboardFocus&) = delete;

    /// Null while another program has the keys.
    wl_surface* surface() const { return m_surface; }

    /// Runs the handler when a surface has lost the keys, from the event loop; it may get them back right
    /// behind that.
    Registration onLeft(std::function<void(wl_surface*)> handler)
    {
        return m_handlers.append(std::move(handler));
    }

private:
    static const wl_seat_listener seatListener;
    static const wl_keyboard_listener listener;

    void useKeyboard(wl_keyboard* keyboard);

    wl_seat* const m_seat;
    wl_keyboard* m_keyboard = nullptr;
    wl_surface* m_surface = nullptr;
    HandlerList<void(wl_surface*)> m_handlers;
};

} // namespace glimmerwick
