#!/usr/bin/python3
"""What `glimmerwick --diagnose` says in real sessions, and that it leaves everything there as it was.

usage: diagnose_test.py --picker BINARY --qt-target BINARY
"""

import contextlib
import pathlib
import socket
import subprocess
import tempfile
import unittest

import kwin_desktop
import wayland_desktop
import weston_desktop
from desktop import Picker, Session
from kwin_desktop import KWinDesktop
from testcase import argument, desktop_in, main
from wayland_desktop import SwayDesktop
from weston_desktop import WestonDesktop

# Longer than a compositor is waited for that does not answer.
LONG = 60
COLUMNS = (0, 12, 36, 57)
WIDTH = 80


class NoDesktop(Session):
    """The environment of a session without a display or a bus."""

    def _start(self):
        self._prepare_environment()
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nowhere"


def cells(line):
    """What stands in the columns of a line of the table."""
    return [line[start:end].strip() for start, end in zip(COLUMNS, (*COLUMNS[1:], None))]


def table_of(text):
    """The table: for each thing what the session offers, what is used and what is missing."""
    lines = text.splitlines()
    first = next(number for number, line in enumerate(lines) if line.startswith("---")) + 1
    rows = []
    for line in lines[first:lines.index("", first)]:
        # A cell that goes on is indented, except for the one name that is longer than its column.
        if line.startswith(" ") or line == "window":
            rows[-1] = [" ".join((before, more)).strip() for before, more in zip(rows[-1], cells(line))]
        else:
            rows.append(cells(line))
    return {name: rest for name, *rest in rows}


