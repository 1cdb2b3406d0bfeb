#include "Platform/X11/X11EventWatcher.h"

#include "Platform/X11/X11DisplayLoss.h"

#include <QSocketNotifier>

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <utility>

namespace glimmerwick {

X11EventWatcher::X11EventWatcher()
{
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &mask);
    m_connection.atom("_NET_ACTIVE_WINDOW");
    startRawInput();
    startWatchingCompositors();

    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
    // What arrived with the answers above is in memory already; the socket will not tell of it.
    readEvents();
}

X11EventWatcher::~X11EventWatcher() = default;

void X11EventWatcher::startRawInput()
{
    const auto* input = m_connection.extension(xcb_input_id);
    if (!input) {
        return;
    }
    const auto version =
        m_connection.answer(xcb_input_xi_query_version_reply, xcb_input_xi_query_version(m_connection, 2, 2));
    // Only from 2.1 on do raw events arrive while another client holds a grab.
    if (version
        && std::pair(version->major_version, version->minor_version)
            >= std::pair<std::uint16_t, std::uint16_t>(2, 1)) {
        m_inputExtensionOpcode = input->major_opcode;
    }
}

void X11EventWatcher::startWatchingCompositors()
{
    constexpr std::uint32_t major = 5;
    const auto* fixes = m_connection.extension(xcb_xfixes_id);
    if (!fixes
        || !m_connection.answer(xcb_xfixes_query_version_reply,
                                xcb_xfixes_query_version(m_connection, major, 0))) {
        return;
    }
    m_selectionEvent = static_cast<std::uint8_t>(fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
    xcb_xfixes_select_selection_input(m_connection, m_connection.root(), m_connection.compositorSelection(),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    xcb_flush(m_connection);
}

Registration X11EventWatcher::onCompositorChanged(std::function<void()> handler)
{
    return m_compositorHandlers.append(std::move(handler));
}

Registration X11EventWatcher::onKeyboardMappingChanged(std::function<void()> handler)
{
    return m_keyboardMappingHandlers.append(std::move(handler));
}

Registration X11EventWatcher::onActiveWindowChanged(std::function<void()> handler)
{
    return m_activeWindowHandlers.append(std::move(handler));
}

void X11EventWatcher::watchFocus(xcb_window_t window, FocusLossHandler onLost)
{
    stopWatchingFocus();
    if (window == m_connection.root()) {
        return;
    }
    m_focusWindow = window;
    m_onFocusLost = std::move(onLost);
    const std::uint32_t mask = XCB_EVENT_MASK_FOCUS_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &mask);
    m_connection.roundTrip();
    // What arrived with the answer is in memory already; the socket will not tell of it.
    QMetaObject::invokeMethod(
        m_notifier.get(), [this] { readEvents(); }, Qt::QueuedConnection);
}

void X11EventWatcher::stopWatchingFocus()
{
    if (m_focusWindow == XCB_WINDOW_NONE) {
        return;
    }
    const std::uint32_t nothing = XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(m_connection, m_focusWindow, XCB_CW_EVENT_MASK, &nothing);
    xcb_flush(m_connection);
    m_focusWindow = XCB_WINDOW_NONE;
    m_onFocusLost = nullptr;
}

Registration X11EventWatcher::onRawButtonPress(std::function<void(std::uint32_t)> handler)
{
    auto entry = std::make_shared<Registration>(m_rawButtonHandlers.append(std::move(handler)));
    selectRawInput();
    return Registration([this, entry] {
        entry->reset();
        selectRawInput();
    });
}

Registration X11EventWatcher::onRawKeyPress(std::function<void(xcb_keycode_t)> handler)
{
    auto entry = std::make_shared<Registration>(m_rawKeyHandlers.append(std::move(handler)));
    selectRawInput();
    return Registration([this, entry] {
        entry->reset();
        selectRawInput();
    });
}

void X11EventWatcher::selectRawInput()
{
    if (!watchesRawInput()) {
        return;
    }
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, 0};
    if (!m_rawButtonHandlers.isEmpty()) {
        selection.mask |= XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;
    }
    if (!m_rawKeyHandlers.isEmpty()) {
        selection.mask |= XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS;
    }
    xcb_input_xi_select_events(m_connection, m_connection.root(), 1, &selection.head);
    xcb_flush(m_connection);
}

void X11EventWatcher::readEvents()
{
    while (const XcbEvent event = m_connection.pollEvent()) {
        handle(*event);
    }
    if (m_connection.isBroken()) {
        m_notifier->setEnabled(false);
        X11DisplayLoss::tell();
    }
}

void X11EventWatcher::handle(const xcb_generic_event_t& event)
{
    if (m_selectionEvent != 0 && eventType(event) == m_selectionEvent) {
        m_compositorHandlers.callAll();
        return;
    }
    switch (eventType(event)) {
    case XCB_MAPPING_NOTIFY: {
        const auto& mapping = reinterpret_cast<const xcb_mapping_notify_event_t&>(event);
        if (mapping.request != XCB_MAPPING_POINTER) {
            m_keyboardMappingHandlers.callAll();
        }
        break;
    }
    case XCB_PROPERTY_NOTIFY:
        if (reinterpret_cast<const xcb_property_notify_event_t&>(event).atom
            == m_connection.atom("_NET_ACTIVE_WINDOW")) {
            m_activeWindowHandlers.callAll();
        }
        break;
    case XCB_FOCUS_OUT: {
        const auto& focus = reinterpret_cast<const xcb_focus_out_event_t&>(event);
        // A grab's own focus events say nothing about where the focus is.
        const bool isAboutGrab = focus.mode == XCB_NOTIFY_MODE_GRAB || focus.mode == XCB_NOTIFY_MODE_UNGRAB;
        if (!isAboutGrab && focus.detail != XCB_NOTIFY_DETAIL_POINTER) {
            loseFocus(focus.event, FocusLoss::movedAway);
        }
        break;
    }
    case XCB_UNMAP_NOTIFY:
        loseFocus(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window, FocusLoss::windowIsGone);
        break;
    case XCB_DESTROY_NOTIFY:
        loseFocus(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window, FocusLoss::windowIsGone);
        break;
    case XCB_GE_GENERIC:
        handleRawInput(reinterpret_cast<const xcb_ge_generic_event_t&>(event));
        break;
    default:
        break;
    }
}

void X11EventWatcher::handleRawInput(const xcb_ge_generic_event_t& event)
{
    if (event.extension != m_inputExtensionOpcode) {
        return;
    }
    if (event.event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
        m_rawButtonHandlers.callAll(
            reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event).detail);
    } else if (event.event_type == XCB_INPUT_RAW_KEY_PRESS) {
        m_rawKeyHandlers.callAll(static_cast<xcb_keycode_t>(
            reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event).detail));
    }
}

void X11EventWatcher::loseFocus(xcb_window_t window, FocusLoss loss)
{
    if (window == m_focusWindow && m_onFocusLost) {
        const auto onLost = m_onFocusLost;
        onLost(loss);
    }
}

} // namespace glimmerwick
