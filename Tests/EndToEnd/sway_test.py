#!/usr/bin/python3
"""The whole job under sway: the shortcut, the panel at the pointer, the search, and picks into applications.

usage: sway_test.py --picker BINARY --qt-target BINARY --hand BINARY --picks N
"""

import pathlib

from desktop import PANEL_HEAD, PANEL_SIZE, wait_until
from testcase import argument, main
from wayland_desktop import OUTPUT_SIZE, SwayDesktop
from wayland_picking import (COPIED, Screenshot, WaylandPickingTest, WholeJob, foot, gtk_target, gtk_x11_target, qt_target)

COUNT = int(argument("picks"))
HAND = argument("hand")
QT_TARGET = pathlib.Path(argument("qt-target")).resolve()
MARGIN, GAP = 8, 10
# The middle of the grid's first emoji, in the panel.
FIRST_CELL = 8 + 20, PANEL_HEAD + 28 + 8 + 20


class SwayTest(WholeJob, WaylandPickingTest):
    picker_binary = argument("picker")

    @classmethod
    def make_desktop(cls, folder):
        return SwayDesktop(folder, HAND, xwayland=True)

    def setUp(self):
        self.desktop.move_pointer(640, 200)
        self.desktop.copy(COPIED)

    def tearDown(self):
        for program in self.desktop.programs:
            if program.name.startswith(("glimmer-", "foot")):
                program.stop()

    def test_every_pick_into_gtk_arrives(self):
        self.assert_picked(gtk_target(self.desktop), COUNT)

    def test_every_pick_into_qt_arrives(self):
        self.assert_picked(qt_target(self.desktop, QT_TARGET), COUNT)

    def test_every_pick_into_a_terminal_arrives(self):
        self.assert_picked(foot(self.desktop), COUNT)

    def test_every_pick_into_a_client_of_xwayland_arrives(self):
        self.assert_picked(gtk_x11_target(self.desktop), COUNT)

    def test_the_panel_opens_below_the_pointer_on_its_output(self):
        width, height = PANEL_SIZE
        left_output, right_output = 0, OUTPUT_SIZE[0]
        places = {
            (right_output + 500, 300): (right_output + 500 - width // 2, 300 + GAP),
            (right_output, 0): (right_output + MARGIN, GAP),
            (right_output + OUTPUT_SIZE[0] - 1, OUTPUT_SIZE[1] - 1):
                (right_output + OUTPUT_SIZE[0] - MARGIN - width, OUTPUT_SIZE[1] - MARGIN - height),
            (left_output + 300, 100): (left_output + 300 - width // 2, 100 + GAP),
        }
        for pointer, corner in places.items():
            with self.subTest(pointer=pointer):
                self.desktop.move_pointer(*pointer)
                before = Screenshot(self.desktop)
                self.picker.open()

                def place():
                    found = Screenshot(self.desktop).difference(before)
                    return found == (*corner, width, height)
                wait_until(place, f"the panel is at {corner}: {Screenshot(self.desktop).difference(before)}")

                self.desktop.press("Escape")
                self.picker.wait_until_closed()
                wait_until(lambda: Screenshot(self.desktop).difference(before) is None, "the panel has left no trace")

    def test_a_copy_stays_on_the_clipboard(self):
        target = gtk_target(self.desktop)
        self.picker.open()

        self.desktop.move_pointer(640 - PANEL_SIZE[0] // 2 + FIRST_CELL[0], 200 + GAP + FIRST_CELL[1])
        with self.desktop.held("Alt_L"):
            self.desktop.click()

        self.picker.wait_until_closed()
        self.picker.wait_for_line("ClipboardManager: Copied emoji")
        wait_until(lambda: self.desktop.clipboard() != COPIED, "the clipboard holds the emoji")
        self.assertIn("x-kde-passwordManagerHint", self.desktop.clipboard_types())
        target.wait_for_focus()
        self.assertEqual(target.text(), "")


if __name__ == "__main__":
    main()
