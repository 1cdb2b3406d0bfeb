#!/usr/bin/python3
"""Keys while the picker is open: they all reach it, in order and whole, and the application notices nothing.

usage: keys_test.py --picker BINARY --qt-target BINARY --window-manager openbox|xfwm4
"""

import signal

from desktop import wait_until, wait_until_stable
from keyboard import SHORTCUT
from keys_testcase import NOTHING_COPIED, KeysTestCase
from targets import gtk_target
from testcase import argument, main

PICKER = argument("picker")
QT_TARGET = argument("qt-target")
DESKTOP = {"window_manager": argument("window-manager")}

# Two hundred characters, all that a US keyboard has, none of them a space at an end.
FAST_TEXT = "".join(chr(code) for code in range(0x20, 0x7F)).strip() * 2 + "The Quick (Brown)"[:12]
LINES = "".join(f"line {number}\n" for number in range(60))


class TypingTest(KeysTestCase):
    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    def assert_all_arrive(self, target):
        self.keyboard.press("Control", "End")
        wait_until_stable(target.view, "the caret is at the end")
        self.open()
        events, text = target.events(), target.text()

        self.keyboard.type(FAST_TEXT)
        self.assert_field_shows(FAST_TEXT)

        self.assertEqual(target.events(), events, "neither a key nor a focus event reaches the application")
        self.close()
        self.assert_types_into(target)
        self.assertEqual(target.text(), text + "x")
        self.assertEqual(target.keys_since(len(events)), ["x"])
        self.assertNotIn("focus-out", target.events()[len(events):])

    def test_two_hundred_characters_at_once(self):
        self.assertEqual(len(FAST_TEXT), 200)
        for name in ("gtk", "qt"):
            with self.subTest(name):
                self.assert_all_arrive(self.focused_target(name))

    def test_two_hundred_characters_right_behind_the_shortcut(self):
        for name in ("gtk", "qt"):
            with self.subTest(name):
                target = self.focused_target(name)
                events, text = len(target.events()), target.text()
                self.desktop.copy(NOTHING_COPIED)

                self.keyboard.press(*SHORTCUT)
                self.keyboard.type(FAST_TEXT)
                self.desktop.wait_for_panel()
                self.assert_field_shows(FAST_TEXT)
                self.close()

                self.assertEqual(target.text(), text)
                self.assertEqual(target.keys_since(events), [])

    def test_the_applications_caret_selection_and_scroll_stay(self):
        for name in ("gtk", "qt"):
            with self.subTest(name):
                target = self.focused_target(name)
                self.desktop.copy(LINES)
                self.keyboard.press("Control", "v")
                wait_until(lambda: LINES in target.text(), "the application has many lines")
                self.keyboard.press_in_turn(*["Up"] * 30, *[("Shift", "Left")] * 3, *[("Shift", "Down")] * 2)
                view = wait_until_stable(target.view, "the application stands still")
                caret, anchor, scroll = view
                self.assertNotEqual(caret, anchor)
                self.assertNotEqual(scroll, 0)

                self.open()
                self.keyboard.type("heart")
                results = self.desktop.wait_for_settled_grid()
                self.keyboard.press_in_turn("Down", "Right", "Tab", "Tab")
                self.desktop.wait_for_settled_grid(other_than=results)
                self.assertEqual(target.view(), view)
                self.close()
                self.assertEqual(target.view(), view)
                self.open()
                self.keyboard.type("heart")
                self.assert_field_shows("heart")
                self.close()
                self.assertEqual(target.view(), view)

                self.keyboard.press("Control", "End")


