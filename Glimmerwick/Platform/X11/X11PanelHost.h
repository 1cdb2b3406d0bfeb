#pragma once

#include "Platform/PanelHost.h"

namespace glimmerwick {

class X11Connection;
class X11KeyboardGrab;

class X11PanelHost : public PanelHost {
public:
    X11PanelHost(X11Connection& display, X11KeyboardGrab& keyboardGrab);

    void panelDidShow(NativeWindow panel) override;
    void makePanelKey(NativeWindow panel) override;
    void panelWillHide(NativeWindow panel) override;
    bool isCompositing() override;

private:
    X11Connection& m_display;
    X11KeyboardGrab& m_keyboardGrab;
};

} // namespace glimmerwick
