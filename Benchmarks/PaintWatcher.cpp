// Measures in a display when a panel is painted, for the programs beside it. Reads commands from standard
// input and answers each with a line on standard output. Times are nanoseconds of the monotonic clock, 0 for
// never.
//
// usage: paint-watcher WIDTH HEIGHT FIRST-ROW END-ROW
//
//   show KEYCODE...           presses the chord; answers: pressed mapped painted
//   hide KEYCODE              presses the key; answers when the panel was gone
//   press KEYCODE             answers: pressed, when the picture first changed, when it last did
//   forget                    the next show's picture is the one that the shows after it are compared with
//   save FILE                 writes the picture that shows are compared with
//   grabbed KEYCODE MODIFIERS waits until somebody has the key; answers when that was
//   idle THREAD MILLISECONDS  waits until the thread with this id has done nothing for so long; answers when
//   it
//                             last did something
//
// What fails is answered by a line that starts with "error".

#include "PanelWatch.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

using Clock = PanelWatch::Clock;

std::int64_t nanoseconds(Clock::time_point time)
{
    return std::chrono::nanoseconds(time.time_since_epoch()).count();
}

std::int64_t nanoseconds(std::optional<Clock::time_point> time)
{
    return time ? nanoseconds(*time) : 0;
}

int number(std::istream& words)
{
    int value = 0;
    if (!(words >> value)) {
        throw std::runtime_error("a number is missing");
    }
    return value;
}

xcb_keycode_t keycode(std::istream& words)
{
    return static_cast<xcb_keycode_t>(number(words));
}

std::vector<xcb_keycode_t> chord(std::istream& words)
{
    std::vector<xcb_keycode_t> keys;
    for (int key = 0; words >> key;) {
        keys.push_back(static_cast<xcb_keycode_t>(key));
    }
    return keys;
}

/// How long a thread has worked, or has been ready to work while other programs had the processors.
std::chrono::nanoseconds workOf(int thread)
{
    const std::string name = std::to_string(thread);
    std::ifstream file("/proc/" + name + "/task/" + name + "/schedstat");
    std::int64_t worked = 0;
    std::int64_t queued = 0;
    if (!(file >> worked >> queued)) {
        throw std::runtime_error("there is no such thread");
    }
    return std::chrono::nanoseconds(worked + queued);
}

using WorkAt = std::pair<Clock::time_point, std::chrono::nanoseconds>;

bool isBusyBetween(const WorkAt& before, const WorkAt& after)
{
    return 2 * (after.second - before.second) >= after.first - before.first;
}

Clock::time_point waitUntilSettled(int thread, std::chrono::milliseconds span)
{
    constexpr std::chrono::microseconds step(500);
    constexpr std::size_t stepsPerWindow = 10;
    constexpr std::chrono::seconds deadline(60);
    const auto start = Clock::now();
    auto since = start;
    auto latestWork = start;
    std::deque<WorkAt> window{{start, workOf(thread)}};
    while (Clock::now() - since < span) {
        if (Clock::now() - start > deadline) {
            throw std::runtime_error("the thread is busy for ever");
        }
        window.emplace_back(Clock::now(), workOf(thread));
        if (isBusyBetween(*std::prev(window.end(), 2), window.back())) {
            latestWork = window.back().first;
        }
        if (window.size() > stepsPerWindow) {
            since = isBusyBetween(window.front(), window.back()) ? std::max(since, latestWork) : since;
            window.pop_front();
        }
        // A pause between two looks at something that nothing tells of.
        std::this_thread::sleep_for(step);
    }
    return since;
}

Clock::time_point waitUntilLogged(const std::string& path, const std::string& text)
{
    constexpr std::chrono::microseconds step(500);
    constexpr std::chrono::seconds deadline(60);
    const auto start = Clock::now();
    while (Clock::now() - start < deadline) {
        std::ifstream file(path);
        const std::string found{std::istreambuf_iterator<char>(file), {}};
        if (found.find(text) != std::string::npos) {
            return Clock::now();
        }
        // Files do not tell of themselves.
        std::this_thread::sleep_for(step);
    }
    throw std::runtime_error("the file never has the text");
}

std::string answer(PanelWatch& watch, const std::string& line)
{
    std::istringstream words(line);
    std::ostringstream result;
    std::string command;
    words >> command;
    if (command == "show") {
        const auto show = watch.show(chord(words));
        result << nanoseconds(show.pressed) << ' ' << nanoseconds(show.mapped) << ' '
               << nanoseconds(show.painted);
    } else if (command == "hide") {
        result << nanoseconds(watch.hide(keycode(words)));
    } else if (command == "press") {
        const auto change = watch.press(keycode(words));
        result << nanoseconds(change.pressed) << ' ' << nanoseconds(change.first) << ' '
               << nanoseconds(change.last);
    } else if (command == "forget") {
        watch.forgetReference();
    } else if (command == "save") {
        std::string path;
        std::getline(words >> std::ws, path);
        watch.saveReference(path);
    } else if (command == "grabbed") {
        const auto key = keycode(words);
        result << nanoseconds(watch.waitUntilGrabbed(key, static_cast<std::uint16_t>(number(words))));
    } else if (command == "logged") {
        std::string path;
        std::string text;
        std::getline(words >> path >> std::ws, text);
        result << nanoseconds(waitUntilLogged(path, text));
    } else if (command == "settled") {
        const int thread = number(words);
        result << nanoseconds(waitUntilSettled(thread, std::chrono::milliseconds(number(words))));
    } else {
        throw std::runtime_error("unknown command");
    }
    return result.str();
}

int run(const std::vector<std::string>& arguments)
{
    constexpr std::size_t argumentCount = 5;
    if (arguments.size() != argumentCount) {
        std::cerr << "usage: paint-watcher WIDTH HEIGHT FIRST-ROW END-ROW" << std::endl;
        return 2;
    }
    const auto size = [&arguments](std::size_t index) {
        return static_cast<std::uint16_t>(std::stoi(arguments[index]));
    };
    PanelWatch watch({size(1), size(2)}, {size(3), size(4)});
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        try {
            std::cout << answer(watch, line) << std::endl;
        } catch (const std::exception& error) {
            std::cout << "error: " << error.what() << std::endl;
        }
    }
    return EXIT_SUCCESS;
}

} // namespace

} // namespace glimmerwick

int main(int argc, char** argv)
{
    try {
        return glimmerwick::run({argv, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "paint-watcher: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
