#!/usr/bin/python3
"""An emoji that the font cannot draw, without a network: its bundled image is shown, and it is typed in any
case.

usage: bundled_images_test.py --picker BINARY --qt-target BINARY
"""

from desktop import wait_until, wait_until_stable
from pictures import PictureTest, pixels_by_colour, png
from testcase import argument, main

# Newer than the colour emoji font, which has nothing for it.
QUERY, EMOJI, IMAGE_NAME = "orca", "\U0001FACD", "1facd.png"

COPIED = "What was on the clipboard"

# In no emoji and in no part of the panel.
COLOUR = (255, 1, 254)
IMAGE = png(*COLOUR, (136, 128))


def pixels_of_the_image(picture):
    """How many pixels of a picture of the grid have the image's colour."""
    return len(pixels_by_colour(picture, {COLOUR})[COLOUR])


class BundledImagesTest(PictureTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def setUp(self):
        super().setUp()
        # Nothing listens on port 1 of this machine, so every load fails at once.
        self.use_address("https://127.0.0.1:1")
        self.bundled_images = self.use_resources_without_images() / "catalogue" / "emojis"
        self.target = self.start_target("gtk")
        self.desktop.copy(COPIED)

    def bundle(self, image):
        self.bundled_images.mkdir(exist_ok=True)
        (self.bundled_images / IMAGE_NAME).write_bytes(image)

    def search(self, picker):
        """Returns the picture of the grid in browsing mode; the results may still be on their way."""
        _, browsing = picker.open()
        self.assertEqual(pixels_of_the_image(browsing), 0, "the colour is distinctive")
        self.desktop.type(QUERY)
        return browsing

    def wait_for_image(self):
        def is_shown():
            picture = self.desktop.picture_of_grid()
            return picture is not None and pixels_of_the_image(picture) >= 500
        wait_until(is_shown, "the bundled image is shown")

    def wait_for_results(self, browsing):
        """The picture of the grid once it is still; a few plain results are not as colourful as most."""
        def observe():
            picture = self.desktop.picture_of_grid()
            return picture if picture != browsing else None
        return wait_until_stable(observe, "the results are shown and still")

    def pick(self, picker):
        self.desktop.press("Return")
        self.target.wait_for_text(EMOJI)
        picker.wait_for_line("TypeManager: Clipboard restored to: ")
        self.assertEqual(self.desktop.clipboard(), COPIED)

    def test_bundled_image_is_shown_and_the_emoji_typed(self):
        self.bundle(IMAGE)
        picker = self.start_picker()

        self.search(picker)
        self.wait_for_image()
        self.pick(picker)

        self.assertEqual((self.cached_images / IMAGE_NAME).read_bytes(), IMAGE)

    def test_image_in_the_cache_is_kept(self):
        self.bundle(b"no picture")
        self.cached_images.mkdir(parents=True)
        (self.cached_images / IMAGE_NAME).write_bytes(IMAGE)
        picker = self.start_picker()

        self.search(picker)
        self.wait_for_image()
        self.pick(picker)

    def test_without_the_image_the_emoji_is_typed_all_the_same(self):
        picker = self.start_picker()

        browsing = self.search(picker)
        picker.wait_for_line("[EmojiCell] Failed to load image:")
        results = self.wait_for_results(browsing)

        self.assertEqual(pixels_of_the_image(results), 0)
        self.pick(picker)
        self.assertFalse((self.cached_images / IMAGE_NAME).exists())


if __name__ == "__main__":
    main()
