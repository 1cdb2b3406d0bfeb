#!/usr/bin/python3
"""Emoji that the font cannot draw, and a server that has pictures of them: placeholders, pictures, the cache.

usage: downloaded_images_test.py --picker BINARY --qt-target BINARY
"""

import collections
import json

from desktop import PANEL_FOOT, PANEL_HEAD, PANEL_SIZE, DesktopError, wait_until, wait_until_stable
from pictures import (CELL, COLUMNS, MARGIN, ROOT, SIDE, Cell, PictureTest, has_loading_placeholder,
                      pixels_by_colour, place_of_cell, png)
from testcase import argument, main

# In the folder that `pictures` adds to the path.
from catalogue_server import CatalogueServer

# Newer than the colour emoji font.
MISSING = ["1fae9", "1fac6", "1fabe", "1fadc", "1fa89", "1fa8f", "1fadf", "1f1e8-1f1f6", "1faea", "1faef",
           "1fac8", "1f9d1-200d-1fa70", "1facd", "1f6d8", "1fa8a", "1fa8e"]
# A screen of flags of what is no country, and will be in no font: O and a letter, X and a letter.
UNKNOWN_FLAGS = [f"{first}-{ord(second) - ord('a') + 0x1f1e6:x}" for first, letters in
                 (("1f1f4", "abcdefghijklnopqrstuvwxyz"), ("1f1fd", "abcdefghijlmnopqrstuvwxy"))
                 for second in letters]
