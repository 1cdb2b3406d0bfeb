#!/usr/bin/python3
"""What the picker looks like on the screen: every state is photographed, and each photograph is looked at.

usage: screenshots_test.py --picker BINARY --qt-target BINARY [--pictures FOLDER]

The pictures are kept in the folder, by default "screenshots" beside the folder of the binary, one folder for each
ratio of pixels to points, with a compositor and without.
"""

import json
import pathlib
import socket
import sys
import tempfile
import unittest

from desktop import PANEL_FOOT, PANEL_HEAD, PANEL_SIZE, Picker, wait_until, wait_until_stable
from pictures import CELL, HEADER, INSET, PLACEHOLDER_ALPHA, ROOT, SPACING, Cell
from screen import ScreenDesktop, are_near, blended, contrast
from targets import gtk_target
from testcase import argument, main

PICKER = argument("picker")
argument("qt-target")
PICTURES = pathlib.Path(argument("pictures") if "--pictures" in sys.argv
                        else pathlib.Path(PICKER).resolve().parents[1] / "screenshots").resolve()

PORTAL = "org.freedesktop.portal.Desktop"
SCHEMES = {"dark": 1, "light": 2}
ACCENT = (53, 132, 228)
RADIUS = 16
# How much of the desktop a picture shows around the panel.
SURROUNDINGS = 24
READABLE = 4.5

