#!/usr/bin/python3
"""Publishes a catalogue into a folder, and serves that folder with the rules for the real server.

usage: publish_test.py --generator BINARY [TEST...]
"""

import datetime
import email.utils
import gzip
import json
import os
import pathlib
import resource
import signal
import stat
import subprocess
import sys
import tempfile
import threading
import time
import unittest

sys.dont_write_bytecode = True

from catalogue_server import CatalogueServer  # noqa: E402
from publishing import BUNDLED, PublishingProject, png  # noqa: E402

MARKER = ".glimmerwick-catalogue"
MANIFEST_FILES = ["manifest.json", "manifest.json.br", "manifest.json.gz"]
MISSING_IN_FONT = "1faea"
DEADLINE = 60.0


def wait_until(condition, what):
    end = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"waited {DEADLINE:g} s in vain: {what}")
        time.sleep(0.01)


def unpack_brotli(data):
    return subprocess.run(["brotli", "--decompress", "--stdout"], input=data, capture_output=True,
                          check=True).stdout


def bundled_manifest():
    return json.loads((BUNDLED / "manifest.json").read_text(encoding="utf-8"))


def bundled_date():
    return datetime.datetime.fromisoformat(bundled_manifest()["lastUpdated"].replace("Z", "+00:00"))


def files_below(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())


def snapshot(folder):
    """All that a server can see: names, bytes, modes and times, of folders too."""
    seen = {}
    for path in [folder, *folder.rglob("*")]:
        status = path.stat()
        content = None if path.is_dir() else path.read_bytes()
        seen[str(path.relative_to(folder))] = (status.st_mode, status.st_mtime_ns, content)
    return seen


class PublishingTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-")))
        self.project = PublishingProject(self.folder / "project")
        # A folder that holds nothing else, so that whatever is left behind beside the target is noticed.
        self.web = self.folder / "web"
        self.target = self.web / "site"
        self.web.mkdir()

    def add_images(self):
        self.project.add_image(self.project.made_images, "1f600", png(255, 200, 0))
        self.project.add_image(self.project.made_images, "1f44b-1f3fd", png(200, 150, 100))
        self.project.add_image(self.project.bundled_images, MISSING_IN_FONT, png(0, 0, 255))

    def change_name(self, name, date="2026-02-03T04:05:06Z"):
        def change(manifest):
            manifest["lastUpdated"] = date
            manifest["emojis"]["1f600"]["name"] = name
        self.project.change_manifest(change)

    def assert_refused(self, reason, *arguments, **options):
        """One line that gives the reason, and nothing left beside the target."""
        status, output, errors = self.project.try_to_publish(*(arguments or [self.target]), **options)
        self.assertEqual((status, output), (1, ""), errors)
        self.assertRegex(errors, rf"\Apublish: .*{reason}.*\n\Z")
        self.assertLessEqual(set(os.listdir(self.web)), {self.target.name})


