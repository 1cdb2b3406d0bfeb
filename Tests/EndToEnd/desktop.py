"""A private X11 desktop: a virtual screen, a session bus, a window manager, and what a user does in it.

Everything waits for a condition with a deadline; nothing waits for time to pass. Programs are ended by the
process that was started, in the opposite order.
"""

import contextlib
import ctypes
import functools
import os
import pathlib
import shlex
import subprocess
import time

import Xlib.display
import Xlib.error
import Xlib.protocol.event
import Xlib.X
import Xlib.Xatom
import Xlib.XK
import Xlib.ext.xtest

DEADLINE = 20.0
POLL = 0.01
LONGEST_EXCERPT = 64 * 1024
# When and how often keys that are held repeat, as "xset r rate" takes it: by default as the server likes. The picker
# lets go of a key when it has done what the key is for, and under sanitizers that can take longer than servers wait.
USUAL_REPEAT = ("10000", "25") if "ASAN_OPTIONS" in os.environ else ()
PANEL_CLASS = "com.glimmerwick.Glimmerwick"
PANEL_SIZE = (320, 400)
# The parts of the panel above and below the grid: the search field, whose caret blinks, and the tab bar.
PANEL_HEAD, PANEL_FOOT = 52, 36


def lock_group(display, group):
    """Locks a group of the keyboard; python-xlib does not know how."""
    xlib = ctypes.CDLL("libX11.so.6")
    xlib.XOpenDisplay.restype = ctypes.c_void_p
    xlib.XOpenDisplay.argtypes = [ctypes.c_char_p]
    for function, *more in ((xlib.XkbLockGroup, ctypes.c_uint, ctypes.c_uint), (xlib.XSync, ctypes.c_int),
                            (xlib.XCloseDisplay,)):
        function.argtypes = [ctypes.c_void_p, *more]
    connection = xlib.XOpenDisplay(display.encode())
    core_keyboard = 0x100
    xlib.XkbLockGroup(connection, core_keyboard, group)
    xlib.XSync(connection, 0)
    xlib.XCloseDisplay(connection)


class DesktopError(Exception):
    """Something that should have happened in the desktop did not."""


def wait_until(condition, what, deadline=DEADLINE):
    """Polls until the condition gives something true and returns that; raises with `what` at the deadline."""
    end = time.monotonic() + deadline
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise DesktopError(f"waited {deadline:g} s in vain: {what}")
        time.sleep(POLL)


def wait_until_stable(observe, what, span=0.3, deadline=DEADLINE):
    """Polls until `observe` has given the same true value for `span` seconds, and returns it."""
    end = time.monotonic() + deadline
    value, since = observe(), time.monotonic()
    while not value or time.monotonic() - since < span:
        if time.monotonic() > end:
            raise DesktopError(f"waited {deadline:g} s in vain: {what}")
        time.sleep(POLL)
        latest = observe()
        if latest != value:
            value, since = latest, time.monotonic()
    return value


def shows_emoji(picture):
    """Whether a picture of four bytes a pixel is as colourful as emoji are; an empty grid is not."""
    return len(set(memoryview(picture).cast("I"))) > 64


class Program:
    """A program that runs in the desktop, with its output in a file."""

    def __init__(self, name, process, output):
        self.name = name
        self.process = process
        self.output = output

    def text(self):
        return self.output.read_text(encoding="utf-8", errors="replace")

    def lines(self):
        return self.text().splitlines()

    def end_of_text(self):
        """As much of the output as anybody wants to read, without the middle of endless lines."""
        with self.output.open("rb") as file:
            file.seek(max(0, self.output.stat().st_size - LONGEST_EXCERPT))
            lines = file.read().decode(errors="replace").splitlines(keepends=True)
        return "".join(line if len(line) < 1000 else f"{line[:400]} [...] {line[-400:]}" for line in lines)

    def is_running(self):
        return self.process.poll() is None

    def stop(self):
        if self.is_running():
            self.process.terminate()
            try:
                self.process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                self.process.kill()
        self.process.wait()


