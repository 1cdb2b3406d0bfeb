#!/usr/bin/python3
"""Where the panel opens: below the pointer, on the pointer's screen, and clear of what docks have reserved.

usage: placement_test.py --picker BINARY --qt-target BINARY
"""

import tempfile
import unittest

import Xlib.X
import Xlib.Xatom
import Xlib.ext.shape

from desktop import PANEL_SIZE, Picker, wait_until
from screen import ScreenDesktop
from testcase import argument, main

PICKER = argument("picker")
argument("qt-target")

MARGIN, GAP = 8, 10
# From the rim of a screen: where the pointer can be pushed to, and near it.
RIM, NEAR = 0, 25


class Area:
    """A rectangle of the screen, in pixels."""

    def __init__(self, x, y, width, height):
        self.x, self.y, self.width, self.height = x, y, width, height

    def __repr__(self):
        return f"{self.width}x{self.height}+{self.x}+{self.y}"

    @property
    def right(self):
        return self.x + self.width

    @property
    def bottom(self):
        return self.y + self.height

    def without(self, left=0, right=0, top=0, bottom=0):
        return Area(self.x + left, self.y + top, self.width - left - right, self.height - top - bottom)

    def holds(self, other, margin):
        return (self.x + margin <= other.x and other.right <= self.right - margin
                and self.y + margin <= other.y and other.bottom <= self.bottom - margin)

    def places(self):
        """The pointer in all corners, at the middle of each side, in the middle, and near the corners."""
        for inset in (RIM, NEAR):
            xs = (self.x + inset, self.x + self.width // 2, self.right - 1 - inset)
            ys = (self.y + inset, self.y + self.height // 2, self.bottom - 1 - inset)
            for y in ys:
                for x in xs:
                    yield x, y


def expected(pointer, visible, ratio):
    """The top left corner: as near to the wanted place as the margins allow, those at the left and below first."""
    width, height = (length * ratio for length in PANEL_SIZE)
    wanted = pointer[0] - width // 2, pointer[1] + GAP * ratio
    margin = MARGIN * ratio
    return (max(visible.x + margin, min(visible.right - width - margin, wanted[0])),
            min(visible.bottom - height - margin, max(visible.y + margin, wanted[1])))


class PlacementTest(unittest.TestCase):
    def start_desktop(self, size, ratio=1):
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        self.desktop = self.enterContext(ScreenDesktop(folder, size, ratio))
        self.ratio = ratio
        keys = self.desktop.folder / "home" / ".config" / "Glimmerwick" / "secrets.txt"
        keys.parent.mkdir(parents=True)
        keys.write_text("PRODUCTION_BASE_URL=https://127.0.0.1:1\n", encoding="utf-8")

    def split(self, *monitors):
        """Makes monitors of the one screen."""
        for number, area in enumerate(monitors):
            output = "screen" if number == 0 else "none"
            self.desktop.call("xrandr", "--setmonitor", f"part{number}",
                              f"{area.width}/{area.width // 4}x{area.height}/{area.height // 4}+{area.x}+{area.y}",
                              output)
        wait_until(lambda: f"Monitors: {len(monitors)}" in self.desktop.call("xrandr", "--listmonitors"),
                   "the screen has its monitors")

    def dock(self, area, side, along):
        """A bar at a side of all monitors together: how much it takes, and from where to where along the side."""
        display, root = self.desktop.display, self.desktop.root
        window = root.create_window(area.x, area.y, area.width, area.height, 0, display.screen().root_depth,
                                    Xlib.X.InputOutput, Xlib.X.CopyFromParent,
                                    background_pixel=0x303030, event_mask=Xlib.X.StructureNotifyMask)
        width, height = self.desktop.size
        taken = {"left": area.right, "right": width - area.x, "top": area.bottom, "bottom": height - area.y}[side]
        sides = ("left", "right", "top", "bottom")
        strut = [taken if name == side else 0 for name in sides]
        for name in sides:
            strut += along if name == side else (0, 0)
        window.change_property(display.get_atom("_NET_WM_WINDOW_TYPE"), Xlib.Xatom.ATOM, 32,
                               [display.get_atom("_NET_WM_WINDOW_TYPE_DOCK")])
        window.change_property(display.get_atom("_NET_WM_STRUT_PARTIAL"), Xlib.Xatom.CARDINAL, 32, strut)
        window.set_wm_name("dock")
        window.map()
        display.flush()
        clients = display.get_atom("_NET_CLIENT_LIST")
        wait_until(lambda: window.id in getattr(root.get_full_property(clients, Xlib.X.AnyPropertyType), "value", ()),
                   "the window manager takes care of the dock")

    def start_picker(self):
        self.picker = Picker(self.desktop, PICKER)
        self.picker.wait_until_ready()

    def place_with_pointer_at(self, pointer):
        self.desktop.move_pointer(*pointer)
        self.desktop.press(Picker.SHORTCUT)
        geometry = self.desktop.wait_for_panel().geometry()
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()
        return geometry

    def assert_places(self, monitor, visible):
        problems = []
        for pointer in monitor.places():
            x, y, width, height = self.place_with_pointer_at(pointer)
            self.assertEqual((width, height), tuple(length * self.ratio for length in PANEL_SIZE))
            place = expected(pointer, visible, self.ratio)
            # Windows stand on whole points, the pointer on any pixel.
            is_near = all(abs(seen - wanted) < self.ratio for seen, wanted in zip((x, y), place))
            if not is_near or not visible.holds(Area(x, y, width, height), MARGIN * self.ratio):
                problems.append(f"pointer {pointer}: {(x, y)} instead of {place}")
        self.assertEqual(problems, [], f"on the screen {monitor}, of which {visible} is free")

    def outline(self, window):
        """The window's geometry, and the right and lower end of its shape, in pixels."""
        resource = self.desktop.display.create_resource_object("window", window.identifier)
        rows = resource.shape_get_rectangles(Xlib.ext.shape.SK.Bounding).rectangles
        return window.geometry(), (max(row.x + row.width for row in rows), max(row.y + row.height for row in rows))

    def test_dragging_to_a_screen_of_another_ratio_keeps_the_whole_panel(self):
        self.start_desktop((2400, 1000))
        self.split(Area(0, 0, 1000, 1000), Area(1000, 0, 1400, 1000))
        self.desktop.environment["QT_SCREEN_SCALE_FACTORS"] = "1;2"
        self.start_picker()
        self.desktop.move_pointer(500, 200)
        self.desktop.press(Picker.SHORTCUT)
        panel = self.desktop.wait_for_panel()
        (left, top, *size), shape = self.outline(panel)
        self.assertEqual((tuple(size), shape), (PANEL_SIZE, PANEL_SIZE))

        self.desktop.move_pointer(left + 3, top + 200)
        self.desktop.call("xdotool", "mousedown", "1")
        for x in range(left + 3, 1500, 60):
            self.desktop.move_pointer(x, top + 200)

        twice = tuple(length * 2 for length in PANEL_SIZE)
        wait_until(lambda: tuple(self.outline(panel)[0][2:]) == twice, "the panel has the other screen's ratio")
        wait_until(lambda: self.outline(panel)[1] == twice, "its shape has it, too")
        self.desktop.call("xdotool", "mouseup", "1")

    def test_one_screen(self):
        self.start_desktop((1280, 800))
        self.start_picker()
        screen = Area(0, 0, 1280, 800)
        self.assert_places(screen, screen)

    def test_one_screen_with_docks(self):
        self.start_desktop((1280, 800))
        screen = Area(0, 0, 1280, 800)
        self.dock(Area(0, 0, 1280, 32), "top", (0, 1279))
        self.dock(Area(1216, 32, 64, 768), "right", (32, 799))
        self.start_picker()
        self.assert_places(screen, screen.without(top=32, right=64))

    def test_one_screen_at_two_pixels_a_point(self):
        self.start_desktop((1280, 1000), ratio=2)
        self.dock(Area(0, 0, 1280, 64), "top", (0, 1279))
        self.start_picker()
        screen = Area(0, 0, 1280, 1000)
        self.assert_places(screen, screen.without(top=64))

    def check_two_screens(self, ratio):
        left, right = Area(0, 0, 1280, 1000), Area(1280, 0, 1680, 1200)
        self.start_desktop((2960, 1200), ratio)
        self.split(left, right)
        # Below the smaller one there is nothing, so from the rim of both it takes more than it is high.
        self.dock(Area(0, 952, 1280, 48), "bottom", (0, 1279))
        self.start_picker()
        self.assert_places(left, left.without(bottom=48))
        self.assert_places(right, right)

    def test_two_screens(self):
        self.check_two_screens(ratio=1)

    def test_two_screens_at_two_pixels_a_point(self):
        self.check_two_screens(ratio=2)

    def test_screens_above_each_other(self):
        upper, lower = Area(0, 0, 1024, 600), Area(0, 600, 1280, 800)
        self.start_desktop((1280, 1400))
        self.split(upper, lower)
        self.dock(Area(0, 600, 40, 800), "left", (600, 1399))
        self.start_picker()
        self.assert_places(upper, upper)
        self.assert_places(lower, lower.without(left=40))

    def test_dock_that_comes_and_goes_while_the_picker_runs(self):
        self.start_desktop((1280, 800))
        self.start_picker()
        bottom = 1279, 799
        self.assertEqual(self.place_with_pointer_at(bottom)[:2], (1280 - 328, 800 - 408))

        self.dock(Area(0, 740, 1280, 60), "bottom", (0, 1279))

        self.assertEqual(self.place_with_pointer_at(bottom)[:2], (1280 - 328, 740 - 408))


if __name__ == "__main__":
    main()
