#!/usr/bin/python3
"""An input method for tests. Letters are composed: they are shown as text that is not there yet, and space
commits what they stand for. Everything else is passed on.

usage: ibus_engine.py NAME READY-FILE     the file appears once the input method is in use
"""

import pathlib
import sys

import gi

gi.require_version("IBus", "1.0")
from gi.repository import GLib, GObject, IBus  # noqa: E402  (the version must be chosen first)

WORDS = {"rk": "rocket", "kj": "漢字"}
OTHER_MODIFIERS = (IBus.ModifierType.CONTROL_MASK | IBus.ModifierType.MOD1_MASK | IBus.ModifierType.MOD4_MASK
                   | IBus.ModifierType.RELEASE_MASK)


class Engine(IBus.Engine):
    __gtype_name__ = "ComposingEngine"

    def __init__(self):
        super().__init__()
        self._letters = ""

    def do_process_key_event(self, symbol, _, state):
        if state & OTHER_MODIFIERS:
            return False
        if ord("a") <= symbol <= ord("z"):
            self._show(self._letters + chr(symbol))
            return True
        if symbol == IBus.KEY_space and self._letters:
            text = WORDS.get(self._letters, self._letters)
            self._show("")
            self.commit_text(IBus.Text.new_from_string(text))
            return True
        return False

    def _show(self, letters):
        self._letters = letters
        self.update_preedit_text(IBus.Text.new_from_string(letters), len(letters), bool(letters))

    def do_focus_out(self):
        self._letters = ""

    def do_reset(self):
        self._letters = ""


def main():
    name, ready_file = sys.argv[1:]
    bus = IBus.Bus()
    if not bus.is_connected():
        raise SystemExit("ibus_engine.py: no input method bus")
    loop = GLib.MainLoop()
    bus.connect("disconnected", lambda _: loop.quit())
    factory = IBus.Factory.new(bus.get_connection())
    factory.add_engine(name, GObject.type_from_name("ComposingEngine"))
    component = IBus.Component.new(f"org.example.{name}", name, "1", "MIT", "", "", "", "")
    component.add_engine(IBus.EngineDesc.new(name, name, name, "en", "MIT", "", "", "us"))
    if not bus.register_component(component):
        raise SystemExit("ibus_engine.py: the bus refuses the component")

    def chosen(_, result):
        if not bus.set_global_engine_async_finish(result):
            raise SystemExit("ibus_engine.py: the bus refuses the input method")
        pathlib.Path(ready_file).touch()
    bus.set_global_engine_async(name, -1, None, chosen)
    loop.run()


if __name__ == "__main__":
    main()
