"""Picks into applications under Wayland, and what must be true of each: the text arrived, the clipboard is what it
was, and the keys are back where they were.
"""

import pathlib
import re
import signal
import tempfile
import unittest

from desktop import PANEL_CLASS, DesktopError, Picker, wait_until, wait_until_stable
from picking import COPIED, PICKS as ALL_PICKS, TONE, abridged, prefer
from targets import PYTHON, HERE, FileTarget

# The hands of these desktops type letters and digits.
PICKS = [(query.replace(",", ""), emoji) for query, emoji in ALL_PICKS]


class WaylandTarget(FileTarget):
    """A program that writes its text to a file whenever it changes."""

    def __init__(self, desktop, name, app_id, *command):
        text_file = desktop.folder / f"{name}.text"
        self.program = desktop.run(name, *command)
        window = desktop.wait_for_window(app_id)
        wait_until(text_file.exists, f"{name} has written its text")
        super().__init__(desktop, name, window["id"], text_file)

    def has_focus(self):
        return (self.desktop.focused_window() or {}).get("id") == self.window

    def focus(self):
        if not self.has_focus():
            self.desktop.activate(next(window for window in self.desktop.windows() if window["id"] == self.window))

    def wait_for_focus(self):
        wait_until(self.has_focus, f"{self.name} has the keys again")


def editor(desktop, name, *command):
    return WaylandTarget(desktop, name, name, *command, name, desktop.folder / f"{name}.text",
                         desktop.folder / f"{name}.events")


def gtk_target(desktop, name="glimmer-gtk-target"):
    return editor(desktop, name, "env", "GDK_BACKEND=wayland", PYTHON, HERE / "gtk_target.py")


def gtk_x11_target(desktop, name="glimmer-gtk-x11-target"):
    """A client of XWayland."""
    return editor(desktop, name, "env", "GDK_BACKEND=x11", PYTHON, HERE / "gtk_target.py")


def qt_target(desktop, binary, name="glimmer-qt-target"):
    return editor(desktop, name, "env", "QT_QPA_PLATFORM=wayland", binary)


def foot(desktop, name="foot"):
    """A terminal that knows nothing of X11."""
    return WaylandTarget(desktop, name, name, "foot", PYTHON, HERE / "terminal_target.py",
                         desktop.folder / f"{name}.text")


class WaylandPicker(Picker):
    """The product, started in a Wayland desktop."""

    SHORTCUT = "Control_L+Super_L+space"

    def __init__(self, desktop, binary, *flags):
        super().__init__(desktop, binary, *flags)
        self.binary = pathlib.Path(binary).resolve()

    def open(self):
        """Presses the shortcut and waits until the picker has the keys."""
        self.desktop.press(self.SHORTCUT)
        self.wait_until_open()

    def wait_until_open(self):
        wait_until(self.is_open, "the picker is shown")

    def wait_until_closed(self):
        wait_until(lambda: not self.is_open(), "the picker is hidden")


class MakesPicks:
    """A test with a `desktop` and a `picker` in it."""

    def assert_picked(self, target, count, copied=COPIED):
        """Makes so many picks one after the other; each arrives, alone, and leaves the clipboard's text alone."""
        for index in range(count):
            query, emoji = PICKS[index % len(PICKS)]
            self.picker.open()
            self.desktop.type(query)
            self.desktop.press("Return")

            target.wait_for_more(emoji)
            self.picker.wait_until_closed()
            target.wait_for_focus()
            self.assert_clipboard_becomes(copied)
            self.assertEqual(target.text(), target.expected)
        # An emoji that is typed twice comes a little later.
        text = wait_until_stable(lambda: (target.text(),), f"the text of {target.name} is still")[0]
        self.assertEqual(text, target.expected)

    def assert_clipboard_becomes(self, expected):
        try:
            wait_until(lambda: self.desktop.clipboard() == expected, "")
        except DesktopError:
            raise AssertionError(f"the clipboard holds {abridged(self.desktop.clipboard())} instead of "
                                 f"{abridged(expected)}") from None


