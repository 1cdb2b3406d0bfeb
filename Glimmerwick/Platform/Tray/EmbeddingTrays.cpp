#include "Platform/Tray/EmbeddingTrays.h"

#include "Platform/X11/X11Connection.h"

#include <QGuiApplication>

#include <string>
#include <utility>

namespace glimmerwick {

namespace {

std::unique_ptr<X11Connection> toolkitDisplay()
{
    const auto* interface = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return interface ? std::make_unique<X11Connection>(interface->connection()) : nullptr;
}

xcb_atom_t traySelection(X11Connection& display)
{
    return display.atom("_NET_SYSTEM_TRAY_S" + std::to_string(display.screenNumber()));
}

} // namespace

EmbeddingTrays::EmbeddingTrays(std::function<void()> isThere)
    : m_isThere(std::move(isThere)), m_display(toolkitDisplay())
{
    if (m_display) {
        qGuiApp->installNativeEventFilter(this);
    }
}

EmbeddingTrays::~EmbeddingTrays() = default;

bool EmbeddingTrays::isThereOne() const
{
    if (!m_display) {
        return false;
    }
    const auto owner = m_display->answer(xcb_get_selection_owner_reply,
                                         xcb_get_selection_owner(*m_display, traySelection(*m_display)));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

// Who becomes a selection's manager says so to the root window, whose messages the toolkit listens to.
bool EmbeddingTrays::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (glimmerwick::eventType(*event) == XCB_CLIENT_MESSAGE) {
        const auto* sent = reinterpret_cast<const xcb_client_message_event_t*>(event);
        if (sent->type == m_display->atom("MANAGER") && sent->data.data32[1] == traySelection(*m_display)) {
            m_isThere();
        }
    }
    return false;
}

} // namespace glimmerwick
