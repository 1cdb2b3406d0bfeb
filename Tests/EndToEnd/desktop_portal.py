#!/usr/bin/python3
"""A desktop portal that lets programs press keys and have global shortcuts, when its user agrees.

usage: desktop_portal.py [--keys POLICY] [--shortcuts POLICY] [--tokens FILE] [--hand PROGRAM]

POLICY is what the user does with the dialog: "grant", "refuse", "fail", "ask", which leaves it open until a test
answers it, or "missing", with which the portal lacks that interface. FILE keeps what programs need no dialog for,
across runs. PROGRAM is the one that presses keys in the desktop: the keys then go to the window that has the keys.

It prints "ready" when it has its name on the session bus, and a line for whatever happens:

    application NAME            a program says what it is
    dialog keys|shortcuts       the user is asked
    restored                    a token made the dialog unnecessary
    granted|refused|failed keys|shortcuts
    withdrawn keys|shortcuts    the program no longer wants an answer
    down SYMBOL, up SYMBOL      a key, such as Control_L
    bound ID TRIGGER            a shortcut and the keys that the program would like
    closed keys|shortcuts       the program has ended its session
"""

import argparse
import ctypes
import itertools
import json
import pathlib
import subprocess

from gi.repository import Gio, GLib

from desktop import wait_until

NAME, PATH = "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop"
KEYS, SHORTCUTS = "org.freedesktop.portal.RemoteDesktop", "org.freedesktop.portal.GlobalShortcuts"
CONTROL = "com.glimmerwick.PortalOfTest"
WHAT = {KEYS: "keys", SHORTCUTS: "shortcuts"}
KEYBOARD = 1
RESPONSES = {"grant": 0, "refuse": 1, "fail": 2}
PAST = {"grant": "granted", "refuse": "refused", "fail": "failed"}
INVALID = "org.freedesktop.portal.Error.InvalidArgument"
DENIED = "org.freedesktop.DBus.Error.AccessDenied"


def method(name, inputs, output=""):
    arguments = "".join(f'<arg type="{kind}" direction="in"/>' for kind in inputs.split())
    return f'<method name="{name}">{arguments}{output and f"""<arg type="{output}" direction="out"/>"""}</method>'


INTERFACES = {interface.name: interface for interface in Gio.DBusNodeInfo.new_for_xml(f"""<node>
<interface name="{KEYS}">
{method("CreateSession", "a{sv}", "o")}
{method("SelectDevices", "o a{sv}", "o")}
{method("Start", "o s a{sv}", "o")}
{method("NotifyKeyboardKeysym", "o a{sv} i u")}
<property name="version" type="u" access="read"/>
<property name="AvailableDeviceTypes" type="u" access="read"/>
</interface>
<interface name="{SHORTCUTS}">
{method("CreateSession", "a{sv}", "o")}
{method("BindShortcuts", "o a(sa{sv}) s a{sv}", "o")}
{method("ListShortcuts", "o a{sv}", "o")}
<property name="version" type="u" access="read"/>
<signal name="Activated"><arg type="o"/><arg type="s"/><arg type="t"/><arg type="a{{sv}}"/></signal>
<signal name="Deactivated"><arg type="o"/><arg type="s"/><arg type="t"/><arg type="a{{sv}}"/></signal>
</interface>
<interface name="org.freedesktop.host.portal.Registry">{method("Register", "s a{sv}")}</interface>
<interface name="org.freedesktop.portal.Session">
{method("Close", "")}
<property name="version" type="u" access="read"/>
<signal name="Closed"><arg type="a{{sv}}"/></signal>
</interface>
<interface name="org.freedesktop.portal.Request">{method("Close", "")}</interface>
<interface name="{CONTROL}">
{method("SetPolicy", "s s")}
{method("AnswerDialog", "s s")}
{method("PressShortcut", "s")}
{method("CloseSession", "s")}
</interface></node>""").interfaces}


def say(*words):
    print(*words, flush=True)


class Refusal(Exception):
    """Why a call gets an error: its name."""


