#!/usr/bin/python3
"""The picker as a screen reader has it: what it is told over the accessibility bus, and what it can do there.

usage: accessibility_test.py --picker BINARY --qt-target BINARY
"""

import shutil
import unittest

from desktop import PANEL_CLASS, Picker, wait_until
from screen_reader import ScreenReader
from targets import gtk_target
from testcase import argument, desktop_in, main

# The cells of a screen, some of them cut off, and the titles between them.
MOST_IN_SIGHT = 8 * 7 + 8


class AccessibilityTest(unittest.TestCase):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop_in(cls.enterClassContext)
        cls.reader = ScreenReader(cls.desktop)
        cls.api = cls.reader.api

    def setUp(self):
        self.target = gtk_target(self.desktop)
        self.addCleanup(self.target.program.stop)
        shutil.rmtree(self.desktop.folder / "home" / ".config" / "Glimmerwick", ignore_errors=True)
        self.picker = Picker(self.desktop, self.picker_binary)
        self.addCleanup(self.picker.program.stop)
        self.picker.wait_until_ready()
        self.picker.open()
        self.list = self.wait_for(self.api.ROLE_LIST, "Emoji")

    def tearDown(self):
        self.reader.hear()
        self.reader.forget()

    def find(self, role, name=None):
        program = self.reader.program(PANEL_CLASS)
        return self.reader.find(program, role, name) if program else []

    def wait_for(self, role, name):
        return self.reader.wait_for(lambda: self.find(role, name), f"there is {name}")[0]

    def wait_for_state(self, view, state):
        self.reader.wait_for(lambda: view.getState().contains(state), f"{view.name} is in state {state}")

    def emoji(self, name):
        return self.wait_for(self.api.ROLE_PUSH_BUTTON, name)

    def search(self, query, result):
        """Types a query and waits until its first result is the first emoji."""
        self.desktop.type(query)
        self.reader.wait_for(lambda: self.children()[1:] and self.children()[1].name == result,
                             f"{result} is found")

    def children(self):
        return [self.list.getChildAtIndex(index) for index in range(self.list.childCount)]

    def test_the_panel_is_a_dialog_with_a_list_of_emoji(self):
        [panel] = self.find(self.api.ROLE_DIALOG)
        title, first, *others = self.children()

        self.assertEqual(panel.name, "Glimmerwick")
        self.assertEqual((title.getRole(), title.name), (self.api.ROLE_HEADING, "Smileys & Emotion"))
        self.assertEqual((first.getRole(), first.name, first.description),
                         (self.api.ROLE_PUSH_BUTTON, "😀", "grinning face"))
        self.assertEqual(first.parent, self.list)
        self.assertEqual(self.reader.actions(first), ["Press"])
        states = first.getState()
        self.assertTrue(states.contains(self.api.STATE_FOCUSABLE))
        self.assertTrue(states.contains(self.api.STATE_SELECTABLE))
        self.assertFalse(states.contains(self.api.STATE_SELECTED))
        self.assertTrue(10 < len(others) < MOST_IN_SIGHT, len(others))
        places = [view.queryComponent().getExtents(self.api.DESKTOP_COORDS) for view in [first, *others]]
        order = [(place.y, place.x) for place in places]
        self.assertEqual(order, sorted(order), "the emoji are told in the order that they are read in")

    def test_the_emoji_that_arrows_reach_are_read_by_their_names(self):
        self.reader.wait_for_focus("Emoji")

        before = None
        for key, emoji, name in (("Down", "😀", "grinning face"), ("Right", "😃", "grinning face with big eyes"),
                                 ("Right", "😄", "grinning face with smiling eyes"),
                                 ("Left", "😃", "grinning face with big eyes")):
            changes = [f"deselected {before}", f"selected {emoji}"] if before else [f"selected {emoji}"]

            self.desktop.press(key)

            self.reader.wait_for(lambda: self.reader.selected == changes, f"{changes} are told")
            self.reader.wait_for_focus(f"{emoji} {name}")
            before = emoji
        selected = [view.name for view in self.children() if view.getState().contains(self.api.STATE_SELECTED)]
        self.assertEqual(selected, ["😃"])

    def test_tab_tells_where_the_keys_go(self):
        self.reader.wait_for_focus("Emoji")
        self.desktop.press("Down")
        self.reader.wait_for_focus("😀 grinning face")

        self.desktop.press("Tab")
        self.reader.wait_for(lambda: self.reader.focused[-1:] and "Search" in self.reader.focused[-1],
                             "the search field is read")
        self.reader.forget()
        self.desktop.press("Tab")

        self.reader.wait_for_focus("😀 grinning face")

    def test_an_emoji_is_picked_by_its_action(self):
        self.reader.do(self.emoji("😄"), "Press")

        self.target.wait_for_text("😄")
        self.desktop.wait_for_no_panel()

    def test_a_tone_is_chosen_by_its_action(self):
        self.search("waving hand", "👋")
        hand = self.emoji("👋")
        self.assertEqual(self.reader.actions(hand), ["Press", "ShowMenu"])

        self.reader.do(hand, "ShowMenu")
        tone = self.emoji("👋🏽")
        self.assertEqual(tone.description, "medium skin tone")
        self.reader.do(tone, "Press")

        self.target.wait_for_text("👋🏽")
        self.desktop.wait_for_no_panel()

    def test_the_tones_that_arrows_reach_are_read_and_then_the_emoji_again(self):
        self.search("waving hand", "👋")
        self.desktop.press("Down")
        self.reader.wait_for(lambda: self.reader.focused[-1:] == ["👋 waving hand"], "the emoji is read")
        self.reader.forget()

        for key, spoken in (("alt+Return", "👋 default skin tone"), ("Right", "👋🏻 light skin tone"),
                            ("Right", "👋🏼 medium-light skin tone"), ("Escape", "👋 waving hand")):
            self.desktop.press(key)

            self.reader.wait_for_focus(spoken)

    def test_a_tab_is_chosen_by_its_action(self):
        bar = self.wait_for(self.api.ROLE_TOOL_BAR, "Categories")
        tabs = self.reader.find(bar, self.api.ROLE_PUSH_BUTTON)
        self.assertEqual(len(tabs), 9)
        flags = next(tab for tab in tabs if tab.name == "Flags")
        self.assertFalse(flags.getState().contains(self.api.STATE_CHECKED))

        self.reader.do(flags, "Press")

        self.wait_for_state(flags, self.api.STATE_CHECKED)
        checked = [tab.name for tab in tabs if tab.getState().contains(self.api.STATE_CHECKED)]
        self.assertEqual(checked, ["Flags"])
        self.wait_for(self.api.ROLE_HEADING, "Flags")

    def test_the_menu_is_read_and_used(self):
        self.reader.wait_for_focus("Emoji")

        self.reader.do(self.wait_for(self.api.ROLE_PUSH_BUTTON, "Menu"), "Press")
        [menu] = self.reader.wait_for(lambda: self.find(self.api.ROLE_POPUP_MENU), "the menu is open")
        items = self.reader.find(menu, self.api.ROLE_MENU_ITEM)
        self.desktop.press("Down")
        self.reader.wait_for_focus(items[0].name)
        self.desktop.press("Escape")
        self.reader.wait_for_focus("Emoji")
        self.assertEqual(self.find(self.api.ROLE_POPUP_MENU), [])
        self.reader.do(self.wait_for(self.api.ROLE_PUSH_BUTTON, "Menu"), "Press")
        self.reader.do(self.wait_for(self.api.ROLE_MENU_ITEM, "Quit"), "Press")

        wait_until(lambda: not self.picker.program.is_running(), "the picker has ended")


if __name__ == "__main__":
    main()