class DiagnoseTest(unittest.TestCase):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def desktop_of(self, kind, **options):
        missing = {SwayDesktop: wayland_desktop, KWinDesktop: kwin_desktop, WestonDesktop: weston_desktop}.get(kind)
        self.assertEqual(missing.missing_programs() if missing else [], [])
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        self.desktop = self.enterContext(kind(folder, **options))
        return self.desktop

    def diagnose(self, *options, **environment):
        """What the program prints; it ends well and complains about nothing."""
        ended = subprocess.run([pathlib.Path(self.picker_binary).resolve(), *options, "--diagnose"],
                               env={**self.desktop.environment, **environment}, cwd=self.desktop.folder,
                               capture_output=True, text=True, timeout=LONG, check=False)
        self.assertEqual((ended.returncode, ended.stderr), (0, ""), ended.stdout)
        self.assertRegex(ended.stdout, r"^Glimmerwick \d+\.\d+\.\d+\S*\n\n")
        for line in ended.stdout.splitlines():
            self.assertLess(len(line), WIDTH, line)
        return ended.stdout

    def used(self, text):
        return {name: used for name, (_, used, _) in table_of(text).items()}

    def has_owner(self, name):
        answer = self.desktop.call("gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
                                   "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.NameHasOwner", name)
        return "true" in answer

    # X11

    def test_x11_session(self):
        self.desktop = desktop_in(self.enterContext)

        text = self.diagnose()

        self.assertIn("\nSession      X11\n", text)
        self.assertIn("\nPicker       does not run", text)
        self.assertEqual(self.used(text), {"Panel": "X11 window", "Clipboard": "X11 selection",
                                           "Typing": "test keys (XTEST)", "Previous window": "X11 windows",
                                           "Shortcut": "key grab"})
        self.assertFalse(self.has_owner("com.glimmerwick.Glimmerwick"))

    def test_running_picker_is_left_alone(self):
        self.desktop = desktop_in(self.enterContext)
        picker = Picker(self.desktop, self.picker_binary)
        picker.wait_until_ready()

        for _ in range(3):
            self.assertIn("\nPicker       runs\n", self.diagnose())

        self.assertIsNone(self.desktop.panel())
        self.assertFalse(picker.is_open())
        picker.open()

    def test_display_that_the_option_names(self):
        self.desktop = desktop_in(self.enterContext)
        display = self.desktop.environment["DISPLAY"]

        self.assertIn("\nSession      X11\n", self.diagnose("-display", display, DISPLAY=""))
        self.assertIn("\nSession      no display\n", self.diagnose(DISPLAY=""))

    # Wayland

    def test_sway(self):
        self.desktop_of(SwayDesktop)

        text = self.diagnose()

        self.assertIn("\nSession      Wayland\n", text)
        self.assertIn("\nDesktop      sway\n", text)
        table = table_of(text)
        self.assertEqual(table["Panel"], ["layer shell", "layer shell", "-"])
        self.assertEqual(table["Clipboard"], ["data control", "data control", "-"])
        self.assertEqual(table["Typing"], ["virtual keyboard", "virtual keyboard", "-"])
        self.assertEqual(table["Previous window"], ["foreign toplevels", "foreign toplevels", "-"])
        self.assertEqual(table["Shortcut"], ["sway's socket", "sway's socket", "-"])
        self.assertTrue(text.endswith("\n  bindsym Ctrl+Mod4+space exec glimmerwick --toggle\n"), text)

    def test_advised_line_is_one_that_sway_takes(self):
        self.desktop_of(SwayDesktop)

        line = self.diagnose().splitlines()[-1].strip()

        self.desktop.sway(line)
        self.assertTrue(line.startswith("bindsym "))

    def test_what_the_user_wants_of_sway(self):
        self.desktop_of(SwayDesktop, xwayland=True)

        self.assertEqual(table_of(self.diagnose())["Panel"], ["layer shell, XWayland", "layer shell", "-"])
        text = self.diagnose("-platform", "xcb")
        self.assertEqual(table_of(text)["Panel"], ["layer shell, XWayland", "XWayland", "-"])
        self.assertIn("told to use xcb", text)

        text = self.diagnose(GLIMMERWICK_WITHOUT="layer-shell,virtual-keyboard,sway,bogus")
        self.assertIn("\nLeft out     layer-shell,virtual-keyboard,sway,bogus (GLIMMERWICK_WITHOUT)\n"
                      "             unknown: bogus\n", text)
        self.assertEqual(self.used(text), {"Panel": "XWayland", "Clipboard": "data control", "Typing": "copy only",
                                           "Previous window": "foreign toplevels", "Shortcut": "a key you bind"})

    def test_kwin_that_accepts_the_desktop_file(self):
        self.desktop_of(KWinDesktop, permitted=(self.picker_binary,), global_shortcuts=True)

        text = self.diagnose()

        table = table_of(text)
        self.assertEqual(table["Panel"], ["layer shell", "layer shell", "-"])
        self.assertEqual(table["Clipboard"], ["data control", "data control", "-"])
        self.assertEqual(table["Typing"], ["KWin fake input", "KWin fake input", "-"])
        self.assertEqual(table["Previous window"], ["Plasma windows", "Plasma windows", "-"])
        self.assertEqual(table["Shortcut"], ["KGlobalAccel", "KGlobalAccel", "-"])
        self.assertNotIn("desktop file", text)

    def test_kwin_without_the_desktop_file(self):
        self.desktop_of(KWinDesktop, global_shortcuts=True)

        text = self.diagnose()

        self.assertEqual(self.used(text), {"Panel": "layer shell", "Clipboard": "data control", "Typing": "copy only",
                                           "Previous window": "not known", "Shortcut": "KGlobalAccel"})
        self.assertIn("KWin fake input", table_of(text)["Typing"][2])
        self.assertIn("com.glimmerwick.Glimmerwick.kwin.desktop", text)

    def test_weston(self):
        self.desktop_of(WestonDesktop)

        text = self.diagnose()

        self.assertIn("\nSession      Wayland\n", text)
        self.assertEqual(self.used(text), {"Panel": "plain window", "Clipboard": "the panel's own",
                                           "Typing": "copy only", "Previous window": "not known",
                                           "Shortcut": "a key you bind"})
        self.assertIn("a seat", table_of(text)["Typing"][2])
        self.assertTrue(text.endswith("\n  glimmerwick --toggle\n"), text)

    def test_weston_with_xwayland(self):
        self.desktop_of(WestonDesktop, xwayland=True)

        used = self.used(self.diagnose())

        self.assertEqual((used["Panel"], used["Clipboard"], used["Typing"]),
                         ("XWayland", "X11 selection", "copy only"))

    # Nothing

    def test_without_a_display_and_a_bus(self):
        self.desktop_of(NoDesktop)

        for environment in ({}, {"DISPLAY": ":4711", "WAYLAND_DISPLAY": "nowhere"}):
            text = self.diagnose(**environment)

            self.assertIn("\nSession      no display\n", text)
            self.assertIn("\nSession bus  cannot be reached\n", text)
            self.assertIn("Neither a Wayland compositor nor an X11 display can be reached", text)

    def test_compositor_that_does_not_answer_is_none(self):
        self.desktop_of(NoDesktop)
        path = self.desktop.folder / "silent"
        with contextlib.closing(socket.socket(socket.AF_UNIX)) as silent:
            silent.bind(str(path))
            silent.listen()

            text = self.diagnose(WAYLAND_DISPLAY=str(path))

        self.assertIn("\nSession      no display\n", text)


if __name__ == "__main__":
    main()
