#pragma once

#include "Platform/PanelHost.h"
#include "Platform/Qt/HandlerList.h"

#include <QMetaObject>
#include <QPointer>

class QWindow;

namespace glimmerwick {

/// A panel that is a window like any other, for window systems that put nothing above all windows and give
/// keys to the active window alone. Where such a window stands is up to them, as is whether the pointer's
/// place is known. Main thread, while there is a QGuiApplication.
class FocusedPanelHost : public PanelHost {
public:
    FocusedPanelHost();
    ~FocusedPanelHost() override;
    FocusedPanelHost(const FocusedPanelHost&) = delete;
    FocusedPanelHost& operator=(const FocusedPanelHost&) = delete;

    bool needsOrdinaryPanel() const override { return true; }
    std::optional<ScreenPoint> pointerPosition() override { return std::nullopt; }
    void panelDidShow(NativeWindow panel) override;
    void makePanelKey(NativeWindow panel) override;
    void panelWillHide(NativeWindow panel) override;
    Backdrop shapePanel(NativeWindow panel, PanelOutline outline) override;
    ScreenRect visibleFrame(ScreenRect screen) override;
    Registration onBackdropChanged(std::function<void()> handler) override;
    Registration onKeysLost(std::function<void()> handler) override;

private:
    void focusDidChange(const QWindow* focused);

    /// While it is shown.
    QPointer<QWindow> m_panel;
    /// It comes a while after the panel is shown, and may not come at all.
    bool m_hadKeys = false;
    QMetaObject::Connection m_focusObserver;
    HandlerList<void()> m_keysLostHandlers;
};

} // namespace glimmerwick
