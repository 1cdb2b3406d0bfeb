"""Emoji that the font cannot draw: a picker without bundled images of them, and what its grid shows."""

import pathlib
import shutil
import sys

from desktop import PANEL_SIZE
from testcase import EndToEndTest

ROOT = pathlib.Path(__file__).resolve().parents[2]

sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "Tests" / "Data"))

from publishing import png  # noqa: E402, F401  (the path comes first; tests take it from here)

WIDTH = PANEL_SIZE[0]
CELL, SPACING, INSET, HEADER = 40, 4, 8, 28
COLUMNS = 7
# In a cell, the part of it that placeholders fill and that pictures are fitted into.
MARGIN = 4
SIDE = CELL - 2 * MARGIN
PLACEHOLDER_ALPHA = 0.26
FAILURE_ALPHA = 0.3 * PLACEHOLDER_ALPHA


def pixels_by_colour(picture, colours):
    """Where in a picture of the grid each of the colours is, as lists of x and y."""
    found = {colour: [] for colour in colours}
    places = {red << 16 | green << 8 | blue: found[red, green, blue] for red, green, blue in colours}
    for index, pixel in enumerate(memoryview(picture).cast("I")):
        # One byte of each pixel is not used.
        place = places.get(pixel & 0xFFFFFF)
        if place is not None:
            place.append((index % WIDTH, index // WIDTH))
    return found


def place_of_cell(index):
    """Where a category's cell is, from the left and from the top of the category."""
    row, column = divmod(index, COLUMNS)
    return INSET + column * (CELL + SPACING), HEADER + INSET + row * (CELL + SPACING)


def brightness_at(picture, x, y):
    """Of a grey pixel, from 0 to 255; None for one that has a colour."""
    start = 4 * (y * WIDTH + x)
    blue, green, red = picture[start:start + 3]
    return green if max(red, green, blue) - min(red, green, blue) <= 2 else None


def brightness_of_placeholder(picture, alpha=PLACEHOLDER_ALPHA):
    """The label's colour, black on light panels and white on dark ones, over the panel's background."""
    background = brightness_at(picture, INSET // 2, HEADER + INSET)
    label = 0 if background >= 128 else 255
    return background + (label - background) * alpha


def has_loading_placeholder(picture):
    """Whether one is anywhere in the picture of the grid, also while that scrolls."""
    shade = round(brightness_of_placeholder(picture))
    greys = (shade - 1, shade, shade + 1)
    pixels = [bytes((grey, grey, grey, unused)) for grey in greys for unused in (0, 255)]
    # An emoji may have a grey pixel, but not the inside of a whole row.
    return any(pixel * (SIDE - 2 * MARGIN) in picture for pixel in pixels)


class Cell:
    """A cell in a picture of the grid."""

    def __init__(self, picture, left, top):
        self._left, self._top = left, top
        self._picture = picture

    def is_loading(self):
        """Whether it shows the rounded grey square and nothing else."""
        return self._is_square_of(PLACEHOLDER_ALPHA) and not self._mark(PLACEHOLDER_ALPHA)

    def has_failed(self):
        """Whether it shows the paler square with a question mark in its middle: ink, a gap, and a dot."""
        mark = self._mark(FAILURE_ALPHA)
        rows = sorted({y for _, y in mark})
        gaps = [above for above, below in zip(rows, rows[1:]) if below > above + 1]
        if not self._is_square_of(FAILURE_ALPHA) or len(gaps) != 1:
            return False
        middle = (min(x for x, _ in mark) + max(x for x, _ in mark)) / 2
        return rows.index(gaps[0]) + 1 > len(rows) / 2 and abs(middle - (SIDE - 1) / 2) <= 2

    def _at(self, x, y):
        return brightness_at(self._picture, self._left + MARGIN + x, self._top + MARGIN + y)

    def _is_square_of(self, alpha):
        """Whether the edges of the square have the label's colour, and what lies around it the panel's."""
        shade = brightness_of_placeholder(self._picture, alpha)
        background = brightness_of_placeholder(self._picture, 0)
        inside = [(x, y) for along in range(MARGIN, SIDE - MARGIN) for across in (0, 1, SIDE - 2, SIDE - 1)
                  for x, y in ((along, across), (across, along))]
        around = [(x, y) for along in range(-MARGIN, SIDE + MARGIN)
                  for across in (-MARGIN, -1, SIDE, SIDE + MARGIN - 1)
                  for x, y in ((along, across), (across, along))]
        corners = [(x, y) for x in (0, SIDE - 1) for y in (0, SIDE - 1)]
        return (self._have(inside, shade) and self._have(around, background)
                and all(self._is_nearer(corner, background, shade) for corner in corners))

    def _have(self, pixels, brightness):
        return all((seen := self._at(x, y)) is not None and abs(seen - brightness) <= 2 for x, y in pixels)

    def _is_nearer(self, pixel, this, than):
        seen = self._at(*pixel)
        return seen is not None and abs(seen - this) < abs(seen - than)

    def _mark(self, alpha):
        """The pixels of the square's inner part that clearly differ from its colour."""
        shade = brightness_of_placeholder(self._picture, alpha)
        return [(x, y) for x in range(2, SIDE - 2) for y in range(2, SIDE - 2)
                if (seen := self._at(x, y)) is None or abs(seen - shade) > 30]


class PictureTest(EndToEndTest):
    """A picker that has to get pictures of emoji from elsewhere."""

    def setUp(self):
        super().setUp()
        self.cached_images = self.desktop.folder / "home" / ".cache" / "Glimmerwick" / "emojis"

    def use_resources_without_images(self):
        """Returns the folder that takes the place of the resources."""
        resources = self.desktop.folder / "resources"
        shutil.copytree(ROOT / "Resources", resources, ignore=shutil.ignore_patterns("emojis"))
        self.desktop.environment["GLIMMERWICK_RESOURCES"] = str(resources)
        return resources
