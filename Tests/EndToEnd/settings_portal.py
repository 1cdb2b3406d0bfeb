#!/usr/bin/python3
"""A desktop's service for settings, whose settings a test changes by calling `Set` on it.

It prints "ready" when it has its name on the session bus.
"""

from gi.repository import Gio, GLib

NAME, PATH = "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop"
NODE = Gio.DBusNodeInfo.new_for_xml("""<node>
<interface name="org.freedesktop.portal.Settings">
<method name="ReadAll"><arg type="as" direction="in"/><arg type="a{sa{sv}}" direction="out"/></method>
<signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
<property name="version" type="u" access="read"/>
</interface>
<interface name="com.glimmerwick.SettingsOfTest">
<method name="Set"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="in"/></method>
</interface></node>""")

settings = {}


def answer(connection, _sender, path, _interface, method, parameters, invocation):
    if method == "Set":
        group, key = (parameters.get_child_value(index).get_string() for index in (0, 1))
        settings.setdefault(group, {})[key] = parameters.get_child_value(2).get_variant()
        connection.emit_signal(None, path, "org.freedesktop.portal.Settings", "SettingChanged", parameters)
        invocation.return_value(None)
        return
    wanted = parameters.unpack()[0]
    found = {group: values for group, values in settings.items() if not wanted or group in wanted}
    invocation.return_value(GLib.Variant("(a{sa{sv}})", (found,)))


def register(connection, _name):
    for interface in NODE.interfaces:
        connection.register_object(PATH, interface, answer, lambda *_: GLib.Variant("u", 2), None)


def main():
    Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE, register,
                     lambda _connection, _name: print("ready", flush=True), None)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
