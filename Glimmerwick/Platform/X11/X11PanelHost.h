#pragma once

#include "Platform/PanelHost.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11WorkAreas.h"

namespace glimmerwick {

class X11EventWatcher;
class X11KeyboardGrab;

/// Corners are round by transparency where a compositor runs, else by the window's shape. Window managers
/// that blur what is behind windows are told the outline.
class X11PanelHost : public PanelHost {
public:
    X11PanelHost(X11Connection& toolkit, X11Connection& display, X11EventWatcher& watcher,
                 X11KeyboardGrab& keyboardGrab);

    bool needsOrdinaryPanel() const override { return false; }
    std::optional<ScreenPoint> pointerPosition() override { return std::nullopt; }
    void panelDidShow(NativeWindow panel) override;
    void makePanelKey(NativeWindow panel) override;
    void panelWillHide(NativeWindow panel) override;
    Backdrop shapePanel(NativeWindow panel, PanelOutline outline) override;
    ScreenRect visibleFrame(ScreenRect screen) override { return m_workAreas.visibleFrame(screen); }
    Registration onBackdropChanged(std::function<void()> handler) override;
    /// Never: a grab keeps the keys, and monitors tell of clicks.
    Registration onKeysLost(std::function<void()>) override { return Registration(); }

private:
    bool isCompositing();
    bool isBlurOffered();

    /// Windows are the toolkit's, so requests about them must follow its own.
    X11Connection& m_toolkit;
    X11Connection& m_display;
    X11EventWatcher& m_watcher;
    X11WorkAreas m_workAreas;
    X11KeyboardGrab& m_keyboardGrab;
};

} // namespace glimmerwick
