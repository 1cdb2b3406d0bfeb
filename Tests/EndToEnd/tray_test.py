#!/usr/bin/python3
"""The program's icon and menu in the trays of desktops, and whether it starts at login.

usage: tray_test.py --picker BINARY --qt-target BINARY
"""

import pathlib
import signal

from gi.repository import Gio, GLib

from desktop import DesktopError, Picker, wait_until
from testcase import EndToEndTest, argument, main

HERE = pathlib.Path(__file__).resolve().parent
APPLICATION = "com.glimmerwick.Glimmerwick"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
START_AT_LOGIN = "Start at Login"


class Icon:
    """A tray icon on the session bus, as a panel sees it."""

    def __init__(self, desktop, name, path):
        self.name = name
        self._path = path
        self._bus = Gio.DBusConnection.new_for_address_sync(
            desktop.environment["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)

    def _call(self, path, interface, method, arguments):
        answer = self._bus.call_sync(self.name, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE,
                                     20_000, None)
        return answer.unpack()

    def property(self, name):
        return self._call(self._path, "org.freedesktop.DBus.Properties", "Get", GLib.Variant("(ss)", (ITEM, name)))[0]

    def click(self):
        self._call(self._path, ITEM, "Activate", GLib.Variant("(ii)", (0, 0)))

    def open_menu(self):
        """The menu's entries as they are when it has been opened: (identifier, properties)."""
        menu = self.property("Menu")
        self._call(menu, MENU, "AboutToShow", GLib.Variant("(i)", (0,)))
        _, (_, _, children) = self._call(menu, MENU, "GetLayout", GLib.Variant("(iias)", (0, -1, [])))
        return [(identifier, properties) for identifier, properties, _ in children]

    def entry(self, label):
        return next(entry for entry in self.open_menu() if entry[1].get("label") == label)

    def choose(self, label):
        """Clicks an entry of the opened menu."""
        event = GLib.Variant("(isvu)", (self.entry(label)[0], "clicked", GLib.Variant("s", ""), 0))
        self._call(self.property("Menu"), MENU, "Event", event)

    def starts_at_login(self):
        return bool(self.entry(START_AT_LOGIN)[1]["toggle-state"])


class TrayTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def setUp(self):
        super().setUp()
        self.autostart = self.desktop.folder / "home" / ".config" / "autostart" / f"{APPLICATION}.desktop"
        self.system = self.desktop.folder / "system"
        self.desktop.environment["XDG_CONFIG_DIRS"] = str(self.system)

    # The desktop's part

    def start_watcher(self, *flags):
        watcher = self.desktop.run("watcher", HERE / "tray_watcher.py", *flags)
        wait_until(lambda: "ready" in watcher.lines(), "the watcher has its name")
        return watcher

    def icon(self, watcher):
        def registered():
            found = [line.split() for line in watcher.lines() if line.startswith("item ")]
            self.assertLessEqual(len(found), 1)
            return found
        (_, name, path), = wait_until(registered, "the picker's icon is registered")
        return Icon(self.desktop, name, path)

    def install_entry(self):
        """The package's entry, which starts the program at login for every user."""
        entry = self.system / "autostart" / f"{APPLICATION}.desktop"
        entry.parent.mkdir(parents=True)
        entry.write_text(f"[Desktop Entry]\nType=Application\nName=Glimmerwick\nExec={self.picker_binary}\n",
                         encoding="utf-8")

    def assert_silent(self, picker):
        """Nothing but the log: what goes wrong has the program's or the toolkit's name in it."""
        for line in picker.program.lines():
            self.assertNotRegex(line, r"^glimmerwick: |^qt\.|^Q[A-Z]|[Tt]ray|StatusNotifier|D-?Bus")

    # The icon

    def test_icon_says_what_it_is_and_has_the_main_menu(self):
        watcher = self.start_watcher()
        picker = self.start_picker()

        icon = self.icon(watcher)

        self.assertEqual({name: icon.property(name) for name in ("Id", "Title", "Status", "Category")},
                         {"Id": APPLICATION, "Title": "Glimmerwick", "Status": "Active",
                          "Category": "ApplicationStatus"})
        self.assertTrue(icon.property("IconName") or icon.property("IconPixmap"))
        entries = [properties for _, properties in icon.open_menu()]
        self.assertEqual([entry.get("label", entry.get("type")) for entry in entries],
                         ["About Glimmerwick", "separator", "Check for Updates...", "separator",
                          "Quit Glimmerwick", "separator", START_AT_LOGIN])
        self.assertEqual(entries[4]["shortcut"], [["Control", "q"]])
        self.assertEqual(entries[-1]["toggle-type"], "checkmark")
        self.assertTrue(all(entry.get("enabled", True) and entry.get("visible", True) for entry in entries))
        self.assert_silent(picker)

    def test_icon_of_the_theme_is_asked_for_by_name(self):
        icons = self.desktop.folder / "home" / ".local" / "share" / "icons" / "hicolor"
        drawing = HERE.parents[1] / "Resources" / "symbols" / "face.smiling.svg"
        (icons / "symbolic" / "apps").mkdir(parents=True)
        (icons / "symbolic" / "apps" / f"{APPLICATION}-symbolic.svg").write_bytes(drawing.read_bytes())
        (icons / "index.theme").write_text("[Icon Theme]\nName=hicolor\nComment=fallback\nDirectories=symbolic/apps\n"
                                           "[symbolic/apps]\nSize=16\nType=Scalable\nMinSize=8\nMaxSize=512\n",
                                           encoding="utf-8")
        watcher = self.start_watcher()
        self.start_picker()

        self.assertEqual(self.icon(watcher).property("IconName"), f"{APPLICATION}-symbolic")

    def test_icon_comes_when_the_watcher_does(self):
        picker = self.start_picker()

        watcher = self.start_watcher()

        self.assertEqual(self.icon(watcher).property("Title"), "Glimmerwick")
        self.assert_silent(picker)

    def test_icon_comes_again_with_a_watcher_that_comes_again(self):
        first = self.start_watcher()
        picker = self.start_picker()
        self.icon(first)
        first.stop()

        second = self.start_watcher()

        self.assertEqual(len(self.icon(second).open_menu()), 7)
        self.assert_silent(picker)

    def test_without_any_tray_the_picker_works_and_says_nothing_of_it(self):
        target = self.start_target("gtk")
        picker = self.start_picker()

        picker.open()
        self.desktop.press("Return")

        target.wait_for_text("😀")
        self.assert_silent(picker)

    def test_watcher_that_does_not_answer_delays_nothing(self):
        watcher = self.start_watcher()
        watcher.process.send_signal(signal.SIGSTOP)
        self.addCleanup(watcher.process.send_signal, signal.SIGCONT)
        target = self.start_target("gtk")
        picker = self.start_picker()

        picker.open()
        self.desktop.press("Return")
        target.wait_for_text("😀")

        self.assertNotIn("item", watcher.text())
        watcher.process.send_signal(signal.SIGCONT)
        self.icon(watcher)

    def test_click_on_the_icon_shows_the_picker(self):
        watcher = self.start_watcher()
        self.start_picker()

        self.icon(watcher).click()

        self.desktop.wait_for_panel()

    # Trays that take windows in

    def embedding_tray(self):
        self.desktop.run("trayer", "trayer", "--edge", "top", "--align", "left", "--widthtype", "request")

    def embedded_icon(self):
        """The picker's window inside of the tray's, or None."""
        for tray in self.desktop.visible_windows("trayer"):
            x, y, width, height = tray.geometry()
            for window in self.desktop.visible_windows(APPLICATION):
                left, top, own_width, own_height = window.geometry()
                if x <= left and left + own_width <= x + width and y <= top and top + own_height <= y + height:
                    return window
        return None

    def wait_for_embedded_icon(self):
        return wait_until(self.embedded_icon, "the picker's icon is in the tray")

    def test_tray_that_takes_windows_in_gets_the_icon_with_the_menu(self):
        self.embedding_tray()
        picker = self.start_picker()

        x, y, width, height = self.wait_for_embedded_icon().geometry()
        before = self.desktop.visible_windows(APPLICATION)
        self.desktop.move_pointer(x + width // 2, y + height // 2)
        self.desktop.call("xdotool", "click", "3")

        wait_until(lambda: [window for window in self.desktop.visible_windows(APPLICATION) if window not in before],
                   "the menu is shown")
        # The last entry but one.
        self.desktop.press("Up")
        self.desktop.press("Up")
        self.desktop.press("Return")
        wait_until(lambda: not picker.program.is_running(), "the picker has ended")
        self.assertEqual(picker.program.process.returncode, 0)
        self.assert_silent(picker)

    def test_tray_that_takes_windows_in_may_come_late_and_gives_way_to_one_on_the_bus(self):
        picker = self.start_picker()
        self.embedding_tray()
        self.wait_for_embedded_icon()

        watcher = self.start_watcher()

        self.icon(watcher)
        wait_until(lambda: self.embedded_icon() is None, "the icon is in one tray only")
        watcher.stop()
        self.wait_for_embedded_icon()
        self.assert_silent(picker)

    def test_watcher_without_a_host_leaves_the_icon_to_the_tray_that_takes_windows_in(self):
        self.start_watcher("--without-host")
        self.embedding_tray()
        picker = self.start_picker()

        self.wait_for_embedded_icon()

        self.assert_silent(picker)

    # The menu

    def test_quit_ends_the_program(self):
        watcher = self.start_watcher()
        picker = self.start_picker()

        self.icon(watcher).choose("Quit Glimmerwick")

        wait_until(lambda: not picker.program.is_running(), "the picker has ended")
        self.assertEqual(picker.program.process.returncode, 0)
        self.assert_silent(picker)

    def test_about_shows_its_window(self):
        watcher = self.start_watcher()
        self.start_picker()

        self.icon(watcher).choose("About Glimmerwick")

        self.desktop.wait_until_active(APPLICATION)

    # Starting at login

    def test_start_at_login_writes_the_users_entry_and_removes_it(self):
        watcher = self.start_watcher()
        picker = self.start_picker()
        icon = self.icon(watcher)
        self.assertFalse(icon.starts_at_login())

        icon.choose(START_AT_LOGIN)
        wait_until(icon.starts_at_login, "the entry is checked")
        self.desktop.call("desktop-file-validate", self.autostart)
        self.assertIn(f"TryExec={pathlib.Path(self.picker_binary).resolve()}\n", self.autostart.read_text("utf-8"))
        self.assert_systemd_starts_it()

        icon.choose(START_AT_LOGIN)
        wait_until(lambda: not icon.starts_at_login(), "the entry is not checked")
        self.assertFalse(self.autostart.exists())
        self.assert_silent(picker)

    def assert_systemd_starts_it(self):
        """Some desktops leave the start at login to systemd, which reads entries in a way of its own."""
        units = self.desktop.folder / "units"
        units.mkdir()
        said = self.desktop.call("/usr/lib/systemd/user-generators/systemd-xdg-autostart-generator", units, units, units)
        self.assertEqual(said, "")
        unit, = units.glob("app-*.service")
        self.desktop.call("systemd-analyze", "verify", "--user", "--man=no", unit)
        command, = (line for line in unit.read_text(encoding="utf-8").splitlines() if line.startswith("ExecStart="))
        self.assertEqual(command, "ExecStart=:/usr/bin/sh -c \"exec '"
                         f"{pathlib.Path(self.picker_binary).resolve()}' --background >/dev/null\"")

    def test_entry_written_for_the_login_starts_the_program_and_keeps_its_log_to_itself(self):
        watcher = self.start_watcher()
        picker = self.start_picker()
        self.icon(watcher).choose(START_AT_LOGIN)
        wait_until(self.autostart.exists, "the entry is written")
        picker.program.stop()

        login = self.desktop.run("login", "gio", "launch", self.autostart)
        running = Picker.__new__(Picker)
        running.desktop = self.desktop

        def answers():
            try:
                return not running.is_open()
            except DesktopError:
                return False
        wait_until(answers, "the picker started at login is on the bus")
        self.desktop.call("gdbus", "call", "--session", "--dest", APPLICATION, "--object-path",
                          "/com/glimmerwick/Glimmerwick", "--method", "org.freedesktop.Application.ActivateAction",
                          "quit", "[]", "{}")
        self.assertEqual(login.text(), "")

    def test_start_at_login_by_the_system_is_switched_off_for_the_user_and_on_again(self):
        self.install_entry()
        watcher = self.start_watcher()
        self.start_picker()
        icon = self.icon(watcher)
        self.assertTrue(icon.starts_at_login())

        icon.choose(START_AT_LOGIN)
        wait_until(lambda: not icon.starts_at_login(), "the entry is not checked")
        self.assertIn("\nHidden=true\n", self.autostart.read_text("utf-8"))

        icon.choose(START_AT_LOGIN)
        wait_until(icon.starts_at_login, "the entry is checked")
        self.assertFalse(self.autostart.exists())

    def test_menu_tells_what_others_have_set_meanwhile(self):
        self.install_entry()
        watcher = self.start_watcher()
        self.start_picker()
        icon = self.icon(watcher)
        self.assertTrue(icon.starts_at_login())

        self.autostart.parent.mkdir(parents=True)
        self.autostart.write_text("[Desktop Entry]\nType=Application\nExec=true\nHidden=true\n", encoding="utf-8")

        self.assertFalse(icon.starts_at_login())

    def test_change_is_announced_to_trays_that_keep_the_menu(self):
        watcher = self.start_watcher()
        self.start_picker()
        icon = self.icon(watcher)
        monitor = self.desktop.run("monitor", "gdbus", "monitor", "--session", "--dest", icon.name)
        wait_until(lambda: "is owned by" in monitor.text(), "the monitor watches the icon")

        icon.choose(START_AT_LOGIN)

        wait_until(lambda: any(".ItemsPropertiesUpdated" in line and "'toggle-state': <1>" in line
                               for line in monitor.lines()), "the check mark is announced")

    def test_start_at_login_that_cannot_be_written_is_told_in_one_line_and_stays_off(self):
        self.autostart.parent.parent.mkdir(parents=True)
        self.autostart.parent.write_text("in the way", encoding="utf-8")
        watcher = self.start_watcher()
        picker = self.start_picker()
        icon = self.icon(watcher)

        icon.choose(START_AT_LOGIN)

        line = picker.wait_for_line("glimmerwick: starting at login cannot be changed: ")
        self.assertIn(str(self.autostart.parent), line)
        self.assertFalse(icon.starts_at_login())
        self.assertEqual(sum(each.startswith("glimmerwick: ") for each in picker.program.lines()), 1)
        self.assertEqual(self.autostart.parent.read_text("utf-8"), "in the way")


if __name__ == "__main__":
    main()
