"""The applications that the tests type into, and what they report."""

import http.server
import json
import pathlib
import signal
import threading
import time

from desktop import DesktopError, wait_until, wait_until_stable

HERE = pathlib.Path(__file__).resolve().parent
PYTHON = "/usr/bin/python3"

MODIFIER_KEYS = {
    "control_l", "control_r", "shift_l", "shift_r", "alt_l", "alt_r", "super_l", "super_r",
    "control", "shift", "alt", "meta",
}


class Target:
    """Something with a text in a window. The text is what the application itself says it is."""

    # Whether `events` has every key press.
    tells_keys = True

    def __init__(self, desktop, name, window):
        self.desktop = desktop
        self.name = name
        self.window = window
        # What the text should be by now, which the tests keep up.
        self.expected = ""

    def text(self):
        raise NotImplementedError

    def arrived_at(self):
        """When the text last changed, in seconds since the epoch."""
        raise NotImplementedError

    def events(self):
        """Key presses and changes of the focus that the application reports, besides its text."""
        return []

    def process(self):
        """The process that owns the window."""
        return self.window.process()

    def focus(self):
        """Brings it to the front, ready to be typed into."""
        if self.desktop.active_window() != self.window:
            self.desktop.activate(self.window)

    def wait_for_more(self, text):
        """Waits until this much has been added to what was there, and nothing else."""
        self.expected += text
        self.wait_for_text(self.expected)

    def accept_text(self):
        """Takes the text as it is, once it is still, for what it should be."""
        self.expected = wait_until_stable(lambda: (self.text(),), f"the text of {self.name} is still")[0]

    def wait_for_text(self, expected):
        """Waits until the text is exactly this one."""
        self._wait_for(self.text, expected)

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


class FileTarget(Target):
    """Writes its text to a file whenever it changes."""

    def __init__(self, desktop, name, window, text_file):
        super().__init__(desktop, name, window)
        self._text_file = text_file

    def text(self):
        return self._text_file.read_text(encoding="utf-8", errors="backslashreplace")

    def arrived_at(self):
        return self._text_file.stat().st_mtime


class Editor(FileTarget):
    """A text editor that also writes down every key and focus event it gets."""

    def __init__(self, desktop, name, program, window, suffix=""):
        super().__init__(desktop, name, window, desktop.folder / f"{name}.text{suffix}")
        self.program = program
        self._event_file = desktop.folder / f"{name}.events{suffix}"

    @classmethod
    def start(cls, desktop, name, *command):
        program = desktop.run(name, *command, name, desktop.folder / f"{name}.text",
                              desktop.folder / f"{name}.events")
        return cls(desktop, name, program, desktop.wait_until_active(name))

    def open_second_window(self):
        """Another window of the same process, with a text of its own."""
        others = self.desktop.visible_windows(self.name)
        self.program.process.send_signal(signal.SIGUSR1)
        window = self.desktop.wait_until_active(self.name, other_than=others)
        return Editor(self.desktop, self.name, self.program, window, suffix=".2")

    def events(self):
        return self._event_file.read_text(encoding="utf-8").splitlines()

    def view(self):
        """The caret, the other end of the selection, both in characters, and how far it is scrolled."""
        path = self._text_file.with_name(f"{self._text_file.name}.view")
        return tuple(int(number) for number in path.read_text(encoding="utf-8").split())

    def buttons_since(self, count):
        """The mouse buttons pressed after the first `count` events."""
        return [event for event in self.events()[count:] if event.startswith("button ")]


class Terminal(FileTarget):
    """A program in a terminal that takes down every byte it is sent. Keys are among them."""

    tells_keys = False

    def __init__(self, desktop, name, wm_class, *command):
        text_file = desktop.folder / f"{name}.text"
        others = desktop.visible_windows(wm_class)
        self.program = desktop.run(name, *command, PYTHON, HERE / "terminal_target.py", text_file)
        window = desktop.wait_until_active(wm_class, other_than=others)
        wait_until(text_file.exists, f"{name} reads what the terminal sends")
        super().__init__(desktop, name, window, text_file)


