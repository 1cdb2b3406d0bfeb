#!/usr/bin/python3
"""A desktop's notification service that prints what it is asked to show, one JSON line a notice.

It prints "ready" when it has its name on the session bus.
"""

import json

from gi.repository import Gio, GLib

NAME, PATH = "org.freedesktop.Notifications", "/org/freedesktop/Notifications"
INTERFACE = Gio.DBusNodeInfo.new_for_xml(f"""<node><interface name="{NAME}"><method name="Notify">
<arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
<arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
<arg type="a{{sv}}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/>
</method></interface></node>""").interfaces[0]


def notify(_connection, _sender, _path, _interface, _method, parameters, invocation):
    _, _, icon, summary, body, _, hints, _ = parameters.unpack()
    print(json.dumps({"icon": icon, "summary": summary, "body": body, "hints": hints}), flush=True)
    invocation.return_value(GLib.Variant("(u)", (1,)))


def main():
    Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE,
                     lambda connection, _name: connection.register_object(PATH, INTERFACE, notify, None, None),
                     lambda _connection, _name: print("ready", flush=True), None)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
