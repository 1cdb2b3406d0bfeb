"""What the tests of the keys share: one desktop with one picker and two applications to type into, and what
is read off the picker with its own keys.
"""

import unittest

import Xlib.display
import Xlib.X

from desktop import DesktopError, Picker, wait_until
from keyboard import SHORTCUT, Keyboard
from picking import Targets
from testcase import desktop_in

NOTHING_COPIED = "nothing has been copied yet"


class KeysTestCase(unittest.TestCase):
    """Set `picker_binary` and `qt_target_binary` in the subclass."""

    picker_binary = None
    qt_target_binary = None
    desktop_options = {}
    picker_flags = ()

    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop_in(cls.enterClassContext, **cls.desktop_options)
        cls.keyboard = Keyboard(cls.desktop)
        cls.addClassCleanup(cls.keyboard.close)
        cls.targets = Targets(cls.desktop, cls.qt_target_binary, cls.addClassCleanup)
        cls.picker = cls.start_picker(*cls.picker_flags)

    @classmethod
    def start_picker(cls, *flags):
        picker = Picker(cls.desktop, cls.picker_binary, *flags)
        picker.wait_until_ready()
        return picker

    def setUp(self):
        self.addCleanup(self.leave_as_found)

    def leave_as_found(self):
        if self.desktop.panel() is not None:
            self.keyboard.press("Escape")
            self.desktop.wait_for_no_panel()
        if self.picker.program.is_running():
            wait_until(self.are_picks_over, "the clipboard is as it was before the last pick")

    def are_picks_over(self):
        """A pick puts the clipboard's text back a while after it was typed."""
        return (self.picker.count_lines("TypeManager: performTyping called")
                == self.picker.count_lines("TypeManager: Clipboard restored"))

    def focused_target(self, name):
        target = self.targets[name]
        target.focus()
        return target

    def open(self):
        """Opens the picker with the shortcut; returns the panel once it is there and all keys are up."""
        self.desktop.copy(NOTHING_COPIED)
        self.keyboard.press(*SHORTCUT)
        panel = self.desktop.wait_for_panel()
        wait_until(self.keyboard.are_up, "no key is down")
        return panel

    def close(self):
        self.keyboard.press("Escape")
        self.desktop.wait_for_no_panel()

    def assert_field_shows(self, expected):
        """That this is the whole text of the search field, by way of the clipboard, where it must not be
        before. The field must have the focus."""
        self.keyboard.press("Control", "a")
        self.keyboard.press("Control", "c")
        self.assert_copied(expected)

    def assert_copied(self, expected):
        try:
            wait_until(lambda: self.desktop.clipboard() == expected, "")
        except DesktopError:
            self.assertEqual(self.desktop.clipboard(), expected)

    def assert_types_into(self, target, key="x"):
        """Whether the keyboard works in the application as if there were no picker."""
        before, events = target.text(), len(target.events())
        self.keyboard.press(key)
        wait_until(lambda: target.text().count(key) > before.count(key), f"{target.name} gets what is typed")
        target.wait_for_keys_since(events, [key])


class PanelCounter:
    """Counts how often the panel comes and goes, however short it stays."""

    def __init__(self, desktop, panel):
        self._panel = panel.identifier
        self._display = Xlib.display.Display(desktop.environment["DISPLAY"])
        self._display.screen().root.change_attributes(event_mask=Xlib.X.SubstructureNotifyMask)
        self._display.sync()
        self._counts = {Xlib.X.MapNotify: 0, Xlib.X.UnmapNotify: 0}

    def close(self):
        self._display.close()

    def _count(self, kind):
        while self._display.pending_events():
            event = self._display.next_event()
            # A program that takes its window away also sends such an event itself.
            if event.type in self._counts and event.window.id == self._panel and not event.send_event:
                self._counts[event.type] += 1
        return self._counts[kind]

    def shown(self):
        return self._count(Xlib.X.MapNotify)

    def hidden(self):
        return self._count(Xlib.X.UnmapNotify)
