#pragma once

#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {

/// Works the keyboard of a display and sees there when a panel's pixels change: the display tells of each
/// piece of the screen that was drawn, and the panel's pixels are then read back and compared.
///
/// A panel is an override-redirect window of one size. Times are of the monotonic clock. A time is that at
/// which the piece of drawing was learnt of or, when more was drawn while the pixels were read, at which they
/// had been read; never earlier than it happened. One thread.
class PanelWatch {
public:
    using Clock = std::chrono::steady_clock;
    using Picture = std::vector<std::byte>;

    struct Size {
        std::uint16_t width = 0;
        std::uint16_t height = 0;
    };
    /// The rows of the panel that are looked at, from the first to the one behind the last.
    struct Rows {
        std::uint16_t first = 0;
        std::uint16_t end = 0;
    };
    struct Show {
        Clock::time_point pressed;
        Clock::time_point mapped;
        /// When the picture had become the reference for good.
        Clock::time_point painted;
    };
    struct Change {
        Clock::time_point pressed;
        /// When the picture first changed, and when it last did; none where it stayed as it was.
        std::optional<Clock::time_point> first;
        std::optional<Clock::time_point> last;
    };

    /// Connects to the display of the environment. Panels that are mapped later are noticed. Throws
    /// std::runtime_error when the display lacks an extension.
    PanelWatch(Size panel, Rows rows);
    ~PanelWatch();
    PanelWatch(const PanelWatch&) = delete;
    PanelWatch& operator=(const PanelWatch&) = delete;

    /// Presses a chord, the last key of which is the one that counts, waits until the panel shows the
    /// reference and stays so for a while, and lets go of the keys. The first picture that stays becomes the
    /// reference where there is none. Throws std::runtime_error when it takes longer than the deadline.
    Show show(const std::vector<xcb_keycode_t>& chord);

    /// Presses a key and waits until the panel is gone. Returns when it was.
    Clock::time_point hide(xcb_keycode_t key);

    /// Presses a key while the panel is shown, and follows the picture until it has not changed for a while.
    Change press(xcb_keycode_t key);

    /// The next picture that stays becomes the reference.
    void forgetReference() { m_reference.reset(); }

    /// Writes the reference as a portable pixmap.
    void saveReference(const std::string& path) const;

    /// Waits until another client takes the key with the modifiers, and returns when it was found to. Looks
    /// every half of a millisecond, with the server held meanwhile, so that the other never finds it taken.
    Clock::time_point waitUntilGrabbed(xcb_keycode_t key, std::uint16_t modifiers);

private:
    struct FreeDeleter {
        void operator()(void* memory) const { std::free(memory); }
    };
    template <typename T> using XcbOwned = std::unique_ptr<T, FreeDeleter>;
    struct Window {
        std::int16_t x = 0;
        std::int16_t y = 0;
        Size size;
        bool isOverrideRedirect = false;
    };
    enum class Damage { none, seen };

    void requireExtensions();
    void makePictureMemory();
    void waitForAnotherPicture();
    Clock::time_point waitUntilPainted();
    bool isKeyFree(xcb_keycode_t key, std::uint16_t modifiers);
    /// Returns when the server has done everything that was sent before.
    void synchronize();
    void fake(std::uint8_t type, xcb_keycode_t key);
    void flush();

    /// Handles an event, and notes whether it tells that the rows of the panel were drawn on.
    void handle(const xcb_generic_event_t& event);
    void handleMapped(xcb_window_t window);
    void handleDamage(const xcb_damage_notify_event_t& event);
    /// Waits for events until then, and handles all there are.
    void waitForEvents(Clock::time_point end);
    /// Handles those that have been received already.
    void handleQueuedEvents();
    Damage takeDamage();

    /// Calls back with each new picture and its time, until the callback says that nothing is left to wait
    /// for; it is asked also without one, with null. Throws at the deadline.
    using Look = std::function<bool(const Picture* picture, Clock::time_point time)>;
    void follow(const Look& look);
    /// The pixels where a window is or was, and when they were that.
    std::pair<Picture, Clock::time_point> readPicture(const Window& window, Clock::time_point damaged);

    const Size m_panelSize;
    const Rows m_rows;
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = 0;
    xcb_damage_damage_t m_damage = 0;
    std::uint8_t m_damageEvent = 0;
    xcb_shm_seg_t m_segment = 0;
    const std::byte* m_pixels = nullptr;

    std::map<xcb_window_t, Window> m_windows;
    std::optional<xcb_window_t> m_panel;
    std::optional<Window> m_latestPlace;
    std::optional<Clock::time_point> m_mappedAt;
    std::optional<Clock::time_point> m_unmappedAt;
    bool m_isDamaged = false;
    std::optional<Picture> m_reference;
    Picture m_latest;
};

} // namespace glimmerwick
