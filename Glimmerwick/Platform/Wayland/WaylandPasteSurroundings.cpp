#include "Platform/Wayland/WaylandPasteSurroundings.h"

#include "Platform/Wayland/WaylandPasteboard.h"
#include "Platform/Wayland/WaylandWindows.h"

namespace glimmerwick {

namespace {

const char* explanation(WaylandWindows::Obstacle obstacle)
{
    switch (obstacle) {
    case WaylandWindows::Obstacle::windowIsGone:
        return "the window to type into is gone";
    case WaylandWindows::Obstacle::anotherWindowHasTheKeys:
        return "another window has the keyboard";
    }
    return "";
}

} // namespace

WaylandPasteSurroundings::WaylandPasteSurroundings(WaylandWindows& windows, WaylandPasteboard& pasteboard)
    : m_windows(windows), m_pasteboard(pasteboard)
{
}

std::optional<std::string> WaylandPasteSurroundings::obstacle()
{
    const auto obstacle = m_windows.obstacle();
    return obstacle ? std::optional<std::string>(explanation(*obstacle)) : std::nullopt;
}

std::string WaylandPasteSurroundings::frontmostApplication()
{
    const auto window = m_windows.frontmost();
    return window ? window->appId : std::string();
}

bool WaylandPasteSurroundings::pasteWillBegin(PasteSelections selections)
{
    return m_pasteboard.pasteWillBegin(selections);
}

void WaylandPasteSurroundings::pasteWasCancelled()
{
    m_pasteboard.pasteWasCancelled();
}

} // namespace glimmerwick
