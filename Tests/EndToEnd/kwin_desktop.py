"""A private Wayland desktop: KWin with a virtual screen, a session bus, and what a user does in it.

KWin shows some of what it can do to a program alone whose desktop file asks for it. So every program that a test
starts for that has to be named beforehand.
"""

import itertools
import json
import pathlib
import shlex
import shutil

from desktop import DesktopError, wait_until
from wayland_desktop import Hand, WaylandDesktop

OUTPUT_SIZE = (1280, 800)
RESTRICTED_INTERFACES = ("org_kde_kwin_fake_input", "org_kde_plasma_window_management")
BUS_NAME = "org.kde.KWin"

DESKTOP_FILE = """\
[Desktop Entry]
Type=Application
Name={name}
Exec={program}
NoDisplay=true
X-KDE-Wayland-Interfaces={interfaces}
"""

# Windows without frames, each in the upper left corner.
KWIN_CONFIGURATION = """\
[org.kde.kdecoration2]
NoPlugin=true
[Windows]
Placement=ZeroCornered
"""

# An answer is a line of the compositor's log that begins with the question's name.
LIST_WINDOWS = """\
const described = workspace.clientList().map(window => ({
    id: String(window.internalId), app_id: String(window.resourceClass), title: window.caption, pid: window.pid,
    focused: window === workspace.activeClient, minimized: window.minimized,
    x: window.x, y: window.y, width: window.width, height: window.height}));
print(QUESTION + JSON.stringify(described));
"""
ACTIVATE = """\
for (const window of workspace.clientList()) {
    if (String(window.internalId) === ARGUMENT) {
        workspace.activeClient = window;
    }
}
print(QUESTION + "true");
"""
LIST_OUTPUTS = """\
const outputs = Array.from({length: workspace.numScreens}, (_, index) => {
    const area = workspace.clientArea(KWin.ScreenArea, index, workspace.currentDesktop);
    return [area.x, area.y, area.width, area.height];
});
print(QUESTION + JSON.stringify(outputs));
"""


