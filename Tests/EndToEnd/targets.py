"""The applications that the tests type into, and what they report."""

import pathlib

from desktop import DesktopError, wait_until

HERE = pathlib.Path(__file__).resolve().parent

MODIFIER_KEYS = {
    "control_l", "control_r", "shift_l", "shift_r", "alt_l", "alt_r", "super_l", "super_r",
    "control", "shift", "alt", "meta",
}


class Target:
    """A text editor that writes down its text, and every key and focus event it gets."""

    def __init__(self, desktop, name, *command):
        self.desktop = desktop
        self.name = name
        self._text_file = desktop.folder / f"{name}.text"
        self._event_file = desktop.folder / f"{name}.events"
        self.program = desktop.run(name, *command, name, self._text_file, self._event_file)
        self.window = desktop.wait_until_active(name)

    def text(self):
        return self._text_file.read_text(encoding="utf-8")

    def wait_for_text(self, expected):
        """Waits until the text is exactly this one."""
        self._wait_for(self.text, expected)

    def events(self):
        return self._event_file.read_text(encoding="utf-8").splitlines()

    def keys_since(self, count):
        """The chords pressed after the first `count` events, without presses of modifier keys themselves.

        Releases are left out. A key that closes the picker is still down when the keyboard goes back to the
        application, and X11 has no means to withhold its release; one that nothing precedes does nothing.
        """
        presses = [event for event in self.events()[count:] if event.startswith("press ")]
        chords = [press.removeprefix("press ") for press in presses]
        return [chord for chord in chords if chord.split("+")[-1].lower() not in MODIFIER_KEYS]

    def wait_for_keys_since(self, count, expected):
        """Waits until the chords pressed after the first `count` events are exactly these."""
        self._wait_for(lambda: self.keys_since(count), expected)

    def _wait_for(self, observe, expected):
        try:
            wait_until(lambda: observe() == expected, "")
        except DesktopError:
            raise AssertionError(f"{self.name} shows {observe()!r} instead of {expected!r}") from None


def gtk_target(desktop, name="glimmer-gtk-target"):
    return Target(desktop, name, "/usr/bin/python3", HERE / "gtk_target.py")


def qt_target(desktop, binary, name="glimmer-qt-target"):
    return Target(desktop, name, pathlib.Path(binary).resolve())
