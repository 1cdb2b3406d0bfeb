#pragma once

#include <QObject>
#include <QPointer>
#include <QWindow>

#include <functional>
#include <memory>

class QScreen;
struct wl_callback;

namespace glimmerwick {

class WaylandLayerSurface;
class WaylandToolkit;

/// The panel's window while it is shown: keeps its surface on top, where the toolkit says that the window is,
/// and brings it the keys until the user turns to another window. Main thread.
class WaylandPanel : public QObject {
public:
    /// The window must be visible and not painted yet. `onKeysLost` runs from the event loop when another
    /// program has got the keys, or when the panel is not shown any more; it may destroy this.
    WaylandPanel(WaylandToolkit& toolkit, QWindow& window, std::function<void()> onKeysLost);
    /// Before the window is hidden, so that the compositor gives the keys back at once.
    ~WaylandPanel() override;

    /// Brings the keys back to a panel that has lost them.
    void takeKeys();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void giveRole();
    void followFocus();
    void followWindow();
    void commit();
    QPoint positionOnScreen() const;

    WaylandToolkit& m_toolkit;
    const QPointer<QWindow> m_window;
    const QPointer<QScreen> m_screen;
    const std::function<void()> m_onKeysLost;
    std::unique_ptr<WaylandLayerSurface> m_role;
    /// There while the compositor has not moved the panel to where the window is.
    wl_callback* m_moving = nullptr;
    bool m_hasHadKeys = false;
};

} // namespace glimmerwick
