#include "Platform/Qt/FocusedPanelHost.h"

#include "Platform/Qt/NativeWindows.h"

#include <QGuiApplication>
#include <QWindow>

#include <utility>

namespace glimmerwick {

FocusedPanelHost::FocusedPanelHost()
    : m_focusObserver(QObject::connect(qGuiApp, &QGuiApplication::focusWindowChanged,
                                       [this](const QWindow* focused) { focusDidChange(focused); }))
{
}

FocusedPanelHost::~FocusedPanelHost()
{
    QObject::disconnect(m_focusObserver);
}

void FocusedPanelHost::panelDidShow(NativeWindow panel)
{
    m_panel = windowOf(panel);
    m_hadKeys = m_panel && QGuiApplication::focusWindow() == m_panel;
    if (m_panel) {
        m_panel->requestActivate();
    }
}

void FocusedPanelHost::makePanelKey(NativeWindow)
{
    if (m_panel) {
        m_panel->requestActivate();
    }
}

void FocusedPanelHost::panelWillHide(NativeWindow)
{
    m_panel = nullptr;
}

void FocusedPanelHost::focusDidChange(const QWindow* focused)
{
    if (!m_panel) {
        return;
    }
    if (focused == m_panel) {
        m_hadKeys = true;
    } else if (!focused && std::exchange(m_hadKeys, false)) {
        m_keysLostHandlers.callAll();
    }
}

Backdrop FocusedPanelHost::shapePanel(NativeWindow, PanelOutline)
{
    return Backdrop::translucent;
}

ScreenRect FocusedPanelHost::visibleFrame(ScreenRect screen)
{
    return screen;
}

Registration FocusedPanelHost::onBackdropChanged(std::function<void()>)
{
    return Registration();
}

Registration FocusedPanelHost::onKeysLost(std::function<void()> handler)
{
    return m_keysLostHandlers.append(std::move(handler));
}

} // namespace glimmerwick