class Window:
    """A window by its identifier, asked anew each time."""

    def __init__(self, desktop, identifier):
        self.identifier = identifier
        self._resource = desktop.display.create_resource_object("window", identifier)
        self._desktop = desktop

    def __eq__(self, other):
        return isinstance(other, Window) and other.identifier == self.identifier

    def __hash__(self):
        return hash(self.identifier)

    def is_visible(self):
        try:
            return self._resource.get_attributes().map_state == Xlib.X.IsViewable
        except (Xlib.error.BadWindow, Xlib.error.BadDrawable):
            return False

    def is_override_redirect(self):
        try:
            return bool(self._resource.get_attributes().override_redirect)
        except (Xlib.error.BadWindow, Xlib.error.BadDrawable):
            return False

    def process(self):
        """The process that owns the window."""
        return self._desktop._property(self._resource, "_NET_WM_PID")[0]

    def close(self):
        """Asks its program to close it, as the button in its frame does."""
        display, root = self._desktop.display, self._desktop.root
        root.send_event(
            Xlib.protocol.event.ClientMessage(window=self._resource, client_type=display.get_atom("_NET_CLOSE_WINDOW"),
                                              data=(32, [Xlib.X.CurrentTime, 2, 0, 0, 0])),
            event_mask=Xlib.X.SubstructureRedirectMask | Xlib.X.SubstructureNotifyMask)
        display.flush()

    def touch(self):
        """Changes a property of it that means nothing: whoever watches the window gets an event with the time."""
        display = self._desktop.display
        self._resource.change_property(display.get_atom("_GLIMMERWICK_TOUCHED"), Xlib.Xatom.INTEGER, 32, [0])
        display.sync()

    def geometry(self):
        """x, y, width, height on the screen."""
        geometry = self._resource.get_geometry()
        origin = self._desktop.root.translate_coords(self._resource, 0, 0)
        return origin.x, origin.y, geometry.width, geometry.height