class EditingTest(KeysTestCase):
    """The search field is edited by the keys that edit elsewhere."""

    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    def setUp(self):
        super().setUp()
        self.target = self.focused_target("gtk")
        self.before = self.target.text()
        self.events = len(self.target.events())

    def tearDown(self):
        self.assertEqual(self.target.text(), self.before, "the application gets nothing of it")
        self.assertEqual(self.target.keys_since(self.events), [])

    def test_edits_keep_their_place_among_what_is_typed(self):
        self.open()

        # Faster than the picker draws.
        self.keyboard.press_in_turn(*"one", "space", *"two", ("Control", "BackSpace"), *"three",
                                    ("Control", "a"), ("Control", "x"), *"four", ("Control", "v"))

        self.assert_field_shows("fourone three")

    def test_select_all_copy_cut_paste_and_undo(self):
        self.open()

        self.keyboard.type("rocket")
        self.assert_field_shows("rocket")
        self.keyboard.type("moon")
        self.assert_field_shows("moon")
        self.keyboard.press("Control", "x")
        self.keyboard.press_in_turn(*"a", ("Control", "v"), ("Control", "v"))
        self.assert_field_shows("amoonmoon")
        self.keyboard.press("Control", "z")
        self.assert_field_shows("amoon")

    def test_control_and_alt_with_backspace_delete_a_word(self):
        for modifier in ("Control", "Alt"):
            with self.subTest(modifier):
                self.open()
                self.keyboard.type("one two three")
                self.keyboard.press(modifier, "BackSpace")
                self.assert_field_shows("one two ")
                self.close()

    def test_backspace_deletes_a_character_wherever_the_focus_is(self):
        self.open()
        self.keyboard.press_in_turn(*"abcd", "BackSpace", "Down", "BackSpace", ("Shift", "BackSpace"), "e")

        self.assert_field_shows("ae")

    def test_chords_of_super_and_function_keys_go_nowhere(self):
        self.open()
        for key in "avqxe":
            self.keyboard.press("Super", key)
            self.keyboard.press("Control", "Super", key)
        self.keyboard.press("Super", "space")
        self.keyboard.press("Control", "space")
        self.keyboard.press("a")

        self.assert_field_shows("a")

    def test_shift_and_alt_type_what_the_layout_makes_of_them(self):
        self.open()
        self.keyboard.press("Shift", "a")
        self.keyboard.press("Alt", "b")

        self.assert_field_shows("Ab")

    def test_the_shortcut_closes(self):
        self.open()
        self.keyboard.type("abc")
        self.keyboard.press(*SHORTCUT)
        self.desktop.wait_for_no_panel()


class QuittingTest(KeysTestCase):
    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    def test_control_q_quits_and_leaves_the_keyboard_alone(self):
        target = self.focused_target("gtk")
        self.open()

        self.keyboard.press("Control", "q")

        wait_until(lambda: not self.picker.program.is_running(), "the picker has quit")
        self.assertEqual(self.picker.program.process.returncode, 0)
        self.assertEqual(target.text(), "")
        self.assert_types_into(target)

    def test_killed_while_open_it_leaves_nothing_behind(self):
        target = self.focused_target("gtk")
        self.picker.program.stop()
        picker = self.start_picker()
        self.open()
        self.keyboard.type("abc")
        self.assert_field_shows("abc")
        self.assertFalse(self.keyboard.grab(), "the picker has the keyboard")

        picker.program.process.kill()
        picker.program.process.wait()

        wait_until(self.keyboard.grab, "another client can have the keyboard")
        self.keyboard.release()
        self.assertTrue(self.keyboard.are_up())
        self.assert_types_into(target)
        self.start_picker()
        self.open()
        self.keyboard.type("abc")
        self.assert_field_shows("abc")


