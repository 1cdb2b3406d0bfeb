#!/usr/bin/python3
"""Writes what an output of KWin's shows to standard output, as a portable pixmap in the output's own pixels.

usage: kwin_screenshot.py OUTPUT

KWin must draw with OpenGL, and must not ask who wants to know (KWIN_SCREENSHOT_NO_PERMISSION_CHECKS).
"""

import os
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402  (the version must be chosen first)

DEADLINE_MILLISECONDS = 10000
# Four bytes a pixel: blue, green, red, and one more.
KNOWN_FORMATS = (4, 5, 6)


def capture(output):
    """The description and the bytes of the picture."""
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    reading, writing = os.pipe()
    answer, _ = bus.call_with_unix_fd_list_sync(
        "org.kde.KWin", "/org/kde/KWin/ScreenShot2", "org.kde.KWin.ScreenShot2", "CaptureScreen",
        GLib.Variant("(sa{sv}h)", (output, {"native-resolution": GLib.Variant("b", True)}, 0)), None,
        Gio.DBusCallFlags.NONE, DEADLINE_MILLISECONDS, Gio.UnixFDList.new_from_array([writing]))
    with open(reading, "rb") as pipe:
        return answer.unpack()[0], pipe.read()


def main():
    picture, data = capture(sys.argv[1])
    width, height, stride = (picture[key] for key in ("width", "height", "stride"))
    if picture["type"] != "raw" or picture["format"] not in KNOWN_FORMATS:
        raise SystemExit(f"kwin_screenshot: unknown format: {picture}")
    rows = b"".join(data[line * stride:line * stride + 4 * width] for line in range(height))
    pixels = bytearray(3 * width * height)
    for channel in range(3):
        pixels[channel::3] = rows[2 - channel::4]
    sys.stdout.buffer.write(b"P6 %d %d 255\n" % (width, height) + pixels)


if __name__ == "__main__":
    main()
