#!/usr/bin/python3
"""The part of a panel with which tray icons register on the session bus.

usage: tray_watcher.py [--without-host]     as long as nobody shows the icons

It prints "ready" when it has its name, and "item NAME OBJECT" for each icon that registers.
"""

import sys

from gi.repository import Gio, GLib

NAME, PATH = "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher"
INTERFACE = Gio.DBusNodeInfo.new_for_xml(f"""<node><interface name="{NAME}">
<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
<property name="RegisteredStatusNotifierItems" type="as" access="read"/>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
<property name="ProtocolVersion" type="i" access="read"/>
<signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
</interface></node>""").interfaces[0]

items = []
has_host = "--without-host" not in sys.argv


def answer(connection, sender, path, interface, _method, parameters, invocation):
    name, = parameters.unpack()
    # Some give the object, and are to be reached by their name.
    service, item = (sender, name) if name.startswith("/") else (name, "/StatusNotifierItem")
    items.append(service + item)
    print(f"item {service} {item}", flush=True)
    connection.emit_signal(None, path, interface, "StatusNotifierItemRegistered",
                           GLib.Variant("(s)", (service + item,)))
    invocation.return_value(None)


def read(_connection, _sender, _path, _interface, name):
    return {"RegisteredStatusNotifierItems": GLib.Variant("as", items),
            "IsStatusNotifierHostRegistered": GLib.Variant("b", has_host),
            "ProtocolVersion": GLib.Variant("i", 0)}[name]


def main():
    Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE,
                     lambda connection, _name: connection.register_object(PATH, INTERFACE, answer, read, None),
                     lambda _connection, _name: print("ready", flush=True), None)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
