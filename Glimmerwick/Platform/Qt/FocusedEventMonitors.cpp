#include "Platform/Qt/FocusedEventMonitors.h"

#include "Platform/Qt/KeyEventFilter.h"

#include <utility>

namespace glimmerwick {

FocusedEventMonitors::FocusedEventMonitors(KeyEventFilter& keyEventFilter) : m_keyEventFilter(keyEventFilter)
{
}

FocusedEventMonitors::~FocusedEventMonitors() = default;

Registration
FocusedEventMonitors::addLocalKeyDownMonitor(std::function<MonitorDecision(const KeyEvent&)> handler)
{
    return m_keyEventFilter.addLocalMonitor(std::move(handler));
}

Registration FocusedEventMonitors::addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)>)
{
    return Registration();
}

Registration FocusedEventMonitors::addGlobalMouseDownMonitor(std::function<void()>)
{
    return Registration();
}

} // namespace glimmerwick