class RealKeys:
    """Presses keys in the desktop by the program that is the user's hand there."""

    def __init__(self, program):
        self._xkb = ctypes.CDLL("libxkbcommon.so.0")
        self._process = program and subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        if self._process:
            self._expect_done()

    def move(self, direction, symbol):
        name = self._name(symbol)
        say(direction, name)
        if self._process:
            self._process.stdin.write(f"{direction} {name}\n".encode())
            self._process.stdin.flush()
            self._expect_done()

    def _name(self, symbol):
        buffer = ctypes.create_string_buffer(64)
        self._xkb.xkb_keysym_get_name(ctypes.c_uint32(symbol), buffer, ctypes.c_size_t(len(buffer)))
        return buffer.value.decode()

    def _expect_done(self):
        answer = self._process.stdout.readline().decode().strip()
        if answer not in ("ready", "done"):
            raise Refusal("org.freedesktop.portal.Error.Failed")


class Session:
    """What one program may do until the session ends."""

    def __init__(self, interface, owner, path):
        self.interface = interface
        self.owner = owner
        self.path = path
        self.registration = None
        self.token = ""
        self.can_press = False
        self.held = []
        self.shortcuts = []


class Dialog:
    """A request that the user has not answered."""

    def __init__(self, session, request, grant):
        self.session = session
        self.request = request
        self.grant = grant
        self.registration = None


