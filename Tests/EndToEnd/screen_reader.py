"""A screen reader's view of the programs in a desktop."""

import os

from desktop import DesktopError, wait_until

BUS_LAUNCHER = "/usr/libexec/at-spi-bus-launcher"


class ScreenReader:
    """A client of the accessibility bus that takes down which objects get the focus and are selected."""

    def __init__(self, desktop):
        self._desktop = desktop
        desktop.run("at-spi-bus-launcher", BUS_LAUNCHER, "--launch-immediately")
        wait_until(lambda: self._enables("IsEnabled") and self._enables("ScreenReaderEnabled"),
                   "the accessibility bus is there")
        # Its library finds the bus by the environment, when it is loaded.
        os.environ.update(desktop.environment)
        import pyatspi
        from gi.repository import Atspi, GLib
        self.api = pyatspi
        self._atspi = Atspi
        self._gone = GLib.Error
        self._context = GLib.MainContext.default()
        self.focused = []
        self.selected = []
        self._last_focused = None
        pyatspi.Registry.registerEventListener(self._note_focus, "object:state-changed:focused")
        pyatspi.Registry.registerEventListener(self._note_selection, "object:state-changed:selected")

    def _enables(self, what):
        """Tells programs that they have a listener, as a screen reader does when it starts."""
        try:
            self._desktop.call("gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path",
                               "/org/a11y/bus", "--method", "org.freedesktop.DBus.Properties.Set",
                               "org.a11y.Status", what, "<true>")
        except DesktopError:
            return False
        return True

    def _note_focus(self, event):
        # Screen readers pass over an object that denies having the focus, and say nothing new about one that
        # has it already.
        view = event.source
        if event.detail1 and view.getState().contains(self.api.STATE_FOCUSED):
            spoken = f"{view.name} {view.description}".strip()
            if self.focused[-1:] != [spoken]:
                self.focused.append(spoken)

    def _note_selection(self, event):
        change = "selected" if event.detail1 else "deselected"
        self.selected.append(f"{change} {event.source.name}")

    def hear(self):
        """Takes in what has been told."""
        while self._context.iteration(False):
            pass

    def wait_for(self, condition, what):
        def observe():
            self.hear()
            try:
                return condition()
            except self._gone:
                # A view that it came across is there no more.
                return None
        return wait_until(observe, what)

    def wait_for_focus(self, *spoken):
        """Waits until these have been told to have the focus since the last call, in this order, and nothing
        else. What had it then may be told again."""
        expected = [self._last_focused, *spoken]
        try:
            self.wait_for(lambda: self.focused in (expected, expected[1:]), "")
        except DesktopError:
            raise AssertionError(f"the focus went to {self.focused} instead of {list(spoken)}") from None
        self._last_focused = spoken[-1]
        self.forget()

    def forget(self):
        self.focused.clear()
        self.selected.clear()

    def program(self, name):
        """The program's own object, or None; nothing about it is kept."""
        programs = self.api.Registry.getDesktop(0)
        programs.clear_cache()
        for program in programs:
            if program and program.name == name:
                program.set_cache_mask(self._atspi.Cache.NONE)
                return program
        return None

    def find(self, root, role, name=None):
        """The objects on the screen with this role, and with this name unless that is None, in order."""
        found = []
        pending = [root]
        while pending:
            view = pending.pop(0)
            if view is None:
                continue
            is_wanted = view.getRole() == role and name in (None, view.name)
            if is_wanted and view.getState().contains(self.api.STATE_SHOWING):
                found.append(view)
            pending[:0] = [view.getChildAtIndex(index) for index in range(view.childCount)]
        return found

    def views(self, program, role, name=None):
        """Those of a program on the screen, as `find` finds them; none while it has not been seen yet."""
        root = self.program(program)
        return self.find(root, role, name) if root else []

    def texts(self, program):
        """What its labels say."""
        return [label.name for label in self.views(program, self.api.ROLE_LABEL)]

    def push(self, program, name):
        """Pushes the button of that name once it is there."""
        button = self.wait_for(lambda: self.views(program, self.api.ROLE_PUSH_BUTTON, name), f"{name!r} is there")
        self.do(button[0], "Press")

    @staticmethod
    def actions(view):
        actions = view.queryAction()
        return [actions.getName(index) for index in range(actions.nActions)]

    @classmethod
    def do(cls, view, action):
        view.queryAction().doAction(cls.actions(view).index(action))
