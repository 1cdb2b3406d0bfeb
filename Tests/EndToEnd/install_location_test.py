#!/usr/bin/python3
"""The program on a volume that is mounted for reading alone: asked once to be moved, and otherwise as ever.

usage: install_location_test.py --picker BINARY --distributed BINARY --qt-target BINARY

The distributed one is built to leave updates to the system.
"""

import configparser
import os
import pathlib
import shutil
import unittest

from desktop import PANEL_CLASS, Picker, wait_until
from pictures import ROOT
from screen_reader import ScreenReader
from testcase import argument, desktop_in, main

HERE = pathlib.Path(__file__).resolve().parent
TITLE = "Move to Applications Folder?"
TEXT = """Glimmerwick is running from a read-only location (like a disk image). For automatic updates to work, \
please move the app to your Applications folder.

To do this:
1. Quit Glimmerwick
2. Drag Glimmerwick.app to your Applications folder
3. Relaunch from Applications"""
OPEN, LATER = "Open Applications Folder", "Later"
SHOWING = "[Glimmerwick] Showing picker due to --show-picker argument"
KEY = "hasShownInstallLocationAlert"

# Mounts a volume that nobody else sees, puts the program and its libraries there and starts it, in the same process.
START = 'mount -t tmpfs volume "$0" && mkdir "$0/bin" && cp "$1" "$0/bin/glimmerwick" ' \
        '&& cp -r "$(dirname "$1")/../lib" "$0/lib" && mount -o "remount,$2" "$0" && shift 2 ' \
        '&& exec "$0/bin/glimmerwick" "$@"'


class InstallLocationTest(unittest.TestCase):
    picker_binary = argument("picker")
    distributed_binary = argument("distributed")
    qt_target_binary = argument("qt-target")

    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop_in(cls.enterClassContext)
        # Away from the build it looks for its resources as an installed program does.
        cls.desktop.environment["GLIMMERWICK_RESOURCES"] = str(ROOT / "Resources")
        cls.home = cls.desktop.folder / "home"
        cls.settings = cls.home / ".config" / "Glimmerwick" / "Glimmerwick.ini"
        cls.volume = cls.desktop.folder / "volume"
        cls.volume.mkdir()
        cls.reader = ScreenReader(cls.desktop)
        cls.file_manager = cls.desktop.run("file-manager", "/usr/bin/python3", HERE / "file_manager_service.py")
        wait_until(lambda: "ready" in cls.file_manager.lines(), "the file manager is there")

    def setUp(self):
        shutil.rmtree(self.settings.parent, ignore_errors=True)

    def start(self, access, *flags, binary=picker_binary):
        """Starts the program on a volume with this access, "ro" or "rw"."""
        space = ["--mount"] if os.geteuid() == 0 else ["--mount", "--map-root-user"]
        picker = Picker(self.desktop, shutil.which("unshare"), *space, "sh", "-ec", START, self.volume,
                        pathlib.Path(binary).resolve(), access, *flags)
        self.addCleanup(picker.program.stop)
        picker.wait_until_ready()
        return picker

    def texts(self):
        return self.reader.texts(PANEL_CLASS)

    def wait_for_alert(self):
        self.reader.wait_for(lambda: TITLE in self.texts(), "the alert is shown")

    def push(self, name):
        self.reader.push(PANEL_CLASS, name)

    def wait_for_no_alert(self):
        self.reader.wait_for(lambda: TITLE not in self.texts(), "the alert is gone")

    def stored(self):
        """The setting as it is written, or None."""
        settings = configparser.RawConfigParser()
        settings.optionxform = str
        settings.read(self.settings, encoding="utf-8")
        return settings.get("General", KEY, fallback=None)

    def test_read_only_volume_is_told_once(self):
        picker = self.start("ro")
        self.wait_for_alert()
        self.assertIn(TEXT, self.texts())
        buttons = {button.name for button in self.reader.views(PANEL_CLASS, self.reader.api.ROLE_PUSH_BUTTON)}
        self.assertEqual(buttons, {OPEN, LATER})
        self.push(LATER)
        self.wait_for_no_alert()
        picker.program.stop()

        # Its launch goes on without an answer.
        again = self.start("ro", "--show-picker")
        again.wait_for_line(SHOWING)
        self.assertNotIn(TITLE, self.texts())

    def test_alert_that_was_never_answered_does_not_come_back(self):
        picker = self.start("ro")
        self.wait_for_alert()
        self.assertEqual(self.stored(), "true")
        picker.program.process.kill()
        picker.program.process.wait()

        again = self.start("ro", "--show-picker")

        again.wait_for_line(SHOWING)
        self.assertNotIn(TITLE, self.texts())

    def test_launch_goes_on_when_the_alert_is_answered_and_the_program_works_meanwhile(self):
        picker = self.start("ro", "--show-picker")
        self.wait_for_alert()
        picker.open()
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()
        self.assertEqual(picker.count_lines(SHOWING), 0)

        self.push(LATER)

        picker.wait_for_line(SHOWING)
        self.desktop.wait_for_panel()

    def test_applications_folder_is_opened_or_else_the_home_folder(self):
        applications = self.home / "Applications"
        for folder in (self.home, applications):
            if folder == applications:
                applications.mkdir()
            picker = self.start("ro")
            self.wait_for_alert()

            self.push(OPEN)

            wait_until(lambda: self.file_manager.lines()[-1:] == [folder.as_uri()], "the folder is opened")
            self.assertTrue(picker.program.is_running())
            picker.program.stop()
            self.settings.unlink()

    def test_program_that_the_system_updates_may_lie_on_any_volume(self):
        picker = self.start("ro", "--show-picker", binary=self.distributed_binary)

        picker.wait_for_line(SHOWING)
        self.assertNotIn(TITLE, self.texts())
        self.assertIsNone(self.stored())
        self.assertEqual(picker.count_lines("[Glimmerwick] Sparkle updater initialized"), 1)
        self.desktop.call("gdbus", "call", "--session", "--dest", PANEL_CLASS, "--object-path",
                          "/com/glimmerwick/Glimmerwick", "--method",
                          "org.freedesktop.Application.ActivateAction", "check-for-updates", "[]", "{}")
        self.reader.wait_for(lambda: any("updated together with your system" in text for text in self.texts()),
                             "who updates it is told")

    def test_writable_volume_is_fine_until_it_is_no_more(self):
        picker = self.start("rw", "--show-picker")
        picker.wait_for_line(SHOWING)
        self.assertNotIn(TITLE, self.texts())
        picker.program.stop()
        self.assertIsNone(self.stored())

        self.start("ro")

        self.wait_for_alert()


if __name__ == "__main__":
    main()