class Portal:
    """The service. Every interface's methods are those of this class, by the names below."""

    def __init__(self, options):
        self.policies = {KEYS: options.keys, SHORTCUTS: options.shortcuts}
        self._token_file = options.tokens
        self._keys = RealKeys(options.hand)
        self._connection = None
        self._sessions = {}
        self._dialogs = []
        self._numbers = itertools.count(1)
        self._methods = {
            (KEYS, "CreateSession"): self._create_session,
            (KEYS, "SelectDevices"): self._select_devices,
            (KEYS, "Start"): self._start,
            (KEYS, "NotifyKeyboardKeysym"): self._move_key,
            (SHORTCUTS, "CreateSession"): self._create_session,
            (SHORTCUTS, "BindShortcuts"): self._bind_shortcuts,
            (SHORTCUTS, "ListShortcuts"): self._list_shortcuts,
            (CONTROL, "SetPolicy"): lambda _call, what, policy: self._set_policy(what, policy),
            (CONTROL, "AnswerDialog"): lambda _call, what, policy: self._answer_dialog(what, policy),
            (CONTROL, "PressShortcut"): lambda _call, name: self._press_shortcut(name),
            (CONTROL, "CloseSession"): lambda _call, what: self._take_back(what),
            ("org.freedesktop.host.portal.Registry", "Register"):
                lambda _call, name, _options: say("application", name),
        }

    def register(self, connection, _name):
        self._connection = connection
        for interface in (*(name for name, policy in self.policies.items() if policy != "missing"), CONTROL,
                          "org.freedesktop.host.portal.Registry"):
            connection.register_object(PATH, INTERFACES[interface], self._call, self._read, None)
        connection.signal_subscribe("org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", None, None,
                                    Gio.DBusSignalFlags.NONE, self._owner_changed)

    # Calls

    def _call(self, _connection, sender, _path, interface, name, parameters, invocation):
        try:
            result = self._methods[interface, name]((interface, sender), *parameters.unpack())
        except Refusal as refusal:
            invocation.return_dbus_error(str(refusal), "not like this")
            return
        # A request is answered only after its caller can know of it.
        path, respond = result or (None, None)
        invocation.return_value(GLib.Variant("(o)", (path,)) if path else None)
        if respond:
            respond()

    @staticmethod
    def _read(_connection, _sender, _path, interface, name):
        versions = {KEYS: 2, SHORTCUTS: 1}
        return GLib.Variant("u", KEYBOARD if name == "AvailableDeviceTypes" else versions[interface])

    def _request(self, call, options, response=0, results=None):
        """A request that is answered at once: what to return, and what to do then."""
        request = self._request_path(call, options)
        return request, lambda: self._respond(call[1], request, response, results or {})

    @staticmethod
    def _request_path(call, options):
        sender = call[1][1:].replace(".", "_")
        return f"{PATH}/request/{sender}/{options['handle_token']}"

    def _respond(self, owner, request, response, results):
        self._connection.emit_signal(owner, request, "org.freedesktop.portal.Request", "Response",
                                     GLib.Variant("(ua{sv})", (response, results)))

    # Sessions

    def _create_session(self, call, options):
        interface, sender = call
        path = f"{PATH}/session/{sender[1:].replace('.', '_')}/{options['session_handle_token']}"
        session = self._sessions[path] = Session(interface, sender, path)
        session.registration = self._connection.register_object(
            path, INTERFACES["org.freedesktop.portal.Session"],
            lambda _c, _s, _p, _i, _m, _a, invocation: (self._end(session), invocation.return_value(None)),
            lambda *_: GLib.Variant("u", 1), None)
        return self._request(call, options, results={"session_handle": GLib.Variant("s", path)})

    def _session(self, call, path):
        session = self._sessions.get(path)
        if not session or (session.interface, session.owner) != call:
            raise Refusal(DENIED)
        return session

    def _sessions_for(self, what):
        return [session for session in self._sessions.values() if WHAT[session.interface] == what]

    def _end(self, session):
        if self._sessions.pop(session.path, None):
            for symbol in reversed(session.held):
                self._keys.move("up", symbol)
            self._connection.unregister_object(session.registration)
            say("closed", WHAT[session.interface])

    def _owner_changed(self, _connection, _sender, _path, _interface, _signal, parameters):
        name, _, successor = parameters.unpack()
        for session in [session for session in self._sessions.values() if session.owner == name and not successor]:
            self._end(session)

    # Dialogs

    def _ask(self, call, session, options, grant):
        """`grant` gives the results of a user who agrees."""
        request = self._request_path(call, options)
        dialog = Dialog(session, request, grant)
        dialog.registration = self._connection.register_object(
            request, INTERFACES["org.freedesktop.portal.Request"],
            lambda _c, _s, _p, _i, _m, _a, invocation: (self._withdraw(dialog), invocation.return_value(None)),
            None, None)
        self._dialogs.append(dialog)
        say("dialog", WHAT[session.interface])
        policy = self.policies[session.interface]
        return request, None if policy == "ask" else lambda: self._answer(dialog, policy)

    def _answer(self, dialog, policy):
        self._forget(dialog)
        session = dialog.session
        results = dialog.grant() if policy == "grant" else {}
        say(PAST[policy], WHAT[session.interface])
        self._respond(session.owner, dialog.request, RESPONSES[policy], results)

    def _withdraw(self, dialog):
        self._forget(dialog)
        say("withdrawn", WHAT[dialog.session.interface])

    def _forget(self, dialog):
        self._dialogs.remove(dialog)
        self._connection.unregister_object(dialog.registration)

    # Keys

    def _tokens(self):
        file = self._token_file
        return json.loads(file.read_text(encoding="utf-8")) if file and file.exists() else []

    def _store_tokens(self, tokens):
        if self._token_file:
            self._token_file.write_text(json.dumps(tokens), encoding="utf-8")

    def _select_devices(self, call, path, options):
        session = self._session(call, path)
        if options.get("types", 0) & KEYBOARD == 0:
            raise Refusal(INVALID)
        session.token = options.get("restore_token", "")
        return self._request(call, options)

    def _start(self, call, path, _parent, options):
        session = self._session(call, path)
        tokens = self._tokens()
        if session.token in tokens:
            tokens.remove(session.token)
            self._store_tokens(tokens)
            say("restored")
            return self._request(call, options, results=self._let_press(session))
        return self._ask(call, session, options, lambda: self._let_press(session))

    def _let_press(self, session):
        session.can_press = True
        token = GLib.uuid_string_random()
        self._store_tokens([*self._tokens(), token])
        return {"devices": GLib.Variant("u", KEYBOARD), "restore_token": GLib.Variant("s", token)}

    def _move_key(self, call, path, _options, symbol, state):
        session = self._session(call, path)
        if not session.can_press:
            raise Refusal(DENIED)
        if state == 1:
            session.held.append(symbol)
        elif symbol in session.held:
            session.held.remove(symbol)
        self._keys.move("down" if state == 1 else "up", symbol)

    # Shortcuts

    def _bind_shortcuts(self, call, path, shortcuts, _parent, options):
        session = self._session(call, path)
        return self._ask(call, session, options, lambda: self._let_have(session, shortcuts))

    def _list_shortcuts(self, call, path, options):
        return self._request(call, options, results=self._described(self._session(call, path)))

    def _let_have(self, session, shortcuts):
        session.shortcuts = shortcuts
        for name, properties in shortcuts:
            say("bound", name, properties.get("preferred_trigger", ""))
        return self._described(session)

    @staticmethod
    def _described(session):
        described = [(name, {"description": GLib.Variant("s", properties.get("description", "")),
                             "trigger_description": GLib.Variant("s", properties.get("preferred_trigger", ""))})
                     for name, properties in session.shortcuts]
        return {"shortcuts": GLib.Variant("a(sa{sv})", described)}

    # What a test asks for

    def _set_policy(self, what, policy):
        self.policies[next(interface for interface, name in WHAT.items() if name == what)] = policy

    def _answer_dialog(self, what, policy):
        dialog = next((dialog for dialog in self._dialogs if WHAT[dialog.session.interface] == what), None)
        if not dialog:
            raise Refusal(INVALID)
        self._answer(dialog, policy)

    def _press_shortcut(self, name):
        bound = [session for session in self._sessions_for("shortcuts") if name in dict(session.shortcuts)]
        if not bound:
            raise Refusal(INVALID)
        for session, signal in itertools.product(bound, ("Activated", "Deactivated")):
            self._connection.emit_signal(session.owner, PATH, SHORTCUTS, signal,
                                         GLib.Variant("(osta{sv})", (session.path, name, next(self._numbers), {})))

    def _take_back(self, what):
        for session in self._sessions_for(what):
            self._connection.emit_signal(session.owner, session.path, "org.freedesktop.portal.Session", "Closed",
                                         GLib.Variant("(a{sv})", ({},)))
            self._end(session)


