"""Sees when the picker is painted, and when it has nothing to do."""

import subprocess

import Xlib.XK
from measuring import PAINTED_ROWS
from processes import wait_until_idle

from desktop import PANEL_SIZE, DesktopError, Picker

CHORD = ("Control_L", "Super_L", "space")
CATALOGUE_LOADED = "[Glimmerwick] Manifest loaded successfully"
# Longer than the main thread rests while it has work to do.
PAUSE_MS = 15
# Longer than anything that is loaded makes the picker wait.
SETTLED_MS = 400
# Seconds without any work: longer than the 10 that the picker waits before it draws what is not urgent.
SPARE_TIME = 12.0


class PaintWatcher:
    """The program that presses keys and sees what they paint. Times are nanoseconds of the monotonic clock."""

    def __init__(self, desktop, context, binaries, rows=PAINTED_ROWS):
        self._desktop = desktop
        command = [binaries / "paint-watcher", *PANEL_SIZE, *rows]
        self._process = subprocess.Popen([str(part) for part in command], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, env=desktop.environment, text=True, bufsize=1)
        context.callback(self._stop)
        if self._process.stdout.readline() != "ready\n":
            raise DesktopError("the watcher of the panel does not start")

    def _stop(self):
        self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait()

    def keycode(self, name):
        return self._desktop.display.keysym_to_keycode(Xlib.XK.string_to_keysym(name))

    def start(self, command, *arguments):
        """Sends a command whose answer is fetched later, by `answer`."""
        self._process.stdin.write(" ".join([command, *map(str, arguments)]) + "\n")

    def answer(self):
        line = self._process.stdout.readline().strip()
        if not self._process.stdout or line.startswith("error") or self._process.poll() is not None:
            raise DesktopError(f"the watcher of the panel: {line or 'it has ended'}")
        return [int(word) for word in line.split()]

    def ask(self, command, *arguments):
        self.start(command, *arguments)
        return self.answer()

    def show(self):
        """Presses the shortcut; returns when it was pressed, and when the panel was mapped and painted."""
        return self.ask("show", *map(self.keycode, CHORD))

    def hide(self):
        return self.ask("hide", self.keycode("Escape"))[0]

    def press(self, key):
        """Returns when the key was pressed, when the picture first changed and when it last did, or zeros."""
        return self.ask("press", self.keycode(key))

    def save(self, path):
        """Writes the picture that shows are compared with."""
        plain = self._desktop.folder / "reference.ppm"
        self.ask("save", plain)
        self._desktop.call("convert", plain, path)

    def wait_until_settled(self, process, span=SETTLED_MS):
        """Waits until the main thread of a process has not been busy for so many milliseconds; returns when it last
        was."""
        return self.ask("settled", process, span)[0]

    def wait_until_warmed(self, picker):
        """Waits until a picker has drawn its first screen, and returns when it had: drawing follows the catalogue
        without a pause. What it does in its spare time goes on."""
        self.ask("logged", picker.program.output, CATALOGUE_LOADED)
        return self.wait_until_settled(picker.program.process.pid, PAUSE_MS)


def started_picker(desktop, binary, watcher):
    """A picker that has drawn its first screen and is ready; what it does in its spare time may go on."""
    picker = Picker(desktop, binary)
    picker.wait_until_ready()
    watcher.wait_until_settled(picker.program.process.pid)
    return picker


def rested_picker(desktop, binary, watcher):
    """A picker that has been started before, and that time had been left to for all it does in its spare time."""
    first = started_picker(desktop, binary, watcher)
    wait_until_idle(first.program.process.pid, span=SPARE_TIME)
    first.program.stop()
    picker = started_picker(desktop, binary, watcher)
    wait_until_idle(picker.program.process.pid, span=SPARE_TIME)
    return picker
