#pragma once

#include "Fuzz/FuzzScript.h"

#include <xcb/xcb.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// The X server that xcb's functions reach while this lives, with a clock of its own that the functions for
/// time and waiting go by. Whenever somebody waits, a program at the display does something that the script
/// says; when the script has no more, time passes. One at a time.
class ScriptedDisplay {
public:
    using Clock = std::chrono::steady_clock;

    struct Property {
        xcb_atom_t type = XCB_ATOM_NONE;
        std::uint8_t format = 8;
        /// Holds this over and over.
        std::string bytes;
        std::size_t repetitions = 1;

        std::size_t size() const { return bytes.size() * repetitions; }
        std::string part(std::size_t offset, std::size_t longest) const;
    };

    /// Somebody's request for a selection, and what became of it.
    struct Request {
        xcb_selection_request_event_t event{};
        bool isAnswered = false;
    };

    explicit ScriptedDisplay(FuzzScript& script);
    ~ScriptedDisplay();
    ScriptedDisplay(const ScriptedDisplay&) = delete;
    ScriptedDisplay& operator=(const ScriptedDisplay&) = delete;

    static ScriptedDisplay& current();

    /// Lets the program that is tested have the text, of all that it sends to others.
    void allow(const std::string& text);
    void allowEverything() { m_isEverythingAllowed = true; }

    xcb_atom_t atom(std::string_view name);
    /// Windows of other programs, and the root.
    xcb_window_t anyWindow();
    xcb_atom_t anyAtom();
    Property anyProperty();
    void set(xcb_window_t window, xcb_atom_t name, Property property);

    Clock::time_point now() const { return m_now; }
    const std::vector<Request>& requests() const { return m_requests; }
    /// How many windows the tested program has.
    std::size_t ownWindowCount() const;
    bool isOwn(xcb_window_t window) const;

    // For xcb's functions.

    xcb_setup_t setup{};
    xcb_screen_t screen{};
    unsigned int nextSequence() { return ++m_sequence; }
    void keepReply(unsigned int sequence, void* reply);
    void* takeReply(unsigned int sequence);
    std::string atomName(xcb_atom_t atom) const;
    void createWindow(xcb_window_t window, xcb_window_t parent, std::uint32_t eventMask);
    void destroyWindow(xcb_window_t window);
    void selectEvents(xcb_window_t window, std::uint32_t eventMask);
    /// By the tested program.
    void changeProperty(xcb_window_t window, xcb_atom_t name, xcb_atom_t type, std::uint8_t format,
                        std::string bytes);
    void deleteProperty(xcb_window_t window, xcb_atom_t name);
    void* readProperty(xcb_window_t window, xcb_atom_t name, xcb_atom_t type, std::uint32_t offset,
                       std::uint32_t length);
    void setSelectionOwner(xcb_window_t owner, xcb_atom_t selection);
    xcb_window_t selectionOwner(xcb_atom_t selection) const;
    void convertSelection(const xcb_selection_request_event_t& request);
    void sendEvent(xcb_window_t destination, const char* event);
    bool exists(xcb_window_t window) const { return m_windows.count(window) != 0; }
    xcb_window_t parentOf(xcb_window_t window) const;
    xcb_window_t focus = XCB_WINDOW_NONE;
    void* nextEvent();
    /// Something happens, or the time passes.
    void wait(std::chrono::milliseconds longest);

private:
    struct Window {
        xcb_window_t parent = XCB_WINDOW_NONE;
        /// What the tested program wants to be told of.
        std::uint32_t eventMask = 0;
        std::map<xcb_atom_t, Property> properties;
    };
    using PropertyPlace = std::pair<xcb_window_t, xcb_atom_t>;
    using Wire = std::vector<char>;

    template <typename Event> void push(Event event);
    void pushPropertyChange(xcb_window_t window, xcb_atom_t name, std::uint8_t state);
    void act();
    void answerConversion();
    void sendPiece();
    void ask();
    void takePiece();
    void takeSelection();
    void sendAnything();
    void expectAnswer(const xcb_selection_request_event_t& request);
    void checkAnswer(const xcb_selection_notify_event_t& answer);
    void checkGiven(PropertyPlace place, xcb_atom_t type, std::uint8_t format, const std::string& bytes);
    xcb_timestamp_t serverTime() const;

    FuzzScript& m_script;
    Clock::time_point m_now{std::chrono::hours(1)};
    unsigned int m_sequence = 0;
    std::map<unsigned int, void*> m_replies;
    std::map<std::string, xcb_atom_t, std::less<>> m_atoms;
    std::map<xcb_window_t, Window> m_windows;
    std::vector<xcb_window_t> m_otherWindows;
    std::map<xcb_atom_t, xcb_window_t> m_owners;
    std::deque<Wire> m_events;
    /// What other programs were asked for and have not answered.
    std::deque<xcb_selection_request_event_t> m_conversions;
    std::vector<Request> m_requests;
    /// What has come so far of what is sent in pieces.
    std::map<PropertyPlace, std::string> m_incoming;
    std::set<std::string> m_allowed;
    bool m_isEverythingAllowed = false;
};

} // namespace glimmerwick
