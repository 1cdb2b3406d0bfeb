"""The keys of a keyboard, pressed where they are whatever the layout makes of them, and what clients do with
the keyboard.
"""

import contextlib
import ctypes
import time

import Xlib.display
import Xlib.ext.xtest
import Xlib.X

from desktop import POLL

# Where keys are on a keyboard of 105 keys.
KEYS = {
    "Escape": 9, "BackSpace": 22, "Tab": 23, "Return": 36, "Control": 37, "Shift": 50, "Alt": 64, "space": 65,
    "Caps_Lock": 66, "Num_Lock": 77, "AltGr": 108, "Up": 111, "Left": 113, "Right": 114, "End": 115,
    "Down": 116, "Super": 133,
    # By what a US keyboard shows.
    **dict(zip("1234567890-=", range(10, 22))),
    **dict(zip("qwertyuiop[]", range(24, 36))),
    **dict(zip("asdfghjkl;'`", range(38, 50))),
    **dict(zip("\\zxcvbnm,./", range(51, 62))),
}
SHIFTED = dict(zip('!@#$%^&*()_+{}:"~|<>?', "1234567890-=[];'`\\,./"))

SHORTCUT = ("Control", "Super", "space")
CAPS_LOCK, NUM_LOCK = 1 << 1, 1 << 4


class Keyboard:
    """A keyboard of the desktop, and a client of its own to look at it and to grab it with."""

    def __init__(self, desktop):
        self._display = Xlib.display.Display(desktop.environment["DISPLAY"])
        self._root = self._display.screen().root

    def close(self):
        self._display.close()

    def _send(self, *steps):
        for kind, key in steps:
            Xlib.ext.xtest.fake_input(self._display, kind, KEYS[key])
        self._display.sync()

    def press(self, *keys):
        """Presses keys one upon the other and releases them in the opposite order."""
        self._send(*((Xlib.X.KeyPress, key) for key in keys),
                   *((Xlib.X.KeyRelease, key) for key in reversed(keys)))

    @contextlib.contextmanager
    def held(self, *keys):
        self._send(*((Xlib.X.KeyPress, key) for key in keys))
        try:
            yield
        finally:
            self._send(*((Xlib.X.KeyRelease, key) for key in reversed(keys)))

    def press_in_turn(self, *chords):
        """Presses one chord, or key, after the other in one go, with no time in between."""
        self._send(*(step for keys in ((chord,) if isinstance(chord, str) else chord for chord in chords)
                     for step in (*((Xlib.X.KeyPress, key) for key in keys),
                                  *((Xlib.X.KeyRelease, key) for key in reversed(keys)))))

    def type(self, text):
        """Types what a US keyboard can, in one go."""
        self.press_in_turn(*(chord_for(character) for character in text))

    def press_at_rate(self, keys, count, rate):
        """Presses a chord so many times, so many a second: the pace of the keys, not a wait for anything."""
        start = time.monotonic()
        for number in range(count):
            self.press(*keys)
            time.sleep(max(0, start + (number + 1) / rate - time.monotonic()))

    def locks(self):
        """The locks that are on."""
        return self._root.query_pointer().mask & (CAPS_LOCK | NUM_LOCK)

    def are_up(self):
        return not any(self._display.query_keymap())

    def focus(self):
        """The identifier of the window that has the input focus."""
        focus = self._display.get_input_focus().focus
        return focus if isinstance(focus, int) else focus.id

    def flash(self, identifier):
        """Takes a window off the screen and puts it back, with the focus, before anybody else has a turn."""
        window = self._display.create_resource_object("window", identifier)
        self._display.grab_server()
        window.unmap()
        window.map()
        window.set_input_focus(Xlib.X.RevertToParent, Xlib.X.CurrentTime)
        self._display.ungrab_server()
        self._display.sync()

    def grab(self):
        """Whether the keyboard could be had; then it is had until `release`."""
        status = self._root.grab_keyboard(False, Xlib.X.GrabModeAsync, Xlib.X.GrabModeAsync,
                                          Xlib.X.CurrentTime)
        return status == Xlib.X.GrabSuccess

    def is_free(self):
        """Whether no client has grabbed the keyboard."""
        if not self.grab():
            return False
        self.release()
        return True

    def release(self):
        self._display.ungrab_keyboard(Xlib.X.CurrentTime)
        self._display.sync()


def chord_for(character):
    """The keys that make a character on a US keyboard."""
    if character == " ":
        return ("space",)
    if character in SHIFTED:
        return ("Shift", SHIFTED[character])
    if character.isupper():
        return ("Shift", character.lower())
    return (character,)
