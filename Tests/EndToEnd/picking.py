"""Picks into applications, and what must be true of each: the text arrived, nothing else did, and the clipboard
is what it was.
"""

import unittest

from desktop import DesktopError, Picker, wait_until, wait_until_stable
from targets import Browser, gnome_terminal, gtk_target, konsole, qt_target, xterm
from testcase import desktop_in

COPIED = "What was on the clipboard: äöü 漢字 🎈\nand a second line"
TONE = "1f3fd"

# Queries with one right answer: a joined family, a flag, a keycap, a toned hand, a selector, and so on.
PICKS = [
    ("family man, woman, girl, boy", "👨‍👩‍👧‍👦"),
    ("switzerland", "🇨🇭"),
    ("keycap 1", "1️⃣"),
    ("thumbs up", "👍🏽"),
    ("red heart", "❤️"),
    ("rocket", "🚀"),
    ("rainbow flag", "🏳️‍🌈"),
    ("flag scotland", "🏴󠁧󠁢󠁳󠁣󠁴󠁿"),
    ("technologist", "🧑‍💻"),
    ("unicorn", "🦄"),
]
# What the grid offers first before anything is picked, as the picker stores it and as it is typed.
RECENT = {
    "1f468-200d-1f469-200d-1f467-200d-1f466": "👨‍👩‍👧‍👦",
    "1f1e8-1f1ed": "🇨🇭",
    "31-fe0f-20e3": "1️⃣",
    "1f44d": "👍🏽",
    "2764-fe0f": "❤️",
}

TARGETS = ("gtk", "qt", "chromium-input", "chromium-textarea", "chromium-contenteditable", "xterm", "konsole",
           "gnome-terminal")


class Targets:
    """The applications to type into, each started when it is first asked for."""

    def __init__(self, desktop, qt_binary, cleanup):
        self._desktop = desktop
        self._qt_binary = qt_binary
        self._cleanup = cleanup
        self._started = {}

    def __getitem__(self, name):
        if name not in self._started:
            self._started.update(self._start(name))
        return self._started[name]

    def _start(self, name):
        if name.startswith("chromium-"):
            return {target.name: target for target in Browser(self._desktop, self._cleanup).targets}
        start = {
            "gtk": lambda: gtk_target(self._desktop),
            "qt": lambda: qt_target(self._desktop, self._qt_binary),
            "xterm": lambda: xterm(self._desktop),
            "konsole": lambda: konsole(self._desktop),
            "gnome-terminal": lambda: gnome_terminal(self._desktop),
        }
        return {name: start[name]()}


class Pick:
    """One way to an emoji: what to press once the picker is shown, and what that types."""

    def __init__(self, emoji, search=lambda: None):
        self.emoji = emoji
        self.search = search


class PickingTest(unittest.TestCase):
    """One desktop with one picker and the targets that its tests use. Set `picker_binary` and
    `qt_target_binary` in the subclass."""

    picker_binary = None
    qt_target_binary = None
    desktop_options = {}
    # How the applications name what pastes in them.
    paste_keys = ("ctrl+v",)

    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop_in(cls.enterClassContext, **cls.desktop_options)
        prefer(cls.desktop, TONE, RECENT)
        cls.recent = list(RECENT.values())
        cls.targets = Targets(cls.desktop, cls.qt_target_binary, cls.addClassCleanup)
        cls.picker = Picker(cls.desktop, cls.picker_binary)
        cls.picker.wait_until_ready()

    def each_target(self, names=TARGETS):
        for name in names:
            target = self.targets[name]
            target.focus()
            yield target

    def searched(self, count):
        """So many picks by their names."""
        for index in range(count):
            query, emoji = PICKS[index % len(PICKS)]
            yield Pick(emoji, lambda query=query: self.desktop.type(query))

    def recently_used(self, count):
        """So many picks among the recent emoji by the arrow keys, which need no letters."""
        for _ in range(count):
            place = len(RECENT) - 1
            keys = ["Down", *["Right"] * place]
            yield Pick(self.recent[place], lambda keys=keys: self.desktop.press_at_once(*keys))

    def begin(self, pick):
        """Opens the picker and finds the emoji as fast as the picker is there. Return is left to press."""
        self.desktop.press(Picker.SHORTCUT)
        self.desktop.wait_for_panel()
        pick.search()
        # One picker serves all tests of the class.
        type(self).recent = [pick.emoji, *(emoji for emoji in self.recent if emoji != pick.emoji)]

    def press_return(self):
        self.desktop.press("Return")

    def assert_picked(self, target, picks, copied=COPIED, finish=None):
        """Makes the picks one after the other; each arrives, alone, and leaves the clipboard's text alone.
        `finish` is called instead of pressing Return."""
        for pick in picks:
            events = len(target.events())

            self.begin(pick)
            (finish or self.press_return)()

            target.wait_for_more(pick.emoji)
            self.desktop.wait_for_no_panel()
            self.assert_clipboard_becomes(copied)
            self.assert_only_pasted(target, events)
        self.assert_nothing_more_comes(target)

    def assert_only_pasted(self, target, events):
        """The chord was all that the application was told of, if it tells."""
        self.assertEqual(target.text(), target.expected)
        if not target.tells_keys:
            return
        wait_until(lambda: target.keys_since(events), f"{target.name} was told to paste")
        keys = [key.lower() for key in target.keys_since(events)]
        self.assertTrue(len(keys) == 1 and keys[0] in self.paste_keys, f"{target.name} was told {keys}")

    def assert_nothing_more_comes(self, target):
        """An emoji that is typed twice, or a key behind it, comes a little later."""
        text = wait_until_stable(lambda: (target.text(),), f"the text of {target.name} is still")[0]
        self.assertEqual(text, target.expected)

    def assert_clipboard_becomes(self, expected):
        try:
            wait_until(lambda: self.desktop.clipboard() == expected, "")
        except DesktopError:
            raise AssertionError(f"the clipboard holds {abridged(self.desktop.clipboard())} instead of "
                                 f"{abridged(expected)}") from None


def abridged(text):
    return repr(text if text is None or len(text) < 200 else f"{text[:100]}...{text[-100:]} ({len(text)})")


def prefer(desktop, tone, recent):
    """Writes the picker's settings, before it starts."""
    settings = desktop.folder / "home" / ".config" / "Glimmerwick" / "Glimmerwick.ini"
    settings.parent.mkdir(parents=True, exist_ok=True)
    codepoints = ",".join(f'\\"{codepoint}\\"' for codepoint in recent)
    settings.write_text(f'[General]\nGlimmerwick.preferredSkinTone="\\"{tone}\\""\nrecentEmojis="[{codepoints}]"\n',
                        encoding="utf-8")
