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

WaylandPanel::WaylandPanel(WaylandToolkit& toolkit, QWindow& window, std::function<void()> onKeysLost)
    : m_toolkit(toolkit), m_window(&window), m_screen(screenOf(window)), m_onKeysLost(std::move(onKeysLost))
{
    giveRole();
    window.installEventFilter(this);
    // The toolkit says at once that nobody has the focus when it goes from one own window to another.
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, &WaylandPanel::followFocus,
            Qt::QueuedConnection);
    connect(&window, &QWindow::xChanged, this, &WaylandPanel::followWindow);
    connect(&window, &QWindow::yChanged, this, &WaylandPanel::followWindow);
}

WaylandPanel::~WaylandPanel()
{
    if (m_moving) {
        wl_callback_destroy(m_moving);
    }
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
    m_role->onClosed = m_onKeysLost;
    commit();
    if (!m_toolkit.waitForConfiguration(*m_role)) {
        m_role.reset();
    }
}

void WaylandPanel::takeKeys()
{
    if (m_role && QGuiApplication::focusWindow() != m_window) {
        m_hasHadKeys = false;
        m_role->takeKeys(WaylandLayerSurface::Keys::all);
        commit();
    }
}

void WaylandPanel::followFocus()
{
    const QWindow* const focused = QGuiApplication::focusWindow();
    if (focused == m_window && m_role && !std::exchange(m_hasHadKeys, true)) {
        // All of them would stay even where the user clicks on another window.
        m_role->takeKeys(WaylandLayerSurface::Keys::untilElsewhere);
        commit();
    } else if (!focused && m_hasHadKeys) {
        // A copy: it may destroy this.
        const auto handler = m_onKeysLost;
        handler();
    }
}

void WaylandPanel::followWindow()
{
    if (!m_role) {
        return;
    }
    const QPoint position = positionOnScreen();
    m_role->moveTo(position.x(), position.y());
    commit();
    if (m_moving) {
        wl_callback_destroy(m_moving);
    }
    m_moving = wl_display_sync(m_toolkit.display());
    static constexpr wl_callback_listener listener{[](void* self, wl_callback* callback, std::uint32_t) {
        wl_callback_destroy(callback);
        static_cast<WaylandPanel*>(self)->m_moving = nullptr;
    }};
    wl_callback_add_listener(m_moving, &listener, this);
}

// The pointer's place is told relative to the panel, and where that is nobody knows while it moves: a drag
// would overshoot.
bool WaylandPanel::eventFilter(QObject* watched, QEvent* event)
{
    return watched == m_window && event->type() == QEvent::MouseMove && m_moving
        && static_cast<QMouseEvent*>(event)->buttons() != Qt::NoButton;
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
