#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandVirtualKeyboard.h"

#include <linux/input-event-codes.h>
#include <wayland-client-protocol.h>
#include <wlr-virtual-pointer-unstable-v1.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

// The user's hand in a desktop without devices: a keyboard and a pointer that stay as long as this program,
// and do what its standard input says, a line each:
//
//   down SYMBOL, up SYMBOL      a key by the symbol that it has without modifiers: "v", "Control_L"
//   move X Y WIDTH HEIGHT       the pointer, in a space of that size
//   button down, button up      the left one
//   wheel NOTCHES               down when positive
//
// Each answers with a line, "done" or what is wrong, once the compositor has handled it; so does the
// beginning.

namespace {

using namespace glimmerwick;

constexpr std::uint32_t pointerVersion = 2;
constexpr std::uint32_t noTime = 0;
constexpr int unitsPerNotch = 15;

class Hand {
public:
    explicit Hand(WaylandDisplay& display)
        : m_display(display), m_keyboard(WaylandVirtualKeyboard::make(display)),
          m_pointerManager(display.bind<zwlr_virtual_pointer_manager_v1>(
              zwlr_virtual_pointer_manager_v1_interface, pointerVersion)),
          m_pointer(m_pointerManager ? zwlr_virtual_pointer_manager_v1_create_virtual_pointer(
                        m_pointerManager, display.seat())
                                     : nullptr)
    {
    }
    ~Hand()
    {
        if (m_pointer) {
            zwlr_virtual_pointer_v1_destroy(m_pointer);
            zwlr_virtual_pointer_manager_v1_destroy(m_pointerManager);
        }
    }
    Hand(const Hand&) = delete;
    Hand& operator=(const Hand&) = delete;

    std::string begin()
    {
        return m_keyboard && m_pointer && m_display.roundTrip() ? "done" : "there are no virtual devices";
    }

    std::string perform(const std::string& line)
    {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        if (verb == "down" || verb == "up") {
            return moveKey(verb == "down", words);
        }
        if (verb == "move") {
            return movePointer(words);
        }
        return verb == "button" ? moveButton(words) : turnWheel(words);
    }

private:
    std::string answer() { return m_display.roundTrip() ? "done" : "the compositor does not answer"; }

    std::string moveKey(bool isDown, std::istream& words)
    {
        std::string symbol;
        words >> symbol;
        const auto key = m_keyboard->keyTyping(xkb_keysym_from_name(symbol.c_str(), XKB_KEYSYM_NO_FLAGS));
        if (!key) {
            return "no such key";
        }
        if (isDown) {
            m_keyboard->press(*key);
        } else {
            m_keyboard->release(*key);
        }
        return answer();
    }

    std::string movePointer(std::istream& words)
    {
        std::uint32_t x = 0;
        std::uint32_t y = 0;
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        if (!(words >> x >> y >> width >> height)) {
            return "not a place";
        }
        zwlr_virtual_pointer_v1_motion_absolute(m_pointer, noTime, x, y, width, height);
        zwlr_virtual_pointer_v1_frame(m_pointer);
        return answer();
    }

    std::string moveButton(std::istream& words)
    {
        std::string direction;
        words >> direction;
        zwlr_virtual_pointer_v1_button(m_pointer, noTime, BTN_LEFT,
                                       direction == "down" ? WL_POINTER_BUTTON_STATE_PRESSED
                                                           : WL_POINTER_BUTTON_STATE_RELEASED);
        zwlr_virtual_pointer_v1_frame(m_pointer);
        return answer();
    }

    std::string turnWheel(std::istream& words)
    {
        int notches = 0;
        if (!(words >> notches)) {
            return "not understood";
        }
        for (int notch = 0; notch < std::abs(notches); ++notch) {
            const int direction = notches > 0 ? 1 : -1;
            zwlr_virtual_pointer_v1_axis_source(m_pointer, WL_POINTER_AXIS_SOURCE_WHEEL);
            zwlr_virtual_pointer_v1_axis_discrete(m_pointer, noTime, WL_POINTER_AXIS_VERTICAL_SCROLL,
                                                  wl_fixed_from_int(direction * unitsPerNotch), direction);
            zwlr_virtual_pointer_v1_frame(m_pointer);
        }
        return answer();
    }

    WaylandDisplay& m_display;
    std::unique_ptr<WaylandVirtualKeyboard> m_keyboard;
    zwlr_virtual_pointer_manager_v1* const m_pointerManager;
    zwlr_virtual_pointer_v1* const m_pointer;
};

void run()
{
    WaylandConnection connection({});
    std::unique_ptr<Hand> hand;
    std::cout << connection.perform([&](WaylandDisplay& display) {
        hand = std::make_unique<Hand>(display);
        return hand->begin();
    }) << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << connection.perform([&](WaylandDisplay&) { return hand->perform(line); }) << std::endl;
    }
    connection.perform([&](WaylandDisplay&) { hand.reset(); });
}

} // namespace

int main()
{
    try {
        run();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "glimmerwick-wayland-hand: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
