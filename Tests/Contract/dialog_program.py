#!/usr/bin/python3
"""A window that opens a dialog as soon as a file is there.

usage: dialog_program.py FILE
"""

import os
import sys

import gi

gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402  (the versions must be chosen first)

NAME = "org.example.WithDialog"
POLL_MILLISECONDS = 10


def main():
    GLib.set_prgname(NAME)
    Gdk.set_program_class(NAME)
    window = Gtk.Window(title="parent")
    window.show_all()

    def open_dialog():
        if not os.path.exists(sys.argv[1]):
            return GLib.SOURCE_CONTINUE
        Gtk.Dialog(title="dialog", transient_for=window).show_all()
        return GLib.SOURCE_REMOVE

    GLib.timeout_add(POLL_MILLISECONDS, open_dialog)
    Gtk.main()


if __name__ == "__main__":
    main()
