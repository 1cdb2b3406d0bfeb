#!/usr/bin/python3
"""What the program logs when it is launched without a network, line by line, and what its flags do.

usage: launch_test.py --picker BINARY --qt-target BINARY
"""

import os
import pathlib
import re
import subprocess

from testcase import EndToEndTest, argument, main

LAUNCH = [
    r"\[Glimmerwick\] App launched",
    r"\[OS VERSION\] Detected macOS \d+\.\d+\.\d+",
    r"RecentEmojisManager: Loaded 0 recent emojis from UserDefaults",
    r"EmojiGridViewController: No manifest available",
    r"\[Glimmerwick\] Sparkle updater initialized",
]
LOADED = [
    r"Network error, using cached manifest: Network error: .+",
    r"\[Glimmerwick\] Manifest loaded successfully",
    r"EmojiGridViewController: Loaded 9 categories",
    r"EmojiGridViewController: Loaded 1914 total emojis",
    r"EmojiGridViewController: Loaded 0 recent emojis",
    r"\[SearchManager\] Index built: 1914 emojis, \d+ words indexed in \d+\.\d\dms",
]


class LaunchTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def setUp(self):
        super().setUp()
        # Nothing listens on port 1 of this machine, so the load fails at once, whatever the network is like.
        keys = self.desktop.folder / "home" / ".config" / "Glimmerwick" / "secrets.txt"
        keys.parent.mkdir(parents=True)
        keys.write_text("# Offline on purpose.\nPRODUCTION_BASE_URL=https://127.0.0.1:1\n", encoding="utf-8")

    def assert_lines(self, lines, patterns):
        self.assertEqual(len(lines), len(patterns), "\n".join(lines))
        for line, pattern in zip(lines, patterns):
            self.assertRegex(line, f"^{pattern}$")

    def test_nothing_of_wayland_is_loaded(self):
        picker = self.start_picker()
        files = picker.loaded_files()
        self.assertIn("x11.so", files)
        self.assertNotIn("wayland.so", files)
        self.assertEqual([name for name in files if name.startswith("libwayland-")], [])

    def test_offline_launch_logs_each_step_in_order(self):
        picker = self.start_picker()

        self.assert_lines(picker.program.lines(), LAUNCH + LOADED)

    def test_second_launch_uses_the_cache_and_the_stored_recents(self):
        target = self.start_target("gtk")
        first = self.start_picker()
        first.open()
        self.desktop.press("Return")
        target.wait_for_text("😀")
        first.wait_for_line("TypeManager: No previous clipboard content to restore")
        first.program.stop()

        second = self.start_picker()

        lines = second.program.lines()
        self.assertIn("RecentEmojisManager: Loaded 1 recent emojis from UserDefaults", lines)
        self.assertIn("EmojiGridViewController: Loaded 1 recent emojis", lines)

    def test_show_picker_opens_it_and_types_into_the_application_in_front(self):
        target = self.start_target("gtk")
        picker = self.start_picker("--show-picker")

        picker.wait_for_line("[Glimmerwick] Showing picker due to --show-picker argument")
        self.desktop.wait_for_panel()
        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        target.wait_for_text("😀")

    def test_target_app_is_typed_into_whatever_is_in_front(self):
        chosen = self.start_target("qt")
        other = self.start_target("gtk")
        identifier = self.window_class(chosen)
        picker = self.start_picker("--target-app", identifier)

        picker.wait_for_line(f"[Glimmerwick] Setting target app to: {identifier}")
        picker.wait_for_line("[TypeManager] Target app set to: ")
        _, browsing = picker.open()
        picker.search("rocket", browsing)
        self.desktop.press("Return")

        chosen.wait_for_text("🚀")
        self.assertEqual(other.text(), "")

    def test_target_app_that_does_not_run_is_warned_about_and_the_one_in_front_is_used(self):
        target = self.start_target("gtk")
        picker = self.start_picker("--target-app", "org.example.Nowhere")

        picker.wait_for_line(
            "[TypeManager] Warning: Could not find running app with bundle ID: org.example.Nowhere")
        picker.open()
        self.desktop.press("Return")

        target.wait_for_text("😀")

    def test_target_app_without_an_identifier_is_ignored(self):
        picker = self.start_picker("--target-app")

        self.assert_lines(picker.program.lines(), LAUNCH + LOADED)

    def test_without_the_event_tap_keys_arrive_by_focus(self):
        target = self.start_target("gtk")
        picker = self.start_picker("--disable-event-tap")

        _, browsing = picker.open()
        picker.wait_for_line("[Glimmerwick] Skipping CGEventTap due to --disable-event-tap argument")
        picker.search("rocket", browsing)
        self.desktop.press("Return")

        target.wait_for_text("🚀")

    def test_closed_standard_output_stops_nothing(self):
        target = self.start_target("gtk")
        deafened = 'exec "$0" --show-picker >&-'
        program = self.desktop.run("unheard", "/bin/sh", "-c", deafened, self.picker_binary)

        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        target.wait_for_text("😀")
        self.assertTrue(program.is_running())

    def test_reader_of_the_log_that_ends_stops_nothing(self):
        target = self.start_target("gtk")
        soon_alone = 'exec "$0" --show-picker > >(head -n 1)'
        self.desktop.run("barely-heard", "/bin/bash", "-c", soon_alone, self.picker_binary)

        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        target.wait_for_text("😀")

    def test_reader_of_standard_error_that_ends_stops_nothing(self):
        target = self.start_target("gtk")
        settings = self.desktop.folder / "home" / ".config" / "Glimmerwick" / "Glimmerwick.ini"
        settings.write_bytes(b"\x00 damaged, so that there is something to complain about \xff")
        soon_alone = 'exec "$0" --show-picker 2> >(exec true)'
        self.desktop.run("unheeded", "/bin/bash", "-c", soon_alone, self.picker_binary)

        self.desktop.wait_for_settled_grid()
        self.desktop.press("Return")

        target.wait_for_text("😀")

    def test_fresh_cache_is_used_without_asking_the_network(self):
        self.start_picker().program.stop()
        (self.desktop.folder / "home" / ".cache" / "Glimmerwick" / "manifest.json").touch()

        picker = self.start_picker()

        self.assert_lines(picker.program.lines(), LAUNCH + LOADED[1:])

    def test_without_a_display_it_says_so_and_ends(self):
        # What is known of libraries is in these.
        sanitizers = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        for display in ({}, {"DISPLAY": ":987"}):
            ended = self.run_picker({**sanitizers, **display})

            self.assertEqual(ended.returncode, 1)
            self.assertEqual(ended.stdout, "")
            self.assertRegex(ended.stderr, "^glimmerwick: cannot reach an X11 display")

    def test_on_another_window_system_it_says_so_and_ends(self):
        ended = self.run_picker(dict(self.desktop.environment, QT_QPA_PLATFORM="offscreen"))

        self.assertEqual(ended.returncode, 1)
        self.assertIn("names another window system than xcb", ended.stderr)

    def test_display_may_be_named_on_the_command_line(self):
        target = self.start_target("gtk")
        display = self.desktop.environment["DISPLAY"]
        self.desktop.run("glimmerwick", "env", "--unset=DISPLAY", pathlib.Path(self.picker_binary).resolve(),
                         "-display", display, "--show-picker")
        self.desktop.wait_for_settled_grid()

        self.desktop.press("Return")

        target.wait_for_text("😀")

    def run_picker(self, environment):
        return subprocess.run([self.picker_binary], env=environment, capture_output=True, text=True, timeout=20)

    def window_class(self, target):
        output = self.desktop.call("xprop", "-id", target.window.identifier, "WM_CLASS")
        return re.findall(r'"([^"]+)"', output)[1]


if __name__ == "__main__":
    main()