class FocusTest(KeysTestCase):
    """Without taking keys from everybody, everything works by the focus alone."""

    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP
    picker_flags = ("--disable-event-tap",)

    def setUp(self):
        super().setUp()
        self.target = self.focused_target("gtk")
        self.before = self.target.text()

    def open(self):
        panel = super().open()
        wait_until(lambda: self.keyboard.focus() == panel.identifier, "the panel has the focus")
        return panel

    def assert_typed(self, emoji):
        self.target.wait_for_text(self.before + emoji)
        self.desktop.wait_for_no_panel()
        wait_until(lambda: self.desktop.active_window() == self.target.window,
                   "the application is active again")

    def test_focus_that_moves_away_comes_back_by_a_click_and_keys_close_it_meanwhile(self):
        other = self.focused_target("qt")
        self.target.focus()
        for close in (lambda: self.keyboard.press("Escape"), self.click_panel_and_close):
            self.open()
            self.desktop.activate(other.window)

            close()

            self.desktop.wait_for_no_panel()
        self.assert_types_into(other)

    def test_a_key_right_behind_the_focus_closes_it_however_late_the_picker_notices(self):
        other = self.focused_target("qt")
        self.target.focus()
        self.open()
        picker = self.picker.program.process
        self.addCleanup(picker.send_signal, signal.SIGCONT)
        picker.send_signal(signal.SIGSTOP)
        self.desktop.activate(other.window)
        self.keyboard.press("Escape")

        picker.send_signal(signal.SIGCONT)

        self.desktop.wait_for_no_panel()
        self.assert_types_into(other)

    def click_panel_and_close(self):
        panel = self.desktop.panel()
        x, y, width, _ = panel.geometry()
        self.desktop.move_pointer(x + width // 2, y + 4)
        self.desktop.click()
        wait_until(lambda: self.keyboard.focus() == panel.identifier, "the panel has the focus again")
        self.keyboard.type("rocket")
        self.assert_field_shows("rocket")
        self.keyboard.press("Escape")

    def test_typing_and_editing(self):
        self.open()
        self.keyboard.type(FAST_TEXT)
        self.assert_field_shows(FAST_TEXT)
        self.keyboard.press_in_turn(*"one", "space", *"two", ("Control", "BackSpace"), *"three", "BackSpace")
        self.assert_field_shows("one thre")
        self.close()
        self.assertEqual(self.target.text(), self.before)

    def test_return_picks_what_was_searched(self):
        self.open()
        self.keyboard.type("rocket")
        self.keyboard.press("Return")
        self.assert_typed("🚀")

    def picked_with(self, *keys):
        self.open()
        self.keyboard.type("moon")
        self.desktop.wait_for_settled_grid()
        self.keyboard.press_in_turn(*keys)
        self.desktop.wait_for_no_panel()
        wait_until(lambda: self.target.text() != self.before, "the application gets an emoji")
        before, self.before = self.before, self.target.text()
        return self.before.removeprefix(before)

    def test_arrows_and_tab_choose(self):
        first = self.picked_with("Return")
        second = self.picked_with("Down", "Right", "Return")

        self.assertNotEqual(second, first)
        self.assertEqual(self.picked_with("Down", "Right", "Left", "Return"), first)
        # To the field and back, by the keyboard alone, with what was chosen.
        self.assertEqual(self.picked_with("Down", "Right", "Tab", "Tab", "Return"), second)

    def test_alt_return_offers_the_tones(self):
        self.open()
        self.keyboard.type("thumbs up")
        results = self.desktop.wait_for_settled_grid()
        self.keyboard.press("Down")
        selected = self.desktop.wait_for_settled_grid(other_than=results)
        self.keyboard.press("Alt", "Return")
        self.desktop.wait_for_settled_grid(other_than=selected)
        self.keyboard.press_in_turn("Right", "Right", "Return")
        self.assert_typed("👍🏼")

    def test_escape_and_the_shortcut_close_and_the_application_goes_on(self):
        self.open()
        self.close()
        self.assert_types_into(self.target)
        self.open()
        self.keyboard.press(*SHORTCUT)
        self.desktop.wait_for_no_panel()
        self.assert_types_into(self.target, "y")

    def test_a_click_outside_closes(self):
        self.open()
        x, y, _, height = self.target.window.geometry()
        self.desktop.move_pointer(x + 20, y + height - 20)
        self.desktop.click()
        self.desktop.wait_for_no_panel()
        self.assert_types_into(self.target)
        self.desktop.move_pointer(640, 200)


class ClickTest(KeysTestCase):
    """A click outside closes the picker and still does what it does anywhere else."""

    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    def assert_click_closes_and_arrives(self, target, button):
        self.desktop.move_pointer(640, 200)
        self.open()
        events = len(target.events())
        x, y, _, height = target.window.geometry()
        windows = len(self.desktop.visible_windows(target.name))
        self.desktop.move_pointer(x + 20, y + height - 20)

        self.desktop.call("xdotool", "click", button)

        self.desktop.wait_for_no_panel()
        wait_until(lambda: target.buttons_since(events) == [f"button {button}"],
                   "the application gets the click")
        if button == 3:
            wait_until(lambda: len(self.desktop.visible_windows(target.name)) > windows, "its menu is there")
            self.keyboard.press("Escape")
            wait_until(self.keyboard.is_free, "the menu is closed")
        self.assert_types_into(target)

    def test_left_and_right_button(self):
        for name in ("gtk", "qt"):
            for button in (1, 3):
                with self.subTest(name, button=button):
                    self.assert_click_closes_and_arrives(self.focused_target(name), button)

    def test_other_buttons_and_clicks_inside_keep_it_open(self):
        target = self.focused_target("gtk")
        self.desktop.move_pointer(640, 200)
        panel = self.open()
        x, y, width, _ = panel.geometry()
        wx, wy, _, wheight = target.window.geometry()
        self.desktop.move_pointer(x + width // 2, y + 4)
        self.desktop.click()
        self.desktop.move_pointer(wx + 20, wy + wheight - 20)
        for button in (2, 4, 5):
            self.desktop.call("xdotool", "click", button)
        self.keyboard.type("abc")

        self.assert_field_shows("abc")
        self.assertTrue(panel.is_visible())


class BusyKeyboardTest(KeysTestCase):
    """The picker opens while another client has the keyboard, as a menu has."""

    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    def setUp(self):
        super().setUp()
        self.target = self.focused_target("gtk")
        self.desktop.copy(NOTHING_COPIED)
        self.picker.program.stop()
        self.assertTrue(self.keyboard.grab())
        self.addCleanup(self.keyboard.release)
        type(self).picker = self.start_picker("--show-picker")
        self.panel = self.desktop.wait_for_panel()

    def assert_picker_works(self):
        self.keyboard.type("rocket")
        self.assert_field_shows("rocket")
        self.keyboard.press("Return")
        self.desktop.wait_for_no_panel()
        wait_until(lambda: self.target.text().endswith("🚀"), "the application gets the emoji")
        # Until then a key of the paste may be down still, and what is typed would be a chord with it.
        self.picker.wait_for_line("TypeManager: simulatePaste returned true")
        self.assert_types_into(self.target)

    def test_it_gets_the_focus_when_the_keyboard_is_not_to_be_had(self):
        wait_until(lambda: self.keyboard.focus() == self.panel.identifier, "the panel has the focus")
        self.keyboard.release()

        self.assert_picker_works()

    def test_it_gets_the_keyboard_as_soon_as_that_is_free(self):
        self.keyboard.release()
        wait_until(lambda: not self.keyboard.is_free() or self.keyboard.focus() == self.panel.identifier,
                   "the picker has the keyboard")

        self.assert_picker_works()


class RecoveryTest(KeysTestCase):
    """Whatever happens around the open picker, keys still reach it, and afterwards the application."""

    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    def assert_keys_reach_the_picker(self):
        # What is typed before it has noticed goes to whatever has the focus then.
        wait_until(lambda: not self.keyboard.is_free(), "the picker has the keyboard")
        self.keyboard.type("abc")
        self.assert_field_shows("abc")
        self.close()

    def minimise(self, window):
        self.desktop.call("xdotool", "windowminimize", window.identifier)
        wait_until(lambda: not window.is_visible(), "the window is minimised")

    def test_the_application_closes(self):
        other = self.focused_target("qt")
        before = other.text()
        target = gtk_target(self.desktop, name="glimmer-closing")
        self.open()
        target.window.close()
        wait_until(lambda: self.desktop.active_window() == other.window, "the other application is active")

        self.assert_keys_reach_the_picker()

        self.assertEqual(other.text(), before)
        self.assert_types_into(other)

    def test_the_last_application_closes(self):
        target = gtk_target(self.desktop, name="glimmer-last")
        for name in ("glimmer-gtk-target", "glimmer-qt-target"):
            for other in self.desktop.visible_windows(name):
                self.minimise(other)
        self.desktop.activate(target.window)
        self.open()
        target.window.close()
        wait_until(lambda: not target.window.is_visible(), "the application is gone")

        self.assert_keys_reach_the_picker()

    def test_the_application_is_minimised(self):
        target = self.focused_target("gtk")
        before = target.text()
        self.open()
        self.minimise(target.window)

        self.assert_keys_reach_the_picker()

        self.assertEqual(target.text(), before)
        self.desktop.activate(target.window)
        self.assert_types_into(target)

    def test_the_workspace_changes(self):
        target = self.focused_target("gtk")
        before = target.text()
        panel = self.open()
        self.desktop.call("xdotool", "set_desktop", "1")
        self.addCleanup(self.desktop.call, "xdotool", "set_desktop", "0")
        wait_until(lambda: not target.window.is_visible(), "the other workspace is shown")
        self.assertTrue(panel.is_visible())

        self.assert_keys_reach_the_picker()

        self.assertEqual(target.text(), before)
        self.desktop.call("xdotool", "set_desktop", "0")
        self.desktop.activate(target.window)
        self.assert_types_into(target)

    def test_the_keyboard_map_changes(self):
        target = self.focused_target("gtk")
        self.addCleanup(self.desktop.use_layout, "us")
        self.open()
        self.desktop.use_layout("de")
        self.keyboard.type("yz")
        self.assert_field_shows("zy")
        self.keyboard.press(*SHORTCUT)
        self.desktop.wait_for_no_panel()
        self.open()
        self.close()
        self.assert_types_into(target)

    def test_the_application_goes_off_the_screen_for_a_moment(self):
        target = self.focused_target("gtk")
        self.open()
        wait_until(lambda: not self.keyboard.is_free(), "the picker has the keyboard")
        self.keyboard.flash(self.keyboard.focus())

        self.assert_keys_reach_the_picker()

    def test_the_screen_locks(self):
        target = self.focused_target("gtk")
        self.open()
        wait_until(lambda: not self.keyboard.is_free(), "the picker has the keyboard")

        self.desktop.call("gdbus", "emit", "--session", "--object-path", "/org/freedesktop/ScreenSaver",
                          "--signal", "org.freedesktop.ScreenSaver.ActiveChanged", "true")

        self.desktop.wait_for_no_panel()
        self.assertTrue(self.keyboard.grab(), "the locker gets the keyboard")
        self.keyboard.release()
        self.assert_types_into(target)

    def test_a_client_that_has_the_keyboard_keeps_it_and_the_next_shortcut_works(self):
        target = self.focused_target("gtk")
        self.assertTrue(self.keyboard.grab())
        self.keyboard.press(*SHORTCUT)
        self.keyboard.release()
        self.assertIsNone(self.desktop.panel())

        self.open()
        self.assert_keys_reach_the_picker()
        self.assert_types_into(target)

    def test_what_is_typed_right_behind_escape_is_the_applications(self):
        target = self.focused_target("gtk")
        before, events = target.text(), len(target.events())
        self.open()
        self.keyboard.press_in_turn(*"abc", "Escape", *"xyz")
        self.desktop.wait_for_no_panel()

        target.wait_for_text(before + "xyz")
        target.wait_for_keys_since(events, ["x", "y", "z"])

    def test_a_client_that_waits_for_the_keyboard_gets_it_once_the_picker_is_closed(self):
        """As a screen locker does, which tries until it succeeds."""
        target = self.focused_target("gtk")
        self.open()
        self.assertFalse(self.keyboard.grab())
        self.close()
        wait_until(self.keyboard.grab, "the keyboard can be had")
        before = target.text()
        self.keyboard.type("abc")
        self.keyboard.press(*SHORTCUT)
        self.keyboard.release()

        self.assertEqual(target.text(), before)
        self.assertIsNone(self.desktop.panel())
        self.open()
        self.assert_keys_reach_the_picker()


if __name__ == "__main__":
    main()