class WaylandPickingTest(MakesPicks, unittest.TestCase):
    """One desktop with one picker. Set `picker_binary` and say what the desktop is in the subclass."""

    picker_binary = None

    @classmethod
    def make_desktop(cls, folder):
        raise NotImplementedError

    @classmethod
    def setUpClass(cls):
        folder = cls.enterClassContext(
            tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        cls.desktop = cls.enterClassContext(cls.make_desktop(folder))
        prefer(cls.desktop, TONE, [])
        cls.start_picker()

    @classmethod
    def start_picker(cls):
        cls.picker = WaylandPicker(cls.desktop, cls.picker_binary)
        cls.picker.wait_until_ready()


class WholeJob:
    """What is the same on each compositor that has all it takes, for a `WaylandPickingTest`."""

    def test_escape_gives_the_keys_back(self):
        target = gtk_target(self.desktop)
        self.picker.open()
        self.desktop.type("rocket")

        self.desktop.press("Escape")

        self.picker.wait_until_closed()
        target.wait_for_focus()
        self.desktop.type("typed")
        target.wait_for_more("typed")
        self.assert_clipboard_becomes(COPIED)

    def test_the_shortcut_closes_what_it_opened(self):
        target = gtk_target(self.desktop)
        for _ in range(5):
            self.picker.open()
            self.desktop.press(self.picker.SHORTCUT)
            self.picker.wait_until_closed()
        target.wait_for_focus()
        self.assertEqual(target.text(), "")

    def test_nothing_of_x11_is_loaded(self):
        """Of what this program would load by itself, although XWayland is there; the toolkit's own libraries bring
        some along."""
        files = self.picker.loaded_files()
        self.assertIn("wayland.so", files)
        for name in ("x11.so", "libqxcb.so"):
            self.assertNotIn(name, files)
        self.assertEqual([name for name in files if name.startswith(("libxcb-xinput", "libxcb-xtest"))], [])

    def test_it_ends_in_order_when_asked(self):
        self.picker.program.process.send_signal(signal.SIGTERM)
        wait_until(lambda: not self.picker.program.is_running(), "the picker has ended")
        self.assertEqual(self.picker.program.process.returncode, 0)
        self.start_picker()
        # The shortcut is the new one's.
        self.picker.open()
        self.desktop.press("Escape")
        self.picker.wait_until_closed()


class Screenshot:
    """What the screens show, in the layout of the outputs."""

    def __init__(self, desktop):
        path = desktop.folder / "screenshot.ppm"
        desktop.call("grim", "-t", "ppm", path)
        data = path.read_bytes()
        head = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", data)
        self.width, self.height = int(head[1]), int(head[2])
        self._pixels = memoryview(data)[head.end():]

    def difference(self, other):
        """The smallest rectangle with everything that differs: x, y, width, height; None when nothing does."""
        line = 3 * self.width
        rows = [y for y in range(self.height)
                if self._pixels[y * line:(y + 1) * line] != other._pixels[y * line:(y + 1) * line]]
        if not rows:
            return None
        left, right = self.width, 0
        for y in rows:
            mine, others = (bytes(picture._pixels[y * line:(y + 1) * line]) for picture in (self, other))
            differing = [x for x in range(self.width) if mine[3 * x:3 * x + 3] != others[3 * x:3 * x + 3]]
            left, right = min(left, differing[0]), max(right, differing[-1] + 1)
        return left, rows[0], right - left, rows[-1] + 1 - rows[0]


__all__ = ["COPIED", "MakesPicks", "PANEL_CLASS", "Screenshot", "WaylandPicker", "WaylandPickingTest",
           "WholeJob", "foot", "gtk_target",
           "gtk_x11_target", "qt_target"]