class PublishTests(PublishingTest):
    def test_writes_the_manifest_its_compressed_forms_the_images_and_the_licences(self):
        self.add_images()

        self.project.publish(self.target)

        images = [f"emojis/{name}.png" for name in ("1f44b-1f3fd", "1f600", MISSING_IN_FONT)]
        self.assertEqual(files_below(self.target), sorted([MARKER, "LICENSES.txt", *MANIFEST_FILES, *images]))
        manifest = (BUNDLED / "manifest.json").read_bytes()
        self.assertEqual((self.target / "manifest.json").read_bytes(), manifest)
        self.assertEqual(gzip.decompress((self.target / "manifest.json.gz").read_bytes()), manifest)
        self.assertEqual(unpack_brotli((self.target / "manifest.json.br").read_bytes()), manifest)
        self.assertEqual((self.target / "LICENSES.txt").read_bytes(), (BUNDLED / "LICENSES.txt").read_bytes())
        self.assertEqual((self.target / "emojis" / "1f600.png").read_bytes(), png(255, 200, 0))
        self.assertEqual(self.project.calls(), ["check --manifest --sequences"])

    def test_bundled_image_goes_before_one_that_was_made(self):
        self.project.add_image(self.project.made_images, MISSING_IN_FONT, png(255, 0, 0))
        self.project.add_image(self.project.bundled_images, MISSING_IN_FONT, png(0, 0, 255))

        self.project.publish(self.target)

        image = self.target / "emojis" / f"{MISSING_IN_FONT}.png"
        self.assertEqual(image.read_bytes(), png(0, 0, 255))

    def test_says_that_images_are_not_published_when_there_are_none(self):
        output = self.project.publish(self.target)

        self.assertRegex(output, r"\nImages are not published.*dev/content images --all.*\n\Z")
        self.assertFalse((self.target / "emojis").exists())

    def test_further_locales_get_folders_that_share_the_images(self):
        self.project.add_locales("de", "en", "zh-hant")
        self.add_images()

        self.project.publish(self.target, "--locales", "all")

        self.assertFalse((self.target / "en").exists())
        english = bundled_manifest()["emojis"]["1f600"]["name"]
        for locale in ("de", "zh-hant"):
            folder = self.target / locale
            manifest = (folder / "manifest.json").read_bytes()
            self.assertEqual(json.loads(manifest)["emojis"]["1f600"]["name"], f"{english} {locale}")
            self.assertEqual(gzip.decompress((folder / "manifest.json.gz").read_bytes()), manifest)
            self.assertEqual(unpack_brotli((folder / "manifest.json.br").read_bytes()), manifest)
            self.assertTrue((folder / "LICENSES.txt").is_file())
            self.assertEqual(files_below(folder / "emojis"), files_below(self.target / "emojis"))
            for image in (self.target / "emojis").iterdir():
                self.assertTrue(image.samefile(folder / "emojis" / image.name))
        self.assertEqual(self.project.calls()[1:], [
            "manifest --packages --content --locale --output de", "check --manifest --sequences",
            "manifest --packages --content --locale --output zh-hant", "check --manifest --sequences"])

    def test_only_the_named_locales_are_published(self):
        self.project.add_locales("da", "de", "en", "fr")

        self.project.publish(self.target, "--locales", "fr,en,de,fr")

        folders = sorted(path.name for path in self.target.iterdir() if path.is_dir())
        self.assertEqual(folders, ["de", "fr"])

    def test_publishing_twice_gives_the_same_bytes_modes_and_times(self):
        self.project.add_locales("de")
        self.add_images()
        self.project.publish(self.target, "--locales", "de")
        first = snapshot(self.target)

        self.project.publish(self.target, "--locales", "de", umask=0o077)

        second = snapshot(self.target)
        self.assertEqual(second, first)
        expected = int(bundled_date().timestamp()) * 10**9
        for name, (mode, modified, _) in second.items():
            with self.subTest(name=name):
                self.assertEqual(modified, expected)
                self.assertEqual(stat.S_IMODE(mode), 0o755 if stat.S_ISDIR(mode) else 0o644)

    def test_files_of_an_earlier_publish_vanish(self):
        self.project.add_locales("de")
        self.add_images()
        self.project.publish(self.target, "--locales", "de")
        (self.project.made_images / "1f600.png").unlink()

        self.project.publish(self.target)

        self.assertFalse((self.target / "emojis" / "1f600.png").exists())
        self.assertTrue((self.target / "emojis" / f"{MISSING_IN_FONT}.png").exists())
        self.assertFalse((self.target / "de").exists())
        self.assertEqual(os.listdir(self.web), ["site"])

    def test_goes_into_an_empty_folder_and_behind_a_link(self):
        behind = self.web / "site"
        behind.mkdir()
        link = self.folder / "link"
        link.symlink_to(behind)

        self.project.publish(link)

        self.assertTrue(link.is_symlink())
        self.assertTrue((behind / "manifest.json").is_file())

    def test_folder_that_somebody_else_filled_is_left_alone(self):
        self.target.mkdir()
        (self.target / "manifest.json").write_text("of an application on the web", encoding="utf-8")

        self.assert_refused("is not empty and holds no published catalogue")

        self.assertEqual(files_below(self.target), ["manifest.json"])

    def test_file_in_the_place_of_the_folder_is_left_alone(self):
        self.target.write_text("precious", encoding="utf-8")

        self.assert_refused("is no folder")

        self.assertEqual(self.target.read_text(encoding="utf-8"), "precious")

    def test_unknown_locale_is_refused(self):
        self.project.add_locales("de")

        self.assert_refused('no locale "xx", only: de', self.target, "--locales", "de,xx")

    def test_locales_without_their_data_are_refused(self):
        self.assert_refused("data of the locales is missing", self.target, "--locales", "all")

    def test_arguments_that_make_no_sense_are_refused(self):
        for arguments in ([""], ["--fast"], [self.target, "another"]):
            with self.subTest(arguments=arguments):
                self.assert_refused("usage: dev/content publish DIR", *arguments)
        self.assert_refused("--locales needs names", self.target, "--locales")

    def test_manifest_that_breaks_the_rules_leaves_the_old_tree(self):
        self.project.publish(self.target)
        old = snapshot(self.target)
        self.project.change_manifest(lambda manifest: manifest.update(breach=True))

        status, _, errors = self.project.try_to_publish(self.target)

        self.assertEqual(status, 1)
        self.assertRegex(errors, r'\Athe manifest holds a breach\npublish: .* of "en" breaks the rules')
        self.assertEqual(snapshot(self.target), old)
        self.assertEqual(os.listdir(self.web), ["site"])

    def test_date_that_is_no_time_is_refused(self):
        for date in ("", "yesterday", 20260101):
            with self.subTest(date=date):
                self.project.change_manifest(lambda manifest, date=date: manifest.update(lastUpdated=date))

                self.assert_refused("lastUpdated of manifest.json is no time like")

    def test_change_that_would_keep_the_etag_is_refused(self):
        self.change_name("abcdefgh")
        self.project.publish(self.target)
        old = snapshot(self.target)
        self.change_name("hgfedcba")

        self.assert_refused("changed but its lastUpdated did not")

        self.assertEqual(snapshot(self.target), old)
        self.change_name("hgfedcba", date="2026-02-03T04:05:07Z")
        self.project.publish(self.target)

    def test_full_disk_leaves_the_old_tree(self):
        self.project.publish(self.target)
        old = snapshot(self.target)
        self.change_name("new")

        # A limit on the size of files stands in for the full disk: writing fails in the midst of the
        # manifest. The signal that comes with it stays ignored, as it is in this interpreter, so that the
        # write gets an error.
        self.assert_refused(
            "stays as it was, the new one cannot be written: cp: .*File too large", restore_signals=False,
            prepare=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000)))

        self.assertEqual(snapshot(self.target), old)

    def test_place_that_cannot_be_written_leaves_the_old_tree(self):
        self.project.publish(self.target)
        old = snapshot(self.target)
        self.web.chmod(0o555)
        self.addCleanup(self.web.chmod, 0o755)
        # Root may write everywhere, unless it gives that up.
        before = ["setpriv", "--bounding-set=-dac_override"] if os.geteuid() == 0 else []

        self.assert_refused("stays as it was, the new one cannot be written: mkdir: .*Permission denied",
                            before=before)

        self.assertEqual(snapshot(self.target), old)

    def interrupt(self, number):
        """Publishes until the new manifest is there and its check waits, and ends it then."""
        self.project.change_manifest(lambda manifest: manifest.update(pause=True))
        seen = len(self.project.calls())
        with self.project.started(self.target) as process:
            wait_until(lambda: len(self.project.calls()) > seen, "the manifest is checked")
            unfinished = self.web / ".site.publishing"
            self.assertTrue((unfinished / "manifest.json").exists())
            # The group, as a terminal does it.
            os.killpg(process.pid, number)
            process.communicate(timeout=DEADLINE)
        self.project.change_manifest(lambda manifest: manifest.pop("pause"))
        return process.returncode

    def test_interrupted_publish_leaves_the_old_tree_and_nothing_else(self):
        self.project.publish(self.target)
        old = snapshot(self.target)

        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(signal=number.name):
                self.assertNotEqual(self.interrupt(number), 0)

                self.assertEqual(snapshot(self.target), old)
                self.assertEqual(os.listdir(self.web), ["site"])

    def test_what_a_killed_publish_left_is_cleared_away_by_the_next(self):
        self.project.publish(self.target)
        old = snapshot(self.target)

        self.interrupt(signal.SIGKILL)

        self.assertEqual(snapshot(self.target), old)
        self.assertEqual(sorted(os.listdir(self.web)), [".site.publishing", "site"])
        self.change_name("new")
        self.project.publish(self.target)
        self.assertEqual(os.listdir(self.web), ["site"])
        self.assertIn(b'"new"', (self.target / "manifest.json").read_bytes())

    def test_two_at_once_do_not_mix(self):
        self.project.change_manifest(lambda manifest: manifest.update(pause=True))
        with self.project.started(self.target) as first:
            wait_until(self.project.calls, "the manifest is checked")

            status, _, errors = self.project.try_to_publish(self.target)

            self.assertEqual(status, 1)
            self.assertRegex(errors, r"\Apublish: another publish is writing into .*\n\Z")
            with open(self.project.pipe, "w", encoding="utf-8"):
                pass
            self.assertEqual(first.wait(timeout=DEADLINE), 0)
        self.assertTrue((self.target / "manifest.json").exists())


