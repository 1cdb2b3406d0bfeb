"""A private Wayland desktop of the barest kind: weston without screens, input devices or a seat, and a session bus.

It has none of the protocols that let a program do something for other programs, so whatever works here needs none.
"""

import os
import re
import shutil
import socket

from desktop import DesktopError, Session, wait_until

OUTPUT_SIZE = (1280, 800)
SOCKET = "wayland-weston"


class WestonDesktop(Session):
    """Starts everything on entering and ends it on leaving. Files go into `folder`."""

    def __init__(self, folder, xwayland=False, on_step=lambda name: None):
        super().__init__(folder, on_step)
        self._wants_xwayland = xwayland
        self.compositor = None

    def _start(self):
        self._prepare_environment()
        self._on_step("starting the session bus")
        self._start_bus()
        self._on_step("starting the compositor")
        self._start_compositor()

    def _start_compositor(self):
        width, height = OUTPUT_SIZE
        command = ["weston", "--backend=headless-backend.so", f"--socket={SOCKET}", "--no-config", "--idle-time=0",
                   f"--width={width}", f"--height={height}"]
        if self._wants_xwayland:
            command.append("--xwayland")
        self.compositor = self.run("weston", *command)
        path = os.path.join(self.environment["XDG_RUNTIME_DIR"], SOCKET)
        wait_until(lambda: self._is_running() and accepts(path), "weston takes connections")
        self.environment.update(WAYLAND_DISPLAY=SOCKET, XDG_SESSION_TYPE="wayland")
        if self._wants_xwayland:
            display = wait_until(lambda: self._is_running() and self._x11_display(), "weston has an X11 display")
            self.environment["DISPLAY"] = display

    def _x11_display(self):
        """The display that X11 applications start the X server by, or None."""
        found = re.search(r"xserver listening on display (:\d+)", self.compositor.text())
        return found and found[1]

    def _is_running(self):
        if not self.compositor.is_running():
            raise DesktopError(f"weston ended with status {self.compositor.process.returncode}: "
                               f"{self.compositor.end_of_text()}")
        return True


def accepts(path):
    """Whether somebody listens on a socket."""
    with socket.socket(socket.AF_UNIX) as client:
        return client.connect_ex(path) == 0


def missing_programs():
    """The programs that the desktop needs and this machine lacks."""
    needed = ("weston", "Xwayland", "dbus-daemon")
    return [name for name in needed if shutil.which(name) is None]
