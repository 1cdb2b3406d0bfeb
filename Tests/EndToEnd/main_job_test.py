#!/usr/bin/python3
"""The main job under a window manager: the shortcut, a query, Return, and the emoji stands in the
application, with the clipboard as it was and the application never deactivated.

usage: main_job_test.py --picker BINARY --qt-target BINARY --target gtk|qt --compositor yes|no
"""

from desktop import PANEL_HEAD, Picker, wait_until
from testcase import EndToEndTest, argument, main

TARGET = argument("target")

COPIED = "What was on the clipboard: äöü 漢字 🎈\nand a second line"

# Queries with one right answer: plain emoji, joined sequences, flags of both kinds, keycaps, selectors.
PICKS = [
    ("rocket", "🚀"),
    ("family man, woman, girl, boy", "👨‍👩‍👧‍👦"),
    ("switzerland", "🇨🇭"),
    ("keycap 1", "1️⃣"),
    ("flag scotland", "🏴󠁧󠁢󠁳󠁣󠁴󠁿"),
    ("red heart", "❤️"),
    ("rainbow flag", "🏳️‍🌈"),
    ("technologist", "🧑‍💻"),
    ("grinning face", "😀"),
    ("thumbs up", "👍"),
]

PREFERRED_TONE = "1f3fd"
PASTE = ["ctrl+v"]


class MainJobTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")
    compositor = argument("compositor") == "yes"

    def setUp(self):
        super().setUp()
        self.target = self.start_target(TARGET)
        self.desktop.copy(COPIED)

    def prefer_tone(self, tone):
        settings = self.desktop.folder / "home" / ".config" / "Glimmerwick" / "Glimmerwick.ini"
        settings.parent.mkdir(parents=True)
        settings.write_text(f'[General]\nGlimmerwick.preferredSkinTone="\\"{tone}\\""\n', encoding="utf-8")

    def pick(self, picker, query):
        """One pick, watching that nothing reaches the target while the picker is shown. Returns how many
        events the target had until then."""
        active = self.desktop.active_window()
        panel, browsing = picker.open()
        shown = self.target.events()

        picker.search(query, browsing)

        self.assertEqual(self.desktop.active_window(), active, "the picker does not become the active window")
        self.assertEqual(active, self.target.window)
        self.assertEqual(self.target.events(), shown, "no key and no focus event reaches the target")
        self.assertTrue(panel.is_visible())
        self.desktop.press("Return")
        self.desktop.wait_for_no_panel()
        return len(shown)

    def wait_for_restored_clipboard(self, picker, picks):
        """The text comes back a moment after the paste; the log tells when it has."""
        picker.wait_for_lines("TypeManager: Clipboard restored to: ", picks)
        self.assertEqual(self.desktop.clipboard(), COPIED)

    def test_ten_picks_are_typed_and_leave_no_trace(self):
        picker = self.start_picker()
        typed = ""
        for count, (query, emoji) in enumerate(PICKS, start=1):
            before = len(self.target.events())

            until_shown = self.pick(picker, query)

            typed += emoji
            self.target.wait_for_text(typed)
            self.target.wait_for_keys_since(before, PASTE)
            self.assertNotIn("focus-out", self.target.events()[until_shown:])
            self.wait_for_restored_clipboard(picker, count)

    def test_preferred_tone_is_typed_where_the_emoji_takes_one(self):
        self.prefer_tone(PREFERRED_TONE)
        picker = self.start_picker()

        self.pick(picker, "thumbs up")
        self.target.wait_for_text("👍🏽")
        self.pick(picker, "rocket")

        self.target.wait_for_text("👍🏽🚀")

    def test_tone_chosen_from_the_keyboard_is_typed_and_kept(self):
        picker = self.start_picker()
        _, browsing = picker.open()
        results = picker.search("thumbs up", browsing)

        self.desktop.press("Down")
        selected = self.desktop.wait_for_settled_grid(other_than=results)
        self.desktop.press("alt+Return")
        self.desktop.wait_for_settled_grid(other_than=selected)
        self.desktop.press("Right")
        self.desktop.press("Right")
        self.desktop.press("Return")
        self.target.wait_for_text("👍🏼")
        self.desktop.wait_for_no_panel()
        self.pick(picker, "waving hand")

        self.target.wait_for_text("👍🏼👋🏼")

    def test_return_right_behind_the_query_picks_its_result(self):
        picker = self.start_picker()
        typed = ""
        for query, emoji in (("rocket", "🚀"), ("switzerland", "🇨🇭"), ("technologist", "🧑‍💻")):
            picker.open()

            self.desktop.press_at_once(*query, "Return")

            typed += emoji
            self.target.wait_for_text(typed)
            self.desktop.wait_for_no_panel()

    def test_keys_typed_faster_than_the_picker_opens_and_closes_go_where_they_belong(self):
        picker = self.start_picker()
        typed = ""
        for count in range(1, 6):
            self.desktop.press_at_once(Picker.SHORTCUT, *"rocket", "Return", "a", "b")

            typed += "ab🚀"
            self.target.wait_for_text(typed)
            self.wait_for_restored_clipboard(picker, count)

    def test_return_without_a_query_picks_the_first_emoji(self):
        picker = self.start_picker()

        picker.open()
        self.desktop.press("Return")

        self.target.wait_for_text("😀")

    def point_at_first_emoji(self, panel):
        """The middle of the first cell: below the search field and the section's title, behind the margin."""
        x, y, _, _ = panel.geometry()
        self.desktop.move_pointer(x + 8 + 20, y + PANEL_HEAD + 28 + 8 + 20)

    def test_click_on_an_emoji_types_it(self):
        picker = self.start_picker()
        panel, _ = picker.open()

        self.point_at_first_emoji(panel)
        self.desktop.click()

        self.target.wait_for_text("😀")
        self.desktop.wait_for_no_panel()

    def test_click_with_alt_held_copies_instead(self):
        picker = self.start_picker()
        panel, _ = picker.open()

        self.point_at_first_emoji(panel)
        with self.desktop.held("alt"):
            self.desktop.click()

        self.desktop.wait_for_no_panel()
        wait_until(lambda: self.desktop.clipboard() == "😀", "the clipboard holds the emoji")
        self.assertEqual(self.target.text(), "")

    def test_escape_and_the_shortcut_close_without_typing(self):
        picker = self.start_picker()
        before = len(self.target.events())

        picker.open()
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()
        picker.open()
        self.desktop.press(Picker.SHORTCUT)
        self.desktop.wait_for_no_panel()
        self.desktop.press("x")

        self.target.wait_for_text("x")
        self.target.wait_for_keys_since(before, ["x"])
        self.assertEqual(self.desktop.clipboard(), COPIED)

    def test_click_outside_closes(self):
        picker = self.start_picker()

        picker.open()
        x, y, _, height = self.target.window.geometry()
        self.desktop.move_pointer(x + 20, y + height - 20)
        self.desktop.click()
        self.desktop.wait_for_no_panel()
        self.desktop.press("x")

        self.target.wait_for_text("x")

    def test_every_opening_starts_afresh(self):
        picker = self.start_picker()
        _, first = picker.open()
        picker.search("rocket", first)
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()

        _, second = picker.open()

        self.assertEqual(second, first)


if __name__ == "__main__":
    main()
