#include "Contract/WaylandSeatDevices.h"
#include "Platform/Wayland/WaylandConnection.h"

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
//   down SYMBOL, up SYMBOL      a key by the symbol that it has on a US keyboard without modifiers: "v",
//                               "Control_L"
//   move X Y WIDTH HEIGHT       the pointer, in a space of that size
//   button down, button up      the left one
//   wheel NOTCHES               down when positive
//
// Each answers with a line, "done" or what is wrong, once the compositor has handled it; so does the
// beginning.

namespace {

using namespace glimmerwick;
using contract::SeatDevices;

class Hand {
public:
    explicit Hand(WaylandDisplay& display) : m_display(display), m_devices(SeatDevices::make(display)) { }

    std::string begin() { return m_devices ? answer() : "there are no devices to be had"; }

    std::string perform(const std::string& line)
    {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        if (verb == "down" || verb == "up") {
            return moveKey(motionOf(verb), words);
        }
        if (verb == "move") {
            return movePointer(words);
        }
        return verb == "button" ? moveButton(words) : turnWheel(words);
    }

private:
    static SeatDevices::Motion motionOf(const std::string& word)
    {
        return word == "down" ? SeatDevices::Motion::down : SeatDevices::Motion::up;
    }

    std::string answer() { return m_display.roundTrip() ? "done" : "the compositor does not answer"; }

    std::string moveKey(SeatDevices::Motion motion, std::istream& words)
    {
        std::string symbol;
        words >> symbol;
        return m_devices->moveKey(symbol, motion) ? answer() : "no such key";
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
        m_devices->movePointer(x, y, width, height);
        return answer();
    }

    std::string moveButton(std::istream& words)
    {
        std::string direction;
        words >> direction;
        m_devices->moveButton(motionOf(direction));
        return answer();
    }

    std::string turnWheel(std::istream& words)
    {
        int notches = 0;
        if (!(words >> notches)) {
            return "not understood";
        }
        m_devices->turnWheel(notches);
        return answer();
    }

    WaylandDisplay& m_display;
    std::unique_ptr<SeatDevices> m_devices;
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
