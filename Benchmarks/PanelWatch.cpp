#include "PanelWatch.h"

#include <poll.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::chrono::seconds deadline(20);
/// A picture that is still for so long is taken for final: twice what passes between a letter and its search.
constexpr std::chrono::milliseconds stillness(150);
/// How long a shown panel must stay as it is to count as painted. The keys are held meanwhile.
constexpr std::chrono::milliseconds holding(60);
/// How often to look at what the display does not tell of.
constexpr std::chrono::milliseconds step(5);
constexpr std::chrono::microseconds betweenGrabs(500);
constexpr std::size_t bytesPerPixel = 4;

[[noreturn]] void fail(const std::string& what)
{
    throw std::runtime_error(what);
}

bool overlap(int start, int length, int otherStart, int otherLength)
{
    return start < otherStart + otherLength && otherStart < start + length;
}

} // namespace

PanelWatch::PanelWatch(Size panel, Rows rows)
    : m_panelSize(panel), m_rows(rows), m_connection(xcb_connect(nullptr, nullptr))
{
    if (xcb_connection_has_error(m_connection) != 0) {
        fail("cannot reach the display");
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    requireExtensions();
    makePictureMemory();
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &events);
    m_damage = xcb_generate_id(m_connection);
    xcb_damage_create(m_connection, m_damage, m_root, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    flush();
}

PanelWatch::~PanelWatch()
{
    shmdt(m_pixels);
    xcb_disconnect(m_connection);
}

void PanelWatch::requireExtensions()
{
    for (xcb_extension_t* extension : {&xcb_damage_id, &xcb_shm_id, &xcb_test_id}) {
        const xcb_query_extension_reply_t* reply = xcb_get_extension_data(m_connection, extension);
        if (!reply || reply->present == 0) {
            fail("the display lacks one of DAMAGE, MIT-SHM and XTEST");
        }
    }
    m_damageEvent = xcb_get_extension_data(m_connection, &xcb_damage_id)->first_event;
    // A server refuses this extension to whoever has not asked for its version.
    const auto cookie = xcb_damage_query_version(m_connection, 1, 1);
    std::free(xcb_damage_query_version_reply(m_connection, cookie, nullptr));
}

void PanelWatch::makePictureMemory()
{
    const std::size_t bytes = bytesPerPixel * m_panelSize.width * (m_rows.end - m_rows.first);
    const int identifier = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (identifier < 0) {
        fail("no shared memory");
    }
    void* const memory = shmat(identifier, nullptr, 0);
    m_segment = xcb_generate_id(m_connection);
    const auto attached = xcb_shm_attach_checked(m_connection, m_segment, identifier, 0);
    const XcbOwned<xcb_generic_error_t> refusal(xcb_request_check(m_connection, attached));
    // It goes away with the last that has it attached.
    shmctl(identifier, IPC_RMID, nullptr);
    if (refusal || reinterpret_cast<std::intptr_t>(memory) == -1) {
        fail("the display shares no memory");
    }
    m_pixels = static_cast<const std::byte*>(memory);
}

void PanelWatch::fake(std::uint8_t type, xcb_keycode_t key)
{
    xcb_test_fake_input(m_connection, type, key, XCB_CURRENT_TIME, m_root, 0, 0, 0);
}

void PanelWatch::flush()
{
    if (xcb_flush(m_connection) <= 0) {
        fail("the display is gone");
    }
}

PanelWatch::Show PanelWatch::show(const std::vector<xcb_keycode_t>& chord)
{
    if (chord.empty() || m_panel) {
        fail("the panel is shown already, or there is no chord");
    }
    for (auto key = chord.begin(); key != std::prev(chord.end()); ++key) {
        fake(XCB_KEY_PRESS, *key);
    }
    synchronize();
    xcb_damage_subtract(m_connection, m_damage, XCB_NONE, XCB_NONE);
    handleQueuedEvents();
    waitForAnotherPicture();
    m_mappedAt.reset();

    Show result{Clock::now(), {}, {}};
    fake(XCB_KEY_PRESS, chord.back());
    flush();
    const Clock::time_point painted = waitUntilPainted();
    result.mapped = m_mappedAt.value_or(result.pressed);
    result.painted = std::max(painted, result.mapped);
    for (auto key = chord.rbegin(); key != chord.rend(); ++key) {
        fake(XCB_KEY_RELEASE, *key);
    }
    synchronize();
    return result;
}

PanelWatch::Clock::time_point PanelWatch::waitUntilPainted()
{
    const auto needed = m_reference ? holding : 2 * stillness;
    std::optional<Clock::time_point> since;
    follow([&](const Picture* picture, Clock::time_point time) {
        if (picture) {
            if (m_reference && *picture != *m_reference) {
                since.reset();
            } else if (!since || (!m_reference && *picture != m_latest)) {
                since = time;
            }
            m_latest = *picture;
        }
        return m_panel && since && Clock::now() - *since >= needed;
    });
    m_latestPlace = m_windows.at(*m_panel);
    if (!m_reference) {
        m_reference = m_latest;
    }
    return *since;
}

// Else a show that paints nothing would do. What is behind the panel takes a moment to be painted again.
void PanelWatch::waitForAnotherPicture()
{
    const auto end = Clock::now() + deadline;
    while (m_reference && m_latestPlace && readPicture(*m_latestPlace, Clock::now()).first == *m_reference) {
        if (Clock::now() > end) {
            fail("the screen looks like the panel without it");
        }
        waitForEvents(Clock::now() + step);
    }
    m_isDamaged = false;
}

PanelWatch::Clock::time_point PanelWatch::hide(xcb_keycode_t key)
{
    m_unmappedAt.reset();
    fake(XCB_KEY_PRESS, key);
    fake(XCB_KEY_RELEASE, key);
    flush();
    follow([&](const Picture*, Clock::time_point) { return m_unmappedAt.has_value() && !m_panel; });
    return *m_unmappedAt;
}

PanelWatch::Change PanelWatch::press(xcb_keycode_t key)
{
    if (!m_panel) {
        fail("no panel is shown");
    }
    handleQueuedEvents();
    m_isDamaged = false;
    m_latest = readPicture(m_windows.at(*m_panel), Clock::now()).first;

    Change result{Clock::now(), {}, {}};
    fake(XCB_KEY_PRESS, key);
    fake(XCB_KEY_RELEASE, key);
    flush();
    follow([&](const Picture* picture, Clock::time_point time) {
        if (picture && *picture != m_latest) {
            m_latest = *picture;
            result.first = result.first.value_or(time);
            result.last = time;
        }
        return Clock::now() - result.last.value_or(result.pressed + stillness) >= stillness;
    });
    return result;
}

void PanelWatch::saveReference(const std::string& path) const
{
    if (!m_reference) {
        fail("there is no reference");
    }
    std::ofstream file(path, std::ios::binary);
    file << "P6\n" << m_panelSize.width << ' ' << m_rows.end - m_rows.first << "\n255\n";
    // The display has blue first and a byte that is not used.
    for (std::size_t pixel = 0; pixel < m_reference->size(); pixel += bytesPerPixel) {
        for (const std::size_t colour : {2, 1, 0}) {
            file.put(static_cast<char>((*m_reference)[pixel + colour]));
        }
    }
    if (!file) {
        fail("cannot write the picture");
    }
}

PanelWatch::Clock::time_point PanelWatch::waitUntilGrabbed(xcb_keycode_t key, std::uint16_t modifiers)
{
    const auto end = Clock::now() + deadline;
    // A client that has just ended may have the key still.
    bool wasFree = false;
    while (Clock::now() < end) {
        const bool isFree = isKeyFree(key, modifiers);
        const auto now = Clock::now();
        if (wasFree && !isFree) {
            return now;
        }
        wasFree = wasFree || isFree;
        waitForEvents(now + betweenGrabs);
    }
    fail("nobody takes the key");
}

bool PanelWatch::isKeyFree(xcb_keycode_t key, std::uint16_t modifiers)
{
    xcb_grab_server(m_connection);
    const auto grab = xcb_grab_key_checked(m_connection, 0, m_root, modifiers, key, XCB_GRAB_MODE_ASYNC,
                                           XCB_GRAB_MODE_ASYNC);
    xcb_ungrab_key(m_connection, key, m_root, modifiers);
    xcb_ungrab_server(m_connection);
    const XcbOwned<xcb_generic_error_t> error(xcb_request_check(m_connection, grab));
    return !error || error->error_code != XCB_ACCESS;
}

void PanelWatch::follow(const Look& look)
{
    const auto end = Clock::now() + deadline;
    while (!look(nullptr, {})) {
        if (Clock::now() > end) {
            fail("waited in vain for the panel");
        }
        waitForEvents(Clock::now() + step);
        if (takeDamage() == Damage::seen && m_panel) {
            const auto [picture, time] = readPicture(m_windows.at(*m_panel), Clock::now());
            if (look(&picture, time)) {
                return;
            }
        }
    }
}

std::pair<PanelWatch::Picture, PanelWatch::Clock::time_point>
PanelWatch::readPicture(const Window& window, Clock::time_point damaged)
{
    const auto cookie = xcb_shm_get_image(
        m_connection, m_root, window.x, static_cast<std::int16_t>(window.y + m_rows.first), window.size.width,
        static_cast<std::uint16_t>(m_rows.end - m_rows.first), ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP, m_segment, 0);
    const XcbOwned<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(m_connection, cookie, nullptr));
    if (!reply) {
        fail("the panel cannot be read");
    }
    const auto now = Clock::now();
    Picture picture(m_pixels, m_pixels + reply->size);
    // What was drawn before the answer is told before it, and is in the picture.
    handleQueuedEvents();
    return {std::move(picture), takeDamage() == Damage::seen ? now : damaged};
}

