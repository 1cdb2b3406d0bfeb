#!/usr/bin/python3
"""The other ways that the program takes where a compositor lacks what sway has: each is switched off in turn.

usage: routes_test.py --picker BINARY --qt-target BINARY --hand BINARY
"""

import signal
import tempfile
import unittest

from desktop import wait_until
from desktop_portal import DesktopPortal
from notifications import Notifications
from picking import TONE, prefer
from testcase import argument, main
from wayland_desktop import SwayDesktop
from wayland_picking import COPIED, MakesPicks, WaylandPicker, gtk_target, gtk_x11_target
from weston_desktop import WestonDesktop

PICKER = argument("picker")
HAND = argument("hand")
argument("qt-target")
COUNT = 5


class RoutesTest(MakesPicks, unittest.TestCase):
    def start_desktop(self, desktop=SwayDesktop, without="", **options):
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        self.desktop = self.enterContext(desktop(folder, **options))
        self.desktop.environment["GLIMMERWICK_WITHOUT"] = without
        prefer(self.desktop, TONE, [])

    def start_sway(self, without):
        self.start_desktop(without=without, hand=HAND, xwayland=True)
        self.desktop.move_pointer(640, 200)
        self.desktop.copy(COPIED)
        self.notifications = Notifications(self.desktop)

    def start_picker(self):
        self.picker = WaylandPicker(self.desktop, PICKER)
        self.picker.wait_until_ready()

    def assert_ends_in_order(self):
        self.picker.program.process.send_signal(signal.SIGTERM)
        wait_until(lambda: not self.picker.program.is_running(), "the picker has ended")
        self.assertEqual(self.picker.program.process.returncode, 0)

    def test_the_panel_by_xwayland(self):
        self.start_sway("layer-shell")
        self.start_picker()

        for start in (gtk_target, gtk_x11_target):
            with self.subTest(start.__name__):
                self.assert_picked(start(self.desktop), COUNT)
        self.assertIn("x11.so", self.picker.loaded_files())
        self.assert_ends_in_order()

    def test_a_panel_that_loses_the_keys_goes_away(self):
        self.start_sway("layer-shell")
        self.start_picker()
        target = gtk_target(self.desktop)
        self.picker.open()

        target.focus()

        self.picker.wait_until_closed()
        target.wait_for_focus()

    def test_keys_by_the_desktop_portal(self):
        self.start_sway("virtual-keyboard")
        portal = DesktopPortal(self.desktop, hand=HAND)
        self.start_picker()
        portal.wait_for("granted keys")

        self.assert_picked(gtk_target(self.desktop), COUNT)

        self.assertEqual(portal.keys()[:4], ["down Control_L", "down v", "up v", "up Control_L"])

    def test_the_shortcut_by_the_desktop_portal(self):
        self.start_sway("sway")
        portal = DesktopPortal(self.desktop)
        self.start_picker()
        portal.wait_for("granted shortcuts")

        portal.press_shortcut()
        self.picker.wait_until_open()
        portal.press_shortcut()
        self.picker.wait_until_closed()

        self.assertNotIn("dialog keys", portal.program.lines())

    def test_copying_where_nothing_can_type(self):
        self.start_sway("virtual-keyboard")
        self.start_picker()
        target = gtk_target(self.desktop)
        self.picker.open()
        self.desktop.type("unicorn")

        self.desktop.press("Return")

        self.picker.wait_until_closed()
        self.assertIn("press Ctrl+V", self.notifications.wait_for("Emoji copied"))
        self.assert_clipboard_becomes("🦄")
        target.wait_for_focus()
        self.assertEqual(target.text(), "")
        self.desktop.press("Control_L+v")
        target.wait_for_text("🦄")

    def test_a_compositor_that_offers_nothing(self):
        for xwayland in (False, True):
            with self.subTest(xwayland=xwayland):
                self.start_desktop(WestonDesktop, xwayland=xwayland)
                self.start_picker()
                # Answered when it is done: shown without keys, hidden, and shown once more.
                for _ in range(3):
                    self.toggle_by_command()
                self.assert_ends_in_order()

    def toggle_by_command(self):
        command = self.desktop.run("command", self.picker.binary, "--toggle")
        wait_until(lambda: not command.is_running(), "the command is done")
        self.assertEqual(command.process.returncode, 0, command.text())


if __name__ == "__main__":
    main()
