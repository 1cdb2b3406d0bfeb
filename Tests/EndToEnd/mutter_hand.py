#!/usr/bin/python3
"""The user's hand in a mutter without devices: a keyboard and a pointer that stay as long as this program, and do what
its standard input says, as glimmerwick-wayland-hand does elsewhere.

    down SYMBOL, up SYMBOL      a key by its symbol
    press SYMBOL...             a chord, at once: programs repeat keys that are down for long
    move X Y WIDTH HEIGHT       the pointer, on a screen of that size
    button down, button up      the left one

Each answers with a line, "done" or what is wrong; so does the beginning.
"""

import sys

import gi

gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gio, GLib  # noqa: E402  (the version must be chosen first)

NAME = "org.gnome.Mutter.RemoteDesktop"
LEFT_BUTTON = 0x110
FAR = 100000.0


class Hand:
    def __init__(self):
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self._session, = self._call("/org/gnome/Mutter/RemoteDesktop", NAME, "CreateSession")
        self._do("Start")

    def do(self, action, *words):
        if action in ("down", "up"):
            symbol = Gdk.keyval_from_name(words[0])
            self._do("NotifyKeyboardKeysym", GLib.Variant("(ub)", (symbol, action == "down")))
        elif action == "press":
            self._press([Gdk.keyval_from_name(word) for word in words])
        elif action == "move":
            # The place on a screen can be named to those alone who watch it. Nothing goes beyond its corner.
            self._move(-FAR, -FAR)
            self._move(float(words[0]), float(words[1]))
        elif action == "button":
            self._do("NotifyPointerButton", GLib.Variant("(ib)", (LEFT_BUTTON, words[0] == "down")))
        else:
            raise ValueError(f"unknown: {action}")

    def _press(self, symbols):
        moves = [(symbol, True) for symbol in symbols] + [(symbol, False) for symbol in reversed(symbols)]
        for move in moves[:-1]:
            self._bus.call(NAME, self._session, f"{NAME}.Session", "NotifyKeyboardKeysym",
                           GLib.Variant("(ub)", move), None, Gio.DBusCallFlags.NONE, -1)
        # Answered behind all before.
        self._do("NotifyKeyboardKeysym", GLib.Variant("(ub)", moves[-1]))

    def _move(self, right, down):
        self._do("NotifyPointerMotionRelative", GLib.Variant("(dd)", (right, down)))

    def _do(self, method, arguments=None):
        self._call(self._session, f"{NAME}.Session", method, arguments)

    def _call(self, path, interface, method, arguments=None):
        reply = self._bus.call_sync(NAME, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, -1)
        return reply.unpack()


def main():
    hand = Hand()
    print("done", flush=True)
    for line in sys.stdin:
        try:
            hand.do(*line.split())
            print("done", flush=True)
        except (GLib.Error, ValueError) as problem:
            print(problem, flush=True)


if __name__ == "__main__":
    main()
