#include "Platform/Wayland/WaylandPanelHost.h"

#include "Platform/Qt/NativeWindows.h"
#include "Platform/Wayland/WaylandPanel.h"

#include <QWindow>

#include <cmath>
#include <utility>

namespace glimmerwick {

WaylandPanelHost::WaylandPanelHost(WaylandConnection& connection) : m_pointerProbe(connection) { }

WaylandPanelHost::~WaylandPanelHost() = default;

std::optional<ScreenPoint> WaylandPanelHost::pointerPosition()
{
    return m_pointerProbe.probe();
}

void WaylandPanelHost::panelDidShow(NativeWindow panel)
{
    m_panel.reset();
    if (QWindow* const window = windowOf(panel)) {
        m_panel = std::make_unique<WaylandPanel>(
            m_toolkit, *window,
            WaylandPanel::Hooks{[this] { return m_pointerProbe.isPointerHeld(); },
                                [this] { m_keysLostHandlers.callAll(); }});
    }
}

void WaylandPanelHost::makePanelKey(NativeWindow)
{
    if (m_panel) {
        m_panel->takeKeys();
    }
}

void WaylandPanelHost::panelWillHide(NativeWindow)
{
    m_panel.reset();
}

// Corners are round by transparency, and compositors that blur have a protocol of their own for it.
Backdrop WaylandPanelHost::shapePanel(NativeWindow, PanelOutline)
{
    return Backdrop::translucent;
}

ScreenRect WaylandPanelHost::visibleFrame(ScreenRect screen)
{
    const auto area = m_pointerProbe.freeArea(screen.x, screen.y);
    if (!area) {
        return screen;
    }
    const double ratio = static_cast<double>(screen.width) / area->outputWidth;
    const auto pixels = [ratio](std::int32_t points) {
        return static_cast<int>(std::lround(points * ratio));
    };
    return {screen.x + pixels(area->left), screen.y + pixels(area->top), pixels(area->width),
            pixels(area->height)};
}

Registration WaylandPanelHost::onBackdropChanged(std::function<void()>)
{
    return Registration();
}

Registration WaylandPanelHost::onKeysLost(std::function<void()> handler)
{
    return m_keysLostHandlers.append(std::move(handler));
}

} // namespace glimmerwick