class KWinDesktop(WaylandDesktop):
    """Starts everything on entering and ends it on leaving. Files go into `folder`."""

    def __init__(self, folder, hand=None, xwayland=False, layouts=("us",), permitted=(), outputs=1, opengl=False,
                 global_shortcuts=False, on_step=lambda name: None):
        """`hand` is the program that holds the input devices; without it there are none. `layouts` are the keyboard's,
        such as "us" and "us(dvorak)", with the first in use. `permitted` are programs that may press keys and see
        others' windows. Screenshots are there with OpenGL alone, which is drawn by the processor."""
        super().__init__(folder, on_step)
        self._hand_binary = hand
        self._wants_xwayland = xwayland
        self._layouts = layouts
        self._permitted = permitted
        self._output_count = outputs
        self._wants_opengl = opengl
        self._wants_global_shortcuts = global_shortcuts
        self._questions = itertools.count()

    def _start(self):
        self._prepare_environment()
        self._on_step("starting the session bus")
        self._start_bus()
        for program in (*self._permitted, *([self._hand_binary] if self._hand_binary else [])):
            self._permit(pathlib.Path(program).resolve())
        self._on_step("starting the compositor")
        self._start_compositor()
        if self._hand_binary is not None:
            self.hand = Hand(self, self._hand_binary)
            self._cleanup.callback(self.hand.stop)

    # What a user does

    def move_pointer(self, x, y):
        """To a place in the layout, where each output is right of the one before."""
        self.hand.do("move", x, y, OUTPUT_SIZE[0] * self._output_count, OUTPUT_SIZE[1])

    def use_layout(self, index):
        """Chooses among the keyboard layouts that the desktop was made with."""
        self._call_on_bus("org.kde.keyboard", "/Layouts", "org.kde.KeyboardLayouts.setLayout", index)

    # What a user sees

    def windows(self, app_id=None):
        """The windows of an application, or all, as the compositor describes them."""
        found = self._ask(LIST_WINDOWS)
        return [window for window in found if app_id is None or self.name_of(window) == app_id]

    @staticmethod
    def name_of(window):
        """The application's identifier, or the class of an X11 window."""
        return window["app_id"]

    def focused_window(self):
        """The window that has the keys, or None."""
        return next((window for window in self.windows() if window["focused"]), None)

    def activate(self, window):
        """Brings a window to the front, as a click on a task bar does."""
        self._ask(ACTIVATE, window["id"])
        wait_until(lambda: (self.focused_window() or {}).get("id") == window["id"], "the window has the focus")

    def wait_for_window(self, app_id):
        """Waits until a window of the application has the keys, and returns it."""
        def focused():
            window = self.focused_window()
            return window if window and self.name_of(window) == app_id else None
        return wait_until(focused, f"a window of {app_id} has the keys")

    def outputs(self):
        """The outputs and where they lie: name to x, y, width, height."""
        return {f"Virtual-{index}": tuple(place) for index, place in enumerate(self._ask(LIST_OUTPUTS))}

    def save_screenshot(self, path, output="Virtual-0"):
        """What an output shows, as a portable pixmap. The desktop must have OpenGL."""
        script = pathlib.Path(__file__).with_name("kwin_screenshot.py")
        self.call("sh", "-c", '/usr/bin/python3 "$0" "$1" > "$2"', script, output, path)

    def _ask(self, script, argument=None):
        """Has the compositor run a script, and returns what that prints."""
        question = f"glimmerwick-answer-{next(self._questions)}:"
        path = self.folder / "question.js"
        path.write_text(f"const QUESTION = {json.dumps(question)};\nconst ARGUMENT = {json.dumps(argument)};\n{script}",
                        encoding="utf-8")
        scripting = "org.kde.kwin.Scripting"
        self._call_on_bus(BUS_NAME, "/Scripting", f"{scripting}.loadScript", path, question)
        self._call_on_bus(BUS_NAME, "/Scripting", f"{scripting}.start")
        try:
            return json.loads(wait_until(lambda: self._answer(question), "the compositor answers a script"))
        finally:
            self._call_on_bus(BUS_NAME, "/Scripting", f"{scripting}.unloadScript", question)

    def _answer(self, question):
        self._fail_if_ended()
        answers = (line.partition(question)[2] for line in self.compositor.lines() if question in line)
        return next(answers, None)

    def _call_on_bus(self, name, path, method, *arguments):
        return self.call("gdbus", "call", "--session", "--dest", name, "--object-path", path, "--method", method,
                         *arguments)

    # Setting up

    def _permit(self, program):
        folder = pathlib.Path(self.environment["XDG_DATA_HOME"]) / "applications"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"org.example.{program.name}.desktop").write_text(
            DESKTOP_FILE.format(name=program.name, program=program, interfaces=",".join(RESTRICTED_INTERFACES)),
            encoding="utf-8")

    def _configure(self):
        folder = pathlib.Path(self.environment["XDG_CONFIG_HOME"])
        folder.mkdir(parents=True, exist_ok=True)
        layouts, _, variants = zip(*(layout.rstrip(")").partition("(") for layout in self._layouts))
        (folder / "kxkbrc").write_text(
            f"[Layout]\nUse=true\nLayoutList={','.join(layouts)}\nVariantList={','.join(variants)}\n", encoding="utf-8")
        (folder / "kwinrc").write_text(KWIN_CONFIGURATION, encoding="utf-8")
        (folder / "kdeglobals").write_text("[KDE]\nAnimationDurationFactor=0\n", encoding="utf-8")

    def _start_compositor(self):
        self._configure()
        # The packaged file may lock memory, which not every machine lets it; a copy does not ask.
        program = self.folder / "kwin_wayland"
        shutil.copyfile(shutil.which("kwin_wayland"), program)
        program.chmod(0o700)
        announcement = self.folder / "announcement"
        # Renamed, so that it is complete when it is there.
        script = f"env > {announcement}.new && mv {announcement}.new {announcement}"
        width, height = OUTPUT_SIZE
        command = [program, "--virtual", "--width", width, "--height", height, "--output-count", self._output_count,
                   "--no-lockscreen", "--socket", "wayland-glimmerwick"]
        if not self._wants_global_shortcuts:
            command.append("--no-global-shortcuts")
        if self._wants_xwayland:
            command.append("--xwayland")
        environment = {
            **self.environment,
            "KWIN_COMPOSE": "O2" if self._wants_opengl else "Q",
            "KWIN_SCREENSHOT_NO_PERMISSION_CHECKS": "1",
            "QT_LOGGING_RULES": "kwin_scripting.debug=true;js.debug=true",
        }
        self.compositor = self.run("kwin", *command, shlex.join(["sh", "-c", script]), environment=environment)
        self._wait_for_compositor(announcement)

    def _wait_for_compositor(self, announcement):
        def announced():
            self._fail_if_ended()
            return announcement.exists()
        wait_until(announced, "KWin runs what it was told to")
        said = dict(line.split("=", 1) for line in announcement.read_text(encoding="utf-8").splitlines() if "=" in line)
        self.environment.update(WAYLAND_DISPLAY=said["WAYLAND_DISPLAY"], XDG_SESSION_TYPE="wayland",
                                XDG_CURRENT_DESKTOP="KDE")
        if self._wants_xwayland:
            self.environment.update({name: said[name] for name in ("DISPLAY", "XAUTHORITY") if name in said})
        wait_until(lambda: len(self.outputs()) == self._output_count, "the outputs are there")

    def _fail_if_ended(self):
        if not self.compositor.is_running():
            raise DesktopError(f"KWin ended with status {self.compositor.process.returncode}: "
                               f"{self.compositor.end_of_text()}")


def missing_programs():
    """The programs that the desktop needs and this machine lacks."""
    needed = ("kwin_wayland", "kbuildsycoca5", "gdbus", "wl-copy", "wl-paste", "dbus-daemon")
    return [name for name in needed if shutil.which(name) is None]
