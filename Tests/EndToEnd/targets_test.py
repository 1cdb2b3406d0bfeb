#!/usr/bin/python3
"""Proves that the targets report what happens to them: without that, the other tests could not fail."""

from desktop import wait_until
from testcase import EndToEndTest, argument, main


class TargetsTest(EndToEndTest):
    qt_target_binary = argument("qt-target")

    def each_target(self):
        """The targets one after the other; the latest has the keyboard."""
        yield self.start_target("gtk")
        yield self.start_target("qt")

    def test_report_typed_and_pasted_text(self):
        self.desktop.copy("clipboard 🎈")

        for target in self.each_target():
            with self.subTest(target=target.name):
                self.desktop.type("ab ")
                self.desktop.press("ctrl+v")

                target.wait_for_text("ab clipboard 🎈")

    def test_report_keys_in_order(self):
        self.desktop.copy("x")

        for target in self.each_target():
            with self.subTest(target=target.name):
                before = len(target.events())
                self.desktop.press("x")
                self.desktop.press("ctrl+v")

                target.wait_for_keys_since(before, ["x", "ctrl+v"])

    def test_report_focus_coming_and_going(self):
        gtk, qt = self.each_target()

        wait_until(lambda: "focus-in" in gtk.events(), "GTK reports that it came")
        wait_until(lambda: gtk.events()[-1] == "focus-out", "GTK reports that it went")
        wait_until(lambda: qt.events()[-1] == "focus-in", "Qt reports that it came")
        self.desktop.press("alt+Tab")
        wait_until(lambda: qt.events()[-1] == "focus-out", "Qt reports that it went")
        self.assertEqual(self.desktop.active_window(), gtk.window)


if __name__ == "__main__":
    main()
