#!/usr/bin/python3
"""The whole job under mutter, which has no protocol for any of it: the panel and the clipboard by XWayland, the shortcut
and the keys by a desktop portal, and copying where there is no portal.

usage: mutter_test.py --picker BINARY --qt-target BINARY --picks N
"""

import pathlib
import tempfile
import unittest

from desktop import wait_until
from desktop_portal import DesktopPortal
from mutter_desktop import MutterDesktop
from notifications import Notifications
from picking import TONE, prefer
from targets import HERE, PYTHON, FileTarget
from testcase import argument, main
from wayland_picking import COPIED, PICKS, WaylandPicker

PICKER = pathlib.Path(argument("picker")).resolve()
COUNT = int(argument("picks"))
argument("qt-target")


class FocusTellingTarget(FileTarget):
    """A GTK program. Whether it has the keys nobody tells but itself."""

    def __init__(self, desktop, name, backend):
        self._event_file = desktop.folder / f"{name}.events"
        text_file = desktop.folder / f"{name}.text"
        self.program = desktop.run(name, "env", f"GDK_BACKEND={backend}", PYTHON, HERE / "gtk_target.py", name,
                                   text_file, self._event_file)
        wait_until(lambda: self._event_file.exists() and text_file.exists(), f"{name} has a window")
        super().__init__(desktop, name, None, text_file)
        self.wait_for_focus()

    def has_focus(self):
        changes = [line for line in self._event_file.read_text(encoding="utf-8").splitlines()
                   if line.startswith("focus-")]
        return changes[-1:] == ["focus-in"]

    def wait_for_focus(self):
        wait_until(self.has_focus, f"{self.name} has the keys")


