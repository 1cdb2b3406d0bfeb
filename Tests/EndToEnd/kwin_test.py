#!/usr/bin/python3
"""The whole job under KWin: the shortcut that it grants, the panel, the search, and picks that it types; and what is
left of the job where it lets the program press no keys.

usage: kwin_test.py --picker BINARY --qt-target BINARY --hand BINARY --picks N
"""

import pathlib

from desktop import PANEL_SIZE, DesktopError, wait_until
from kwin_desktop import OUTPUT_SIZE, KWinDesktop, missing_programs
from notifications import Notifications
from testcase import argument, main
from wayland_picking import COPIED, WaylandPickingTest, WholeJob, gtk_target, gtk_x11_target, qt_target

COUNT = int(argument("picks"))
HAND = argument("hand")
PICKER = pathlib.Path(argument("picker")).resolve()
QT_TARGET = pathlib.Path(argument("qt-target")).resolve()
# A few show that the keys and the clipboard pass through XWayland.
X11_COUNT = min(COUNT, 5)

US, DVORAK = range(2)
MARGIN, GAP = 8, 10
# The keys of a US keyboard where "rocket" lies in the other layout. Its "v" is the US "period", and the US "v" its "k".
ROCKET_IN_DVORAK = "osivdk"


class KWinPickingTest(WaylandPickingTest):
    """A desktop of KWin's in which the picker has what it asks for."""

    picker_binary = PICKER
    layouts = ("us",)
    permitted = (PICKER,)

    @classmethod
    def make_desktop(cls, folder):
        if missing_programs():
            raise DesktopError(f"missing: {', '.join(missing_programs())}")
        return KWinDesktop(folder, HAND, xwayland=True, layouts=cls.layouts, permitted=cls.permitted,
                           outputs=2, global_shortcuts=True)

    def setUp(self):
        self.desktop.move_pointer(640, 200)
        self.desktop.copy(COPIED)

    def tearDown(self):
        for program in self.desktop.programs:
            if program.name.startswith("glimmer-"):
                program.stop()


class KWinTest(WholeJob, KWinPickingTest):
    def test_every_pick_into_gtk_arrives(self):
        self.assert_picked(gtk_target(self.desktop), COUNT)

    def test_every_pick_into_qt_arrives(self):
        self.assert_picked(qt_target(self.desktop, QT_TARGET), COUNT)

    def test_every_pick_into_a_client_of_xwayland_arrives(self):
        self.assert_picked(gtk_x11_target(self.desktop), X11_COUNT)

    def test_picks_follow_the_user_from_one_window_to_another(self):
        targets = [gtk_target(self.desktop), qt_target(self.desktop, QT_TARGET), gtk_x11_target(self.desktop)]
        for _ in range(2):
            for target in targets:
                target.focus()
                self.assert_picked(target, 1)
        for target in targets:
            self.assertEqual(target.text(), target.expected)

    def test_the_panel_opens_below_the_pointer_on_its_output(self):
        (width, height), (output_width, output_height) = PANEL_SIZE, OUTPUT_SIZE
        places = {
            (300, 100): (300 - width // 2, 100 + GAP),
            (output_width + 500, 300): (output_width + 500 - width // 2, 300 + GAP),
            (output_width, 0): (output_width + MARGIN, GAP),
            (2 * output_width - 1, output_height - 1):
                (2 * output_width - MARGIN - width, output_height - MARGIN - height),
        }
        for pointer, corner in places.items():
            with self.subTest(pointer=pointer):
                self.desktop.move_pointer(*pointer)
                self.picker.open()

                panel = self.desktop.focused_window()

                self.assertEqual(panel["pid"], self.picker.program.process.pid)
                self.assertEqual([panel[side] for side in ("x", "y", "width", "height")], [*corner, width, height])
                self.desktop.press("Escape")
                self.picker.wait_until_closed()


class OtherLayoutTest(KWinPickingTest):
    layouts = ("us", "us(dvorak)")

    def setUp(self):
        super().setUp()
        self.addCleanup(self.desktop.use_layout, US)

    def pick_rocket(self, letters, target):
        self.picker.open()
        self.desktop.type(letters)
        self.desktop.press("Return")
        target.wait_for_more("🚀")
        self.picker.wait_until_closed()
        target.wait_for_focus()
        self.assert_clipboard_becomes(COPIED)

    def assert_picked_in_each_layout(self, target):
        for layout, letters in ((DVORAK, ROCKET_IN_DVORAK), (US, "rocket"), (DVORAK, ROCKET_IN_DVORAK)):
            self.desktop.use_layout(layout)
            self.pick_rocket(letters, target)
        # The layout really is another: the same keys type other letters.
        self.desktop.type("v")
        target.wait_for_more("k")

    def test_picks_arrive_in_gtk(self):
        self.assert_picked_in_each_layout(gtk_target(self.desktop))

    def test_picks_arrive_in_qt(self):
        self.assert_picked_in_each_layout(qt_target(self.desktop, QT_TARGET))

    def test_picks_arrive_in_a_client_of_xwayland(self):
        self.assert_picked_in_each_layout(gtk_x11_target(self.desktop))

    def test_the_layout_may_change_while_the_picker_is_shown(self):
        target = gtk_target(self.desktop)
        self.picker.open()
        self.desktop.type("rocket")
        self.desktop.use_layout(DVORAK)

        self.desktop.press("Return")

        target.wait_for_more("🚀")
        self.picker.wait_until_closed()
        target.wait_for_focus()
        self.assert_clipboard_becomes(COPIED)


class NotPermittedTest(KWinPickingTest):
    """Without a desktop file that KWin trusts, the program can press no keys and knows no windows."""

    permitted = ()

    @classmethod
    def start_picker(cls):
        cls.notifications = Notifications(cls.desktop)
        super().start_picker()

    def test_a_pick_is_copied_and_the_user_is_told(self):
        target = gtk_target(self.desktop)
        self.picker.open()
        self.desktop.type("unicorn")

        self.desktop.press("Return")

        self.picker.wait_until_closed()
        notice = self.notifications.wait_for("Emoji copied")
        self.assertIn("press Ctrl+V", notice)
        self.assert_clipboard_becomes("🦄")
        target.wait_for_focus()
        self.assertEqual(target.text(), "")
        self.desktop.press("Control_L+v")
        target.wait_for_more("🦄")
        self.assert_clipboard_becomes("🦄")


if __name__ == "__main__":
    main()
