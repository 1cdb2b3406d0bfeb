#!/usr/bin/python3
"""Without the buses the picker picks: when the session bus dies in the middle of something, when there was none at the
start, and without the system's bus.

usage: bus_loss_test.py --picker BINARY --qt-target BINARY
"""

import signal

from desktop import wait_until
from testcase import EndToEndTest, argument, main

COPIED = "What the user had copied"
SMILE = "😀"
NOWHERE = "unix:path=/nonexistent/bus"


class BusLossTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def setUp(self):
        super().setUp()
        self.use_address("https://127.0.0.1:1")
        self.desktop.copy(COPIED)
        self.target = self.start_target("gtk")
        self.restored = 0

    def press_return_and_check(self, picker, emoji=SMILE):
        self.restored += 1
        self.desktop.press("Return")
        self.target.wait_for_more(emoji)
        picker.wait_for_lines("TypeManager: Clipboard restored to: ", self.restored)
        self.assertEqual(self.desktop.clipboard(), COPIED)
        self.desktop.wait_for_no_panel()

    def pick(self, picker):
        picker.open()
        self.press_return_and_check(picker)

    def search_and_pick(self, picker):
        _, browsing = picker.open()
        picker.search("grinning face", browsing)
        self.press_return_and_check(picker)

    def assert_quits(self, picker):
        picker.program.process.send_signal(signal.SIGTERM)
        wait_until(lambda: not picker.program.is_running(), "the picker has ended")
        self.assertEqual(picker.program.process.returncode, 0)

    def assert_goes_on(self, picker):
        self.search_and_pick(picker)
        self.pick(picker)
        self.assert_quits(picker)

    def test_bus_that_dies_while_the_picker_is_idle(self):
        picker = self.start_picker()
        self.desktop.crash("dbus-daemon")
        self.assert_goes_on(picker)

    def test_bus_that_dies_while_the_panel_is_shown(self):
        picker = self.start_picker()
        picker.open()
        self.desktop.crash("dbus-daemon")
        self.press_return_and_check(picker)
        self.assert_goes_on(picker)

    def test_bus_that_dies_during_a_search(self):
        picker = self.start_picker()
        picker.open()
        self.desktop.press_now(*"rocket")
        self.desktop.crash("dbus-daemon")
        self.press_return_and_check(picker, "🚀")
        self.search_and_pick(picker)
        self.assert_quits(picker)

    def test_bus_that_dies_during_a_pick(self):
        picker = self.start_picker()
        picker.open()
        self.desktop.press_now("Return")
        picker.wait_for_line("TypeManager: performTyping called")
        self.desktop.crash("dbus-daemon")
        self.restored += 1
        self.target.wait_for_more(SMILE)
        picker.wait_for_lines("TypeManager: Clipboard restored to: ", self.restored)
        self.assert_goes_on(picker)

    def test_bus_that_does_not_answer_stops_nothing(self):
        """Stopped, it takes whatever is written to it, and says nothing."""
        picker = self.start_picker()
        bus = next(program for program in self.desktop.programs if program.name == "dbus-daemon")
        self.addCleanup(bus.process.send_signal, signal.SIGCONT)
        bus.process.send_signal(signal.SIGSTOP)
        self.assert_goes_on(picker)

    def test_no_bus_at_the_start(self):
        self.desktop.crash("dbus-daemon")
        picker = self.start_picker()
        complaints = [line for line in picker.program.lines() if line.startswith("glimmerwick: no session bus")]
        self.assertEqual(len(complaints), 1, picker.program.text())
        self.assert_goes_on(picker)

    def test_no_system_bus(self):
        self.desktop.environment["DBUS_SYSTEM_BUS_ADDRESS"] = NOWHERE
        picker = self.start_picker()
        self.assert_goes_on(picker)


if __name__ == "__main__":
    main()