class MutterTest(unittest.TestCase):
    def start_desktop(self, **portal):
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        self.desktop = self.enterContext(MutterDesktop(folder))
        prefer(self.desktop, TONE, [])
        self.notifications = Notifications(self.desktop)
        if portal:
            self.start_portal(**portal)
        self.desktop.copy(COPIED)

    def start_portal(self, **portal):
        self.portal = DesktopPortal(self.desktop, hand=MutterDesktop.HAND, **portal)

    def start_picker(self):
        self.picker = WaylandPicker(self.desktop, PICKER)
        self.picker.wait_until_ready()

    def open_picker(self):
        self.portal.press_shortcut()
        self.picker.wait_until_open()
        self.desktop.settle()

    def show_by_command(self):
        command = self.desktop.run("command", PICKER, "--toggle")
        wait_until(lambda: not command.is_running(), "the command is done")

    def pick(self, target, query):
        self.open_picker()
        self.desktop.type(query)
        self.desktop.press("Return")
        self.picker.wait_until_closed()
        target.wait_for_focus()

    def assert_picked(self, target, count):
        for query, emoji in (PICKS * (1 + count // len(PICKS)))[:count]:
            self.pick(target, query)
            target.wait_for_more(emoji)
            wait_until(lambda: self.desktop.clipboard() == COPIED, "the clipboard is what it was")
            self.assertEqual(target.text(), target.expected)

    def test_every_pick_arrives(self):
        self.start_desktop(keys="grant", shortcuts="grant")
        self.start_picker()
        self.portal.wait_for("granted keys")
        self.portal.wait_for("granted shortcuts")

        for backend in ("wayland", "x11"):
            with self.subTest(backend=backend):
                target = FocusTellingTarget(self.desktop, f"glimmer-{backend}-target", backend)
                self.assert_picked(target, COUNT)
                target.program.stop()

    def test_who_has_agreed_is_not_asked_again(self):
        self.start_desktop(keys="grant", shortcuts="grant")
        self.start_picker()
        self.portal.wait_for("granted keys")
        self.picker.program.stop()

        self.start_picker()

        self.portal.wait_for("restored")
        self.assertEqual(self.portal.program.lines().count("dialog keys"), 1)
        target = FocusTellingTarget(self.desktop, "glimmer-target", "wayland")
        self.assert_picked(target, 2)

    def test_who_refuses_is_asked_again_by_a_pick_alone(self):
        self.start_desktop(keys="refuse", shortcuts="grant")
        self.start_picker()
        self.portal.wait_for("refused keys")
        self.notifications.wait_for("Emoji cannot be typed")
        self.picker.program.stop()
        # Not at every start.
        self.start_picker()
        self.portal.wait_for("granted shortcuts", count=2)
        target = FocusTellingTarget(self.desktop, "glimmer-target", "wayland")
        self.assertEqual(self.portal.program.lines().count("dialog keys"), 1)
        self.portal.set_policy("keys", "grant")

        self.pick(target, "rocket")

        self.picker.wait_for_line("TypeManager: Failed to type '🚀'")
        self.portal.wait_for("granted keys")
        wait_until(lambda: self.desktop.clipboard() == COPIED, "the clipboard is what it was")
        self.assertEqual(target.text(), "")
        self.assert_picked(target, 2)

    def test_who_refuses_everything_is_left_in_peace(self):
        self.start_desktop(keys="refuse", shortcuts="refuse")
        self.start_picker()
        self.portal.wait_for("refused keys")
        self.portal.wait_for("refused shortcuts")
        self.picker.program.stop()

        self.start_picker()

        # Behind what it would have asked at the start.
        self.show_by_command()
        self.picker.wait_until_open()
        for what in ("dialog keys", "dialog shortcuts"):
            self.assertEqual(self.portal.program.lines().count(what), 1, what)

    def test_without_a_portal_for_shortcuts_a_refusal_holds_too(self):
        self.start_desktop(keys="refuse", shortcuts="missing")
        self.start_picker()
        self.portal.wait_for("refused keys")
        self.picker.program.stop()

        self.start_picker()

        self.show_by_command()
        self.picker.wait_until_open()
        self.assertEqual(self.portal.program.lines().count("dialog keys"), 1)

    def test_the_toolkits_own_clipboard_is_copied_to(self):
        self.start_desktop(keys="grant", shortcuts="grant")
        self.desktop.environment["QT_QPA_PLATFORM"] = "wayland"
        self.start_picker()
        self.portal.wait_for("granted shortcuts")
        target = FocusTellingTarget(self.desktop, "glimmer-target", "wayland")

        self.pick(target, "unicorn")

        self.assertIn("press Ctrl+V", self.notifications.wait_for("Emoji copied"))
        self.desktop.press("Control_L+v")
        target.wait_for_text("🦄")
        self.assertNotIn("dialog keys", self.portal.program.lines())

    def test_taken_back_it_types_no_more(self):
        self.start_desktop(keys="grant", shortcuts="grant")
        self.start_picker()
        self.portal.wait_for("granted keys")
        target = FocusTellingTarget(self.desktop, "glimmer-target", "wayland")
        self.assert_picked(target, 1)
        self.portal.set_policy("keys", "refuse")

        self.portal.close_session("keys")
        self.pick(target, "rocket")

        self.picker.wait_for_line("TypeManager: Failed to type '🚀'")
        wait_until(lambda: self.desktop.clipboard() == COPIED, "the clipboard is what it was")
        self.assertEqual(target.text(), target.expected)

    def test_without_a_portal_it_copies_and_says_so(self):
        self.start_desktop()
        target = FocusTellingTarget(self.desktop, "glimmer-target", "wayland")
        self.start_picker()
        self.notifications.wait_for("The picker has no shortcut")
        self.show_by_command()
        self.picker.wait_until_open()
        self.desktop.settle()
        self.desktop.type("unicorn")

        self.desktop.press("Return")

        self.picker.wait_until_closed()
        notice = self.notifications.wait_for("Emoji copied")
        self.assertIn("press Ctrl+V", notice)
        target.wait_for_focus()
        self.desktop.press("Control_L+v")
        target.wait_for_text("🦄")
        self.assertEqual(self.desktop.clipboard(), "🦄")


if __name__ == "__main__":
    main()
