#!/usr/bin/python3
"""A clock that is set and a machine that sleeps stop nothing: the shortcut, picks and their timers go on, and a cache
that was written under another time is not kept for ever.

usage: clock_test.py --picker BINARY --qt-target BINARY --faults LIBRARY
"""

import os
import pathlib
import signal
import struct

from desktop import Picker, wait_until
from local_catalogue import LocalCatalogue
from testcase import EndToEndTest, argument, main

COPIED = "What the user had copied"
SMILE = "😀"
HOUR, DAY = 3600, 86400


class ClockTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")
    library = pathlib.Path(argument("faults")).resolve()

    def setUp(self):
        super().setUp()
        self.catalogue = self.enterContext(LocalCatalogue())
        self.use_address(self.catalogue.address)
        self.manifest = self.desktop.folder / "home" / ".cache" / "Glimmerwick" / "manifest.json"
        self.shift = self.desktop.folder / "shift"
        self.set_clock(0)
        self.desktop.copy(COPIED)
        self.target = self.start_target("gtk")

    def set_clock(self, seconds):
        """So much ahead of the real one, at once, for pickers that run as well."""
        # In place: those have it mapped.
        with self.shift.open("r+b" if self.shift.exists() else "wb") as file:
            file.write(struct.pack("@q", seconds))

    def start(self):
        sanitizer = os.environ.get("ASAN_OPTIONS", "")
        environment = {**self.desktop.environment,
                       "LD_PRELOAD": str(self.library),
                       "GLIMMERWICK_CLOCK": str(self.shift),
                       "ASAN_OPTIONS": ":".join(filter(None, (sanitizer, "verify_asan_link_order=0")))}
        picker = Picker.__new__(Picker)
        picker.desktop = self.desktop
        picker.program = self.desktop.run("glimmerwick", pathlib.Path(self.picker_binary).resolve(),
                                          environment=environment)
        picker.wait_until_ready()
        return picker

    def quit(self, picker):
        picker.program.process.send_signal(signal.SIGTERM)
        wait_until(lambda: not picker.program.is_running(), "the picker has ended")
        self.assertEqual(picker.program.process.returncode, 0)

    def pick(self, picker):
        """With the timers of a pick: the wait for the letters, that for the paste, and the clipboard's return."""
        before = picker.count_lines("TypeManager: Clipboard restored to: ")
        _, browsing = picker.open()
        picker.search("grinning face", browsing)
        self.desktop.press("Return")
        self.target.wait_for_more(SMILE)
        picker.wait_for_lines("TypeManager: Clipboard restored to: ", before + 1)
        self.assertEqual(self.desktop.clipboard(), COPIED)

    def fetches_at_a_start(self):
        before = self.catalogue.requests.count("/manifest.json")
        self.quit(self.start())
        return self.catalogue.requests.count("/manifest.json") - before

    def test_clock_that_is_set_while_it_runs_stops_nothing(self):
        picker = self.start()
        self.pick(picker)
        for shift in (-DAY, DAY, -365 * DAY, 365 * DAY):
            self.set_clock(shift)
            self.pick(picker)
        picker.open()
        self.set_clock(-DAY)
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()
        self.pick(picker)
        self.quit(picker)

    def test_cache_is_asked_for_anew_once_it_is_a_day_old(self):
        self.assertEqual(self.fetches_at_a_start(), 1)
        for shift, fetches in ((0, 0), (-HOUR, 0), (HOUR, 0), (2 * DAY, 1), (-2 * DAY, 0)):
            self.set_clock(shift)
            os.utime(self.manifest)
            self.assertEqual(self.fetches_at_a_start(), fetches, f"{shift} s")

    def announce_sleep(self, begins):
        """As the login manager does; the private bus is also the system's."""
        self.desktop.call("gdbus", "emit", "--session", "--object-path", "/org/freedesktop/login1", "--signal",
                          "org.freedesktop.login1.Manager.PrepareForSleep", "true" if begins else "false")

    def sleep(self, picker, hours):
        """A machine that sleeps runs nothing, and its clock has moved on when it wakes."""
        self.announce_sleep(True)
        picker.program.process.send_signal(signal.SIGSTOP)
        self.set_clock(hours * HOUR)
        picker.program.process.send_signal(signal.SIGCONT)
        self.announce_sleep(False)

    def test_picker_works_after_the_machine_has_slept(self):
        picker = self.start()
        self.pick(picker)
        self.sleep(picker, 9)
        self.pick(picker)

        picker.open()
        self.sleep(picker, 18)
        self.desktop.wait_for_no_panel()
        self.pick(picker)
        self.quit(picker)

    def test_pick_that_is_under_way_survives_sleep(self):
        picker = self.start()
        picker.open()
        self.desktop.press_now("Return")
        picker.wait_for_line("TypeManager: performTyping called")
        self.sleep(picker, 8)

        self.target.wait_for_more(SMILE)
        picker.wait_for_line("TypeManager: Clipboard restored to: ")
        self.assertEqual(self.desktop.clipboard(), COPIED)
        self.pick(picker)
        self.quit(picker)


if __name__ == "__main__":
    main()
