"""A screen as large as asked for, with something on it, and pictures of what it shows."""

import collections
import contextlib
import struct
import zlib

import Xlib.error
import Xlib.X
import Xlib.Xatom

from desktop import PANEL_CLASS, PANEL_SIZE, Desktop, Window, wait_until_stable

DESKTOP_TOP, DESKTOP_BOTTOM = (92, 107, 129), (58, 66, 82)
BANDS = 80


def blended(above, below, alpha):
    """The colour that one makes over another."""
    return tuple(round(low + (high - low) * alpha) for high, low in zip(above, below))


def contrast(one, other):
    """Between two colours, by the definition of the web's accessibility guidelines: from 1 to 21."""
    def luminance(colour):
        linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4
                  for part in (part / 255 for part in colour)]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]
    darker, lighter = sorted((luminance(one), luminance(other)))
    return (lighter + 0.05) / (darker + 0.05)


def are_near(one, other, tolerance=3):
    return all(abs(this - that) <= tolerance for this, that in zip(one, other))


class Picture:
    """A rectangle of the screen. Places in it are in its own pixels."""

    def __init__(self, width, height, pixels):
        self.width, self.height = width, height
        self.pixels = pixels

    def __eq__(self, other):
        return isinstance(other, Picture) and other.pixels == self.pixels and other.width == self.width

    def __hash__(self):
        return hash(self.pixels)

    def at(self, x, y):
        start = 4 * (y * self.width + x)
        blue, green, red = self.pixels[start:start + 3]
        return red, green, blue

    def cropped(self, x, y, width, height):
        rows = (4 * ((y + row) * self.width + x) for row in range(height))
        return Picture(width, height, b"".join(self.pixels[start:start + 4 * width] for start in rows))

    def colours(self):
        """How often each colour is there, the most frequent first."""
        counts = collections.Counter(memoryview(self.pixels).cast("I")).most_common()
        return [((pixel >> 16 & 255, pixel >> 8 & 255, pixel & 255), count) for pixel, count in counts]

    def text_contrast(self):
        """Between what most of it shows and what differs most from that: a text and what it stands on."""
        found = self.colours()
        ground = found[0][0]
        return max(contrast(ground, colour) for colour, _ in found)

    def difference(self, other):
        """The smallest rectangle around the pixels that differ, as x, y, width and height; None without any."""
        mine, theirs = (memoryview(picture.pixels).cast("I") for picture in (self, other))
        places = [(index % self.width, index // self.width)
                  for row in range(self.height)
                  if mine[row * self.width:(row + 1) * self.width] != theirs[row * self.width:(row + 1) * self.width]
                  for index in range(row * self.width, (row + 1) * self.width) if mine[index] != theirs[index]]
        if not places:
            return None
        left, top = (min(place[axis] for place in places) for axis in (0, 1))
        return (left, top, max(x for x, _ in places) - left + 1, max(y for _, y in places) - top + 1)

    def save(self, path):
        """As a PNG image."""
        rgb = bytearray(3 * self.width * self.height)
        for channel in range(3):
            rgb[channel::3] = self.pixels[2 - channel::4]
        rows = b"".join(b"\x00" + rgb[3 * row * self.width:3 * (row + 1) * self.width] for row in range(self.height))

        def chunk(kind, data):
            return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
        header = struct.pack(">IIBBBBB", self.width, self.height, 8, 2, 0, 0, 0)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows))
                         + chunk(b"IEND", b""))


class ScreenDesktop(Desktop):
    """A desktop with a wallpaper, on a screen of a size of its own. A point of the picker is `ratio` pixels."""

    def __init__(self, folder, size, ratio=1, **options):
        super().__init__(folder, **options)
        self.size, self.ratio = size, ratio

    def __enter__(self):
        super().__enter__()
        if self.ratio != 1:
            self.environment["QT_SCALE_FACTOR"] = str(self.ratio)
        return self

    def _start_screen(self):
        width, height = self.size
        self._start_server("xvfb", "Xvfb", "-screen", "0", f"{width}x{height}x24", "-noreset")
        self.display = Xlib.display.Display(self.environment["DISPLAY"])
        self._cleanup.callback(self.display.close)
        self.root = self.display.screen().root
        self._paint_wallpaper()

    def _paint_wallpaper(self):
        width, height = self.size
        wallpaper = self.root.create_pixmap(width, height, 24)
        pen = wallpaper.create_gc()
        for band in range(BANDS):
            red, green, blue = blended(DESKTOP_BOTTOM, DESKTOP_TOP, band / (BANDS - 1))
            pen.change(foreground=red << 16 | green << 8 | blue)
            top = height * band // BANDS
            wallpaper.fill_rectangle(pen, 0, top, width, height * (band + 1) // BANDS - top)
        self.root.change_attributes(background_pixmap=wallpaper)
        # Compositors paint the root window themselves, with the picture that this names.
        self.root.change_property(self.display.get_atom("_XROOTPMAP_ID"), Xlib.Xatom.PIXMAP, 32, [wallpaper.id])
        self.root.clear_area()
        self.display.sync()

    def start_compositor(self):
        program = self.run("picom", "picom", "--config", "/dev/null", "--backend", "xrender")
        wait_until_stable(self.has_compositor, "the compositor runs", span=0)
        return program

    def has_compositor(self):
        return self.display.get_selection_owner(self.display.get_atom("_NET_WM_CM_S0")) != Xlib.X.NONE

    def panel(self):
        wanted = tuple(round(length * self.ratio) for length in PANEL_SIZE)
        for child in self.root.query_tree().children:
            with contextlib.suppress(Xlib.error.BadWindow, Xlib.error.BadDrawable):
                window = Window(self, child.id)
                if (window.is_override_redirect() and window.is_visible()
                        and PANEL_CLASS in (child.get_wm_class() or ()) and window.geometry()[2:] == wanted):
                    return window
        return None

    def picture(self, x, y, width, height):
        image = self.root.get_image(x, y, width, height, Xlib.X.ZPixmap, 0xFFFFFFFF)
        # The fourth byte of a pixel means nothing.
        pixels = bytearray(image.data)
        pixels[3::4] = bytes(width * height)
        return Picture(width, height, bytes(pixels))
