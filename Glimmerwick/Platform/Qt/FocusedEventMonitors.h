#pragma once

#include "Platform/EventMonitors.h"

namespace glimmerwick {

class KeyEventFilter;

/// Local presses come from the toolkit. Where what happens in other programs is nobody's business, the global
/// monitors stay silent; `PanelHost::onKeysLost` tells of clicks elsewhere. Main thread.
class FocusedEventMonitors : public EventMonitors {
public:
    explicit FocusedEventMonitors(KeyEventFilter& keyEventFilter);
    ~FocusedEventMonitors() override;

    Registration addLocalKeyDownMonitor(std::function<MonitorDecision(const KeyEvent&)> handler) override;
    Registration addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override;
    Registration addGlobalMouseDownMonitor(std::function<void()> handler) override;

private:
    KeyEventFilter& m_keyEventFilter;
};

} // namespace glimmerwick
