#!/usr/bin/python3
"""Picks under the conditions in which typing goes wrong easily: other keyboard layouts, keys that are still held,
applications that are slow or gone, and clipboards of every kind.

usage: conditions_test.py --picker BINARY --qt-target BINARY --picks N
"""

import contextlib
import os
import signal
import time

from desktop import USUAL_REPEAT, Picker, wait_until, wait_until_stable
from keyboard import Keyboard
from picking import COPIED, TARGETS, PickingTest
from targets import gtk_target, qt_target
from testcase import argument, main

COUNT = int(argument("picks"))
PICKER = argument("picker")
QT_TARGET = argument("qt-target")

LINE = "A line of a large text: äöü 漢字 🎈.\n"
LARGE = LINE * (10 * 1024 * 1024 // len(LINE.encode()) + 1)


class LayoutTest(PickingTest):
    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    # A letter that the layout does not have is named by the one in its place.
    paste_keys = ("ctrl+v", "ctrl+cyrillic_em", "ctrl+м", "shift+insert", "shift+ins")

    def setUp(self):
        self.desktop.copy(COPIED)
        self.addCleanup(self.desktop.use_layout, "us")

    def assert_picked_under(self, layout, picks, group=0):
        for target in self.each_target():
            self.desktop.use_layout(layout, group)
            self.assert_picked(target, picks(COUNT))

    def test_german(self):
        self.assert_picked_under("de", self.searched)

    def test_french(self):
        self.assert_picked_under("fr", self.searched)

    def test_dvorak(self):
        self.assert_picked_under("us(dvorak)", self.searched)

    def test_russian_alone(self):
        self.assert_picked_under("ru", self.recently_used)

    def test_russian_as_the_second_of_two(self):
        self.assert_picked_under("us,ru", self.recently_used, group=1)


class ClipboardTest(PickingTest):
    picker_binary = PICKER
    qt_target_binary = QT_TARGET

    def assert_emoji_stays(self, target, make_clipboard):
        for pick in self.searched(COUNT):
            make_clipboard()
            events = len(target.events())
            restores = self.picker.count_lines("TypeManager: No previous clipboard content to restore")

            self.begin(pick)
            self.press_return()

            target.wait_for_more(pick.emoji)
            self.assert_only_pasted(target, events)
            self.picker.wait_for_lines("TypeManager: No previous clipboard content to restore", restores + 1)
            self.assertEqual(self.desktop.clipboard(), pick.emoji)
            self.assertNotIn("image/png", self.desktop.clipboard_targets())

    def test_empty_clipboard_keeps_the_emoji(self):
        for target in self.each_target():
            self.assert_emoji_stays(target, self.desktop.empty_clipboard)

    def test_image_gives_way_to_the_emoji(self):
        for target in self.each_target():
            self.assert_emoji_stays(target, self.desktop.copy_image)

    def test_owner_that_ends_while_the_picker_is_open_leaves_nothing_to_restore(self):
        for target in self.each_target(("gtk", "qt", "xterm")):
            for pick in self.searched(COUNT):
                self.desktop.copy(COPIED)

                self.begin(pick)
                self.desktop.clipboard_owner.stop()
                self.press_return()

                target.wait_for_more(pick.emoji)
                self.assert_clipboard_becomes(pick.emoji)
            self.assert_nothing_more_comes(target)

    def test_owner_that_never_answers_delays_the_pick_and_loses_nothing_else(self):
        target = self.targets["gtk"]
        target.focus()
        for pick in self.searched(COUNT):
            self.desktop.copy(COPIED)
            events = len(target.events())

            self.begin(pick)
            with stopped(self.desktop.clipboard_owner.process.pid):
                self.press_return()
                target.wait_for_more(pick.emoji)
            self.assert_clipboard_becomes(pick.emoji)
            self.assert_only_pasted(target, events)

    def test_large_text_comes_back_whole(self):
        self.desktop.copy(LARGE)

        for target in self.each_target():
            self.assert_picked(target, self.searched(COUNT), copied=LARGE)


class TargetTest(PickingTest):
    picker_binary = PICKER
    qt_target_binary = QT_TARGET

    def setUp(self):
        self.desktop.copy(COPIED)
        self.keyboard = Keyboard(self.desktop)
        self.addCleanup(self.keyboard.close)

    def return_with_target_stopped_for(self, seconds, target):
        """So long from Return on, and until the clipboard's text is back at least: the target misses it all."""
        restores = self.picker.count_lines("TypeManager: Clipboard restored")
        with stopped(target.process()):
            self.press_return()
            end = time.monotonic() + seconds
            self.picker.wait_for_lines("TypeManager: Clipboard restored", restores + 1)
            wait_until(lambda: time.monotonic() > end, "the time is over")

    def assert_picked_while_stopped_for(self, seconds):
        for target in self.each_target():
            self.assert_picked(target, self.searched(COUNT),
                               finish=lambda: self.return_with_target_stopped_for(seconds, target))

    def test_target_that_stops_for_300_milliseconds(self):
        self.assert_picked_while_stopped_for(0.3)

    def test_target_that_stops_for_a_second(self):
        self.assert_picked_while_stopped_for(1)

    def test_return_held_down_types_one_emoji_and_no_line(self):
        self.desktop.call("xset", "r", "rate", 400, 50)
        self.addCleanup(self.desktop.call, "xset", "r", "rate", *USUAL_REPEAT)
        for target in self.each_target():
            self.assert_held_key_repeats(target)
            for pick in self.searched(COUNT):
                events = len(target.events())

                self.begin(pick)
                with self.desktop.held("Return"):
                    target.wait_for_more(pick.emoji)
                    # As long as some thirty repeats take.
                    text = wait_until_stable(target.text, "the target's text stays as it is", span=1)

                self.assertEqual(text, target.expected)
                self.assert_clipboard_becomes(COPIED)
                self.assert_only_pasted(target, events)

    def assert_held_key_repeats(self, target):
        before = target.text()
        with self.desktop.held("x"):
            wait_until(lambda: target.text().startswith(before + "xxx"), "a key that is held repeats")
        target.accept_text()

    def test_second_pick_at_once_finds_the_first_emoji_on_the_clipboard(self):
        """If it comes before the first has put the user's text back. On a slow machine it may not; then the text
        is as it was."""
        for target in self.each_target():
            overlaps = [self.pick_twice(target) for _ in range(COUNT)]
            print(f"{target.name}: {sum(overlaps)} of {COUNT} pairs overlapped", flush=True)
            self.assert_nothing_more_comes(target)

    def pick_twice(self, target):
        """Makes two picks at once; returns whether the second began before the first had restored."""
        self.desktop.copy(COPIED)
        start = len(self.picker.program.lines())
        pastes = self.picker.count_lines("TypeManager: simulatePaste returned")
        restores = self.picker.count_lines("TypeManager: Clipboard restored")
        second, first = self.recent[:2]

        self.desktop.press(Picker.SHORTCUT)
        self.desktop.press_now("Down", "Right", "Return")
        self.desktop.wait_for_no_panel()
        self.desktop.press(Picker.SHORTCUT)
        # While the first one's keys are being pressed, whatever the user presses goes to the application, too.
        self.picker.wait_for_lines("TypeManager: simulatePaste returned", pastes + 1)
        wait_until(self.picker.is_open, "the picker is open and has the keyboard")
        self.desktop.press_now("Down", "Right", "Return")

        target.wait_for_more(first + second)
        self.picker.wait_for_lines("TypeManager: Clipboard restored", restores + 2)
        steps = [line.split()[1] for line in self.picker.program.lines()[start:]
                 if line.startswith(("TypeManager: Saved", "TypeManager: Restoring"))]
        overlap = steps[:2] == ["Saved", "Saved"]
        self.assert_clipboard_becomes(first if overlap else COPIED)
        return overlap

    def test_target_that_closes_while_the_picker_is_open_gets_nothing_and_nobody_else(self):
        other = self.targets["qt"]
        # An application of either toolkit at least.
        for number, pick in enumerate(self.searched(max(COUNT, 2))):
            other.focus()
            name = f"glimmer-closing-{number}"
            target = gtk_target(self.desktop, name) if number % 2 else qt_target(self.desktop, QT_TARGET, name)
            before, events = other.text(), len(other.events())

            self.begin(pick)
            target.window.close()
            wait_until(lambda: self.desktop.active_window() == other.window, "the other window is active")
            # The keyboard that was lost with the window is the picker's again a moment later.
            wait_until(lambda: not self.keyboard.is_free(), "the picker has the keyboard")
            self.press_return()

            self.picker.wait_for_lines("TypeManager: Failed to type ", number + 1)
            self.assert_clipboard_becomes(COPIED)
            self.desktop.press("x")
            other.wait_for_text(before + "x")
            self.assertEqual(other.keys_since(events), ["x"])
        other.accept_text()

    def test_of_two_windows_the_one_in_front_at_the_start_gets_the_emoji(self):
        first = gtk_target(self.desktop, name="glimmer-two-windows")
        second = first.open_second_window()
        for pick in self.searched(COUNT):
            for target, other in ((first, second), (second, first)):
                target.focus()

                self.begin(pick)
                self.desktop.activate(other.window)
                self.press_return()

                target.wait_for_more(pick.emoji)
                self.assertEqual(other.text(), other.expected)
                self.assertEqual(self.desktop.active_window(), target.window)
                self.assert_clipboard_becomes(COPIED)


class HeldModifierTest(PickingTest):
    """With keys held on the keyboard itself, which the picker can release for others but not lift."""

    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = {"nested": True}

    def setUp(self):
        self.desktop.copy(COPIED)

    def assert_picked_while_holding(self, key):
        for target in self.each_target():
            for pick in self.searched(COUNT):
                events = len(target.events())

                self.begin(pick)
                with self.desktop.held_on_hardware(key):
                    self.desktop.hardware("key", "Return")
                    target.wait_for_more(pick.emoji)
                    self.assert_clipboard_becomes(COPIED)
                wait_until(self.desktop.keys_are_up, "no key stays pressed")

                self.assert_only_pasted(target, events)

    def test_shift(self):
        self.assert_picked_while_holding("Shift_L")

    def test_control(self):
        self.assert_picked_while_holding("Control_L")

    def test_super(self):
        self.assert_picked_while_holding("Super_L")

    def test_alt(self):
        self.assert_picked_while_holding("Alt_L")


@contextlib.contextmanager
def stopped(process):
    os.kill(process, signal.SIGSTOP)
    try:
        yield
    finally:
        os.kill(process, signal.SIGCONT)


if __name__ == "__main__":
    main()
