#pragma once

#include "Platform/PanelHost.h"
#include "Platform/Qt/HandlerList.h"
#include "Platform/Wayland/WaylandPointerProbe.h"
#include "Platform/Wayland/WaylandToolkit.h"

#include <memory>
#include <optional>

namespace glimmerwick {

class WaylandConnection;
class WaylandPanel;

/// Puts the panel above all windows, which nothing but the compositor's layer shell can do, and asks it where
/// the pointer is. The compositor brings the panel the keys and gives them back.
class WaylandPanelHost : public PanelHost {
public:
    /// The connection is not the toolkit's, and outlives this.
    explicit WaylandPanelHost(WaylandConnection& connection);
    ~WaylandPanelHost() override;

    bool needsOrdinaryPanel() const override { return false; }
    std::optional<ScreenPoint> pointerPosition() override;
    void panelDidShow(NativeWindow panel) override;
    void makePanelKey(NativeWindow panel) override;
    void panelWillHide(NativeWindow panel) override;
    Backdrop shapePanel(NativeWindow panel, PanelOutline outline) override;
    ScreenRect visibleFrame(ScreenRect screen) override;
    Registration onBackdropChanged(std::function<void()> handler) override;
    Registration onKeysLost(std::function<void()> handler) override;

private:
    WaylandToolkit m_toolkit;
    WaylandPointerProbe m_pointerProbe;
    std::unique_ptr<WaylandPanel> m_panel;
    HandlerList<void()> m_keysLostHandlers;
};

} // namespace glimmerwick
