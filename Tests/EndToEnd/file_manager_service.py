#!/usr/bin/python3
"""A file manager that shows no folder but prints the addresses of those it is asked to show, a line each.

It prints "ready" when it has its name on the session bus.
"""

from gi.repository import Gio, GLib

NAME, PATH = "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1"
INTERFACE = Gio.DBusNodeInfo.new_for_xml(f"""<node><interface name="{NAME}"><method name="ShowFolders">
<arg type="as" direction="in"/><arg type="s" direction="in"/></method></interface></node>""").interfaces[0]


def show(_connection, _sender, _path, _interface, _method, parameters, invocation):
    for address in parameters.unpack()[0]:
        print(address, flush=True)
    invocation.return_value(None)


def main():
    Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE,
                     lambda connection, _name: connection.register_object(PATH, INTERFACE, show, None, None),
                     lambda _connection, _name: print("ready", flush=True), None)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
