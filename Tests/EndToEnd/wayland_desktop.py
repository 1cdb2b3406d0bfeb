"""A private Wayland desktop: sway without screens or input devices, a session bus, and what a user does in it.

It has two outputs side by side. What the user's hands do comes from a program that holds a virtual keyboard and a
virtual pointer for as long as the desktop lives: without them the seat could do nothing, and programs that start
then would never learn otherwise.
"""

import contextlib
import json
import os
import pathlib
import pwd
import shlex
import shutil
import subprocess

from desktop import DesktopError, Session, wait_until

OUTPUT_SIZE = (1280, 800)
OUTPUTS = ("HEADLESS-1", "HEADLESS-2")
# Who runs sway where everything else runs as root, which it refuses.
UNPRIVILEGED_USER = "nobody"

CONFIGURATION = """\
xwayland {xwayland}
default_border none
focus_follows_mouse no
mouse_warping none
{outputs}
exec {announcement}
"""


class Hand:
    """The user's keyboard and pointer: a program that does what it reads, line by line, and says when it has."""

    def __init__(self, desktop, binary):
        self._desktop = desktop
        self._answers = desktop.folder / "hand.log"
        with self._answers.open("wb") as answers, (desktop.folder / "hand-errors.log").open("wb") as errors:
            self._process = subprocess.Popen(
                [pathlib.Path(binary).resolve()], stdin=subprocess.PIPE, stdout=answers, stderr=errors,
                cwd=desktop.folder, env=desktop.environment)
        self._lines = 0
        self._wait_for_answer("ready")

    def do(self, *words):
        """Does one thing and waits until the compositor has been told."""
        self._process.stdin.write((" ".join(str(word) for word in words) + "\n").encode())
        self._process.stdin.flush()
        self._wait_for_answer(" ".join(str(word) for word in words))

    def _wait_for_answer(self, what):
        self._lines += 1

        def answer():
            lines = self._answers.read_text(encoding="utf-8").splitlines()
            if len(lines) < self._lines and self._process.poll() is not None:
                raise DesktopError(f"the hand ended with status {self._process.returncode}: {what}")
            return lines[self._lines - 1] if len(lines) >= self._lines else None
        answered = wait_until(answer, f"the hand does: {what}")
        if answered != "done":
            raise DesktopError(f"{what}: {answered}")

    def stop(self):
        self._process.stdin.close()
        try:
            self._process.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()


class WaylandDesktop(Session):
    """What the desktops have in common, whatever the compositor."""

    def __init__(self, folder, on_step=lambda name: None):
        super().__init__(folder, on_step)
        self.compositor = None
        self.hand = None
        self.clipboard_owner = None

    # What a user does

    def press(self, chord):
        """Presses and releases a chord of key symbols, such as "Control_L+v"."""
        keys = chord.split("+")
        for key in keys:
            self.hand.do("down", key)
        for key in reversed(keys):
            self.hand.do("up", key)

    @contextlib.contextmanager
    def held(self, key):
        """Holds a key down meanwhile."""
        self.hand.do("down", key)
        try:
            yield
        finally:
            self.hand.do("up", key)

    def type(self, letters):
        """Types lower-case letters and digits."""
        for letter in letters:
            self.press("space" if letter == " " else letter)

    def click(self):
        self.hand.do("button", "down")
        self.hand.do("button", "up")

    def copy(self, text, *options):
        """Puts a text on the clipboard from a program of its own, which ends when it loses it."""
        source = self.folder / "copied.txt"
        source.write_text(text, encoding="utf-8")
        # It would ask the desktop for the type, each in its own way.
        command = shlex.join(["exec", "wl-copy", "--foreground", "--type", "text/plain", *options])
        self.clipboard_owner = self.run("wl-copy", "sh", "-c", f'{command} < "$0"', source)
        wait_until(lambda: self.clipboard() == text, "the clipboard holds the copied text")

    def clipboard(self):
        """The clipboard's plain text, or None when there is none."""
        try:
            return self.call("wl-paste", "--no-newline", "--type", "text/plain;charset=utf-8", timeout=5)
        except (DesktopError, subprocess.TimeoutExpired):
            return None

    def clipboard_types(self):
        """What the clipboard can be had as; empty when there is nothing."""
        try:
            return self.call("wl-paste", "--list-types", timeout=5).split("\n")[:-1]
        except (DesktopError, subprocess.TimeoutExpired):
            return []


