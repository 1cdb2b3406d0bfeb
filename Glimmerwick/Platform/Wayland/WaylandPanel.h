#pragma once

#include "Platform/Registration.h"

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QWindow>

#include <functional>
#include <memory>
#include <optional>

class QMouseEvent;
class QScreen;
struct wl_callback;

namespace glimmerwick {

class WaylandLayerSurface;
class WaylandToolkit;

/// The panel's window while it is shown: keeps its surface on top, where the toolkit says that the window is,
/// and brings it the keys until the user turns to another window. Main thread.
class WaylandPanel : public QObject {
public:
    struct Hooks {
        /// Whether a mouse button is down on something of another program.
        std::function<bool()> isPointerHeld;
        /// Runs from the event loop when the user has turned to another program, or when the panel is not
        /// shown any more; it may destroy the panel.
        std::function<void()> keysLost;
    };

    /// The window must be visible and not painted yet.
    WaylandPanel(WaylandToolkit& toolkit, QWindow& window, Hooks hooks);
    /// Before the window is hidden, so that the compositor gives the keys back at once.
    ~WaylandPanel() override;

    /// Brings the keys back to a panel that has lost them.
    void takeKeys();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void giveRole();
    void letGoOnceFocused();
    void followWindow();
    bool correctPlace(const QMouseEvent& event);
    void keysHaveLeft();
    void judgeLeaving();
    void commit();
    QPoint positionOnScreen() const;

    WaylandToolkit& m_toolkit;
    const QPointer<QWindow> m_window;
    const QPointer<QScreen> m_screen;
    const Hooks m_hooks;
    std::unique_ptr<WaylandLayerSurface> m_role;
    /// Where the panel was when the first of the mouse buttons went down on it that are down.
    std::optional<QPoint> m_heldAt;
    /// There while it is open whether keys that have left come back.
    wl_callback* m_leaving = nullptr;
    bool m_takesAllKeys = false;
    Registration m_focusObserver;
};

} // namespace glimmerwick
