#!/usr/bin/python3
"""Dead keys, Compose and an input method, with the search field as with any other.

usage: input_method_test.py --picker BINARY --qt-target BINARY --window-manager openbox|xfwm4
"""

import pathlib

from desktop import wait_until
from keys_testcase import KeysTestCase
from targets import PYTHON
from testcase import argument, main

PICKER = argument("picker")
QT_TARGET = argument("qt-target")
DESKTOP = {"window_manager": argument("window-manager")}
ENGINE = pathlib.Path(__file__).resolve().parent / "ibus_engine.py"


class ComposingTest(KeysTestCase):
    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    def setUp(self):
        super().setUp()
        self.target = self.focused_target("gtk")
        self.before, self.events = self.target.text(), len(self.target.events())
        self.addCleanup(self.desktop.use_layout, "us")

    def tearDown(self):
        self.assertEqual(self.target.text(), self.before)
        self.assertEqual(self.target.keys_since(self.events), [])

    def test_dead_keys_as_the_first_key_and_between_others(self):
        self.desktop.use_layout("us(intl)")
        self.open()

        self.keyboard.press_in_turn("'", "e", *"ab", "'", "a", ("Shift", "`"), "n", "c")

        self.assert_field_shows("éabáñc")

    def test_dead_keys_of_another_layout(self):
        self.desktop.use_layout("de")
        self.open()

        self.keyboard.press_in_turn("=", "e", ("Shift", "="), "a", "=", "space")

        self.assert_field_shows("éà'")

    def test_a_dead_key_that_nothing_combines_with_leaves_nothing(self):
        self.desktop.use_layout("us(intl)")
        self.open()

        self.keyboard.press_in_turn("a", "'", "b")

        self.assert_field_shows("ab")

    def test_compose(self):
        self.desktop.call("setxkbmap", "-layout", "us", "-option", "compose:ralt")
        self.addCleanup(self.desktop.call, "setxkbmap", "-option", "")
        self.open()

        self.keyboard.press_in_turn(("AltGr",), "'", "e", "x", ("AltGr",), "s", "s")

        self.assert_field_shows("éxß")


class InputMethodTest(KeysTestCase):
    picker_binary = PICKER
    qt_target_binary = QT_TARGET
    desktop_options = DESKTOP

    @classmethod
    def start_picker(cls, *flags):
        # Programs that start from here on use it, as in a session that has one.
        cls.desktop.environment.update(
            {"GTK_IM_MODULE": "ibus", "QT_IM_MODULE": "ibus", "XMODIFIERS": "@im=ibus"})
        bus_file = cls.desktop.folder / "home" / ".config" / "ibus" / "bus"
        cls.desktop.run("ibus-daemon", "ibus-daemon", "--panel", "disable", "--config", "disable",
                        "--emoji-extension", "disable")
        wait_until(lambda: bus_file.is_dir() and any(bus_file.iterdir()),
                   "the input method bus has an address")
        ready = cls.desktop.folder / "input-method-ready"
        cls.desktop.run("ibus-engine", PYTHON, ENGINE, "composing", ready)
        wait_until(ready.exists, "the input method is in use")
        return super().start_picker(*flags)

    def setUp(self):
        super().setUp()
        self.target = self.focused_target("qt")
        self.before, self.events = self.target.text(), len(self.target.events())

    def test_what_is_committed_reaches_the_search_field_wherever_the_focus_is(self):
        self.open()
        # From the grid, which has the focus at first, then in the field, in place of what is selected there.
        # The first waits: with it the focus moves, and the input method gives up what it is composing then.
        self.keyboard.press_in_turn(*"rk", "space")
        self.assert_field_shows("rocket")
        self.keyboard.press_in_turn("1", *"kj", "space", "2")
        self.assert_field_shows("1漢字2")
        self.close()
        self.assertEqual(self.target.text(), self.before)
        self.assertEqual(self.target.keys_since(self.events), [])

    def test_return_picks_what_was_composed(self):
        self.open()
        self.keyboard.press_in_turn(*"rk", "space")
        self.assert_field_shows("rocket")
        self.keyboard.press("Return")

        self.target.wait_for_text(self.before + "🚀")
        self.desktop.wait_for_no_panel()


if __name__ == "__main__":
    main()