# One for each, which is in no emoji and in no other part of the panel.
COLOURS = {codepoint: (255 - 30 * (number // 16), 15 * (number % 16), 254)
           for number, codepoint in enumerate(MISSING + UNKNOWN_FLAGS)}
# Wider than high, as the pictures of the real server are. Fitted into the cell it keeps its shape.
IMAGE_SIZE = (136, 128)
FITTED_HEIGHT = SIDE * IMAGE_SIZE[1] // IMAGE_SIZE[0]
IMAGES = {codepoint: png(*colour, IMAGE_SIZE) for codepoint, colour in COLOURS.items()}

# The middle of the second tab, of two.
LAST_TAB = (54, PANEL_SIZE[1] - 18)
# Beside the cells, so that none of them changes under the pointer.
MARGIN_OF_GRID = (3, PANEL_HEAD + 100)
WHERE_PANEL_OPENS = (640, 200)
GRID_HEIGHT = PANEL_SIZE[1] - PANEL_HEAD - PANEL_FOOT
# How far a notch of the wheel scrolls.
NOTCH = 88
LONGER_THAN_THE_FIRST_CATEGORY = 20
FIRST_CATEGORY_SIZE = 20 * COLUMNS
ROWS_BEFORE = 3
ROWS_BEHIND_A_GROUP = 16

NOT_FOUND = "HTTP error: status code 404"
NO_IMAGE = "Downloaded data is not a valid image"
NO_DATA = "No data received from server"


def emoji_of_catalogue():
    """The bundled catalogue's emoji by their codepoints, in its order."""
    text = (ROOT / "Resources" / "catalogue" / "manifest.json").read_text(encoding="utf-8")
    return json.loads(text)["emojis"]


def unknown_flag(codepoint):
    text = "".join(chr(int(scalar, 16)) for scalar in codepoint.split("-"))
    return {"char": text, "name": f"flag: nowhere {codepoint}", "keywords": [], "skinTones": False}


class Catalogue:
    """Several screens of emoji that the font has, then a category with groups of some that it lacks.

    Between one group and the next lie more rows than the grid looks ahead.
    """

    def __init__(self, *groups):
        known = emoji_of_catalogue()
        known.update((codepoint, unknown_flag(codepoint)) for codepoint in UNKNOWN_FLAGS)
        drawn = (codepoint for codepoint in known if codepoint not in COLOURS)
        first = [next(drawn) for _ in range(FIRST_CATEGORY_SIZE)]
        last = [next(drawn) for _ in range(ROWS_BEFORE * COLUMNS)]
        for group in groups:
            last += group
            last += [next(drawn) for _ in range(-len(group) % COLUMNS + ROWS_BEHIND_A_GROUP * COLUMNS)]
        self.places = {codepoint: place_of_cell(last.index(codepoint))
                       for group in groups for codepoint in group}
        self._emoji = {codepoint: {**known[codepoint], "category": category}
                       for category, codepoints in (("smileys", first), ("objects", last))
                       for codepoint in codepoints}
        self._categories = [
            {"id": "smileys", "name": "Drawn", "icon": "1f600", "sfSymbol": "face.smiling",
             "sfSymbolFallback": "circle", "emojis": first},
            {"id": "objects", "name": "Partly Drawn", "icon": "1f4a1", "sfSymbol": "lightbulb",
             "sfSymbolFallback": "circle", "emojis": last}]

    def write(self, folder):
        manifest = {"version": "test", "lastUpdated": "2026-02-03T04:05:06Z", "categories": self._categories,
                    "emojis": self._emoji}
        (folder / "manifest.json").write_text(json.dumps(manifest), encoding="utf-8")


class DownloadedImagesTest(PictureTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def serve(self, catalogue):
        self.catalogue = catalogue
        self.images = {codepoint: IMAGES[codepoint] for codepoint in catalogue.places}
        site = self.desktop.folder / "site"
        self.served_images = site / "emojis"
        self.served_images.mkdir(parents=True)
        catalogue.write(site)
        for codepoint, image in self.images.items():
            self.serve_image(codepoint, image)
        folder = self.desktop.folder / "server"
        folder.mkdir()
        self.server = self.enterContext(CatalogueServer(folder, site))
        self.use_address(self.server.address)
        self.use_resources_without_images()
        self.desktop.environment["SSL_CERT_FILE"] = str(self.server.authority)

    def serve_image(self, codepoint, data):
        (self.served_images / f"{codepoint}.png").write_bytes(data)

    def requests_for_images(self):
        """How often the server was asked for each image."""
        paths = (line.split()[1] for line in self.server.requests())
        return collections.Counter(path.removeprefix("/emojis/").removesuffix(".png") for path in paths
                                   if path.startswith("/emojis/"))

    def cached(self):
        return {file.stem: file.read_bytes() for file in self.cached_images.iterdir()}

    # What a user does

    def open(self, picker):
        """Returns the picture of the top of the grid."""
        self.desktop.move_pointer(*WHERE_PANEL_OPENS)
        _, top = picker.open()
        self.assertFalse(self.coloured_pixels(top), "the colours are distinctive")
        return top

    def close(self):
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()

    def point_at(self, position):
        x, y, _, _ = self.desktop.panel().geometry()
        self.desktop.move_pointer(x + position[0], y + position[1])

    def go_to_last_category(self):
        """Its header is at the top of the grid when the scrolling, which this begins, has ended."""
        self.point_at(LAST_TAB)
        self.desktop.click()

    def scroll(self, notches):
        self.point_at(MARGIN_OF_GRID)
        self.desktop.turn_wheel(notches)

    def scroll_to_top(self, top):
        self.scroll(-LONGER_THAN_THE_FIRST_CATEGORY)
        # The scroll bar, too, is gone again.
        wait_until(lambda: self.picture() == top, "the top of the grid is shown")

    # What a user sees

    def picture(self):
        return wait_until(self.desktop.picture_of_grid, "the grid is visible")

    def coloured_pixels(self, picture):
        """By codepoint, where the colours of pictures are; without those that are nowhere."""
        found = pixels_by_colour(picture, COLOURS.values())
        return {codepoint: found[colour] for codepoint, colour in COLOURS.items() if found[colour]}

    def shown(self, picture, scrolled=0):
        """What the cells of missing emoji show, while the grid is `scrolled` below the last category's top.

        Cells that are only partly in view are left out.
        """
        pixels = self.coloured_pixels(picture)
        return {codepoint: self._shown_in_cell(picture, x, y - scrolled, pixels.get(codepoint, []))
                for codepoint, (x, y) in self.catalogue.places.items()
                if 0 <= y - scrolled <= GRID_HEIGHT - CELL}

    @staticmethod
    def _shown_in_cell(picture, x, y, pixels):
        if pixels:
            top = y + (CELL - FITTED_HEIGHT) // 2
            fitted = {(x + MARGIN + across, top + down)
                      for across in range(SIDE) for down in range(FITTED_HEIGHT)}
            return "picture" if set(pixels) == fitted else "something of its picture"
        cell = Cell(picture, x, y)
        if cell.is_loading():
            return "placeholder"
        return "question mark" if cell.has_failed() else "something else"

    def wait_for(self, expected, what):
        """Waits until the cells show what is expected by codepoint, the last category being at the top."""
        seen = {}

        def is_shown():
            seen.update(self.shown(self.picture()))
            return seen == expected
        try:
            wait_until(is_shown, what)
        except DesktopError as error:
            error.add_note(f"seen last: {seen}")
            raise

    def wait_for_all(self, state):
        self.wait_for(dict.fromkeys(MISSING, state), f"each cell shows a {state}")

    def settled_requests(self):
        return wait_until_stable(self.requests_for_images, "the server gets no more requests", span=0.5)

    def assert_failures_are_logged(self, picker, descriptions):
        """The five lines for each codepoint, one after the other."""
        text = picker.program.text()
        for codepoint, description in descriptions.items():
            self.assertRegex(text, (
                r"(?m)^\[EmojiCell\] Failed to load image:\n"
                rf"  - Codepoint: {codepoint}\n"
                rf"  - Filename: {codepoint}\.png\n"
                rf"  - URL: {self.server.address}/emojis/{codepoint}\.png\n"
                rf"  - Error: {description}$"))
        failed = {line.split()[-1] for line in picker.program.lines() if line.startswith("  - Codepoint: ")}
        self.assertEqual(failed, set(descriptions))


class LoadingTests(DownloadedImagesTest):
    def setUp(self):
        super().setUp()
        self.serve(Catalogue(MISSING))

    def test_pictures_take_the_place_of_placeholders(self):
        picker = self.start_picker()
        self.open(picker)
        self.assertFalse(self.requests_for_images(), "nothing near the first screen is missing")

        with self.server.suspended():
            self.go_to_last_category()
            self.wait_for_all("placeholder")
            self.assertFalse(self.coloured_pixels(self.picture()))

        self.wait_for_all("picture")
        self.assertEqual(self.cached(), self.images)

    def test_picture_is_asked_for_twice_at_most_and_never_once_it_is_cached(self):
        # This one is asked for on each visit, which shows that the others could have been.
        lacking = MISSING[-1]
        (self.served_images / f"{lacking}.png").unlink()
        expected = {**dict.fromkeys(MISSING, "picture"), lacking: "question mark"}
        picker = self.start_picker()
        top = self.open(picker)

        self.go_to_last_category()
        self.wait_for(expected, "the pictures are shown")
        first = self.settled_requests()
        self.assertEqual(set(first), set(MISSING))
        self.assertLessEqual(max(first.values()), 2, first)

        self.scroll_to_top(top)
        self.go_to_last_category()
        self.wait_for(expected, "the pictures are shown after scrolling back")
        self.assert_asked_again_only_for(lacking, first)

        before = self.settled_requests()
        self.close()
        self.open(picker)
        self.go_to_last_category()
        self.wait_for(expected, "the pictures are shown after opening anew")
        self.assert_asked_again_only_for(lacking, before)

    def assert_asked_again_only_for(self, lacking, before):
        wait_until(lambda: self.requests_for_images()[lacking] > before[lacking],
                   "the server is asked for what it lacks")
        after = self.settled_requests()
        self.assertEqual({**after, lacking: 0}, {**before, lacking: 0})

    def test_pictures_come_from_the_disk_after_a_restart(self):
        picker = self.start_picker()
        self.open(picker)
        self.go_to_last_category()
        self.wait_for_all("picture")
        picker.program.stop()
        requests = self.settled_requests()

        self.assert_pictures_are_shown_at_once()
        self.assertEqual(self.settled_requests(), requests)

        self.server.stop()
        self.assert_pictures_are_shown_at_once()

    def assert_pictures_are_shown_at_once(self):
        """Without a placeholder in their place before."""
        picker = self.start_picker()
        self.open(picker)
        self.go_to_last_category()

        def are_shown():
            picture = self.picture()
            self.assertFalse(has_loading_placeholder(picture))
            return self.shown(picture) == dict.fromkeys(MISSING, "picture")
        wait_until(are_shown, "the pictures are shown")
        self.assertEqual(picker.count_lines("[EmojiCell] Failed to load image:"), 0)
        picker.program.stop()


class FailureTests(DownloadedImagesTest):
    def setUp(self):
        super().setUp()
        self.serve(Catalogue(MISSING))

    def test_question_mark_shows_what_the_server_does_not_give(self):
        absent, page, truncated, empty = MISSING[1], MISSING[4], MISSING[9], MISSING[14]
        (self.served_images / f"{absent}.png").unlink()
        self.serve_image(page, b"<!DOCTYPE html>\n<title>Please log in</title>\n")
        self.serve_image(truncated, IMAGES[truncated][:len(IMAGES[truncated]) // 2])
        self.serve_image(empty, b"")
        failures = {absent: NOT_FOUND, page: NO_IMAGE, truncated: NO_IMAGE, empty: NO_DATA}
        picker = self.start_picker()
        self.open(picker)

        self.go_to_last_category()
        self.wait_for({**dict.fromkeys(MISSING, "picture"), **dict.fromkeys(failures, "question mark")},
                      "the pictures and the question marks are shown")
        self.assert_failures_are_logged(picker, failures)
        self.settled_requests()
        self.assertEqual(set(self.cached()), set(MISSING) - set(failures))

        for codepoint in failures:
            self.serve_image(codepoint, IMAGES[codepoint])
        self.assert_next_visit_shows_pictures(picker)

    def test_question_marks_show_that_the_server_is_gone(self):
        picker = self.start_picker()
        self.open(picker)
        self.server.stop()

        self.go_to_last_category()
        self.wait_for_all("question mark")
        self.assert_failures_are_logged(picker, dict.fromkeys(MISSING, "Network error: .+"))
        self.assertEqual(self.cached(), {})

        self.server.start_again()
        self.assert_next_visit_shows_pictures(picker)

    def assert_next_visit_shows_pictures(self, picker):
        self.close()
        self.open(picker)
        self.go_to_last_category()
        self.wait_for_all("picture")
        self.assertEqual(self.cached(), self.images)


class ReuseTests(DownloadedImagesTest):
    """Answers that come when the cell that asked shows another emoji."""

    def setUp(self):
        super().setUp()
        self.serve(Catalogue(MISSING, UNKNOWN_FLAGS))

    def ask_without_answer(self, picker):
        """Returns the picture of the top of the grid, as it was before."""
        top = self.open(picker)
        self.go_to_last_category()
        self.wait_for_all("placeholder")
        return top

    def assert_colours_are_in_place(self, picture, scrolled):
        """Each picture's colour is in the cell of its own emoji and nowhere else."""
        for codepoint, pixels in self.coloured_pixels(picture).items():
            left, top = self.catalogue.places[codepoint]
            inside = [left <= x < left + CELL and top <= y + scrolled < top + CELL for x, y in pixels]
            self.assertTrue(all(inside), f"the picture of {codepoint} is in another cell")

    def watch(self, expected, scrolled):
        """Until the server has answered what it was asked while suspended, and nothing changes any more."""
        # It answers in the order of what it takes in, and this comes last.
        self.server.ask("/manifest.json")
        self.assertTrue(self.requests_for_images(), "the pictures were asked for")

        def observe():
            picture = self.picture()
            self.assert_colours_are_in_place(picture, scrolled)
            shown = self.shown(picture, scrolled)
            return (shown, self.requests_for_images()) if shown == expected else None
        wait_until_stable(observe, "the right pictures are shown and the server is not asked", span=1)

    def test_late_answers_do_not_reach_cells_of_other_pictures(self):
        # What these cells show does not wait for the server, so nothing replaces a wrong picture in them.
        self.cached_images.mkdir(parents=True)
        for codepoint in UNKNOWN_FLAGS:
            (self.cached_images / f"{codepoint}.png").write_bytes(IMAGES[codepoint])
        notches = self.catalogue.places[UNKNOWN_FLAGS[0]][1] // NOTCH
        scrolled = notches * NOTCH
        picker = self.start_picker()

        with self.server.suspended():
            self.ask_without_answer(picker)
            self.scroll(notches)
            wait_until(lambda: self.shows_only_flags(scrolled), "the screen is full of flags")
            flags = self.shown(self.picture(), scrolled)
        self.watch(flags, scrolled)

        self.scroll(-notches)
        self.wait_for_all("picture")

    def shows_only_flags(self, scrolled):
        shown = self.shown(self.picture(), scrolled)
        return len(shown) >= 6 * COLUMNS and set(shown.values()) == {"picture"}

    def test_late_answers_do_not_reach_cells_of_drawn_emoji(self):
        picker = self.start_picker()
        with self.server.suspended():
            top = self.ask_without_answer(picker)
            self.scroll_to_top(top)

        # The last category is farther away than the grid is high: every coloured pixel is a wrong one.
        self.watch({}, scrolled=-2 * GRID_HEIGHT)
        self.assertEqual(self.picture(), top)

        self.go_to_last_category()
        self.wait_for_all("picture")


if __name__ == "__main__":
    main()
