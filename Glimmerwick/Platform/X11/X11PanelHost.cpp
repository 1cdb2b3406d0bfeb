#include "Platform/X11/X11PanelHost.h"

#include "Platform/X11/X11EventWatcher.h"
#include "Platform/X11/X11KeyboardGrab.h"

#include <xcb/shape.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

/// Set on the root window by window managers that blur, and on a window by its program.
constexpr std::string_view blurRegionName = "_KDE_NET_WM_BLUR_BEHIND_REGION";

/// Bits of a number.
constexpr std::uint8_t propertyFormat = 32;

/// Rows of equal extent together, from the top.
std::vector<xcb_rectangle_t> rectanglesOf(const PanelOutline& outline)
{
    std::vector<xcb_rectangle_t> rectangles;
    for (int row = 0; row < outline.height; ++row) {
        const double centre = row + 0.5;
        const double intoCorner =
            std::max({outline.cornerRadius - centre, outline.cornerRadius - (outline.height - centre), 0.0});
        const double reach = std::sqrt(outline.cornerRadius * outline.cornerRadius - intoCorner * intoCorner);
        const int inset = static_cast<int>(std::lround(outline.cornerRadius - reach));
        const xcb_rectangle_t rectangle{static_cast<std::int16_t>(inset), static_cast<std::int16_t>(row),
                                        static_cast<std::uint16_t>(outline.width - 2 * inset), 1};
        if (!rectangles.empty() && rectangles.back().x == rectangle.x) {
            ++rectangles.back().height;
        } else {
            rectangles.push_back(rectangle);
        }
    }
    return rectangles;
}

} // namespace

X11PanelHost::X11PanelHost(X11Connection& toolkit, X11Connection& display, X11EventWatcher& watcher,
                           X11KeyboardGrab& keyboardGrab)
    : m_toolkit(toolkit), m_display(display), m_watcher(watcher), m_workAreas(display),
      m_keyboardGrab(keyboardGrab)
{
}

void X11PanelHost::panelDidShow(NativeWindow panel)
{
    const auto window = static_cast<xcb_window_t>(panel);
    // The toolkit calls a window that takes no focus a tooltip, which compositors like to fade and to shade.
    const xcb_atom_t utility = m_display.atom("_NET_WM_WINDOW_TYPE_UTILITY");
    xcb_change_property(m_toolkit, XCB_PROP_MODE_REPLACE, window, m_display.atom("_NET_WM_WINDOW_TYPE"),
                        XCB_ATOM_ATOM, propertyFormat, 1, &utility);
    m_keyboardGrab.panelDidShow(window);
}

void X11PanelHost::makePanelKey(NativeWindow panel)
{
    m_keyboardGrab.makePanelKey(static_cast<xcb_window_t>(panel));
}

void X11PanelHost::panelWillHide(NativeWindow)
{
    m_keyboardGrab.panelWillHide();
}

Backdrop X11PanelHost::shapePanel(NativeWindow panel, PanelOutline outline)
{
    const auto window = static_cast<xcb_window_t>(panel);
    const std::vector<xcb_rectangle_t> rectangles = rectanglesOf(outline);
    const bool compositing = isCompositing();
    // Without the extension corners are square, and nothing else is lost.
    const bool canShape = m_toolkit.hasExtension(xcb_shape_id);
    if (canShape && compositing) {
        xcb_shape_mask(m_toolkit, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, window, 0, 0, XCB_PIXMAP_NONE);
    } else if (canShape) {
        xcb_shape_rectangles(m_toolkit, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_YX_BANDED,
                             window, 0, 0, static_cast<std::uint32_t>(rectangles.size()), rectangles.data());
    }

    const xcb_atom_t blurRegion = m_display.atom(blurRegionName);
    const bool blurs = compositing && isBlurOffered();
    if (blurs) {
        std::vector<std::uint32_t> numbers;
        for (const xcb_rectangle_t& rectangle : rectangles) {
            numbers.insert(numbers.end(),
                           {static_cast<std::uint32_t>(rectangle.x), static_cast<std::uint32_t>(rectangle.y),
                            rectangle.width, rectangle.height});
        }
        xcb_change_property(m_toolkit, XCB_PROP_MODE_REPLACE, window, blurRegion, XCB_ATOM_CARDINAL,
                            propertyFormat, static_cast<std::uint32_t>(numbers.size()), numbers.data());
    } else {
        xcb_delete_property(m_toolkit, window, blurRegion);
    }
    xcb_flush(m_toolkit);
    return blurs ? Backdrop::blurred : compositing ? Backdrop::translucent : Backdrop::opaque;
}

Registration X11PanelHost::onBackdropChanged(std::function<void()> handler)
{
    return m_watcher.onCompositorChanged(std::move(handler));
}

bool X11PanelHost::isCompositing()
{
    const auto reply = m_display.answer(xcb_get_selection_owner_reply,
                                        xcb_get_selection_owner(m_display, m_display.compositorSelection()));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

bool X11PanelHost::isBlurOffered()
{
    const auto reply =
        m_display.answer(xcb_list_properties_reply, xcb_list_properties(m_display, m_display.root()));
    if (!reply) {
        return false;
    }
    const xcb_atom_t* const first = xcb_list_properties_atoms(reply.get());
    const xcb_atom_t* const last = first + xcb_list_properties_atoms_length(reply.get());
    return std::find(first, last, m_display.atom(blurRegionName)) != last;
}

} // namespace glimmerwick