class SwayDesktop(WaylandDesktop):
    """Starts everything on entering and ends it on leaving. Files go into `folder`."""

    def __init__(self, folder, hand=None, xwayland=False, on_step=lambda name: None):
        """`hand` is the program that holds the input devices; without it there are none."""
        super().__init__(folder, on_step)
        self._hand_binary = hand
        self._wants_xwayland = xwayland
        self._compositor_folder = self.folder / "compositor"

    def _start(self):
        self._prepare_environment()
        self._on_step("starting the session bus")
        self._start_bus()
        self._on_step("starting the compositor")
        self._start_compositor()
        if self._hand_binary is not None:
            self.hand = Hand(self, self._hand_binary)
            self._cleanup.callback(self.hand.stop)
            wait_until(lambda: self._seat_can("pointer") and self._seat_can("keyboard"), "the seat has input devices")

    # What a user does

    def move_pointer(self, x, y):
        """To a place in the layout, where the second output is right of the first."""
        self.hand.do("move", x, y, OUTPUT_SIZE[0] * len(OUTPUTS), OUTPUT_SIZE[1])

    # What a user sees

    def sway(self, *command):
        """Gives the compositor a command of its own language."""
        self.call("swaymsg", "--", *command)

    def windows(self, app_id=None):
        """The windows of an application, or all, as the compositor describes them."""
        def leaves(node):
            if node.get("pid") is not None:
                yield node
            for child in node.get("nodes", []) + node.get("floating_nodes", []):
                yield from leaves(child)
        found = leaves(json.loads(self.call("swaymsg", "--raw", "--type", "get_tree")))
        return [window for window in found if app_id is None or self.name_of(window) == app_id]

    @staticmethod
    def name_of(window):
        """The application's identifier, or the class of an X11 window."""
        return window.get("app_id") or window.get("window_properties", {}).get("class")

    def focused_window(self):
        """The window that has the keys, or None."""
        return next((window for window in self.windows() if window["focused"]), None)

    def activate(self, window):
        """Brings a window to the front, as a click on a task bar does."""
        self.sway(f"[con_id={window['id']}] focus")
        wait_until(lambda: (self.focused_window() or {}).get("id") == window["id"], "the window has the focus")

    def wait_for_window(self, app_id):
        """Waits until a window of the application has the keys, and returns it."""
        def focused():
            window = self.focused_window()
            return window if window and self.name_of(window) == app_id else None
        return wait_until(focused, f"a window of {app_id} has the keys")

    def outputs(self):
        """The outputs and where they lie: name to x, y, width, height."""
        found = json.loads(self.call("swaymsg", "--raw", "--type", "get_outputs"))
        return {output["name"]: tuple(output["rect"][side] for side in ("x", "y", "width", "height"))
                for output in found}

    def save_screenshot(self, path):
        self.call("grim", path)

    # Setting up

    def _start_compositor(self):
        announcement = self._compositor_folder / "environment"
        self._compositor_folder.mkdir(mode=0o700)
        configuration = self._compositor_folder / "configuration"
        configuration.write_text(self._configuration(announcement), encoding="utf-8")
        command = ["sway", "--config", configuration]
        if os.geteuid() == 0:
            self._give_to_unprivileged_user(configuration)
            command = ["setpriv", f"--reuid={UNPRIVILEGED_USER}", "--regid", str(self._unprivileged_user().pw_gid),
                       "--clear-groups", "--", *command]
        environment = {
            **self.environment,
            "HOME": str(self._compositor_folder),
            "XDG_RUNTIME_DIR": str(self._compositor_folder),
            "WLR_BACKENDS": "headless",
            "WLR_HEADLESS_OUTPUTS": str(len(OUTPUTS)),
            "WLR_LIBINPUT_NO_DEVICES": "1",
            "WLR_RENDERER": "pixman",
        }
        self.compositor = self.run("sway", *command, environment=environment)
        self._wait_for_compositor(announcement)

    def _configuration(self, announcement):
        width, height = OUTPUT_SIZE
        outputs = "\n".join(f"output {name} resolution {width}x{height} position {width * index} 0"
                            for index, name in enumerate(OUTPUTS))
        # Renamed, so that it is complete when it is there.
        script = f"env > {announcement}.new && mv {announcement}.new {announcement}"
        if self._wants_xwayland:
            # The X server lets in its own user alone.
            script = f"xhost +si:localuser:{pwd.getpwuid(os.geteuid()).pw_name} && {script}"
        return CONFIGURATION.format(xwayland="enable" if self._wants_xwayland else "disable", outputs=outputs,
                                    announcement=shlex.join(["sh", "-c", script]))

    def _wait_for_compositor(self, announcement):
        def announced():
            if not self.compositor.is_running():
                raise DesktopError(f"sway ended with status {self.compositor.process.returncode}: "
                                   f"{self.compositor.end_of_text()}")
            return announcement.exists()
        wait_until(announced, "sway runs what it was told to")
        said = dict(line.split("=", 1) for line in announcement.read_text(encoding="utf-8").splitlines() if "=" in line)
        # An own runtime folder for the programs, because the compositor's may be another user's.
        self.environment.update(WAYLAND_DISPLAY=str(self._compositor_folder / said["WAYLAND_DISPLAY"]),
                                SWAYSOCK=said["SWAYSOCK"], XDG_SESSION_TYPE="wayland", XDG_CURRENT_DESKTOP="sway")
        if self._wants_xwayland:
            self.environment["DISPLAY"] = said["DISPLAY"]
        wait_until(lambda: set(self.outputs()) == set(OUTPUTS), "the outputs are there")

    @staticmethod
    def _unprivileged_user():
        return pwd.getpwnam(UNPRIVILEGED_USER)

    def _give_to_unprivileged_user(self, configuration):
        user = self._unprivileged_user()
        for path in (self._compositor_folder, configuration):
            os.chown(path, user.pw_uid, user.pw_gid)
        # Temporary folders are their maker's alone; this lets others pass, not look.
        self.folder.chmod(0o711)

    def _seat_can(self, kind):
        seats = json.loads(self.call("swaymsg", "--raw", "--type", "get_seats"))
        return any(device["type"] == kind for seat in seats for device in seat["devices"])


def missing_programs():
    """The programs that the desktop needs and this machine lacks."""
    needed = ("sway", "swaymsg", "wl-copy", "wl-paste", "grim", "foot", "xhost", "setpriv", "dbus-daemon")
    return [name for name in needed if shutil.which(name) is None]
