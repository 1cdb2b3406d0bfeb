#!/usr/bin/python3
"""One picker per session: what further starts do, and what other programs can ask of it on the session bus.

usage: single_instance_test.py --picker BINARY --qt-target BINARY --packaging FOLDER
"""

import configparser
import contextlib
import json
import pathlib
import re
import shlex
import signal
import subprocess
import xml.etree.ElementTree

import Xlib.X
import Xlib.XK

from desktop import PANEL_HEAD, DesktopError, Picker, wait_until
from testcase import EndToEndTest, argument, main

HERE = pathlib.Path(__file__).resolve().parent
NAME = "com.glimmerwick.Glimmerwick"
OBJECT = "/com/glimmerwick/Glimmerwick"
ADDRESSEE = ("--session", "--dest", NAME, "--object-path", OBJECT)
INTERFACES = ("org.freedesktop.Application", "com.glimmerwick.Picker1", "com.glimmerwick.TypeManager",
              "com.glimmerwick.ClipboardManager")
# Longer than the time for which a further start waits for an answer.
LONG = 60


class SingleInstanceTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")
    packaging = pathlib.Path(argument("packaging"))

    # What others do

    def start_again(self, *flags, **environment):
        """A further start, which is to end by itself."""
        return subprocess.run([self.picker_binary, *flags], env={**self.desktop.environment, **environment},
                              capture_output=True, text=True, timeout=LONG, check=False)

    def assert_handed_over(self, ended):
        self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "", ""))

    def call(self, method, *arguments):
        return self.desktop.call("gdbus", "call", *ADDRESSEE, "--method", method, *arguments)

    def action(self, name):
        self.call("org.freedesktop.Application.ActivateAction", name, "[]", "{}")

    def property(self, name):
        answer = self.call("org.freedesktop.DBus.Properties.Get", "com.glimmerwick.Picker1", name)
        return re.search("<(.*)>", answer)[1]

    def owner(self):
        """The process that has the picker's name on the bus, or None."""
        with contextlib.suppress(DesktopError):
            answer = self.desktop.call(
                "gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
                "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.GetConnectionUnixProcessID", NAME)
            return int(re.search(r"uint32 (\d+)", answer)[1])
        return None

    def wait_until_ready(self):
        def ready():
            with contextlib.suppress(DesktopError):
                return self.property("Ready") == "true"
            return False
        wait_until(ready, "the picker says on the bus that it is ready")

    def watch_signals(self):
        monitor = self.desktop.run("monitor", "gdbus", "monitor", "--session", "--dest", NAME)
        wait_until(lambda: "is owned by" in monitor.text(), "the monitor watches the picker")
        return monitor

    def with_tested_binary(self, text):
        """A text that names the installed program once, with the program under test in its place."""
        replaced, count = re.subn("'[^']*/glimmerwick'", f"'{pathlib.Path(self.picker_binary).resolve()}'", text)
        self.assertEqual(count, 1)
        return replaced

    def hold_shortcut(self):
        """Has another client take the shortcut first."""
        root, display = self.desktop.root, self.desktop.display
        key = display.keysym_to_keycode(Xlib.XK.string_to_keysym("space"))
        root.grab_key(key, Xlib.X.ControlMask | Xlib.X.Mod4Mask, False, Xlib.X.GrabModeAsync, Xlib.X.GrabModeAsync)
        display.sync()

    def wait_for_end(self, picker):
        wait_until(lambda: not picker.program.is_running(), "the picker has ended")
        return picker.program.process.returncode

    # Further starts

    def test_second_start_shows_the_picker_of_the_first_and_ends(self):
        picker = self.start_picker()

        self.assert_handed_over(self.start_again())

        self.desktop.wait_for_panel()
        self.assertTrue(picker.program.is_running())
        self.assertEqual(self.owner(), picker.program.process.pid)

    def test_second_start_toggles_and_needs_no_display(self):
        picker = self.start_picker()
        target = self.start_target("gtk")

        self.assert_handed_over(self.start_again("--toggle", DISPLAY=""))
        self.desktop.wait_for_panel()
        self.assert_handed_over(self.start_again("--toggle", DISPLAY=""))
        self.desktop.wait_for_no_panel()
        self.assert_handed_over(self.start_again("--toggle"))
        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        target.wait_for_text("😀")
        self.assertTrue(picker.program.is_running())

    def test_show_picker_and_target_app_of_a_second_start_mean_what_they_mean_at_launch(self):
        picker = self.start_picker()
        chosen = self.start_target("qt")
        other = self.start_target("gtk")
        output = self.desktop.call("xprop", "-id", chosen.window.identifier, "WM_CLASS")
        identifier = re.findall(r'"([^"]+)"', output)[1]

        self.assert_handed_over(self.start_again("--target-app", identifier))
        picker.wait_for_line(f"[Glimmerwick] Setting target app to: {identifier}")
        self.assertEqual(self.property("Visible"), "false")
        self.assert_handed_over(self.start_again("--show-picker"))
        picker.wait_for_line("[Glimmerwick] Showing picker due to --show-picker argument")
        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        chosen.wait_for_text("😀")
        self.assertEqual(other.text(), "")

    def test_toggle_as_the_first_start_shows_the_picker(self):
        target = self.start_target("gtk")
        self.start_picker("--toggle")

        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        target.wait_for_text("😀")

    def test_starts_at_the_same_moment_give_one_process(self):
        starts = [self.desktop.run(f"start-{number}", self.picker_binary) for number in range(4)]

        wait_until(lambda: sum(start.is_running() for start in starts) == 1, "all but one have ended")
        self.wait_until_ready()
        running = [start for start in starts if start.is_running()]

        self.assertEqual([start.process.pid for start in running], [self.owner()])
        for start in starts:
            if start not in running:
                self.assertEqual((start.process.returncode, start.text()), (0, ""))

    def test_start_after_a_killed_one_is_a_first_start(self):
        killed = self.start_picker()
        killed.open()
        killed.program.process.send_signal(signal.SIGKILL)
        self.wait_for_end(killed)

        picker = self.start_picker()

        self.assertEqual(self.owner(), picker.program.process.pid)
        picker.open()

    def test_second_start_beside_one_that_does_not_answer_says_so_and_ends(self):
        picker = self.start_picker()
        picker.program.process.send_signal(signal.SIGSTOP)
        self.addCleanup(picker.program.process.send_signal, signal.SIGCONT)

        ended = self.start_again("--toggle")

        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        self.assertRegex(ended.stderr, "^glimmerwick: the picker that runs already does not answer\n$")
        self.assertEqual(self.owner(), picker.program.process.pid)

    def test_wrong_command_lines_are_refused_with_a_hint(self):
        for flags in (["--bogus"], ["--toggle", "now"], ["-style"]):
            ended = self.start_again(*flags)

            self.assertEqual((ended.returncode, ended.stdout), (2, ""))
            self.assertRegex(ended.stderr, "^glimmerwick: .*\nTry 'glimmerwick --help'.\n$")
        self.assertIsNone(self.owner())

    def test_a_problem_is_one_line_whatever_is_in_it(self):
        ended = self.start_again("--two\nlines\x1b[31m")

        self.assertEqual(ended.stderr, "glimmerwick: unknown option '--two\\nlines\\u{1b}[31m'\n"
                                       "Try 'glimmerwick --help'.\n")

    def test_help_and_version_go_to_standard_output_and_start_nothing(self):
        for flag, text in (("--help", "^Usage: glimmerwick "), ("--version", r"^Glimmerwick \d+\.\d+\.\d+\n$")):
            ended = self.start_again(flag)

            self.assertEqual((ended.returncode, ended.stderr), (0, ""))
            self.assertRegex(ended.stdout, text)
        self.assertIsNone(self.owner())

    def test_options_of_the_toolkit_are_let_through(self):
        self.start_picker("-style", "fusion", "--platform", "xcb", "--target-app", "-platform").open()

    def test_without_a_session_bus_the_picker_works_and_says_so_once(self):
        target = self.start_target("gtk")
        self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nowhere"
        picker = self.start_picker()

        picker.open()
        self.desktop.press("Return")

        target.wait_for_text("😀")
        complaints = [line for line in picker.program.lines() if "session bus" in line]
        self.assertEqual(len(complaints), 1, complaints)
        self.assertRegex(complaints[0], "^glimmerwick: no session bus")

    def test_picker_outlives_the_session_bus(self):
        target = self.start_target("gtk")
        picker = self.start_picker()
        bus = next(program for program in self.desktop.programs if program.name == "dbus-daemon")
        bus.stop()

        picker.open()
        self.desktop.press("Return")

        target.wait_for_text("😀")

    # What other programs ask

    def test_everything_offered_is_introspectable_and_documented(self):
        self.start_picker()
        documentation = (HERE.parents[1] / "docs" / "dbus.md").read_text(encoding="utf-8")

        node = xml.etree.ElementTree.fromstring(self.desktop.call("gdbus", "introspect", "--xml", *ADDRESSEE))
        offered = {interface.get("name"): [member.get("name") for member in interface if member.tag != "annotation"]
                   for interface in node.iter("interface")}

        self.assertLessEqual(set(INTERFACES), set(offered))
        for interface in INTERFACES:
            self.assertTrue(offered[interface], interface)
            for name in (interface, *offered[interface]):
                self.assertIn(f'name="{name}"', documentation)

    def test_actions_of_the_application_interface(self):
        picker = self.start_picker()
        self.wait_until_ready()

        self.call("org.freedesktop.Application.Activate", "{}")
        self.assertEqual(self.property("Visible"), "true")
        self.desktop.wait_for_panel()
        for action, visible in (("toggle", "false"), ("show", "true"), ("show", "true"), ("hide", "false"),
                                ("hide", "false"), ("toggle", "true"), ("check-for-updates", "true")):
            self.action(action)
            self.assertEqual(self.property("Visible"), visible, action)
        self.assertTrue(picker.program.is_running())

    def test_wrong_calls_get_an_error_and_change_nothing(self):
        picker = self.start_picker()

        for call in (("org.freedesktop.Application.ActivateAction", "explode", "[]", "{}"),
                     ("org.freedesktop.Application.ActivateAction", "show", "[<1>]", "{}"),
                     ("org.freedesktop.Application.Open", "['file:///a']", "{}"),
                     ("com.glimmerwick.Picker1.HandleArguments", "['--bogus']"),
                     ("com.glimmerwick.Picker1.HandleArguments", "['--help']"),
                     ("org.freedesktop.DBus.Properties.Set", "com.glimmerwick.Picker1", "Ready", "<false>")):
            with self.assertRaisesRegex(DesktopError, r"org\.freedesktop\.DBus\.Error\."):
                self.call(*call)
        self.assertEqual(self.property("Visible"), "false")
        self.assertEqual(self.property("Ready"), "true")
        self.assertTrue(picker.program.is_running())

    def test_signals_tell_how_a_pick_and_a_copy_go(self):
        target = self.start_target("gtk")
        picker = self.start_picker()
        monitor = self.watch_signals()
        emoji = "('😀', '1f600', 'grinning face')"

        picker.open()
        self.desktop.press("Return")
        target.wait_for_text("😀")
        wait_until(lambda: "didTypeEmoji" in monitor.text(), "the end of the pick is announced")
        panel, _ = picker.open()
        x, y, _, _ = panel.geometry()
        self.desktop.move_pointer(x + 8 + 20, y + PANEL_HEAD + 28 + 8 + 20)
        with self.desktop.held("alt"):
            self.desktop.click()
        wait_until(lambda: "emojiCopied" in monitor.text(), "the copy is announced")

        self.assertEqual(
            [line for line in monitor.lines() if "com.glimmerwick.Picker1'" not in line and OBJECT in line],
            [f"{OBJECT}: com.glimmerwick.TypeManager.willTypeEmoji {emoji}",
             f"{OBJECT}: com.glimmerwick.TypeManager.didTypeEmoji {emoji}",
             f"{OBJECT}: com.glimmerwick.ClipboardManager.emojiCopied {emoji}"])
        wait_until(lambda: monitor.text().count("'Visible': <false>") == 2, "both times the hiding is announced")
        self.assertEqual(monitor.text().count("'Visible': <true>"), 2)

    def test_quit_ends_it_and_the_clipboard_stays(self):
        self.desktop.run("clipman", "xfce4-clipman")
        manager = self.desktop.display.get_atom("CLIPBOARD_MANAGER")
        wait_until(lambda: self.desktop.display.get_selection_owner(manager) != Xlib.X.NONE, "Clipman runs")
        self.desktop.copy("what the user had copied")
        target = self.start_target("gtk")
        picker = self.start_picker()
        picker.open()
        self.desktop.press("Return")
        target.wait_for_text("😀")
        picker.wait_for_line("TypeManager: Clipboard restored to: ")

        self.action("quit")

        self.assertEqual(self.wait_for_end(picker), 0)
        wait_until(lambda: self.desktop.clipboard() == "what the user had copied", "the clipboard holds it still")
        wait_until(lambda: self.owner() is None, "the name is free")

    def test_bus_starts_the_picker_that_is_asked_for(self):
        services = pathlib.Path(self.desktop.environment["XDG_DATA_HOME"]) / "dbus-1" / "services"
        services.mkdir(parents=True)
        installed = (self.packaging / f"{NAME}.service").read_text(encoding="utf-8")
        (services / f"{NAME}.service").write_text(self.with_tested_binary(installed), encoding="utf-8")
        self.desktop.call("gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
                          "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.ReloadConfig")

        self.call("org.freedesktop.Application.Activate", "{}")
        self.addCleanup(self.action, "quit")

        self.desktop.wait_for_panel()
        self.wait_until_ready()

    def test_commands_of_the_desktop_file_do_what_they_say(self):
        picker = self.start_picker()
        entries = configparser.ConfigParser(interpolation=None)
        entries.optionxform = str
        entries.read(self.packaging / f"{NAME}.desktop", encoding="utf-8")
        actions = entries["Desktop Entry"]["Actions"].strip(";").split(";")
        self.assertEqual(actions, ["toggle", "about", "check-for-updates", "quit"])
        commands = [entries[f"Desktop Action {action}"]["Exec"] for action in actions]

        self.desktop.call(*shlex.split(self.with_tested_binary(commands[0])))
        self.desktop.wait_for_panel()
        self.desktop.call(*shlex.split(commands[1]))
        about = self.desktop.wait_until_active(NAME)
        self.desktop.call(*shlex.split(commands[2]))
        self.desktop.wait_until_active(NAME, other_than=[about])
        self.desktop.call(*shlex.split(commands[3]))

        # Windows that are open do not stand in the way.
        self.assertEqual(self.wait_for_end(picker), 0)

    # When the shortcut is taken

    def test_taken_shortcut_is_told_once_and_the_other_way_in_works(self):
        service = self.desktop.run("notifications", "/usr/bin/python3", HERE / "notification_service.py")
        wait_until(lambda: "ready" in service.lines(), "the notification service runs")
        self.hold_shortcut()
        target = self.start_target("gtk")
        picker = self.start_picker()

        wait_until(lambda: len(service.lines()) > 1, "a notice is posted")
        self.assert_handed_over(self.start_again("--toggle"))
        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")
        target.wait_for_text("😀")

        notices = [json.loads(line) for line in service.lines()[1:]]
        self.assertEqual(len(notices), 1)
        self.assertIn("glimmerwick --toggle", notices[0]["body"])
        complaints = [line for line in picker.program.lines() if "has taken the shortcut" in line]
        self.assertEqual(complaints, ["glimmerwick: another program has taken the shortcut"])

    def test_taken_shortcut_without_a_notification_service_stops_nothing(self):
        self.hold_shortcut()
        target = self.start_target("gtk")
        picker = Picker(self.desktop, self.picker_binary)
        picker.wait_until_ready()

        self.assert_handed_over(self.start_again("--toggle"))
        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        target.wait_for_text("😀")


if __name__ == "__main__":
    main()