void PanelWatch::waitForEvents(Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(end - Clock::now());
    if (left.count() > 0) {
        pollfd connection{xcb_get_file_descriptor(m_connection), POLLIN, 0};
        const timespec timeout{static_cast<time_t>(left.count() / 1'000'000'000),
                               left.count() % 1'000'000'000};
        handleQueuedEvents();
        if (!m_isDamaged) {
            ppoll(&connection, 1, &timeout, nullptr);
        }
    }
    while (const XcbOwned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
        handle(*event);
    }
    if (xcb_connection_has_error(m_connection) != 0) {
        fail("the display is gone");
    }
}

void PanelWatch::handleQueuedEvents()
{
    while (const XcbOwned<xcb_generic_event_t> event{xcb_poll_for_queued_event(m_connection)}) {
        handle(*event);
    }
}

PanelWatch::Damage PanelWatch::takeDamage()
{
    return std::exchange(m_isDamaged, false) ? Damage::seen : Damage::none;
}

void PanelWatch::synchronize()
{
    const auto cookie = xcb_get_input_focus(m_connection);
    std::free(xcb_get_input_focus_reply(m_connection, cookie, nullptr));
}

void PanelWatch::handle(const xcb_generic_event_t& event)
{
    constexpr std::uint8_t sentByClient = 0x80;
    const auto type = static_cast<std::uint8_t>(event.response_type & ~sentByClient);
    const void* const data = &event;
    if (type == m_damageEvent + XCB_DAMAGE_NOTIFY) {
        handleDamage(*static_cast<const xcb_damage_notify_event_t*>(data));
    } else if (type == XCB_CREATE_NOTIFY) {
        const auto& created = *static_cast<const xcb_create_notify_event_t*>(data);
        m_windows[created.window] = {
            created.x, created.y, {created.width, created.height}, created.override_redirect != 0};
    } else if (type == XCB_CONFIGURE_NOTIFY) {
        const auto& moved = *static_cast<const xcb_configure_notify_event_t*>(data);
        m_windows[moved.window] = {
            moved.x, moved.y, {moved.width, moved.height}, moved.override_redirect != 0};
    } else if (type == XCB_DESTROY_NOTIFY) {
        m_windows.erase(static_cast<const xcb_destroy_notify_event_t*>(data)->window);
    } else if (type == XCB_MAP_NOTIFY) {
        handleMapped(static_cast<const xcb_map_notify_event_t*>(data)->window);
    } else if (type == XCB_UNMAP_NOTIFY
               && m_panel == static_cast<const xcb_unmap_notify_event_t*>(data)->window) {
        m_panel.reset();
        m_unmappedAt = Clock::now();
    }
}

void PanelWatch::handleMapped(xcb_window_t window)
{
    const auto found = m_windows.find(window);
    if (found == m_windows.end() || !found->second.isOverrideRedirect
        || found->second.size.width != m_panelSize.width || found->second.size.height != m_panelSize.height) {
        return;
    }
    m_panel = window;
    m_mappedAt = Clock::now();
    // Whatever was drawn while it was being mapped counts, too.
    m_isDamaged = true;
}

void PanelWatch::handleDamage(const xcb_damage_notify_event_t& event)
{
    const auto found = m_panel ? m_windows.find(*m_panel) : m_windows.end();
    if (found != m_windows.end()) {
        const Window& window = found->second;
        m_isDamaged = m_isDamaged
            || (overlap(window.x, window.size.width, event.area.x, event.area.width)
                && overlap(window.y + m_rows.first, m_rows.end - m_rows.first, event.area.y,
                           event.area.height));
    }
}

} // namespace glimmerwick
