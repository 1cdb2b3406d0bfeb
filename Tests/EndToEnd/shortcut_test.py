#!/usr/bin/python3
"""The shortcut: it toggles the picker each time, whatever the keyboard is like, and no application sees it.

usage: shortcut_test.py --picker BINARY --qt-target BINARY --window-manager openbox|xfwm4
"""

from desktop import USUAL_REPEAT, wait_until, wait_until_stable
from keyboard import CAPS_LOCK, NUM_LOCK, SHORTCUT
from keys_testcase import KeysTestCase, PanelCounter
from testcase import argument, main

RUSH = 200


class ShortcutTest(KeysTestCase):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")
    desktop_options = {"window_manager": argument("window-manager")}

    def setUp(self):
        super().setUp()
        self.target = self.focused_target("gtk")
        self.before = self.target.text()
        self.events = len(self.target.events())
        self.addCleanup(self.desktop.use_layout, "us")

    def assert_swallowed(self):
        self.assertEqual(self.target.text(), self.before)
        self.assertEqual(self.target.keys_since(self.events), [])
        wait_until(self.keyboard.are_up, "no key is down")

    def assert_opens_and_closes(self):
        self.keyboard.press(*SHORTCUT)
        self.desktop.wait_for_panel()
        self.keyboard.press(*SHORTCUT)
        self.desktop.wait_for_no_panel()
        self.assert_swallowed()

    def test_under_every_layout(self):
        for layout, group in (("us", 0), ("de", 0), ("ru", 0), ("us(dvorak)", 0), ("us,ru", 1),
                              ("us,de,ru", 2)):
            with self.subTest(layout, group=group):
                self.desktop.use_layout(layout, group)
                self.assert_opens_and_closes()

    def test_with_every_lock(self):
        for keys, locks in ((("Caps_Lock",), CAPS_LOCK), (("Num_Lock",), NUM_LOCK),
                            (("Caps_Lock", "Num_Lock"), CAPS_LOCK | NUM_LOCK)):
            with self.subTest(keys):
                for key in keys:
                    self.keyboard.press(key)
                self.target.wait_for_keys_since(self.events, list(keys))
                self.events = len(self.target.events())
                try:
                    self.assertEqual(self.keyboard.locks(), locks)
                    self.assert_opens_and_closes()
                finally:
                    for key in keys:
                        self.keyboard.press(key)
                self.target.wait_for_keys_since(self.events, list(keys))
                self.events = len(self.target.events())
                self.assertEqual(self.keyboard.locks(), 0)

    def test_other_combinations_of_the_key_are_the_applications(self):
        self.keyboard.press("Control", "Shift", "Super", "space")
        self.keyboard.press("Control", "Alt", "Super", "space")
        self.keyboard.press("Super", "space")
        self.keyboard.press("Control", "space")
        self.keyboard.press("x")

        wait_until(lambda: "x" in self.target.text()[len(self.before):], "the keys have arrived")
        keys = [key for key in self.target.keys_since(self.events) if key.endswith("space")]
        self.assertEqual(keys, [f"{modifiers}+space" for modifiers in ("ctrl+shift+super", "ctrl+alt+super",
                                                                       "super", "ctrl")])
        self.assertIsNone(self.desktop.panel())

    def counter(self):
        panel = self.open()
        self.close()
        counter = PanelCounter(self.desktop, panel)
        self.addCleanup(counter.close)
        return counter

    def test_held_down_it_toggles_at_every_repeat(self):
        self.desktop.call("xset", "r", "rate", 300, 20)
        self.addCleanup(self.desktop.call, "xset", "r", "rate", *USUAL_REPEAT)
        counter = self.counter()

        with self.keyboard.held(*SHORTCUT):
            wait_until(lambda: counter.shown() >= 5 and counter.hidden() >= 5, "the picker comes and goes")
        wait_until_stable(lambda: (counter.shown(), counter.hidden()), "it comes and goes no more")

        self.assertEqual(self.desktop.panel() is not None, counter.shown() > counter.hidden())
        self.assert_swallowed()

    def test_in_a_rush_every_press_counts(self):
        counter = self.counter()

        self.keyboard.press_at_rate(SHORTCUT, RUSH, 20)
        wait_until(lambda: counter.shown() == counter.hidden() == RUSH // 2,
                   "every press has toggled the picker")
        self.assertIsNone(self.desktop.panel())
        self.assert_swallowed()

        self.keyboard.press_at_rate(SHORTCUT, 5, 20)
        wait_until(lambda: counter.shown() == RUSH // 2 + 3, "every press has toggled the picker")
        self.assertEqual(counter.hidden(), RUSH // 2 + 2)
        self.desktop.wait_for_panel()
        self.close()
        self.assert_swallowed()
        self.assert_types_into(self.target)


if __name__ == "__main__":
    main()
