#!/usr/bin/python3
"""The picker beside the clipboard managers that people run: what they record of it, and what outlives it.

usage: clipboard_managers_test.py --picker BINARY --qt-target BINARY
"""

import contextlib
import itertools
import json

import Xlib.X

from desktop import DEADLINE, PANEL_HEAD, DesktopError, wait_until
from testcase import EndToEndTest, argument, main

COPIED = "What the user had copied"
LATER = "What the user copied later"
EMOJI = "😀"

# CopyQ knows no marker of other programs, but rules that look at what a clipboard offers. This one notes what
# it leaves out.
LEFT_OUT = "left out"
RULE = f"""[Commands]
1\\Name=Leave secrets out
1\\Automatic=true
1\\Input=x-kde-passwordManagerHint
1\\Command="copyq:
 if (str(data('x-kde-passwordManagerHint')) == 'secret') {{
     ignore()
     tab('{LEFT_OUT}')
     add(str(data(mimeText)))
 }}"
size=1
"""


class ClipboardManagersTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def start_copyq(self):
        configuration = self.desktop.folder / "home" / ".config" / "copyq"
        configuration.mkdir(parents=True)
        rule = RULE.replace("\n ", "\\n")
        (configuration / "copyq-commands.ini").write_text(rule, encoding="utf-8")
        self.desktop.run("copyq", "copyq")
        # It answers before it watches the clipboard, and takes no notice of what was copied until then. Nor
        # does it record what gives way too soon.
        attempts = itertools.count(1)

        def records():
            with contextlib.suppress(DesktopError):
                self.copy_and_wait_for(self.copyq_entries, f"Attempt {next(attempts)}", deadline=2)
                return self.copyq_entries()
            return None
        self.earlier = wait_until(records, "CopyQ records what is copied")

    def copyq_entries(self, tab="&clipboard"):
        """The texts that CopyQ keeps, the latest first; None while it does not run."""
        script = (f"tab({tab!r}); var texts = [];"
                  " for (var row = 0; row < size(); ++row) texts.push(str(read(row)));"
                  " JSON.stringify(texts)")
        with contextlib.suppress(DesktopError):
            return json.loads(self.desktop.call("copyq", "eval", script))
        return None

    def copyq_formats(self):
        """What CopyQ has fetched of its latest entries: the rule can see that alone."""
        script = "tab('&clipboard'); [0, 1, 2].map(row => row + ': ' + str(read('?', row))).join('; ')"
        with contextlib.suppress(DesktopError):
            return self.desktop.call("copyq", "eval", script)
        return None

    def start_clipman(self):
        self.desktop.run("clipman", "xfce4-clipman")
        manager = self.desktop.display.get_atom("CLIPBOARD_MANAGER")
        wait_until(lambda: self.desktop.display.get_selection_owner(manager) != Xlib.X.NONE, "Clipman runs")

    def clipman_entries(self):
        """The texts that Clipman keeps, the latest first."""
        history = self.desktop.folder / "home" / ".cache" / "xfce4" / "clipman" / "textsrc"
        with contextlib.suppress(FileNotFoundError):
            for line in history.read_text(encoding="utf-8").splitlines():
                if line.startswith("texts="):
                    return line.removeprefix("texts=").rstrip(";").split(";")[::-1]
        return []

    def copy_and_wait_for(self, entries, text, deadline=DEADLINE):
        self.desktop.copy(text)
        wait_until(lambda: (entries() or [])[:1] == [text], f"the manager has recorded {text!r}", deadline)

    def pick(self, picker):
        picker.open()
        self.desktop.press("Return")
        self.desktop.wait_for_no_panel()

    def pick_to_the_end(self, picker):
        self.pick(picker)
        self.target.wait_for_text(EMOJI)
        picker.wait_for_line("TypeManager: Clipboard restored to: ")

    def copy_emoji(self, picker):
        panel, _ = picker.open()
        x, y, _, _ = panel.geometry()
        self.desktop.move_pointer(x + 8 + 20, y + PANEL_HEAD + 28 + 8 + 20)
        with self.desktop.held("alt"):
            self.desktop.click()
        self.desktop.wait_for_no_panel()
        wait_until(lambda: self.desktop.clipboard() == EMOJI, "the clipboard holds the emoji")

    def wait_for_kept(self, text):
        """The manager takes the clipboard over a moment after it has been given the text."""
        wait_until(lambda: self.desktop.clipboard() == text, f"the clipboard manager offers {text!r}")

    def test_a_pick_leaves_no_entry_where_the_hint_is_heeded(self):
        self.start_copyq()
        self.target = self.start_target("gtk")
        self.copy_and_wait_for(self.copyq_entries, COPIED)
        picker = self.start_picker()

        self.pick_to_the_end(picker)

        self.assertEqual(self.desktop.clipboard(), COPIED)
        # Entries come in the order of the changes, so behind this one there would be the emoji.
        self.copy_and_wait_for(self.copyq_entries, LATER)
        self.assertEqual(self.copyq_entries(), [LATER, COPIED, *self.earlier])

    def test_a_copy_leaves_no_entry_where_the_hint_is_heeded(self):
        self.start_copyq()
        self.copy_and_wait_for(self.copyq_entries, COPIED)
        picker = self.start_picker()

        self.copy_emoji(picker)

        wait_until(lambda: EMOJI in (self.copyq_entries(LEFT_OUT) or []), "the rule has seen the copy")
        self.assertEqual(self.copyq_entries(), [COPIED, *self.earlier], self.copyq_formats())

    def test_the_users_text_is_on_top_once_after_a_pick(self):
        self.start_clipman()
        self.target = self.start_target("gtk")
        self.copy_and_wait_for(self.clipman_entries, COPIED)
        picker = self.start_picker()

        self.pick_to_the_end(picker)

        self.copy_and_wait_for(self.clipman_entries, LATER)
        texts = [text for text in self.clipman_entries() if text != EMOJI]
        self.assertEqual(texts, [LATER, COPIED])

    def test_the_clipboard_outlives_the_picker(self):
        self.start_clipman()
        self.target = self.start_target("gtk")
        self.copy_and_wait_for(self.clipman_entries, COPIED)

        with self.subTest("after a pick"):
            picker = self.start_picker()
            self.pick_to_the_end(picker)
            picker.program.stop()
            self.wait_for_kept(COPIED)

        with self.subTest("while the emoji is only passing"):
            picker = self.start_picker()
            self.pick(picker)
            picker.wait_for_line("TypeManager: simulatePaste returned true")
            picker.program.stop()
            self.wait_for_kept(COPIED)

        with self.subTest("after a copy"):
            picker = self.start_picker()
            self.copy_emoji(picker)
            picker.program.stop()
            self.wait_for_kept(EMOJI)


if __name__ == "__main__":
    main()