class GeneratorTests(PublishingTest):
    """The generator itself judges, in place of the stand-in."""

    binary = None

    def setUp(self):
        super().setUp()
        self.project.use_generator(self.binary)

    def test_bundled_manifest_is_published(self):
        self.project.publish(self.target)

        self.assertTrue((self.target / "manifest.json").is_file())

    def test_manifest_that_breaks_a_rule_is_not(self):
        self.project.change_manifest(lambda manifest: manifest["emojis"]["1f600"].update(name=""))

        status, _, errors = self.project.try_to_publish(self.target)

        self.assertEqual(status, 1)
        self.assertIn("breaks the rules above", errors)
        self.assertFalse(self.target.exists())


class ServeTests(PublishingTest):
    IMAGE = f"/emojis/{MISSING_IN_FONT}.png"

    def setUp(self):
        super().setUp()
        self.project.add_locales("de")
        self.add_images()
        self.project.publish(self.target, "--locales", "de")
        own = self.folder / "server"
        own.mkdir()
        self.server = self.enterContext(CatalogueServer(own, self.target))

    def manifest(self, path="/manifest.json"):
        return (self.target / path.lstrip("/")).read_bytes()

    def assert_not_cacheable(self, answer, status):
        self.assertEqual((answer.status, answer.one("Cache-Control")), (status, "no-store"))
        self.assertEqual(answer.all("Expires"), [])
        self.assertEqual(answer.one("X-Content-Type-Options"), "nosniff")

    def test_manifest_comes_in_the_best_encoding_that_the_client_takes(self):
        modified = email.utils.format_datetime(bundled_date(), usegmt=True)
        for path in ("/manifest.json", "/de/manifest.json"):
            for accepted, encoding, unpack in (
                    ("gzip, deflate, br", "br", unpack_brotli), ("br", "br", unpack_brotli),
                    ("gzip", "gzip", gzip.decompress), ("identity", None, bytes), (None, None, bytes)):
                with self.subTest(path=path, accepted=accepted):
                    answer = self.server.ask(path, **({"Accept_Encoding": accepted} if accepted else {}))

                    self.assertEqual((answer.status, answer.one("Content-Encoding")), (200, encoding))
                    self.assertEqual(unpack(answer.body), self.manifest(path))
                    self.assertEqual(answer.one("Content-Type"), "application/json")
                    self.assertEqual(answer.one("Vary"), "Accept-Encoding")
                    self.assertEqual(answer.one("Cache-Control"), "max-age=300, must-revalidate")
                    self.assertEqual(answer.all("Expires"), [])
                    self.assertEqual(answer.one("Last-Modified"), modified)
                    self.assertEqual(answer.one("X-Content-Type-Options"), "nosniff")

    def test_etag_is_strong_differs_by_encoding_and_saves_the_body(self):
        tags = set()
        for accepted in ("br", "gzip", "identity"):
            tag = self.server.ask("/manifest.json", Accept_Encoding=accepted).one("ETag")
            self.assertRegex(tag, r'\A"[0-9a-f]+-[0-9a-f]+"\Z')
            tags.add(tag)

            again = self.server.ask("/manifest.json", Accept_Encoding=accepted, If_None_Match=tag)

            self.assertEqual((again.status, again.body, again.one("ETag")), (304, b"", tag))
            self.assertEqual(again.one("Cache-Control"), "max-age=300, must-revalidate")
            other = self.server.ask("/manifest.json", Accept_Encoding=accepted, If_None_Match='"other"')
            self.assertEqual(other.status, 200)
        self.assertEqual(len(tags), 3)

    def test_etag_outlives_a_publish_of_the_same_and_changes_with_a_new_manifest(self):
        def tags():
            return [self.server.ask(path, Accept_Encoding=accepted).one("ETag")
                    for path in ("/manifest.json", "/de/manifest.json", self.IMAGE)
                    for accepted in ("br", "gzip", "identity")]
        first = tags()

        self.project.publish(self.target, "--locales", "de")
        second = tags()
        self.change_name("something else")
        self.project.publish(self.target, "--locales", "de")
        third = tags()

        self.assertNotIn(None, first)
        self.assertEqual(second, first)
        for changed, unchanged in zip(third[:6], second[:6]):
            self.assertNotEqual(changed, unchanged)

    def test_image_may_be_kept_for_ever_and_is_never_packed_again(self):
        for path in (self.IMAGE, f"/de{self.IMAGE}", "/emojis/1f44b-1f3fd.png"):
            with self.subTest(path=path):
                answer = self.server.ask(path, Accept_Encoding="gzip, deflate, br")

                self.assertEqual(answer.status, 200)
                self.assertEqual(answer.body, self.manifest(path))
                self.assertEqual(answer.all("Content-Encoding"), [])
                self.assertEqual(answer.all("Vary"), [])
                self.assertEqual(answer.one("Content-Type"), "image/png")
                self.assertEqual(answer.one("Cache-Control"), "public, max-age=31536000, immutable")
                self.assertEqual(answer.all("Expires"), [])
                self.assertEqual(answer.one("X-Content-Type-Options"), "nosniff")
                tag = answer.one("ETag")
                self.assertEqual(self.server.ask(path, If_None_Match=tag).status, 304)

    def test_licences_are_served_as_text(self):
        answer = self.server.ask("/LICENSES.txt")

        self.assertEqual((answer.status, answer.one("Content-Type")), (200, "text/plain"))
        self.assertEqual(answer.body, (BUNDLED / "LICENSES.txt").read_bytes())

    def test_head_tells_the_same_without_the_body(self):
        for path in ("/manifest.json", self.IMAGE):
            asked = self.server.ask(path, "HEAD", Accept_Encoding="br")
            got = self.server.ask(path, Accept_Encoding="br")

            self.assertEqual((asked.status, asked.body), (200, b""))
            for name in ("Content-Length", "Content-Encoding", "Content-Type", "ETag", "Cache-Control"):
                self.assertEqual(asked.one(name), got.one(name), name)

    def test_nothing_else_is_found(self):
        (self.target / ".hidden").mkdir()
        (self.target / ".hidden" / "manifest.json").write_text("{}", encoding="utf-8")
        (self.target / "emojis" / ".1f600.png").write_bytes(png(0, 0, 0))
        (self.target / "notes.json").write_text("{}", encoding="utf-8")
        for path in ("/", "/de", "/de/", "/emojis", "/emojis/", "/de/emojis/", "/nowhere",
                     "/fr/manifest.json", "/emojis/1f601.png", "/emojis/notes.png", f"/{MARKER}",
                     "/.hidden/manifest.json", "/emojis/.1f600.png", "/notes.json", "/manifest.json/",
                     "/MANIFEST.JSON",
                     "/manifest.json.gz", "/manifest.json.br", "/de/manifest.json.gz", "/de/manifest.json.br",
                     "/de/..%2f.hidden/manifest.json"):
            with self.subTest(path=path):
                answer = self.server.ask(path)

                self.assert_not_cacheable(answer, 404)
                self.assertEqual(answer.all("Location"), [])

    def test_only_get_and_head_are_allowed(self):
        for method in ("POST", "PUT", "DELETE", "PATCH", "OPTIONS"):
            for path in ("/manifest.json", self.IMAGE, "/nowhere"):
                with self.subTest(method=method, path=path):
                    answer = self.server.ask(path, method, Content_Length="0")

                    self.assert_not_cacheable(answer, 405)
                    self.assertEqual(answer.one("Allow"), "GET, HEAD")
        self.assertEqual(self.server.ask("/manifest.json").all("Allow"), [])

    def test_headers_of_the_server_around_the_rules_stay(self):
        for path in ("/manifest.json", self.IMAGE, "/nowhere"):
            self.assertEqual(self.server.ask(path).one("Strict-Transport-Security"), "max-age=60")

    def test_while_publishing_every_answer_is_the_old_or_the_new_one_whole(self):
        answers = []
        done = threading.Event()

        def keep_asking():
            while not done.is_set():
                answers.append(self.server.ask("/manifest.json", Accept_Encoding="gzip"))
        allowed = [self.manifest()]
        reader = threading.Thread(target=keep_asking)
        reader.start()
        try:
            for number in range(5):
                self.change_name(f"name {number}", date=f"2026-03-04T05:06:{number:02}Z")
                self.project.publish(self.target)
                allowed.append(self.manifest())
                seen = len(answers)
                wait_until(lambda seen=seen: len(answers) > seen + 1 or not reader.is_alive(),
                           "one more answer")
        finally:
            done.set()
            reader.join()

        self.assertEqual({answer.status for answer in answers}, {200})
        bodies = {gzip.decompress(body) for body in {answer.body for answer in answers}}
        self.assertLessEqual(bodies, set(allowed))
        self.assertIn(allowed[-1], bodies)


class ServeFromAFolderAboveTests(PublishingTest):
    def test_address_may_have_the_name_of_the_folder_in_it(self):
        self.project.add_locales("de")
        self.add_images()
        self.project.publish(self.target, "--locales", "de")
        own = self.folder / "server"
        own.mkdir()

        with CatalogueServer(own, self.web) as server:
            for path in ("/site/manifest.json", f"/site/de/emojis/{MISSING_IN_FONT}.png"):
                self.assertEqual(server.ask(path).status, 200, path)
            self.assertEqual(server.ask("/site/.glimmerwick-catalogue").status, 404)


if __name__ == "__main__":
    if sys.argv[1:2] != ["--generator"] or len(sys.argv) < 3:
        sys.exit("usage: publish_test.py --generator BINARY [TEST...]")
    GeneratorTests.binary = sys.argv[2]
    del sys.argv[1:3]
    sys.exit(unittest.main())
