#!/usr/bin/python3
"""However the program ends, it ends in good order: by its own commands, by signals, with the session, and when the
display server goes away.

usage: termination_test.py --picker BINARY --qt-target BINARY
"""

import contextlib
import os
import pathlib
import signal
import socket
import subprocess
import sys
import time

import Xlib.error
import Xlib.X
import Xlib.XK

from desktop import PANEL_CLASS, Picker, wait_until
from testcase import EndToEndTest, argument, desktop_in, main

HERE = pathlib.Path(__file__).resolve().parent
BUS = ("gdbus", "call", "--session", "--dest")
COPIED = "What the user had copied"
SMILE, ROCKET, SMILE_KEY, ROCKET_KEY = "😀", "🚀", "1f600", "1f680"
DISPLAY_LOST = "glimmerwick: the connection to the X11 display is lost\n"
# So many, because a moment that is fatal may last for a few milliseconds only.
STARTS = 50


class SeparatedPicker(Picker):
    """With standard error in a file of its own."""

    def __init__(self, desktop, binary, *flags):
        self.desktop = desktop
        self.program = desktop.run("glimmerwick", "/bin/sh", "-c", 'exec "$0" "$@" 2>complaints',
                                   pathlib.Path(binary).resolve(), *flags)

    def complaints(self):
        return (self.desktop.folder / "complaints").read_text(encoding="utf-8")

    def send(self, *signals):
        for number in signals:
            self.program.process.send_signal(number)

    def wait_for_end(self):
        """Its status, which is a signal's negative number when that ended it."""
        wait_until(lambda: not self.program.is_running(), "the picker has ended")
        return self.program.process.returncode


class TerminationTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    # What the tests do

    def start(self, *flags):
        picker = SeparatedPicker(self.desktop, self.picker_binary, *flags)
        picker.wait_until_ready()
        return picker

    def settings(self):
        return self.desktop.folder / "home" / ".config" / "Glimmerwick" / "Glimmerwick.ini"

    def forget_settings(self):
        self.settings().unlink(missing_ok=True)

    def pick(self, picker):
        """Picks the first emoji shown, and returns while that is under way."""
        before = picker.count_lines("TypeManager: performTyping called")
        picker.open()
        self.desktop.press_now("Return")
        picker.wait_for_lines("TypeManager: performTyping called", before + 1)

    def pick_to_the_end(self, picker, target, emoji):
        self.pick(picker)
        target.wait_for_more(emoji)

    def bus_names(self):
        return self.desktop.call(*BUS, "org.freedesktop.DBus", "--object-path", "/org/freedesktop/DBus", "--method",
                                 "org.freedesktop.DBus.ListNames")

    def processes(self):
        """The processes of the picker in this desktop."""
        binary = str(pathlib.Path(self.picker_binary).resolve())
        home = f"HOME={self.desktop.environment['HOME']}".encode()
        found = []
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if os.readlink(folder / "exe") == binary and home in (folder / "environ").read_bytes().split(b"\0"):
                    found.append(folder.name)
        return found

    def is_shortcut_free(self):
        root, display = self.desktop.root, self.desktop.display
        refusal = Xlib.error.CatchError(Xlib.error.BadAccess)
        key = display.keysym_to_keycode(Xlib.XK.string_to_keysym("space"))
        modifiers = Xlib.X.ControlMask | Xlib.X.Mod4Mask
        root.grab_key(key, modifiers, False, Xlib.X.GrabModeAsync, Xlib.X.GrabModeAsync, onerror=refusal)
        root.ungrab_key(key, modifiers)
        display.sync()
        return refusal.get_error() is None

    def is_keyboard_free(self):
        root, display = self.desktop.root, self.desktop.display
        status = root.grab_keyboard(False, Xlib.X.GrabModeAsync, Xlib.X.GrabModeAsync, Xlib.X.CurrentTime)
        display.ungrab_keyboard(Xlib.X.CurrentTime)
        display.sync()
        return status == Xlib.X.GrabSuccess

    def assert_ends_cleanly(self, picker):
        self.assertEqual((picker.wait_for_end(), picker.complaints()), (0, ""))
        self.assertEqual(self.processes(), [])
        # The bus and the display notice the end a moment later.
        wait_until(lambda: PANEL_CLASS not in self.bus_names(), "the name on the bus is free")
        wait_until(self.is_shortcut_free, "the shortcut is free")
        wait_until(self.is_keyboard_free, "the keyboard is free")

    def assert_recorded(self, *keys):
        text = self.settings().read_text(encoding="utf-8")
        for key in keys:
            self.assertIn(key, text)

    # Commands and signals

    def test_every_way_to_quit_ends_in_good_order_with_the_settings_saved(self):
        target = self.start_target("gtk")
        ways = {
            "the action on the bus": lambda picker: self.desktop.call(
                *BUS, PANEL_CLASS, "--object-path", "/com/glimmerwick/Glimmerwick", "--method",
                "org.freedesktop.Application.ActivateAction", "quit", "[]", "{}"),
            "the key in the panel": lambda picker: (picker.open(), self.desktop.press("ctrl+q")),
            "SIGTERM": lambda picker: picker.send(signal.SIGTERM),
            "SIGINT": lambda picker: picker.send(signal.SIGINT),
            "SIGHUP": lambda picker: picker.send(signal.SIGHUP),
            "all that a session may send": lambda picker: picker.send(signal.SIGHUP, signal.SIGTERM, signal.SIGHUP,
                                                                      signal.SIGINT, signal.SIGHUP),
        }
        for name, quit_by in ways.items():
            with self.subTest(name):
                self.forget_settings()
                picker = self.start()
                self.assertEqual(self.processes(), [str(picker.program.process.pid)])
                self.assertFalse(self.is_shortcut_free())
                self.pick_to_the_end(picker, target, SMILE)

                quit_by(picker)

                self.assert_ends_cleanly(picker)
                self.assert_recorded(SMILE_KEY)

    def states_under_way(self):
        """What brings a picker into the middle of something, by what that is."""
        return {
            "the panel is open": lambda picker: picker.open(),
            "a search is under way": lambda picker: (picker.open(), self.desktop.press_now("r", "o")),
            "Return was pressed": lambda picker: (picker.open(), self.desktop.press_now("Return")),
            "a paste is under way": self.pick,
        }

    def test_whatever_is_under_way_stops_no_quit(self):
        target = self.start_target("gtk")
        for name, reach in self.states_under_way().items():
            with self.subTest(name):
                picker = self.start()
                reach(picker)

                picker.send(signal.SIGTERM)

                self.assert_ends_cleanly(picker)
                target.accept_text()

    def test_a_server_that_does_not_answer_stops_no_quit(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            silent.settimeout(20)
            self.use_address(f"http://127.0.0.1:{silent.getsockname()[1]}")
            picker = SeparatedPicker(self.desktop, self.picker_binary)
            connection, _ = silent.accept()
            with connection:
                picker.wait_for_line("[Glimmerwick] App launched")

                picker.send(signal.SIGTERM)

                self.assert_ends_cleanly(picker)

    def test_a_signal_at_any_moment_of_the_start_ends_it(self):
        began = time.monotonic()
        picker = self.start()
        whole_start = time.monotonic() - began
        picker.send(signal.SIGTERM)
        picker.wait_for_end()
        complaints = self.desktop.folder / "complaints"
        for number in range(STARTS):
            with complaints.open("wb") as file:
                process = subprocess.Popen([self.picker_binary], env=self.desktop.environment,
                                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=file)
            # The moments are spread over the start, and a little beyond.
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(timeout=whole_start * number / STARTS)
            process.terminate()

            self.assertIn(process.wait(timeout=20), (0, -signal.SIGTERM), f"moment {number}")
            self.assertEqual(complaints.read_text(encoding="utf-8"), "", f"moment {number}")

    def hold_clipboard_manager(self):
        """Stands in for a clipboard manager that does not answer. Returns whether it has been asked yet."""
        display = self.desktop.display
        window = self.desktop.root.create_window(0, 0, 1, 1, 0, Xlib.X.CopyFromParent)
        window.set_selection_owner(display.get_atom("CLIPBOARD_MANAGER"), Xlib.X.CurrentTime)
        display.sync()

        def is_asked():
            events = (display.next_event() for _ in range(display.pending_events()))
            return any([event.type == Xlib.X.SelectionRequest for event in events])
        return is_asked

    def start_with_the_clipboard(self, target):
        """A picker that owns the clipboard, so that it asks the clipboard manager to take it when it ends."""
        self.desktop.copy(COPIED)
        before = self.desktop.clipboard_owner
        picker = self.start()
        self.pick_to_the_end(picker, target, SMILE)
        picker.wait_for_line("TypeManager: Clipboard restored to: ")
        self.assertFalse(before.is_running())
        return picker

    def test_a_terminal_that_closes_cuts_no_shutdown_short(self):
        target = self.start_target("gtk")
        picker = self.start_with_the_clipboard(target)
        is_asked = self.hold_clipboard_manager()
        picker.send(signal.SIGTERM)
        wait_until(is_asked, "the clipboard manager is asked")

        picker.send(signal.SIGHUP, signal.SIGHUP)

        self.assert_ends_cleanly(picker)

    def test_the_same_signal_once_more_ends_it_at_once(self):
        target = self.start_target("gtk")
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number):
                picker = self.start_with_the_clipboard(target)
                is_asked = self.hold_clipboard_manager()
                picker.send(number)
                wait_until(is_asked, "the clipboard manager is asked")

                picker.send(number)

                self.assertEqual(picker.wait_for_end(), -number)
                self.assert_recorded(SMILE_KEY)

    # The display server

    def test_a_crash_of_the_display_server_ends_it_with_the_settings_saved(self):
        states = {"it is idle": lambda picker: None, **self.states_under_way()}
        for name, reach in states.items():
            with self.subTest(name):
                self.desktop = desktop_in(self.enterContext)
                target = self.start_target("gtk")
                picker = self.start()
                self.pick_to_the_end(picker, target, SMILE)
                reach(picker)

                self.desktop.crash("xvfb")

                self.assertEqual((picker.wait_for_end(), picker.complaints()), (1, DISPLAY_LOST))
                self.assertEqual(self.processes(), [])
                self.assert_recorded(SMILE_KEY)

    # The session

    def start_session_manager(self):
        manager = self.desktop.run("session-manager", sys.executable, HERE / "session_manager.py")
        ready = wait_until(lambda: [line for line in manager.lines() if line.startswith("ready ")],
                           "the session manager runs")
        addresses = ready[0].removeprefix("ready ")
        self.desktop.environment["SESSION_MANAGER"] = addresses
        for address in addresses.split(","):
            if address.startswith("unix/"):
                # A manager that is killed leaves it behind.
                self.addCleanup(pathlib.Path(address.partition(":")[2]).unlink, missing_ok=True)
        return manager

    def test_a_logout_ends_it_and_the_next_session_does_not_start_it_twice(self):
        target = self.start_target("gtk")
        manager = self.start_session_manager()
        picker = self.start()
        wait_until(lambda: "saved" in manager.lines(), "the session manager knows the picker")
        self.pick_to_the_end(picker, target, SMILE)
        picker.open()

        manager.process.send_signal(signal.SIGUSR1)

        self.assert_ends_cleanly(picker)
        self.assert_recorded(SMILE_KEY)
        wait_until(lambda: "closed" in manager.lines(), "the session manager has seen the end")
        self.assertEqual(manager.lines()[1:], ["registered", "restart: never", "saved", "restart: never", "saved",
                                               "closed"])

    def test_a_crash_of_the_session_manager_ends_it_with_the_settings_saved(self):
        target = self.start_target("gtk")
        manager = self.start_session_manager()
        picker = self.start()
        wait_until(lambda: "saved" in manager.lines(), "the session manager knows the picker")
        self.pick_to_the_end(picker, target, SMILE)

        self.desktop.crash("session-manager")

        self.assertEqual(picker.wait_for_end(), 1)
        self.assert_recorded(SMILE_KEY)

    def test_without_the_session_bus_it_goes_on(self):
        target = self.start_target("gtk")
        picker = self.start()

        self.desktop.crash("dbus-daemon")
        self.pick_to_the_end(picker, target, SMILE)
        picker.send(signal.SIGTERM)

        self.assertEqual((picker.wait_for_end(), picker.complaints()), (0, ""))
        self.assert_recorded(SMILE_KEY)

    # The settings

    def test_damaged_settings_are_kept_aside_and_the_rest_stays_in_use(self):
        damaged = f'[General]\nrecentEmojis="[\\"{ROCKET_KEY}\\"]"\nbroken="[\\"1f6\nwhat is this\n'
        self.settings().parent.mkdir(parents=True)
        self.settings().write_text(damaged, encoding="utf-8")
        aside = self.settings().with_name("Glimmerwick.ini.corrupt")
        target = self.start_target("gtk")

        picker = self.start()
        self.assertIn("RecentEmojisManager: Loaded 1 recent emojis from UserDefaults", picker.program.lines())
        self.pick_to_the_end(picker, target, ROCKET)
        _, browsing = picker.open()
        picker.search("grinning face", browsing)
        self.desktop.press("Return")
        target.wait_for_more(SMILE)
        picker.send(signal.SIGTERM)

        self.assertEqual(picker.wait_for_end(), 0)
        self.assertEqual(picker.complaints(), f"glimmerwick: the settings file {self.settings()} is damaged; it is "
                                              f"kept as {aside}, and what could be read stays in use\n")
        self.assertEqual(aside.read_text(encoding="utf-8"), damaged)
        self.assert_recorded(ROCKET_KEY, SMILE_KEY)

        again = self.start()
        self.assertIn("RecentEmojisManager: Loaded 2 recent emojis from UserDefaults", again.program.lines())
        again.send(signal.SIGTERM)
        self.assert_ends_cleanly(again)


if __name__ == "__main__":
    main()
