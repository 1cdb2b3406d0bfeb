#!/usr/bin/python3
"""The picker over a catalogue that was published and is served over TLS, as the real server does it.

usage: published_catalogue_test.py --picker BINARY --qt-target BINARY
"""

import json

from desktop import Picker, files_in_memory, wait_until
from pictures import pixels_by_colour, png
from testcase import EndToEndTest, argument, main

# In the folder that `pictures` adds to the path.
from catalogue_server import CatalogueServer
from publishing import BUNDLED, PublishingProject

# What the library for transfers is and brings along.
TRANSFER_LIBRARIES = ("libcurl", "libssl", "libcrypto", "libgnutls", "libkrb5", "libldap", "libnghttp2", "libssh2")
# Nothing like this word is in the bundled catalogue.
NEW_WORD = "whirligig"
RENAMED = ("1f680", "🚀")
# Not assigned, so that no font has a glyph for it, and no catalogue that comes with the program a picture.
MISSING_IN_FONT = "1faff"
UNASSIGNED = {"char": "\U0001faff", "name": "thingummy", "keywords": [], "category": "smileys",
              "skinTones": False}
# A colour that nothing else in the panel has.
COLOUR = (255, 0, 255)
PICTURE = png(*COLOUR)


class PublishedCatalogueTest(EndToEndTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    def setUp(self):
        super().setUp()
        self.assertNotIn(NEW_WORD, (BUNDLED / "manifest.json").read_text(encoding="utf-8"))
        self.cache = self.desktop.folder / "home" / ".cache" / "Glimmerwick"
        self.server = self.enterContext(self.serve(self.publish()))
        self.desktop.environment["SSL_CERT_FILE"] = str(self.server.authority)

    def publish(self):
        project = PublishingProject(self.desktop.folder / "project")
        project.add_locales("de")
        project.add_image(project.made_images, MISSING_IN_FONT, PICTURE)

        def change(manifest):
            manifest["emojis"][RENAMED[0]]["name"] = NEW_WORD
            manifest["emojis"][MISSING_IN_FONT] = UNASSIGNED
            manifest["categories"][0]["emojis"].append(MISSING_IN_FONT)
        project.change_manifest(change)
        target = self.desktop.folder / "published"
        project.publish(target, "--locales", "de")
        return target

    def serve(self, published):
        folder = self.desktop.folder / "server"
        folder.mkdir()
        return CatalogueServer(folder, published)

    def cached_name(self):
        manifest = json.loads((self.cache / "manifest.json").read_text(encoding="utf-8"))
        return manifest["emojis"][RENAMED[0]]["name"]

    def wait_for_request(self, request):
        wait_until(lambda: request in self.server.requests(), f'the server answers "{request}"')

    def grid_shows_downloaded_picture(self):
        picture = self.desktop.picture_of_grid() or b""
        return len(pixels_by_colour(picture, {COLOUR})[COLOUR]) >= 100

    def test_name_that_only_the_server_knows_is_found_and_typed(self):
        self.use_address(self.server.address)
        target = self.start_target("gtk")
        picker = self.start_picker()
        self.wait_for_request("GET /manifest.json 200 br")
        self.assertEqual(self.cached_name(), NEW_WORD)

        _, browsing = picker.open()
        picker.search(NEW_WORD, browsing)
        self.desktop.press("Return")

        target.wait_for_text(RENAMED[1])

    def test_what_transfers_need_is_in_a_process_that_ends_with_them(self):
        self.use_address(self.server.address)
        with self.server.suspended():
            picker = Picker(self.desktop, self.picker_binary)
            wait_until(lambda: any("libcurl" in name for child in picker.children() for name in files_in_memory(child)),
                       "a program for the transfer runs")
            self.assertEqual(len(picker.children()), 1)
            self.assert_nothing_of_transfers_is_loaded(picker)
        self.wait_for_request("GET /manifest.json 200 br")
        picker.wait_until_ready()

        # One that has ended and was not waited for would be among them.
        wait_until(lambda: picker.children() == [], "the program has ended")

        self.assert_nothing_of_transfers_is_loaded(picker)
        self.assertEqual(self.cached_name(), NEW_WORD)
        self.assertEqual([line for line in picker.program.lines() if line.startswith("glimmerwick")], [])

    def assert_nothing_of_transfers_is_loaded(self, picker):
        files = picker.loaded_files()
        self.assertTrue(any(name.startswith("libQt6Core") for name in files))
        self.assertEqual([name for name in files if name.startswith(TRANSFER_LIBRARIES)], [])

    def test_image_that_the_font_lacks_is_downloaded_cached_and_shown(self):
        self.use_address(self.server.address)
        picker = self.start_picker()

        picker.open()
        self.assertFalse(self.grid_shows_downloaded_picture())
        self.desktop.type(UNASSIGNED["name"])

        wait_until(self.grid_shows_downloaded_picture, "the grid shows the downloaded picture")
        self.wait_for_request(f"GET /emojis/{MISSING_IN_FONT}.png 200 -")
        self.assertEqual((self.cache / "emojis" / f"{MISSING_IN_FONT}.png").read_bytes(), PICTURE)

    def test_address_of_a_locale_gives_its_names_and_the_shared_images(self):
        self.use_address(f"{self.server.address}/de")
        picker = self.start_picker()
        self.wait_for_request("GET /de/manifest.json 200 br")
        self.assertEqual(self.cached_name(), f"{NEW_WORD} de")

        picker.open()
        self.desktop.type(UNASSIGNED["name"])

        wait_until(self.grid_shows_downloaded_picture, "the grid shows the downloaded picture")
        self.wait_for_request(f"GET /de/emojis/{MISSING_IN_FONT}.png 200 -")


if __name__ == "__main__":
    main()