# All of two rows; the third accepts skin tones.
RECENT = ["1f680", "2764-fe0f", "1f44d", "1f602", "1f389", "1f525", "2728", "1f44b", "1f60d", "1f914", "1f64f"]
RECENT_ROWS = 2
SECTION_OF_RECENT = HEADER + 2 * INSET + RECENT_ROWS * CELL + SPACING
TONED = 2
TONES = (252, 52)
TAB, TAB_PITCH, TAB_COUNT = 28, 32, 9
TAB_TOP = PANEL_SIZE[1] - PANEL_FOOT + 4
MENU_BUTTON = (292, 26)
PLACEHOLDER = (40, 14, 140, 24)
# Plain panel in any state, beside the cells.
PLAIN = (INSET // 2, 240)
TITLE = (0, PANEL_HEAD + 2, 200, HEADER - 4)
NO_RESULTS = (60, 190, 200, 40)

# Room for the panel at either ratio, and where the pointer is when it opens.
SCREENS = {1: ((1280, 800), (640, 200)), 2: ((1600, 1100), (800, 140))}


def cell(number, top=PANEL_HEAD):
    """The rectangle of a cell of the section that begins there, in points of the panel."""
    row, column = divmod(number, 7)
    return (INSET + column * (CELL + SPACING), top + HEADER + INSET + row * (CELL + SPACING), CELL, CELL)


def middle(rectangle):
    x, y, width, height = rectangle
    return x + width // 2, y + height // 2


def write_settings(desktop, **values):
    path = desktop.folder / "home" / ".config" / "Glimmerwick" / "Glimmerwick.ini"
    lines = [f"{key}={json.dumps(json.dumps(value))}\n" for key, value in values.items()]
    path.write_text("[General]\n" + "".join(lines), encoding="utf-8")


class ScreenshotTest(unittest.TestCase):
    """One desktop, with an editor at work behind the picker."""

    def start_desktop(self, ratio, compositor):
        size, self.pointer = SCREENS[ratio]
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        self.desktop = self.enterContext(ScreenDesktop(folder, size, ratio, compositor=compositor))
        self.ratio = ratio
        self.folder = PICTURES / f"{ratio}x{'-composited' if compositor else ''}"
        self.desktop.move_pointer(*self.pointer)
        self.write_keys("https://127.0.0.1:1")
        self.start_portal()
        self.open_editor()

    def write_keys(self, address):
        keys = self.desktop.folder / "home" / ".config" / "Glimmerwick" / "secrets.txt"
        keys.parent.mkdir(parents=True, exist_ok=True)
        keys.write_text(f"PRODUCTION_BASE_URL={address}\n", encoding="utf-8")

    def start_portal(self):
        program = self.desktop.run("portal", "/usr/bin/python3", ROOT / "Tests" / "EndToEnd" / "settings_portal.py")
        wait_until(lambda: "ready" in program.text(), "the service for settings runs")
        self.set_appearance("accent-color", "<({}, {}, {})>".format(*(part / 255 for part in ACCENT)))
        self.use_scheme("light")

    def set_appearance(self, key, value):
        self.desktop.call("gdbus", "call", "--session", "--dest", PORTAL, "--object-path",
                          "/org/freedesktop/portal/desktop", "--method", "com.glimmerwick.SettingsOfTest.Set",
                          "org.freedesktop.appearance", key, value)

    def use_scheme(self, scheme):
        self.scheme = scheme
        self.set_appearance("color-scheme", f"<uint32 {SCHEMES[scheme]}>")

    def open_editor(self):
        target = gtk_target(self.desktop)
        width, height = self.desktop.size
        self.desktop.call("xdotool", "windowsize", "--sync", target.window.identifier, width * 5 // 8, height // 2,
                          "windowmove", "--sync", target.window.identifier, width // 16, height // 16)
        self.desktop.type("The release is out, thanks to everybody who helped ")

    def start_picker(self):
        picker = Picker(self.desktop, PICKER)
        picker.wait_until_ready()
        return picker

    # What a user does

    def open(self):
        """Opens the picker where there was the picture of the desktop that corners are compared with."""
        self.desktop.move_pointer(*self.pointer)
        self.origin = (self.pointer[0] - PANEL_SIZE[0] // 2 * self.ratio, self.pointer[1] + 10 * self.ratio)
        self.reference = self.photograph()
        self.desktop.press(Picker.SHORTCUT)
        panel = self.desktop.wait_for_panel()
        self.assertEqual(panel.geometry()[:2], self.origin)

    def close(self):
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()

    def point_at(self, x, y):
        self.desktop.move_pointer(self.origin[0] + x * self.ratio, self.origin[1] + y * self.ratio)

    def point_elsewhere(self):
        self.desktop.move_pointer(*self.pointer)

    # What a user sees

    def photograph(self):
        """The panel's place on the screen and a little around it."""
        margin = SURROUNDINGS * self.ratio
        x, y = self.origin
        return self.desktop.picture(x - margin, y - margin, PANEL_SIZE[0] * self.ratio + 2 * margin,
                                    PANEL_SIZE[1] * self.ratio + 2 * margin)

    def panel_of(self, photograph):
        margin = SURROUNDINGS * self.ratio
        return photograph.cropped(margin, margin, *(length * self.ratio for length in PANEL_SIZE))

    def part(self, panel, rectangle):
        return panel.cropped(*(length * self.ratio for length in rectangle))

    def pixel(self, panel, x, y):
        return panel.at(x * self.ratio, y * self.ratio)

    def shoot(self, state, is_shown=lambda panel: True):
        """Keeps the picture of a state, once the panel shows it and is still. Returns the panel's part of it."""
        def observe():
            photograph = self.photograph()
            return photograph if is_shown(self.panel_of(photograph)) else None
        try:
            photograph = wait_until_stable(observe, f"the picker shows: {state}", span=0.2)
        except Exception:
            self.photograph().save(self.folder / "failed.png")
            raise
        photograph.save(self.folder / f"{state}-{self.scheme}.png")
        self.assert_corners_are_round(photograph)
        panel = self.panel_of(photograph)
        self.assert_background(panel)
        return panel

    def has_scheme(self, panel):
        return (sum(self.pixel(panel, *PLAIN)) < 3 * 128) == (self.scheme == "dark")

    def assert_background(self, panel):
        self.assertTrue(self.has_scheme(panel), f"{self.pixel(panel, *PLAIN)} is {self.scheme}")

    def assert_corners_are_round(self, photograph):
        """Outside the arcs the desktop's own pixels, inside the panel's: nothing black, nothing square."""
        margin, radius = SURROUNDINGS * self.ratio, RADIUS * self.ratio
        width, height = (length * self.ratio for length in PANEL_SIZE)
        fill = self.pixel(self.panel_of(photograph), *PLAIN)
        last_row = margin + height - 1
        for down in range(radius):
            for across in range(radius):
                away = ((radius - across - 0.5) ** 2 + (radius - down - 0.5) ** 2) ** 0.5
                for x in (margin + across, margin + width - 1 - across):
                    for y in (margin + down, last_row - down):
                        seen = photograph.at(x, y)
                        if away > radius + 1:
                            self.assertEqual(seen, self.reference.at(x, y), f"desktop at {across}, {down}")
                        elif y != last_row - down and radius - 3 * self.ratio < away < radius - 2 * self.ratio:
                            # Some of the desktop shines through.
                            self.assertTrue(are_near(seen, fill, 16), f"panel at {across}, {down}: {seen}, {fill}")

    def assert_tinted(self, panel, before, rectangle, alpha):
        """Nothing but this cell has changed, and its background is so much of the accent."""
        x, y, width, height = rectangle
        self.assertEqual(self.grid_difference(panel, before),
                         tuple(length * self.ratio for length in (x, y - PANEL_HEAD, width, height)))
        self.assert_fill(panel, before, (x + 2, y + height // 2), alpha)

    def grid_difference(self, panel, before):
        grid = (0, PANEL_HEAD, PANEL_SIZE[0], PANEL_SIZE[1] - PANEL_HEAD)
        return self.part(panel, grid).difference(self.part(before, grid)) or (0, 0, 0, 0)

    def assert_fill(self, panel, before, place, alpha):
        expected = blended(ACCENT, self.pixel(before, INSET // 2, place[1]), alpha)
        self.assertTrue(are_near(self.pixel(panel, *place), expected), f"{self.pixel(panel, *place)}, {expected}")

    def assert_readable(self, panel, rectangle, what):
        self.assertGreaterEqual(self.part(panel, rectangle).text_contrast(), READABLE, what)

    def assert_tabs(self, panel):
        for number in range(TAB_COUNT):
            place = (INSET + number * TAB_PITCH, TAB_TOP, TAB, TAB)
            # The desktop chose the accent, and the selected one stands on a tint of it.
            least = 2.5 if number == 0 else 3
            self.assertGreaterEqual(self.part(panel, place).text_contrast(), least, f"the symbol of tab {number}")
        plain = self.pixel(panel, INSET // 2, TAB_TOP + TAB // 2)
        expected = blended(ACCENT, plain, 0.2)
        seen = self.pixel(panel, INSET + 2, TAB_TOP + TAB // 2)
        self.assertTrue(are_near(seen, expected), f"the first tab is selected: {seen}, {expected}")

    def is_colourful(self, panel, rectangle):
        return len(self.part(panel, rectangle).colours()) > 64

    # States

    def shoot_browsing(self, name):
        panel = self.shoot(name, lambda panel: self.has_scheme(panel) and self.is_colourful(panel, cell(0)))
        self.assert_readable(panel, TITLE, "the section's title")
        self.assert_readable(panel, PLACEHOLDER, "the field's placeholder")
        self.assert_tabs(panel)
        return panel

    def shoot_pointer(self, browsing):
        place = cell(3, top=PANEL_HEAD + SECTION_OF_RECENT)
        self.point_at(*middle(place))
        panel = self.shoot("hover", lambda panel: panel != browsing)
        self.assert_tinted(panel, browsing, place, 0.15)

        self.desktop.call("xdotool", "mousedown", "1")
        try:
            pressed = self.shoot("pressed", lambda seen: seen != panel)
            self.assert_tinted(pressed, browsing, place, 0.3)
        finally:
            self.point_elsewhere()
            self.desktop.call("xdotool", "mouseup", "1")
        self.assertEqual(self.shoot("browsing", lambda panel: panel == browsing), browsing)

    def shoot_selection_and_tones(self, browsing):
        # The first selection scrolls its cell to the top, the next ones to the middle, as far as there is more.
        self.desktop.press("Right")
        first = self.shoot("selected-first", lambda panel: panel != browsing)
        self.assert_fill(first, browsing, (INSET + 2, PANEL_HEAD + CELL // 2), 0.25)
        for beside in ((INSET - 2, PANEL_HEAD + CELL // 2), (INSET + CELL + 2, PANEL_HEAD + CELL // 2)):
            self.assert_fill(first, browsing, beside, 0)

        self.desktop.press_at_once(*["Right"] * TONED)
        toned = self.shoot("selected", lambda panel: self.grid_difference(panel, browsing)[2] == CELL * self.ratio)
        self.assert_tinted(toned, browsing, cell(TONED), 0.25)
        self.desktop.press("alt+Return")
        panel = self.shoot("tones", lambda panel: panel != toned)
        x, y, width, height = panel.difference(toned)
        self.assertGreaterEqual((width, height), tuple(length * self.ratio for length in TONES))
        bubble = panel.cropped(x, y, width, height)
        whole_row = sum(bubble.at(column, height // 2) != toned.cropped(x, y, width, height).at(column, height // 2)
                        for column in range(width))
        self.assertGreaterEqual(whole_row, 200 * self.ratio, "the chooser covers what is behind it")
        self.desktop.press("Escape")
        self.shoot("selected", lambda panel: panel == toned)

    def shoot_menu(self, _browsing):
        before = self.panel_of(self.photograph())
        self.point_at(*MENU_BUTTON)
        self.desktop.click()
        self.point_elsewhere()
        panel = self.shoot("menu", lambda panel: panel != before and self.menu_in(panel, before))
        x, y, width, height = self.menu_in(panel, before)
        menu = panel.cropped(x, y, width, height)
        self.desktop.press("Escape")
        self.shoot("menu-closed", lambda panel: self.menu_in(panel, before) is None)
        self.assertGreaterEqual(menu.text_contrast(), READABLE, "the menu's text")
        heights = self.letters_of_title(menu)
        self.assertGreater(min(heights), max(heights) // 3, "the title ends in a letter and not in dots")

    def letters_of_title(self, menu):
        """How high the letters of the menu's first text are; a wide gap separates it from the second."""
        ground = menu.colours()[0][0]
        edge = 4 * self.ratio
        heights, gap = [], 0
        for x in range(edge, menu.width - edge):
            ink = [y for y in range(edge, menu.height - edge) if contrast(menu.at(x, y), ground) > 2]
            if not ink:
                gap += 1
                if heights and gap > 8 * self.ratio:
                    break
            elif gap or not heights:
                heights.append(ink[-1] - ink[0] + 1)
                gap = 0
            else:
                heights[-1] = max(heights[-1], ink[-1] - ink[0] + 1)
        return heights

    def menu_in(self, panel, before):
        below_field = (0, 46, PANEL_SIZE[0], 60)
        found = self.part(panel, below_field).difference(self.part(before, below_field))
        return found and (found[0], found[1] + 46 * self.ratio, *found[2:])

    def shoot_search(self, browsing):
        def is_other(panel, rectangle=(0, PANEL_HEAD, PANEL_SIZE[0], 120)):
            return self.part(panel, rectangle) != self.part(browsing, rectangle)
        self.desktop.type("heart")
        panel = self.shoot("search-results", lambda panel: is_other(panel) and self.is_colourful(panel, cell(6)))
        self.assert_readable(panel, TITLE, "the section's title")
        self.assert_readable(panel, PLACEHOLDER, "the query")

        self.desktop.type("zzz")
        panel = self.shoot("no-results", lambda panel: not self.is_colourful(panel, cell(6)))
        self.assert_readable(panel, NO_RESULTS, "the message")
        for empty in ((2, PANEL_HEAD + 2, PANEL_SIZE[0] - 4, 118), (2, 250, PANEL_SIZE[0] - 4, 100)):
            self.assertLess(self.part(panel, empty).text_contrast(), 1.2, "nothing else is in the grid")

    def shoot_all_states(self):
        browsing = self.shoot_browsing("browsing")
        for shoot in (self.shoot_pointer, self.shoot_selection_and_tones, self.shoot_menu, self.shoot_search):
            with self.subTest(shoot.__name__, scheme=self.scheme):
                shoot(browsing)
        self.close()

    def shoot_without_recent(self):
        picker = self.start_picker()
        self.open()
        without = self.shoot_browsing("browsing-without-recent")
        self.close()
        picker.program.stop()
        write_settings(self.desktop, recentEmojis=RECENT)
        return without

    def photograph_the_picker(self, ratio, compositor):
        self.start_desktop(ratio, compositor)
        without = self.shoot_without_recent()
        self.start_picker()
        self.open()
        light = self.shoot_browsing("browsing")
        self.assertIsNotNone(light.difference(without), "the recent emoji are shown")

        # While it is shown.
        self.use_scheme("dark")
        dark = self.shoot_browsing("browsing")
        self.use_scheme("light")
        self.assertEqual(self.shoot("browsing", lambda panel: panel == light), light, "and back")
        self.assertGreater(contrast(self.pixel(dark, *PLAIN), self.pixel(light, *PLAIN)), 7)

        for scheme in ("light", "dark"):
            self.use_scheme(scheme)
            self.shoot_all_states()
            self.open()

    def test_one_pixel_a_point(self):
        self.photograph_the_picker(1, compositor=False)

    def test_one_pixel_a_point_with_a_compositor(self):
        self.photograph_the_picker(1, compositor=True)

    def test_two_pixels_a_point(self):
        self.photograph_the_picker(2, compositor=False)

    def test_two_pixels_a_point_with_a_compositor(self):
        self.photograph_the_picker(2, compositor=True)

    def test_compositor_that_comes_and_goes(self):
        self.start_desktop(1, compositor=False)
        write_settings(self.desktop, recentEmojis=RECENT)
        self.start_picker()
        for scheme in ("light", "dark"):
            self.use_scheme(scheme)
            self.open()
            self.shoot_browsing("before-compositor")

            compositor = self.desktop.start_compositor()
            self.shoot_steadily("compositor-started")

            compositor.stop()
            wait_until(lambda: not self.desktop.has_compositor(), "the compositor has ended")
            self.shoot_steadily("compositor-ended")
            self.close()

    def shoot_steadily(self, name):
        """As soon as the corners are round they stay round."""
        def observe():
            photograph = self.photograph()
            try:
                self.assert_corners_are_round(photograph)
            except AssertionError:
                return None
            return photograph
        try:
            wait_until_stable(observe, f"{name}: the corners are round", span=0.5)
        finally:
            self.photograph().save(self.folder / f"{name}-{self.scheme}.png")
        self.shoot_browsing(name)

    # With a catalogue of the test's own

    def cache_catalogue(self, categories, emojis):
        """As if it had been fetched a moment ago, so that the server is not asked for it."""
        folder = self.desktop.folder / "home" / ".cache" / "Glimmerwick"
        folder.mkdir(parents=True)
        (folder / "manifest.json").write_text(json.dumps({
            "version": "test", "lastUpdated": "2026-02-03T04:05:06Z", "categories": categories,
            "emojis": emojis}), encoding="utf-8")

    @staticmethod
    def bundled():
        return json.loads((ROOT / "Resources" / "catalogue" / "manifest.json").read_text(encoding="utf-8"))

    def test_more_tabs_than_fit(self):
        self.photograph_many_tabs(compositor=False)

    def test_more_tabs_than_fit_with_a_compositor(self):
        self.photograph_many_tabs(compositor=True)

    def photograph_many_tabs(self, compositor):
        self.start_desktop(1, compositor)
        bundled = self.bundled()
        known = bundled["categories"]
        categories = [{**known[number % len(known)], "id": f"category{number}", "name": f"Category {number}",
                       "emojis": known[number % len(known)]["emojis"][7 * number:7 * number + 21]}
                      for number in range(14)]
        self.cache_catalogue(categories, bundled["emojis"])
        self.start_picker()
        for scheme in ("light", "dark"):
            self.use_scheme(scheme)
            self.open()
            start = self.shoot_browsing("many-tabs")
            last_visible = (296, TAB_TOP, 20, TAB)
            self.assertGreaterEqual(self.part(start, last_visible).text_contrast(), 3, "a tenth tab goes beyond")

            self.point_at(160, TAB_TOP + TAB // 2)
            self.desktop.turn_wheel(12)
            self.point_elsewhere()
            end = self.shoot("many-tabs-scrolled", lambda panel: self.tab_at_end(panel) and panel != start)
            self.assertNotEqual(self.tabs_in(end), self.tabs_in(start))
            self.point_at(160, TAB_TOP + TAB // 2)
            self.desktop.turn_wheel(-12)
            self.point_elsewhere()
            self.shoot("many-tabs", lambda panel: self.tabs_in(panel) == self.tabs_in(start))
            self.shoot_tab_in_the_corner()
            # What is scrolled and selected stays so until something is picked.
            self.point_at(160, TAB_TOP + TAB // 2)
            self.desktop.turn_wheel(-12)
            self.point_at(INSET + TAB // 2, TAB_TOP + TAB // 2)
            self.desktop.click()
            self.point_elsewhere()
            self.shoot("many-tabs", lambda panel: panel == start)
            self.close()

    def shoot_tab_in_the_corner(self):
        """The tint of a tab that is scrolled halfway out ends where the panel does."""
        before = self.panel_of(self.photograph())
        self.point_at(INSET + 3 * TAB_PITCH + TAB // 2, TAB_TOP + TAB // 2)
        self.desktop.click()
        self.desktop.turn_wheel(2)
        self.point_elsewhere()
        corner = (1, TAB_TOP + 10, 2, 4)
        self.shoot("tab-in-the-corner", lambda panel: self.part(panel, corner) != self.part(before, corner))

    def tabs_in(self, panel):
        return self.part(panel, (RADIUS, TAB_TOP, PANEL_SIZE[0] - 2 * RADIUS, TAB))

    def tab_at_end(self, panel):
        """The last tab stands 8 points from the end, and nothing behind it."""
        last = (PANEL_SIZE[0] - INSET - TAB, TAB_TOP, TAB, TAB)
        behind = (PANEL_SIZE[0] - INSET, TAB_TOP, INSET - 2, TAB - 8)
        return self.part(panel, last).text_contrast() >= 3 and len(self.part(panel, behind).colours()) == 1

    def test_pictures_that_do_not_come(self):
        """Placeholders while a server that takes no request is asked, question marks when it is gone."""
        self.start_desktop(1, compositor=False)
        bundled = self.bundled()
        # O and a letter, without the one of Oman.
        flags = [f"1f1f4-{letter:x}" for letter in range(0x1f1e6, 0x1f1f5) if letter != 0x1f1f2]
        emojis = {**bundled["emojis"], **{codepoint: {
            "char": "".join(chr(int(scalar, 16)) for scalar in codepoint.split("-")), "name": codepoint,
            "keywords": [], "skinTones": False, "category": "flags"} for codepoint in flags}}
        first = {**bundled["categories"][0]}
        first["emojis"] = first["emojis"][:14] + flags + first["emojis"][14:]
        self.cache_catalogue([first, *bundled["categories"][1:]], emojis)
        server = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(server.close)
        self.write_keys(f"https://127.0.0.1:{server.getsockname()[1]}")
        self.start_picker()
        for scheme in ("light", "dark"):
            self.use_scheme(scheme)
            self.open()
            self.shoot("placeholders", lambda panel: all(self.cells(panel, "is_loading")))
            self.close()
        server.close()
        self.shoot_failures()

    def shoot_failures(self):
        for scheme in ("light", "dark"):
            self.use_scheme(scheme)
            self.open()
            self.shoot("question-marks", lambda panel: all(self.cells(panel, "has_failed")))
            self.close()

    def cells(self, panel, question):
        grid = self.part(panel, (0, PANEL_HEAD, PANEL_SIZE[0], PANEL_SIZE[1] - PANEL_HEAD - PANEL_FOOT))
        for number in range(14, 28):
            x, y, _, _ = cell(number, top=0)
            yield getattr(Cell(grid.pixels, x, y), question)()


if __name__ == "__main__":
    main()
