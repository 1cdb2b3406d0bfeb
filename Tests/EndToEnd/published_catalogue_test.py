#!/usr/bin/python3
"""The picker over a catalogue that was published and is served over TLS, as the real server does it.

usage: published_catalogue_test.py --picker BINARY --qt-target BINARY
"""

import json
import pathlib
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Data"))

from catalogue_server import CatalogueServer  # noqa: E402  (the path comes first)
from desktop import wait_until  # noqa: E402
from publishing import BUNDLED, PublishingProject, png  # noqa: E402
from testcase import EndToEndTest, argument, main  # noqa: E402

# Nothing like this word is in the bundled catalogue.
NEW_WORD = "whirligig"
RENAMED = ("1f680", "🚀")
# Not assigned, so that no font has a glyph for it, and no catalogue that comes with the program a picture.
MISSING_IN_FONT = "1faff"
UNASSIGNED = {"char": "\U0001faff", "name": "thingummy", "keywords": [], "category": "smileys",
              "skinTones": False}
# A colour that nothing else in the panel has; four bytes a pixel, the last one without meaning.
PICTURE = png(255, 0, 255)
PICTURE_PIXEL = b"\xff\x00\xff"


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

    def use_address(self, address):
        keys = self.desktop.folder / "home" / ".config" / "Glimmerwick" / "secrets.txt"
        keys.parent.mkdir(parents=True)
        keys.write_text(f"PRODUCTION_BASE_URL={address}\n", encoding="utf-8")

    def cached_name(self):
        manifest = json.loads((self.cache / "manifest.json").read_text(encoding="utf-8"))
        return manifest["emojis"][RENAMED[0]]["name"]

    def wait_for_request(self, request):
        wait_until(lambda: request in self.server.requests(), f'the server answers "{request}"')

    def grid_shows_downloaded_picture(self):
        picture = self.desktop.picture_of_grid() or b""
        pixels = [picture[start:start + 3] for start in range(0, len(picture), 4)]
        return pixels.count(PICTURE_PIXEL) >= 100

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
