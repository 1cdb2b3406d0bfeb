#!/usr/bin/python3
"""A GTK application to type into. It writes its text to a file on every change, and every key and focus event
to a log, one a line.

usage: gtk_target.py NAME TEXT-FILE LOG-FILE     NAME is the window's class

It opens a second window like the first on SIGUSR1; that one's files have ".2" behind their names.
"""

import os
import signal
import sys

import gi

gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402  (the versions must be chosen first)


def open_window(name, text_path, log_path):
    log = open(log_path, "w", encoding="utf-8", buffering=1)

    def note_key(kind, event):
        modifiers = "".join(f"{letter}+" for letter, mask in (
            ("ctrl", Gdk.ModifierType.CONTROL_MASK), ("shift", Gdk.ModifierType.SHIFT_MASK),
            ("alt", Gdk.ModifierType.MOD1_MASK), ("super", Gdk.ModifierType.MOD4_MASK)) if event.state & mask)
        print(f"{kind} {modifiers}{Gdk.keyval_name(event.keyval)}", file=log)
        return False

    def note(kind):
        print(kind, file=log)
        return False

    def save(buffer):
        text = buffer.get_text(buffer.get_start_iter(), buffer.get_end_iter(), True)
        with open(f"{text_path}.new", "w", encoding="utf-8") as file:
            file.write(text)
        os.replace(f"{text_path}.new", text_path)

    view = Gtk.TextView()
    save(view.get_buffer())
    view.get_buffer().connect("changed", save)

    window = Gtk.Window(title=name)
    window.set_default_size(640, 400)
    window.add(view)
    window.connect("key-press-event", lambda _, event: note_key("press", event))
    window.connect("key-release-event", lambda _, event: note_key("release", event))
    window.connect("focus-in-event", lambda *_: note("focus-in"))
    window.connect("focus-out-event", lambda *_: note("focus-out"))
    window.show_all()
    view.grab_focus()
    return window


def main():
    name, text_path, log_path = sys.argv[1:]
    GLib.set_prgname(name)
    Gdk.set_program_class(name)

    def open_second_window():
        open_window(name, f"{text_path}.2", f"{log_path}.2")
        return GLib.SOURCE_REMOVE

    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, open_second_window)
    open_window(name, text_path, log_path).connect("destroy", Gtk.main_quit)
    Gtk.main()


if __name__ == "__main__":
    main()
