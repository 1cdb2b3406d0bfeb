#!/usr/bin/python3
"""A GTK application to type into. It writes its text to a file on every change, and every key and focus event
to a log, one a line.

usage: gtk_target.py NAME TEXT-FILE LOG-FILE     NAME is the window's class

Where the caret, the other end of the selection and the scroll bar are stands in a file with ".view" behind
the text's name.

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

    def replace(path, text):
        with open(f"{path}.new", "w", encoding="utf-8") as file:
            file.write(text)
        os.replace(f"{path}.new", path)

    def save(buffer):
        replace(text_path, buffer.get_text(buffer.get_start_iter(), buffer.get_end_iter(), True))

    def save_view(*_):
        buffer = view.get_buffer()
        caret, anchor = (buffer.get_iter_at_mark(mark).get_offset()
                         for mark in (buffer.get_insert(), buffer.get_selection_bound()))
        replace(f"{text_path}.view", f"{caret} {anchor} {int(scrolled.get_vadjustment().get_value())}")

    def note_button(event):
        if event.type == Gdk.EventType.BUTTON_PRESS:
            print(f"button {event.button}", file=log)
        return False

    view = Gtk.TextView()
    scrolled = Gtk.ScrolledWindow()
    scrolled.add(view)
    save(view.get_buffer())
    save_view()
    view.get_buffer().connect("changed", save)
    view.get_buffer().connect("mark-set", save_view)
    view.get_buffer().connect("changed", save_view)
    scrolled.get_vadjustment().connect("value-changed", save_view)
    view.connect("button-press-event", lambda _, event: note_button(event))

    window = Gtk.Window(title=name)
    window.set_default_size(640, 400)
    window.add(scrolled)
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
