#include "Platform/Wayland/WaylandPanel.h"

#include "Platform/Wayland/WaylandLayerSurface.h"
#include "Platform/Wayland/WaylandToolkit.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>

#include <wayland-client.h>

#include <cstdio>
#include <utility>

namespace glimmerwick {

namespace {

/// The screen with the middle of the window, else the one that the toolkit believes in.
QScreen* screenOf(const QWindow& window)
{
    QScreen* const screen = QGuiApplication::screenAt(window.geometry().center());
    return screen ? screen : window.screen();
}

} // namespace

WaylandPanel::WaylandPanel(WaylandToolkit& toolkit, QWindow& window, Hooks hooks)
    : m_toolkit(toolkit), m_window(&window), m_screen(screenOf(window)), m_hooks(std::move(hooks))
{
    giveRole();
    if (!m_role) {
        // Nobody sees it, so nobody would hide it.
        QMetaObject::invokeMethod(this, m_hooks.keysLost, Qt::QueuedConnection);
    }
    window.installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, &WaylandPanel::letGoOnceFocused);
    connect(&window, &QWindow::xChanged, this, &WaylandPanel::followWindow);
    connect(&window, &QWindow::yChanged, this, &WaylandPanel::followWindow);
    m_focusObserver = toolkit.keyboardFocus().onLeft([this](wl_surface* surface) {
        if (m_window && surface == WaylandToolkit::surfaceOf(*m_window)) {
            keysHaveLeft();
        }
    });
}

WaylandPanel::~WaylandPanel()
{
    if (m_leaving) {
        wl_callback_destroy(m_leaving);
    }
    m_role.reset();
    // The toolkit would wait for its next turn, and the program in use for the keys.
    wl_display_flush(m_toolkit.display());
}

void WaylandPanel::giveRole()
{
    wl_surface* const surface = WaylandToolkit::surfaceOf(*m_window);
    m_role = surface && m_screen ? m_toolkit.makeLayerSurface(surface, *m_screen) : nullptr;
    if (!m_role) {
        std::fprintf(stderr, "glimmerwick: the compositor shows no panels\n");
        return;
    }
    const QPoint position = positionOnScreen();
    m_role->placeAt({position.x(), position.y(), static_cast<std::uint32_t>(m_window->width()),
                     static_cast<std::uint32_t>(m_window->height())});
    m_role->takeKeys(WaylandLayerSurface::Keys::all);
    m_takesAllKeys = true;
    commit();
    if (!m_toolkit.waitForConfiguration(*m_role)) {
        m_role.reset();
        return;
    }
    // Not before: what hides the panel must find it made.
    m_role->onClosed = m_hooks.keysLost;
}

void WaylandPanel::takeKeys()
{
    if (m_role && QGuiApplication::focusWindow() != m_window) {
        m_role->takeKeys(WaylandLayerSurface::Keys::all);
        m_takesAllKeys = true;
        commit();
    }
}

// A panel that goes on taking all keys would keep them where the user clicks on another window. One that
// never took all of them would not get any without a click.
void WaylandPanel::letGoOnceFocused()
{
    if (m_role && m_window && QGuiApplication::focusWindow() == m_window
        && std::exchange(m_takesAllKeys, false)) {
        m_role->takeKeys(WaylandLayerSurface::Keys::untilElsewhere);
        commit();
    }
}

void WaylandPanel::keysHaveLeft()
{
    if (m_leaving) {
        return;
    }
    m_leaving = wl_display_sync(m_toolkit.display());
    static constexpr wl_callback_listener listener{[](void* self, wl_callback* callback, std::uint32_t) {
        wl_callback_destroy(callback);
        static_cast<WaylandPanel*>(self)->m_leaving = nullptr;
        static_cast<WaylandPanel*>(self)->judgeLeaving();
    }};
    wl_callback_add_listener(m_leaving, &listener, this);
}

// sway 1.7 gives the keys back at once, whatever the user clicks on; and it does the same when the pointer
// comes over another window where the focus follows it, or when a window opens.
void WaylandPanel::judgeLeaving()
{
    const wl_surface* const focused = m_toolkit.keyboardFocus().surface();
    const bool isBack = m_window && focused && focused == WaylandToolkit::surfaceOf(*m_window);
    const bool isLost =
        !focused || (isBack && QGuiApplication::mouseButtons() == Qt::NoButton && m_hooks.isPointerHeld());
    if (isLost) {
        // A copy: it may destroy this.
        const auto keysLost = m_hooks.keysLost;
        keysLost();
    }
}

void WaylandPanel::followWindow()
{
    if (!m_role || m_heldAt) {
        return;
    }
    const QPoint position = positionOnScreen();
    m_role->moveTo(position.x(), position.y());
    commit();
}

// While a button is down, compositors tell the pointer's place relative to where the panel is, or to where it
// was when the button went down; sway does the latter. Both are the same as long as the panel stays, so it
// follows a drag at its end.
bool WaylandPanel::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_window) {
        return false;
    }
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        m_heldAt = m_heldAt.value_or(m_window->position());
        return false;
    case QEvent::MouseButtonRelease:
        if (static_cast<QMouseEvent*>(event)->buttons() == Qt::NoButton) {
            m_heldAt.reset();
            followWindow();
        }
        return false;
    case QEvent::MouseMove:
        return m_heldAt && correctPlace(static_cast<QMouseEvent&>(*event));
    default:
        return false;
    }
}

bool WaylandPanel::correctPlace(const QMouseEvent& event)
{
    const QPointF place = *m_heldAt + event.position();
    if (place == event.globalPosition()) {
        return false;
    }
    QMouseEvent corrected(event.type(), event.position(), event.scenePosition(), place, event.button(),
                          event.buttons(), event.modifiers(), event.pointingDevice());
    corrected.setTimestamp(event.timestamp());
    QCoreApplication::sendEvent(m_window, &corrected);
    return true;
}

void WaylandPanel::commit()
{
    if (wl_surface* const surface = WaylandToolkit::surfaceOf(*m_window)) {
        wl_surface_commit(surface);
        wl_display_flush(m_toolkit.display());
    }
}

QPoint WaylandPanel::positionOnScreen() const
{
    return m_screen ? m_window->position() - m_screen->geometry().topLeft() : QPoint();
}

} // namespace glimmerwick
