#!/usr/bin/python3
"""A compositor that goes away, hangs or has no outputs takes nothing down with it: the program ends in good order, or
goes on.

usage: compositor_loss_test.py --picker BINARY --qt-target BINARY --hand BINARY
"""

import signal
import tempfile
import unittest
import unittest.mock

import wayland_desktop
from desktop import wait_until
from picking import TONE, prefer
from testcase import argument, main
from wayland_desktop import SwayDesktop
from wayland_picking import COPIED, MakesPicks, WaylandPicker, gtk_target

PICKER = argument("picker")
HAND = argument("hand")
argument("qt-target")
COMPOSITOR_LOST = "glimmerwick: the connection to the Wayland compositor is lost"
DISPLAY_LOST = "glimmerwick: the connection to the X11 display is lost"
NESTED_OUTPUTS = ("WL-1", "WL-2")
UNICORN, UNICORN_KEY = "🦄", "1f984"
# The moment at which the main thread looks at the connection differs from one loss to the next.
LOSSES = 3


class NestedDesktop(SwayDesktop):
    """With windows of another desktop for outputs. The headless ones cannot be taken away."""

    def __init__(self, outer, *arguments, **options):
        super().__init__(*arguments, **options)
        self._outer = outer

    def run(self, name, *command, environment=None, **options):
        if name == "sway":
            environment = {**environment, "WLR_BACKENDS": "wayland", "WLR_WL_OUTPUTS": str(len(NESTED_OUTPUTS)),
                           "WAYLAND_DISPLAY": self._outer.environment["WAYLAND_DISPLAY"]}
            del environment["WLR_HEADLESS_OUTPUTS"]
        return super().run(name, *command, environment=environment, **options)


class CompositorLossTest(MakesPicks, unittest.TestCase):
    def start(self, desktop=SwayDesktop, **options):
        """A desktop in which the picker has made a pick, and the program that got it."""
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        without = options.pop("without", "")
        self.desktop = self.enterContext(desktop(folder, HAND, **options))
        self.desktop.environment["GLIMMERWICK_WITHOUT"] = without
        prefer(self.desktop, TONE, [])
        self.desktop.move_pointer(640, 200)
        self.desktop.copy(COPIED)
        target = gtk_target(self.desktop)
        self.picker = WaylandPicker(self.desktop, PICKER)
        self.picker.wait_until_ready()
        self.pick(target)
        return target

    def pick(self, target):
        self.picker.open()
        self.desktop.type("unicorn")
        self.desktop.press("Return")
        target.wait_for_more(UNICORN)
        self.picker.wait_until_closed()
        target.wait_for_focus()

    def search(self):
        self.picker.open()
        self.desktop.type("rocket")

    def toggle(self):
        """Has the picker toggled by its command, which returns once the picker has been told."""
        command = self.desktop.run("toggle", self.picker.binary, "--toggle")
        wait_until(lambda: not command.is_running(), "the command is done")
        self.assertEqual(command.process.returncode, 0)

    def wait_for_end(self):
        wait_until(lambda: not self.picker.program.is_running(), "the picker has ended")
        return self.picker.program.process.returncode

    def complaints(self):
        return [line for line in self.picker.program.lines() if line.startswith("glimmerwick: ")]

    def settings(self):
        return self.desktop.folder / "home" / ".config" / "Glimmerwick" / "Glimmerwick.ini"

    def assert_crash_ends_it_in_order(self, complaint):
        self.assertEqual(self.complaints(), [])

        self.desktop.crash("sway")

        self.assertEqual(self.wait_for_end(), 1)
        self.assertEqual(self.complaints(), [complaint])
        self.assertIn(UNICORN_KEY, self.settings().read_text(encoding="utf-8"))

    def test_a_crash_of_the_compositor_ends_it_with_the_settings_saved(self):
        states = {
            "it is idle": lambda: None,
            "the panel is open": self.search,
            "Return was pressed": lambda: (self.search(), self.desktop.press("Return")),
        }
        for name, reach in states.items():
            for number in range(LOSSES):
                with self.subTest(name, number=number):
                    self.start()
                    reach()
                    self.assert_crash_ends_it_in_order(COMPOSITOR_LOST)

    def test_a_crash_with_the_panel_by_xwayland_is_told_once_too(self):
        self.start(xwayland=True, without="layer-shell")
        self.assert_crash_ends_it_in_order(DISPLAY_LOST)

    def start_with_outputs_that_can_go(self):
        """Each is a window in a desktop around this one."""
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        self.outer = self.enterContext(SwayDesktop(folder))
        self.enterContext(unittest.mock.patch.object(wayland_desktop, "OUTPUTS", NESTED_OUTPUTS))
        return self.start(lambda *arguments, **options: NestedDesktop(self.outer, *arguments, **options))

    def take_outputs_away(self):
        for window in self.outer.windows():
            self.outer.sway(f"[con_id={window['id']}] kill")
        wait_until(lambda: not self.desktop.outputs(), "the outputs are gone")

    def assert_picks_with_a_new_output(self, target):
        self.desktop.sway("create_output")
        wait_until(self.desktop.outputs, "there is an output")
        target.focus()
        target.wait_for_focus()
        self.pick(target)

    def test_without_outputs_the_panel_goes_away_and_comes_back_with_them(self):
        target = self.start_with_outputs_that_can_go()
        shown = "TypeManager: Stored frontmost app"
        self.take_outputs_away()

        # A panel that had stayed would be hidden by every second one.
        for _ in range(4):
            before = self.picker.count_lines(shown)
            self.toggle()
            self.picker.wait_for_lines(shown, before + 1)

        self.assert_picks_with_a_new_output(target)

    def test_outputs_that_go_while_the_panel_is_open_take_it_along(self):
        target = self.start_with_outputs_that_can_go()
        self.search()

        self.take_outputs_away()

        self.picker.wait_until_closed()
        self.assert_picks_with_a_new_output(target)

    def stop_compositor(self):
        process = self.desktop.compositor.process
        process.send_signal(signal.SIGSTOP)
        self.addCleanup(process.send_signal, signal.SIGCONT)

    def test_a_compositor_that_hangs_stops_no_quit(self):
        self.start()
        self.stop_compositor()
        self.toggle()

        self.picker.program.process.send_signal(signal.SIGTERM)

        self.assertEqual(self.wait_for_end(), 0)
        self.assertIn(UNICORN_KEY, self.settings().read_text(encoding="utf-8"))

    def test_a_compositor_that_hangs_for_a_while_is_waited_for(self):
        target = self.start()
        self.stop_compositor()
        self.toggle()
        self.picker.wait_until_closed()

        self.desktop.compositor.process.send_signal(signal.SIGCONT)

        target.wait_for_focus()
        self.pick(target)


if __name__ == "__main__":
    main()