class Session(contextlib.AbstractContextManager):
    """What desktops have in common: folders, a session bus, programs. Starts on entering, ends on leaving."""

    def __init__(self, folder, on_step=lambda name: None):
        self.folder = pathlib.Path(folder)
        self._on_step = on_step
        self._cleanup = contextlib.ExitStack()
        self.programs = []
        self.environment = {}

    def __enter__(self):
        with contextlib.ExitStack() as guard:
            guard.push(self)
            self._start()
            guard.pop_all()
        return self

    def __exit__(self, *exception):
        self._cleanup.close()
        return False

    def _start(self):
        """Starts what the desktop consists of, in order."""
        raise NotImplementedError

    # Programs

    def run(self, name, *command, descriptors=(), environment=None):
        """Starts a program that lives until the desktop ends; in the desktop's environment unless told otherwise."""
        output = self.folder / f"{name}.log"
        with output.open("wb") as file:
            process = subprocess.Popen(
                [str(part) for part in command], pass_fds=descriptors, cwd=self.folder,
                stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.STDOUT,
                env=self.environment if environment is None else environment)
        program = Program(name, process, output)
        self.programs.append(program)
        self._cleanup.callback(program.stop)
        return program

    def call(self, *command, text=None, timeout=DEADLINE):
        """Runs a short command in the desktop and returns its output; raises when it fails."""
        result = subprocess.run([str(part) for part in command], input=text, capture_output=True, check=False,
                                encoding="utf-8", errors="backslashreplace", env=self.environment, timeout=timeout,
                                cwd=self.folder)
        if result.returncode != 0:
            raise DesktopError(f"{command[0]} failed ({result.returncode}): {result.stderr.strip()}")
        return result.stdout

    def crash(self, name):
        """Kills a program of the desktop, which has no chance to do anything about it."""
        program = next(program for program in self.programs if program.name == name)
        program.process.kill()
        program.process.wait()

    # Setting up

    def _prepare_environment(self):
        home = self.folder / "home"
        runtime = self.folder / "runtime"
        home.mkdir(parents=True, exist_ok=True)
        runtime.mkdir(mode=0o700, exist_ok=True)
        inherited = {name: value for name, value in os.environ.items()
                     if name == "PATH" or name.endswith("SAN_OPTIONS")}
        self.environment = {
            **inherited,
            "HOME": str(home),
            "XDG_RUNTIME_DIR": str(runtime),
            "XDG_CONFIG_HOME": str(home / ".config"),
            "XDG_CACHE_HOME": str(home / ".cache"),
            "XDG_DATA_HOME": str(home / ".local" / "share"),
            "LANG": "C.UTF-8",
            # Settings of the programs around the picker stay in memory, and no helper services are started.
            "GSETTINGS_BACKEND": "memory",
            "GIO_USE_VFS": "local",
            "GTK_USE_PORTAL": "0",
            "NO_AT_BRIDGE": "1",
        }

    def _start_bus(self):
        with self._reported_line("the session bus's address") as (descriptor, read):
            self.run("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
                     f"--print-address={descriptor}", descriptors=(descriptor,))
            address = read()
        # What happens to the machine itself is none of the programs' business.
        self.environment.update(DBUS_SESSION_BUS_ADDRESS=address, DBUS_SYSTEM_BUS_ADDRESS=address)

    @contextlib.contextmanager
    def _reported_line(self, what):
        """A descriptor for a program to report one line on, and the function that waits for that line."""
        reading, writing = os.pipe()
        received = bytearray()

        def read():
            os.close(writing)
            os.set_blocking(reading, False)

            def complete():
                with contextlib.suppress(BlockingIOError):
                    received.extend(os.read(reading, 4096))
                return received.endswith(b"\n")
            wait_until(complete, what)
            return received.decode().strip()
        try:
            yield writing, read
        finally:
            os.close(reading)


