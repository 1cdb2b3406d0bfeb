"""A private desktop of GNOME's window manager, mutter, without GNOME's shell: one screen, XWayland, and a session bus.

Nothing can be asked of the compositor about windows: whether one has the keys, it says itself.
"""

import pathlib
import shlex

from desktop import DesktopError, wait_until
from wayland_desktop import Hand, WaylandDesktop

HERE = pathlib.Path(__file__).resolve().parent
SCREEN_SIZE = (1280, 800)


class MutterDesktop(WaylandDesktop):
    """Starts everything on entering and ends it on leaving. Files go into `folder`."""

    HAND = HERE / "mutter_hand.py"

    def _start(self):
        self._prepare_environment()
        self._on_step("starting the session bus")
        self._start_bus()
        self._on_step("starting the compositor")
        self._start_compositor()
        self.hand = Hand(self, self.HAND)
        self._cleanup.callback(self.hand.stop)
        # The seat has a keyboard and a pointer once they have been used.
        self.press("Shift_L")
        self.move_pointer(SCREEN_SIZE[0] // 2, SCREEN_SIZE[1] // 4)

    def press(self, chord):
        self.hand.do("press", *chord.split("+"))

    def move_pointer(self, x, y):
        self.hand.do("move", x, y, *SCREEN_SIZE)

    def settle(self):
        """Has mutter handle what the X server has told it. It learns there which of XWayland's windows has the focus, as
        that window does, and only then are the keys sent there."""
        for _ in range(3):
            self.hand.do("up", "Shift_L")

    def clipboard(self):
        """The clipboard's plain text as clients of XWayland see it, or None when there is none. Mutter lets no program
        at the clipboard whose window has not the keys."""
        try:
            return self.call("xclip", "-selection", "clipboard", "-target", "UTF8_STRING", "-out", timeout=5)
        except (DesktopError, TimeoutError):
            return None

    def copy(self, text):
        """Puts a text on the clipboard from a client of XWayland."""
        source = self.folder / "copied.txt"
        source.write_text(text, encoding="utf-8")
        self.clipboard_owner = self.run("xclip", "xclip", "-quiet", "-selection", "clipboard", "-in", source)
        wait_until(lambda: self.clipboard() == text, "the clipboard holds the copied text")

    def _start_compositor(self):
        announcement = self.folder / "environment"
        script = f"env > {announcement}.new && mv {announcement}.new {announcement}; exec sleep infinity"
        self.compositor = self.run(
            "mutter", "mutter", "--headless", "--wayland", "--virtual-monitor", "x".join(map(str, SCREEN_SIZE)),
            "--", *shlex.split("sh -c"), script)

        def announced():
            if not self.compositor.is_running():
                raise DesktopError(f"mutter ended: {self.compositor.end_of_text()}")
            return announcement.exists()
        wait_until(announced, "mutter runs what it was told to")
        said = dict(line.split("=", 1) for line in announcement.read_text(encoding="utf-8").splitlines() if "=" in line)
        for name in ("WAYLAND_DISPLAY", "DISPLAY", "XAUTHORITY"):
            if name in said:
                self.environment[name] = said[name]
        self.environment.update(XDG_SESSION_TYPE="wayland", XDG_CURRENT_DESKTOP="GNOME")
