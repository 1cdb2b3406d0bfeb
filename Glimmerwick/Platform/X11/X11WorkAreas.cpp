#include "Platform/X11/X11WorkAreas.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace glimmerwick {

namespace {

/// Of what the protocol has room for. Whatever lies beyond makes no sense, and its sums would overflow.
constexpr std::uint32_t largestCoordinate = 0x7fff;

int right(const ScreenRect& rect)
{
    return rect.x + rect.width;
}

int bottom(const ScreenRect& rect)
{
    return rect.y + rect.height;
}

ScreenRect between(int left, int top, int rightEnd, int bottomEnd)
{
    return {left, top, std::max(0, rightEnd - left), std::max(0, bottomEnd - top)};
}

ScreenRect intersection(const ScreenRect& a, const ScreenRect& b)
{
    return between(std::max(a.x, b.x), std::max(a.y, b.y), std::min(right(a), right(b)),
                   std::min(bottom(a), bottom(b)));
}

bool isEmpty(const ScreenRect& rect)
{
    return rect.width == 0 || rect.height == 0;
}

bool lies(const ScreenRect& inner, const ScreenRect& outer)
{
    return intersection(inner, outer) == inner;
}

/// The largest of the four parts of the screen that the dock leaves whole.
ScreenRect without(const ScreenRect& screen, const ScreenRect& dock)
{
    const ScreenRect covered = intersection(screen, dock);
    if (isEmpty(covered)) {
        return screen;
    }
    const ScreenRect parts[] = {
        between(screen.x, screen.y, right(screen), covered.y),
        between(screen.x, bottom(covered), right(screen), bottom(screen)),
        between(screen.x, screen.y, covered.x, bottom(screen)),
        between(right(covered), screen.y, right(screen), bottom(screen)),
    };
    return *std::max_element(std::begin(parts), std::end(parts), [](const auto& a, const auto& b) {
        return std::int64_t{a.width} * a.height < std::int64_t{b.width} * b.height;
    });
}

/// A dock's reserved edge, measured from the edges of all screens together.
std::vector<ScreenRect> rectanglesOf(const std::vector<std::uint32_t>& strut, const ScreenRect& root)
{
    // From the left, right, top and bottom; then from where to where along each of these edges.
    constexpr std::size_t completeStrut = 12;
    const auto number = [&](std::size_t index) {
        return static_cast<int>(std::min(strut[index], largestCoordinate));
    };
    if (strut.size() < completeStrut) {
        return {};
    }
    return {
        between(0, number(4), number(0), number(5) + 1),
        between(root.width - number(1), number(6), root.width, number(7) + 1),
        between(number(8), 0, number(9) + 1, number(2)),
        between(number(10), root.height - number(3), number(11) + 1, root.height),
    };
}

} // namespace

X11WorkAreas::X11WorkAreas(X11Connection& connection) : m_connection(connection) { }

ScreenRect X11WorkAreas::visibleFrame(ScreenRect screen)
{
    for (const ScreenRect& area : areasOfCurrentDesktop()) {
        if (lies(area, screen)) {
            return area;
        }
    }
    ScreenRect visible = screen;
    for (const ScreenRect& dock : docks()) {
        const ScreenRect left = without(visible, dock);
        // An edge is reserved from the rim of all screens: that of a dock between two screens reaches over
        // the whole of the outer one, which it does not mean.
        const bool coversMost = left.width < screen.width / 2 || left.height < screen.height / 2;
        if (!coversMost) {
            visible = left;
        }
    }
    return visible;
}

/// One for each screen, from window managers that say so.
std::vector<ScreenRect> X11WorkAreas::areasOfCurrentDesktop()
{
    const auto desktop = m_connection.numbers(m_connection.root(), m_connection.atom("_NET_CURRENT_DESKTOP"),
                                              XCB_ATOM_CARDINAL);
    const std::string property = "_GTK_WORKAREAS_D" + std::to_string(desktop.empty() ? 0 : desktop.front());
    const auto numbers =
        m_connection.numbers(m_connection.root(), m_connection.atom(property), XCB_ATOM_CARDINAL);
    std::vector<ScreenRect> areas;
    for (std::size_t index = 0; index + 3 < numbers.size(); index += 4) {
        const auto area = numbers.begin() + static_cast<std::ptrdiff_t>(index);
        if (std::any_of(area, area + 4, [](std::uint32_t number) { return number > largestCoordinate; })) {
            continue;
        }
        areas.push_back({static_cast<int>(numbers[index]), static_cast<int>(numbers[index + 1]),
                         static_cast<int>(numbers[index + 2]), static_cast<int>(numbers[index + 3])});
    }
    std::erase_if(areas, isEmpty);
    return areas;
}

std::vector<ScreenRect> X11WorkAreas::docks()
{
    const auto geometry =
        m_connection.answer(xcb_get_geometry_reply, xcb_get_geometry(m_connection, m_connection.root()));
    if (!geometry) {
        return {};
    }
    const ScreenRect root{0, 0, geometry->width, geometry->height};
    std::vector<ScreenRect> docks;
    const auto windows =
        m_connection.numbers(m_connection.root(), m_connection.atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW);
    for (const auto& strut :
         m_connection.numbers(windows, m_connection.atom("_NET_WM_STRUT_PARTIAL"), XCB_ATOM_CARDINAL)) {
        for (const ScreenRect& dock : rectanglesOf(strut, root)) {
            docks.push_back(dock);
        }
    }
    std::erase_if(docks, isEmpty);
    return docks;
}

} // namespace glimmerwick