class Desktop(Session):
    """Starts everything on entering and ends it on leaving. Files go into `folder`."""

    def __init__(self, folder, compositor=False, window_manager="openbox", nested=False,
                 on_step=lambda name: None):
        """In a nested desktop `hardware` works the keyboard as a user's fingers do. Elsewhere keys are pressed
        by a test extension alone, whose keyboard is one that programs can release and press themselves."""
        super().__init__(folder, on_step)
        self._wants_compositor = compositor
        self._window_manager = window_manager
        self._is_nested = nested
        self._hardware_environment = None
        self.clipboard_owner = None
        self.display = None
        self.root = None

    def _start(self):
        self._on_step("starting the virtual display")
        self._prepare_environment()
        self._start_screen()
        self._on_step("starting the session bus")
        self._start_bus()
        self._on_step("starting the window manager")
        self._start_window_manager()

    # What a user does

    def press(self, chord):
        """Presses and releases a chord, as xdotool writes it: "ctrl+super+space"."""
        self.call("xdotool", "key", chord)

    @contextlib.contextmanager
    def held(self, key):
        """Holds a key down meanwhile."""
        self.call("xdotool", "keydown", key)
        try:
            yield
        finally:
            self.call("xdotool", "keyup", key)

    def press_at_once(self, *keys):
        """Presses keys one after the other, faster than anybody types."""
        self.call("xdotool", "key", "--delay", "0", *keys)

    def press_now(self, *keys):
        """Presses single keys without starting a program for it; returns when that was, since the epoch."""
        pressed_at = time.time()
        for key in keys:
            code = self.display.keysym_to_keycode(Xlib.XK.string_to_keysym(key))
            for kind in (Xlib.X.KeyPress, Xlib.X.KeyRelease):
                Xlib.ext.xtest.fake_input(self.display, kind, code)
        self.display.flush()
        return pressed_at

    def type(self, text):
        self.call("xdotool", "type", "--delay", "15", text)

    def hardware(self, *arguments):
        """Presses, holds and releases keys of the keyboard itself, by xdotool's words: "keydown", "shift"."""
        subprocess.run(["xdotool", *arguments], env=self._hardware_environment, timeout=DEADLINE, check=True)

    @contextlib.contextmanager
    def held_on_hardware(self, key):
        self.hardware("keydown", key)
        try:
            yield
        finally:
            self.hardware("keyup", key)

    def activate(self, window):
        """Brings a window to the front, as a click on a task bar does."""
        # xfwm4 moves the focus as of the last event that it saw, and the server refuses that when the focus has
        # moved since. It would see a click; what it sees instead is this.
        window.touch()
        self.call("xdotool", "windowactivate", window.identifier)
        wait_until(lambda: self.active_window() == window, "the window is active")

    def use_layout(self, layout, group=0):
        """Loads keyboard layouts, "us,ru", and locks one of them."""
        self.call("setxkbmap", "-layout", layout)
        if group:
            lock_group(self.environment["DISPLAY"], group)

    def click(self):
        self.call("xdotool", "click", "1")

    def turn_wheel(self, notches):
        """Turns the mouse wheel where the pointer is, down when the number is positive."""
        self.call("xdotool", "click", "--repeat", abs(notches), "--delay", "20", "5" if notches > 0 else "4")

    def move_pointer(self, x, y):
        self.call("xdotool", "mousemove", x, y)

    def copy(self, text):
        """Puts a text on the clipboard from a program of its own."""
        source = self.folder / "copied.txt"
        source.write_text(text, encoding="utf-8")
        self._own_clipboard(source)
        wait_until(lambda: self.clipboard() == text, "the clipboard holds the copied text")

    def _own_clipboard(self, source, *options):
        """The owner ends when it loses the clipboard, or when it is stopped."""
        self.clipboard_owner = self.run("xclip", "xclip", "-quiet", "-selection", "clipboard", *options, "-in", source)

    def copy_image(self):
        """Puts a picture on the clipboard and no text."""
        picture = self.folder / "copied.png"
        self.call("convert", "-size", "8x8", "xc:red", picture)
        self._own_clipboard(picture, "-target", "image/png")
        wait_until(lambda: "image/png" in self.clipboard_targets(), "the clipboard holds the picture")

    def empty_clipboard(self):
        """What is left when the program that owned the clipboard has ended."""
        self.copy("owned by a program that ends")
        self.clipboard_owner.stop()
        wait_until(lambda: not self.clipboard_targets(), "nobody owns the clipboard")

    def clipboard_targets(self):
        """What the clipboard can be had as; empty when there is nothing."""
        try:
            return self.call("xclip", "-selection", "clipboard", "-target", "TARGETS", "-out", timeout=5).split()
        except (DesktopError, subprocess.TimeoutExpired):
            return []

    def clipboard(self):
        """The clipboard's plain text, or None when there is none."""
        try:
            return self.call("xclip", "-selection", "clipboard", "-target", "UTF8_STRING", "-out", timeout=5)
        except (DesktopError, subprocess.TimeoutExpired):
            return None

    # What a user sees

    def active_window(self):
        """The window that the window manager calls active, or None."""
        found = self._property(self.root, "_NET_ACTIVE_WINDOW")
        return Window(self, found[0]) if found is not None and found[0] != 0 else None

    def visible_windows(self, wm_class):
        """The visible windows with this class or instance, outermost first."""
        found = []
        pending = [self.root]
        while pending:
            window = pending.pop(0)
            with contextlib.suppress(Xlib.error.BadWindow, Xlib.error.BadDrawable):
                candidate = Window(self, window.id)
                if wm_class in (window.get_wm_class() or ()) and candidate.is_visible():
                    found.append(candidate)
                pending.extend(window.query_tree().children)
        return found

    def panel(self):
        """The picker's panel while it is visible, or None."""
        for child in self.root.query_tree().children:
            with contextlib.suppress(Xlib.error.BadWindow, Xlib.error.BadDrawable):
                window = Window(self, child.id)
                if (window.is_override_redirect() and window.is_visible()
                        and PANEL_CLASS in (child.get_wm_class() or ())
                        and window.geometry()[2:] == PANEL_SIZE):
                    return window
        return None

    def picture_of_grid(self):
        """The pixels of the picker's grid as they are on the screen, or None while the picker is hidden."""
        panel = self.panel()
        if panel is None:
            return None
        try:
            x, y, width, height = panel.geometry()
            image = self.root.get_image(x, y + PANEL_HEAD, width, height - PANEL_HEAD - PANEL_FOOT,
                                        Xlib.X.ZPixmap, 0xFFFFFFFF)
        except (Xlib.error.BadWindow, Xlib.error.BadDrawable, Xlib.error.BadMatch):
            return None
        return bytes(image.data)

    def keys_are_up(self):
        return not any(self.display.query_keymap())

    def save_screenshot(self, path):
        self.call("import", "-window", "root", path)

    # Waiting

    def wait_for_panel(self):
        return wait_until(self.panel, "the picker's panel is visible")

    def wait_for_no_panel(self):
        wait_until(lambda: self.panel() is None, "the picker's panel is hidden")

    def wait_for_settled_grid(self, other_than=None):
        """Waits until the grid shows emoji, others than in a picture, and is still; returns its picture."""
        def observe():
            picture = self.picture_of_grid()
            return picture if picture and picture != other_than and shows_emoji(picture) else None
        return wait_until_stable(observe, "the grid shows emoji and is still")

    def wait_until_active(self, wm_class, other_than=(), deadline=DEADLINE):
        """Waits until a window with this class, none of the others, is visible and active; returns it."""
        def active():
            window = self.active_window()
            return window if window in self.visible_windows(wm_class) and window not in other_than else None
        return wait_until(active, f"the window of {wm_class} is visible and active", deadline)

    # Setting up

    def _start_screen(self):
        self._start_server("xvfb", "Xvfb", "-screen", "0", "1280x800x24", "-noreset")
        if self._is_nested:
            self._hardware_environment = dict(self.environment)
            self._start_server("xephyr", "Xephyr", "-screen", "1280x800x24", "-no-host-grab", "-noreset")
        self.display = Xlib.display.Display(self.environment["DISPLAY"])
        self._cleanup.callback(self._close_display)
        self.root = self.display.screen().root
        if self._is_nested:
            self._wait_for_hardware()

    def _close_display(self):
        # A server that has crashed needs no goodbye.
        with contextlib.suppress(Xlib.error.ConnectionClosedError):
            self.display.close()

    def _start_server(self, name, *command):
        if USUAL_REPEAT:
            command = (*command, "-ardelay", USUAL_REPEAT[0])
        with self._reported_line("the virtual display's number") as (descriptor, read):
            self.run(name, *command, "-displayfd", descriptor, "-nolisten", "tcp", descriptors=(descriptor,))
            number = read()
        self.environment["DISPLAY"] = f":{number}"

    def _wait_for_hardware(self):
        """The inner server gets the outer one's keys once its window is there and has the pointer in it."""
        def reaches_inner():
            self.hardware("mousemove", "400", "300")
            with self.held_on_hardware("Shift_L"), contextlib.suppress(DesktopError):
                return wait_until(lambda: any(self.display.query_keymap()), "", deadline=0.5)
            return False
        wait_until(reaches_inner, "the nested server gets keys")

    def _start_window_manager(self):
        if self._wants_compositor:
            self.run("picom", "picom", "--config", "/dev/null", "--backend", "xrender")
            selection = self.display.get_atom("_NET_WM_CM_S0")
            wait_until(lambda: self.display.get_selection_owner(selection) != Xlib.X.NONE,
                       "the compositor runs")
        announced = functools.partial(self._property, self.root, "_NET_SUPPORTING_WM_CHECK")
        if self._window_manager == "xfwm4":
            self.run("xfwm4", "xfwm4", "--compositor=off")
            # It tells which window is active, none at first, once it takes care of windows.
            wait_until(lambda: announced() and self._has_property(self.root, "_NET_ACTIVE_WINDOW"),
                       "the window manager is ready")
            return
        # The window manager announces itself before it takes care of windows, and would never see one that is
        # mapped in between. The command that it runs once it has started tells when it does.
        started = self.folder / "openbox-started"
        self.run("openbox", "openbox", "--sm-disable", "--startup", f"touch {shlex.quote(str(started))}")
        wait_until(lambda: started.exists() and announced(), "the window manager is ready")

    def _has_property(self, window, name):
        return window.get_full_property(self.display.get_atom(name), Xlib.X.AnyPropertyType) is not None

    def _property(self, window, name):
        found = window.get_full_property(self.display.get_atom(name), Xlib.X.AnyPropertyType)
        return found.value if found and len(found.value) > 0 else None


