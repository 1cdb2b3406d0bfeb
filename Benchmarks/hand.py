"""Works the picker with keyboard and wheel as fast as it answers.

What it has done is seen by what the server tells: windows that come and go, and what is painted in them. Nothing is
read back and no program is started for it, so that ten thousand shows take minutes.
"""

import select
import time

import Xlib.display
import Xlib.ext.damage
import Xlib.ext.xtest
import Xlib.X
import Xlib.XK

from desktop import PANEL_HEAD, PANEL_SIZE, DesktopError

DEADLINE = 10.0
ABOVE_PANEL, IN_GRID = (640, 200), (640, 420)
# A search waits so long for more letters; what is painted sooner is not its results.
DEBOUNCE = 0.05
# Longer than a picture of a moving grid stands.
STILL = 0.1
KEYS = {" ": "space"}


class Hand:
    """A connection to the desktop's display of its own, so that all events in it are about the picker."""

    def __init__(self, desktop):
        self._display = Xlib.display.Display(desktop.environment["DISPLAY"])
        # The server answers nobody who has not asked for the version.
        self._display.damage_query_version()
        self._root = self._display.screen().root
        self._root.change_attributes(event_mask=Xlib.X.SubstructureNotifyMask)
        self._desktop = desktop
        self._panel = None

    def close(self):
        self._display.close()

    def can_type(self, text):
        """Whether every character has a key of its own that needs no modifier."""
        return all(self._code(character) and character == character.lower() for character in text)

    def show(self):
        """Presses the shortcut and waits until the panel is there and the grid is painted."""
        self._move(ABOVE_PANEL)
        self._press("Control_L", "Super_L", "space")
        if self._panel is None:
            self._find_panel()
            return
        self._wait(lambda event: self._is_about_panel(event, Xlib.X.MapNotify), "the panel is there")
        self._wait(self._is_grid_painted, "the grid is painted")

    def hide(self):
        self._press("Escape")
        self._wait(lambda event: self._is_about_panel(event, Xlib.X.UnmapNotify), "the panel is gone")

    def search(self, query):
        """Types a query at once and waits until its results are painted."""
        self._forget()
        for character in query:
            self._press(KEYS.get(character, character))
        typed_at = time.monotonic()
        self._wait(lambda event: self._is_grid_painted(event) and time.monotonic() - typed_at > DEBOUNCE,
                   f"the results for {query!r} are painted")

    def scroll(self, notches, deadline=DEADLINE):
        """Turns the wheel at once, down where the number is positive, and waits until the grid is painted anew.
        Raises where it is at its end."""
        self._forget()
        self._move(IN_GRID)
        button = 5 if notches > 0 else 4
        for _ in range(abs(notches)):
            for kind in (Xlib.X.ButtonPress, Xlib.X.ButtonRelease):
                Xlib.ext.xtest.fake_input(self._display, kind, button)
        self._display.flush()
        self._wait(self._is_grid_painted, "the grid has scrolled", deadline)

    def wait_until_still(self):
        """Waits until nothing has been painted for a while, as when a scroll has come to its end."""
        while select.select([self._display], [], [], STILL)[0]:
            self._forget()

    def _find_panel(self):
        """The toolkit makes the panel's window in its first show and keeps it."""
        window = self._desktop.wait_for_panel()
        self._desktop.wait_for_settled_grid()
        self._panel = self._display.create_resource_object("window", window.identifier)
        self._panel.damage_create(Xlib.ext.damage.DamageReportRawRectangles)
        self._display.sync()

    def _code(self, character):
        return self._display.keysym_to_keycode(Xlib.XK.string_to_keysym(KEYS.get(character, character)))

    def _press(self, *names):
        """A chord: pressed in this order and released in the opposite one."""
        codes = [self._display.keysym_to_keycode(Xlib.XK.string_to_keysym(name)) for name in names]
        for code in codes:
            Xlib.ext.xtest.fake_input(self._display, Xlib.X.KeyPress, code)
        for code in reversed(codes):
            Xlib.ext.xtest.fake_input(self._display, Xlib.X.KeyRelease, code)
        self._display.flush()

    def _move(self, place):
        Xlib.ext.xtest.fake_input(self._display, Xlib.X.MotionNotify, x=place[0], y=place[1])
        self._display.flush()

    def _is_about_panel(self, event, kind):
        return event.type == kind and event.window == self._panel

    def _is_grid_painted(self, event):
        """The first row of what it paints for new contents reaches from edge to edge."""
        return (event.type == self._display.extension_event.DamageNotify and event.area.width == PANEL_SIZE[0]
                and event.area.y <= PANEL_HEAD < event.area.y + event.area.height)

    def _forget(self):
        """What has been painted until now answers nothing that is done from here on."""
        self._display.sync()
        while self._display.pending_events():
            self._display.next_event()

    def _wait(self, is_it, what, deadline=DEADLINE):
        end = time.monotonic() + deadline
        seen = []
        while True:
            while self._display.pending_events():
                event = self._display.next_event()
                if is_it(event):
                    return
                seen.append(self._described(event))
            if not select.select([self._display], [], [], max(0, end - time.monotonic()))[0]:
                raise DesktopError(f"waited {deadline:g} s in vain: {what}; came: {', '.join(seen[-20:])}")

    @staticmethod
    def _described(event):
        area = getattr(event, "area", None)
        return type(event).__name__ + (f" {area.x},{area.y} {area.width}x{area.height}" if area else "")