class DesktopPortal:
    """The service above as a test has it in its desktop."""

    def __init__(self, desktop, keys="grant", shortcuts="grant", hand=None):
        """`hand` is the program that presses keys for real; what was granted survives a portal in one desktop."""
        options = ["--keys", keys, "--shortcuts", shortcuts, "--tokens", desktop.folder / "portal-tokens.json"]
        if hand is not None:
            options += ["--hand", pathlib.Path(hand).resolve()]
        self._desktop = desktop
        self.program = desktop.run("portal", "/usr/bin/python3", __file__, *options)
        self.wait_for("ready")

    def stop(self):
        """The portal leaves the bus."""
        self.program.stop()

    def wait_for(self, line, count=1):
        """Waits until it has said so, that often."""
        wait_until(lambda: self.program.lines().count(line) >= count, f"the portal says: {line}")

    def keys(self):
        """The keys that were pressed and released so far."""
        return [line for line in self.program.lines() if line.split()[0] in ("down", "up")]

    def set_policy(self, what, policy):
        """What the user does with further dialogs about "keys" or "shortcuts"."""
        self._control("SetPolicy", what, policy)

    def answer_dialog(self, what, answer):
        """Answers the open dialog: "grant", "refuse" or "fail"."""
        self._control("AnswerDialog", what, answer)

    def press_shortcut(self, name="toggle"):
        self._control("PressShortcut", name)

    def close_session(self, what):
        """Takes back what was granted, as the desktop's own switch for that does."""
        self._control("CloseSession", what)

    def _control(self, name, *arguments):
        self._desktop.call("gdbus", "call", "--session", "--dest", NAME, "--object-path", PATH,
                           "--method", f"{CONTROL}.{name}", *arguments)


def main():
    parser = argparse.ArgumentParser()
    policies = [*RESPONSES, "ask", "missing"]
    parser.add_argument("--keys", choices=policies, default="grant")
    parser.add_argument("--shortcuts", choices=policies, default="grant")
    parser.add_argument("--tokens", type=pathlib.Path)
    parser.add_argument("--hand")
    portal = Portal(parser.parse_args())
    Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE, portal.register,
                     lambda _connection, _name: say("ready"), None)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