def files_in_memory(process):
    with open(f"/proc/{process}/maps", encoding="utf-8") as maps:
        return {line.split("/")[-1].strip() for line in maps if "/" in line}


def children_of_task(task):
    try:
        return (task / "children").read_text(encoding="ascii").split()
    except (FileNotFoundError, ProcessLookupError):
        # Of a thread that has just ended.
        return []


class Picker:
    """The product, started in a desktop."""

    SHORTCUT = "ctrl+super+space"

    def __init__(self, desktop, binary, *flags):
        self.desktop = desktop
        self.program = desktop.run("glimmerwick", pathlib.Path(binary).resolve(), *flags)

    def wait_for_line(self, start, deadline=DEADLINE):
        """Waits for a log line that starts so, and returns it."""
        return self.wait_for_lines(start, 1, deadline)[0]

    def wait_for_lines(self, start, count, deadline=DEADLINE):
        """Waits for so many log lines that start so, and returns them."""
        def find():
            lines = [line for line in self.program.lines() if line.startswith(start)]
            if len(lines) >= count:
                return lines
            if not self.program.is_running():
                raise DesktopError(f"the picker ended with status {self.program.process.returncode}")
            return None
        return wait_until(find, f'the picker logs "{start}" ({count})', deadline)

    def count_lines(self, start):
        return sum(line.startswith(start) for line in self.program.lines())

    def wait_until_ready(self, deadline=DEADLINE):
        self.wait_for_line("[Glimmerwick] Manifest loaded successfully", deadline)
        self.wait_for_line("[SearchManager] Index built: ", deadline)

    def loaded_files(self):
        """What the process has in its memory, by the names of the files."""
        return files_in_memory(self.program.process.pid)

    def children(self):
        """The processes that it has started, even those that have ended, until it takes note of that."""
        tasks = pathlib.Path(f"/proc/{self.program.process.pid}/task")
        return [int(child) for task in tasks.iterdir() for child in children_of_task(task)]

    def is_open(self):
        """Whether it says that it is shown, which it does once it also has the keys. Grabbing the keyboard to find
        out would tell the application that it has lost the focus."""
        answer = self.desktop.call(
            "gdbus", "call", "--session", "--dest", PANEL_CLASS, "--object-path", "/com/glimmerwick/Glimmerwick",
            "--method", "org.freedesktop.DBus.Properties.Get", "com.glimmerwick.Picker1", "Visible")
        return "true" in answer

    def open(self):
        """Presses the shortcut; returns the panel and the picture of the grid in browsing mode."""
        self.desktop.press(self.SHORTCUT)
        panel = self.desktop.wait_for_panel()
        return panel, self.desktop.wait_for_settled_grid()

    def search(self, query, browsing):
        """Types a query and waits until its results are on the screen."""
        self.desktop.type(query)
        return self.desktop.wait_for_settled_grid(other_than=browsing)