class Browser:
    """A browser with a page of three fields, which reports to a server of ours on loopback."""

    FIELDS = ("input", "textarea", "contenteditable")

    def __init__(self, desktop, cleanup):
        self._lock = threading.Lock()
        self._texts = dict.fromkeys(self.FIELDS, "")
        self._arrived = dict.fromkeys(self.FIELDS, 0.0)
        self._events = []
        self._latest_state = 0
        self._wanted = None
        self._focused = None
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self._handler())
        server.daemon_threads = True
        threading.Thread(target=server.serve_forever, daemon=True).start()
        cleanup(server.server_close)
        cleanup(server.shutdown)
        # It refuses to run as root in its sandbox.
        self.program = desktop.run(
            "chromium", "chromium", "--no-sandbox", "--no-first-run", "--disable-gpu", "--disable-dev-shm-usage",
            "--password-store=basic", "--disable-component-update", "--disable-background-networking",
            f"--user-data-dir={desktop.folder / 'chromium'}", f"--app=http://127.0.0.1:{server.server_port}/")
        self.window = desktop.wait_until_active("Chromium", deadline=60)
        self.targets = [BrowserField(desktop, self, field) for field in self.FIELDS]

    def text(self, field):
        with self._lock:
            return self._texts[field]

    def arrived_at(self, field):
        with self._lock:
            return self._arrived[field]

    def events(self):
        with self._lock:
            return list(self._events)

    def focus(self, field):
        with self._lock:
            if self._focused != field:
                self._wanted = field

        def is_focused():
            with self._lock:
                return self._focused == field
        wait_until(is_focused, f"the {field} of the page has the focus")

    def _take(self, path, report):
        with self._lock:
            if path in ("/state", "/wanted"):
                self._take_state(report)
            elif path == "/focus":
                self._focused = report["field"]
            else:
                self._events.append(report["event"])

    def _take_state(self, report):
        # Reports come over several connections, and one may overtake another.
        if report["number"] < self._latest_state:
            return
        self._latest_state = report["number"]
        for field, text in report["texts"].items():
            if self._texts[field] != text:
                self._texts[field] = text
                self._arrived[field] = time.time()

    def _wanted_field(self):
        with self._lock:
            return self._wanted or ""

    def _handler(self):
        browser = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_GET(self):
                if self.path == "/":
                    self._send("text/html", (HERE / "browser_target.html").read_bytes())
                else:
                    self.send_error(404)

            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                browser._take(self.path, json.loads(body))
                self._send("text/plain", browser._wanted_field().encode())

            def _send(self, kind, body):
                self.send_response(200)
                self.send_header("Content-Type", kind)
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *_):
                pass

        return Handler


class BrowserField(Target):
    """One field of the browser's page."""

    def __init__(self, desktop, browser, field):
        super().__init__(desktop, f"chromium-{field}", browser.window)
        self._browser = browser
        self._field = field

    def text(self):
        return self._browser.text(self._field)

    def arrived_at(self):
        return self._browser.arrived_at(self._field)

    def events(self):
        return self._browser.events()

    def focus(self):
        super().focus()
        self._browser.focus(self._field)


def gtk_target(desktop, name="glimmer-gtk-target"):
    return Editor.start(desktop, name, PYTHON, HERE / "gtk_target.py")


def qt_target(desktop, binary, name="glimmer-qt-target"):
    return Editor.start(desktop, name, pathlib.Path(binary).resolve())


def xterm(desktop, name="xterm"):
    return Terminal(desktop, name, "XTerm", "xterm", "-e")


def konsole(desktop, name="konsole"):
    return Terminal(desktop, name, "konsole", "konsole", "--separate", "--notransparency", "-e")


def gnome_terminal(desktop, name="gnome-terminal"):
    """Every window of it belongs to the one process that the first starts."""
    return Terminal(desktop, name, "Gnome-terminal", "gnome-terminal", "--wait", "--")
