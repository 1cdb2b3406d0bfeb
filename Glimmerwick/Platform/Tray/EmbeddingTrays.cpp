#include "Platform/Tray/EmbeddingTrays.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace glimmerwick {

namespace {

constexpr unsigned sentByClient = 0x80;

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

xcb_connection_t* toolkitDisplay()
{
    const auto* interface = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return interface ? interface->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* display, const std::string& name)
{
    if (!display) {
        return XCB_ATOM_NONE;
    }
    const auto cookie = xcb_intern_atom(display, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, FreeDeleter> reply(
        xcb_intern_atom_reply(display, cookie, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

/// Of the display that the environment names, which is the toolkit's.
int screenNumber()
{
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    const bool isValid = xcb_parse_display(nullptr, &host, &display, &screen) != 0;
    std::free(host);
    return isValid ? screen : 0;
}

} // namespace

EmbeddingTrays::EmbeddingTrays(std::function<void()> isThere)
    : m_isThere(std::move(isThere)), m_display(toolkitDisplay()),
      m_traySelection(atom(m_display, "_NET_SYSTEM_TRAY_S" + std::to_string(screenNumber()))),
      m_announcement(atom(m_display, "MANAGER"))
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
    const std::unique_ptr<xcb_get_selection_owner_reply_t, FreeDeleter> owner(xcb_get_selection_owner_reply(
        m_display, xcb_get_selection_owner(m_display, m_traySelection), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

// Who becomes a selection's manager says so to the root window, whose messages the toolkit listens to.
bool EmbeddingTrays::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & ~sentByClient) == XCB_CLIENT_MESSAGE) {
        const auto* sent = reinterpret_cast<const xcb_client_message_event_t*>(event);
        if (sent->type == m_announcement && sent->data.data32[1] == m_traySelection) {
            m_isThere();
        }
    }
    return false;
}

} // namespace glimmerwick
