#include "Platform/Wayland/WaylandEventMonitors.h"

#include "Platform/Qt/KeyEventFilter.h"

#include <utility>

namespace glimmerwick {

WaylandEventMonitors::WaylandEventMonitors(KeyEventFilter& keyEventFilter) : m_keyEventFilter(keyEventFilter)
{
}

WaylandEventMonitors::~WaylandEventMonitors() = default;

Registration
WaylandEventMonitors::addLocalKeyDownMonitor(std::function<MonitorDecision(const KeyEvent&)> handler)
{
    return m_keyEventFilter.addLocalMonitor(std::move(handler));
}

Registration WaylandEventMonitors::addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)>)
{
    return Registration();
}

Registration WaylandEventMonitors::addGlobalMouseDownMonitor(std::function<void()>)
{
    return Registration();
}

} // namespace glimmerwick
