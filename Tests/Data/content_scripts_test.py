#!/usr/bin/python3
"""Refreshes, checks, draws and publishes a tiny catalogue with the real scripts and the real generator.

npm, node, cmake and the installation of packages are stand-ins, so nothing is fetched, compiled or installed.

usage: content_scripts_test.py --generator BINARY [TEST...]
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = ["run", "dev/build", "dev/content", "Content/make-images", "Content/publish"]
MANIFEST = "Resources/catalogue/manifest.json"
SEQUENCES = "Content/sequences.txt"
PACKAGES = "build/content/node_modules"

# The programs that the scripts call. Nothing else is on PATH, so that no npm of this machine is found.
PROGRAMS = """
    basename bash brotli cat chmod cmp cp date dirname env find flock git gzip ln ls mkdir mv nproc python3
    realpath rm rsvg-convert sed sha256sum sort stat sync tail timeout touch wc
""".split()

QUIET = "#!/bin/sh\nexit 0\n"
# Notes each call. "registry" holds what there is to fetch, and "registry/trouble" what goes wrong.
NPM = """#!/usr/bin/env bash
echo "$*, retries ${npm_config_fetch_retries:-unset}, timeout ${npm_config_fetch_timeout:-unset}" >>npm-calls
[[ "$1 $2 $3" == "ci --prefix build/content" ]] || exit 64
cmp Content/package-lock.json build/content/package-lock.json || exit 65
rm -rf build/content/node_modules
trouble=$(cat registry/trouble 2>/dev/null)
if [[ $trouble == interrupted ]]; then
    mkdir build/content/node_modules
    kill -KILL "$PPID"
elif [[ $trouble == unreachable ]]; then
    echo "npm error one" >&2
    echo "npm error two" >&2
    exit 1
else
    cp -r registry/packages build/content/node_modules
fi
"""
NODE = """#!/usr/bin/env bash
[[ $1 == Content/write-sequences.mjs ]] || exit 64
cp "$2/sequences" "$3"
"""

# The emoji that the nine categories show as their icons. No toned sequence is recommended here.
GROUPS = {
    "smileys_emotion": ("😀", "grinning face"), "people_body": ("👋", "waving hand"),
    "animals_nature": ("🐻", "bear"), "food_drink": ("🍔", "hamburger"), "travel_places": ("🚗", "automobile"),
    "activities": ("⚽", "soccer ball"), "objects": ("💡", "light bulb"), "symbols": ("❤️", "red heart"),
    "flags": ("🏳️", "white flag"),
}
# Newer than the colour emoji font.
ORCA = "1facd"


def codepoints(text):
    return "-".join(f"{ord(scalar):x}" for scalar in text)


class Project:
    """A copy of the scripts around data of nine emoji, fetched from a folder."""

    def __init__(self, folder, generator):
        self.folder = folder / "project"
        self.bundled = self.folder / "Resources" / "catalogue" / "emojis"
        self._stubs = folder / "stubs"
        self._programs = folder / "programs"
        self._copy_scripts()
        self._link_programs()
        for name, text in (("npm", NPM), ("node", NODE), ("cmake", QUIET)):
            self.write_program(self._stubs / name, text)
        tool = self.folder / "build" / "release" / "bin" / "glimmerwick-content"
        tool.parent.mkdir(parents=True)
        tool.symlink_to(generator)
        self.write("build/release/build.ninja", "")
        self.write("Content/package.json", "{}\n")
        self.write("Content/.npmrc", "")
        self.lock("first")
        self.write("Content/synonyms", "😀 cheese\n")
        self.write("Resources/catalogue/LICENSES.txt", "notices\n")
        self.edition("1")
        self.write_packages()

    def _copy_scripts(self):
        for script in SCRIPTS:
            (self.folder / script).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / script, self.folder / script)
        self.write_program(self.folder / "dev" / "install-packages", QUIET)

    def _link_programs(self):
        self._programs.mkdir()
        for program in PROGRAMS:
            # Debian's own first: others may be wrappers that look for themselves on PATH.
            found = shutil.which(program, path=f"/usr/bin:/bin:{os.environ['PATH']}")
            if found is None:
                raise AssertionError(f"{program} is missing")
            (self._programs / program).symlink_to(found)

    def write_program(self, file, text):
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        file.chmod(0o755)

    def write(self, name, text):
        file = self.folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def write_json(self, name, value):
        self.write(name, json.dumps(value, ensure_ascii=False))

    def read(self, name):
        return (self.folder / name).read_bytes()

    def manifest(self):
        return json.loads(self.read(MANIFEST))

    def lock(self, text):
        self.write("Content/package-lock.json", text)

    def edition(self, version):
        self.write_json("Content/edition.json", {"version": version, "lastUpdated": "2026-01-02T03:04:05Z"})

    def trouble(self, text):
        self.write("registry/trouble", text)

    def write_packages(self):
        packages = "registry/packages"
        english = f"{packages}/emojibase-data/en"
        self.write_json(f"{packages}/unicode-emoji-json/data-by-group.json", [
            {"slug": slug, "emojis": [{"emoji": text, "name": name}]}
            for slug, (text, name) in GROUPS.items()])
        self.write_json(f"{packages}/emojilib/dist/emoji-en-US.json", {})
        self.write_json(f"{english}/data.json", [
            {"label": name, "hexcode": codepoints(text).upper()} for text, name in GROUPS.values()])
        self.write_json(f"{english}/messages.json", {"groups": []})
        for shortcodes in ("github", "emojibase", "iamcal"):
            self.write_json(f"{english}/shortcodes/{shortcodes}.json", {})
        icons = f"{packages}/@iconify-json/noto"
        self.write_json(f"{icons}/chars.json", {ORCA: "orca"})
        self.write_json(f"{icons}/icons.json", {"width": 8, "height": 8, "icons": {
            "orca": {"body": "<circle cx='4' cy='4' r='3' fill='navy'/>"}}})
        self.write_sequences([codepoints(text) for text, _ in GROUPS.values()])

    def write_sequences(self, sequences):
        self.write("registry/packages/sequences", "".join(f"{sequence}\n" for sequence in sequences))

    def add_orca(self):
        """To the bundled manifest, as a refresh would."""
        manifest = self.manifest()
        manifest["emojis"][ORCA] = {"char": chr(int(ORCA, 16)), "name": "orca", "keywords": [],
                                    "category": "animals", "skinTones": False}
        self.write_json(MANIFEST, manifest)

    def remove_npm(self):
        (self._stubs / "npm").unlink()

    def environment(self):
        # A test may run inside a hook of git, which points git at another repository.
        kept = {name: value for name, value in os.environ.items()
                if not name.startswith(("GIT_", "npm_config_", "CONTENT_"))}
        return dict(kept, PATH=f"{self._stubs}:{self._programs}", LC_ALL="C.UTF-8",
                    GIT_CONFIG_GLOBAL="/dev/null", GIT_CONFIG_NOSYSTEM="1",
                    GIT_CEILING_DIRECTORIES=str(self.folder.parent))

    def call(self, *words, cwd=None):
        return subprocess.run(words, cwd=cwd or self.folder, env=self.environment(), capture_output=True,
                              encoding="utf-8", stdin=subprocess.DEVNULL, timeout=100, check=False)

    def commit(self):
        for words in (["init", "--quiet"], ["add", MANIFEST, SEQUENCES],
                      ["-c", "user.name=Test", "-c", "user.email=test@localhost", "commit", "--quiet",
                       "--message=Catalogue"]):
            result = self.call("git", *words)
            if result.returncode != 0:
                raise AssertionError(result.stderr)

    def content(self, *words, cwd=None):
        return self.call(str(self.folder / "dev" / "content"), *words, cwd=cwd)

    def npm_calls(self):
        file = self.folder / "npm-calls"
        return file.read_text(encoding="utf-8").splitlines() if file.exists() else []


class ContentScriptsTest(unittest.TestCase):
    generator = None

    def setUp(self):
        self.temporary = pathlib.Path(
            self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-"))).resolve()
        self.project = Project(self.temporary, self.generator)

    def succeed(self, *words, **options):
        result = self.project.content(*words, **options)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return result.stdout

    def fail_with(self, reason, *words, **options):
        """The command fails, and the last line of its complaints gives the reason."""
        result = self.project.content(*words, **options)
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        self.assertRegex(result.stderr.splitlines()[-1], reason)
        return result


class RefreshTests(ContentScriptsTest):
    def setUp(self):
        super().setUp()
        self.succeed("refresh")

    def committed(self):
        return self.project.read(MANIFEST), self.project.read(SEQUENCES)

    def test_writes_the_manifest_and_the_sequences(self):
        manifest = self.project.manifest()
        self.assertEqual(manifest["version"], "1")
        self.assertEqual([emoji["name"] for emoji in manifest["emojis"].values()],
                         [name for _, name in GROUPS.values()])
        self.assertIn("cheese", manifest["emojis"]["1f600"]["keywords"])
        self.assertEqual(self.project.read(SEQUENCES), self.project.read("registry/packages/sequences"))

    def test_same_data_leave_the_files_alone(self):
        self.project.commit()
        files = [self.project.folder / name for name in (MANIFEST, SEQUENCES)]
        before = [(file.stat().st_ino, file.stat().st_mtime_ns) for file in files]

        self.succeed("refresh")

        self.assertEqual([(file.stat().st_ino, file.stat().st_mtime_ns) for file in files], before)

    def test_change_under_the_old_version_is_refused_and_moves_nothing(self):
        self.project.commit()
        before = self.committed()
        self.project.write("Content/synonyms", "😀 queso\n")
        self.project.write("registry/packages/sequences", "# Newer\n" + before[1].decode())
        shutil.rmtree(self.project.folder / PACKAGES)

        self.fail_with(r"\Acontent: the catalogue differs .* raise version and lastUpdated", "refresh")

        self.assertEqual(self.committed(), before)

    def test_change_under_a_new_version_is_moved_into_place(self):
        self.project.commit()
        self.project.write("Content/synonyms", "😀 queso\n")
        self.project.edition("2")

        self.succeed("refresh")

        manifest = self.project.manifest()
        self.assertEqual(manifest["version"], "2")
        self.assertIn("queso", manifest["emojis"]["1f600"]["keywords"])

    def test_catalogue_that_breaks_a_rule_is_not_moved_into_place(self):
        before = self.committed()
        self.project.edition("2")
        self.project.write_sequences([*before[1].decode().split(), "1f680"])
        shutil.rmtree(self.project.folder / PACKAGES)

        result = self.fail_with(r"breaks 1 rules", "refresh")

        self.assertIn("1f680 is a recommended emoji and not there", result.stderr)
        self.assertEqual(self.committed(), before)

    def test_data_that_make_no_manifest_move_nothing(self):
        before = self.committed()
        self.project.edition("2")
        self.project.write("Content/synonyms", "🚀 moon\n")

        self.fail_with("synonyms for 🚀", "refresh")

        self.assertEqual(self.committed(), before)

    def test_manifest_is_checked_from_the_folder_of_the_caller(self):
        elsewhere = self.temporary / "elsewhere"
        elsewhere.mkdir()
        (elsewhere / "mine.json").write_bytes(self.project.read(MANIFEST))

        self.assertIn("every rule holds", self.succeed("check", "mine.json", cwd=elsewhere))
        self.assertIn(f"{MANIFEST}: 9 emoji", self.succeed("check", cwd=elsewhere))
        self.assertIn("every rule holds", self.succeed("check", str(elsewhere / "mine.json")))
        self.fail_with("mine.json", "check", "mine.json")

    def test_catalogue_is_published_into_the_folder_of_the_caller(self):
        elsewhere = self.temporary / "elsewhere"
        elsewhere.mkdir()

        self.succeed("publish", "--locales", "en", "site", cwd=elsewhere)

        self.assertEqual((elsewhere / "site" / "manifest.json").read_bytes(), self.project.read(MANIFEST))
        self.assertFalse((self.project.folder / "site").exists())
        self.fail_with("--locales needs names", "publish", "site", "--locales", cwd=elsewhere)


class FetchTests(ContentScriptsTest):
    def fetches(self):
        return len(self.project.npm_calls())

    def test_packages_are_fetched_once_and_again_after_a_change_of_the_lockfile(self):
        self.succeed("refresh")
        self.succeed("refresh")
        self.assertEqual(self.fetches(), 1)

        self.project.lock("second")
        self.succeed("refresh")
        self.succeed("refresh")
        self.assertEqual(self.fetches(), 2)

    def test_packages_are_fetched_again_when_they_were_deleted(self):
        self.succeed("refresh")
        shutil.rmtree(self.project.folder / PACKAGES)

        self.succeed("refresh")

        self.assertEqual(self.fetches(), 2)

    def interrupt(self):
        self.project.trouble("interrupted")
        self.assertEqual(self.project.content("refresh").returncode, -signal.SIGKILL)
        self.assertTrue((self.project.folder / PACKAGES).is_dir())
        self.project.trouble("")

    def test_packages_are_fetched_again_after_an_interrupted_fetch(self):
        self.interrupt()

        self.succeed("refresh")

        self.assertEqual(self.fetches(), 2)

    def test_interrupted_fetch_ends_the_trust_in_the_packages_before_it(self):
        self.succeed("refresh")
        self.project.lock("second")
        self.interrupt()
        self.project.lock("first")

        self.succeed("refresh")

        self.assertEqual(self.fetches(), 3)

    def test_failed_fetch_is_told_and_tried_again(self):
        self.project.trouble("unreachable")
        self.fail_with(r"\Acontent: the packages could not be fetched\Z", "refresh")
        self.assertFalse((self.project.folder / MANIFEST).exists())
        self.project.trouble("")

        self.succeed("refresh")

        self.assertEqual(self.fetches(), 2)

    def test_missing_npm_is_told_in_one_line(self):
        self.project.remove_npm()

        for words in (["refresh"], ["images"], ["images", "--all"], ["publish", "site", "--locales", "de"]):
            with self.subTest(words=words):
                result = self.project.content(*words)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertRegex(result.stderr, r"\Acontent: npm is missing.*\n\Z")


class ImageTests(ContentScriptsTest):
    def setUp(self):
        super().setUp()
        self.succeed("refresh")
        self.project.add_orca()

    def names(self, folder):
        return sorted(path.name for path in folder.iterdir())

    def test_stale_bundled_images_vanish_and_other_files_stay(self):
        self.project.bundled.mkdir()
        for name in ("1f600.png", "1ffff.png", "notes.txt"):
            (self.project.bundled / name).write_bytes(b"old")

        self.succeed("images")

        self.assertEqual(self.names(self.project.bundled), [f"{ORCA}.png", "notes.txt"])
        self.assertEqual((self.project.bundled / "notes.txt").read_bytes(), b"old")

    def test_stale_images_for_publishing_vanish_and_other_files_stay(self):
        made = self.project.folder / "build" / "content" / "emojis"
        made.mkdir()
        for name in ("1f600.png", "1ffff.png", "notes.txt"):
            (made / name).write_bytes(b"old")

        self.succeed("images", "--all")

        wanted = [codepoints(text) for text, _ in GROUPS.values()] + [ORCA]
        self.assertEqual(self.names(made), sorted([f"{name}.png" for name in wanted] + ["notes.txt"]))
        self.assertNotEqual((made / "1f600.png").read_bytes(), b"old")
        self.assertFalse(self.project.bundled.exists())


class RunTests(ContentScriptsTest):
    STEP = "== Bundling the images of the newest emoji"

    def setUp(self):
        super().setUp()
        self.succeed("refresh")
        self.project.add_orca()
        (self.project.folder / "npm-calls").unlink()
        shutil.rmtree(self.project.folder / PACKAGES)
        self.image = self.project.bundled / f"{ORCA}.png"

    def run_and_read(self):
        """What ./run prints in the step that bundles the images; it must succeed."""
        result = self.project.call(str(self.project.folder / "run"), "--build-only")
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        lines = result.stdout.splitlines()
        self.assertEqual(lines[-1], "Built build/release/bin/glimmerwick")
        return lines[lines.index(self.STEP) + 1:-1]

    def test_without_npm_one_line_tells_it(self):
        self.project.remove_npm()

        self.assertEqual(self.run_and_read(), ["Images of the newest emoji are not bundled: npm is missing"])

    def test_without_a_network_one_line_tells_it_and_npm_is_given_little_time(self):
        self.project.trouble("unreachable")

        self.assertEqual(self.run_and_read(), [
            "Images of the newest emoji are not bundled: the packages could not be fetched"
            " (build/content/images.log)"])
        self.assertEqual([call.partition(", ")[2] for call in self.project.npm_calls()],
                         ["retries 0, timeout 15000"])

    def test_images_are_made_once(self):
        self.assertEqual(self.run_and_read(), [])
        made = self.image.stat()
        # Whoever has the images needs no npm any more.
        self.project.remove_npm()

        self.assertEqual(self.run_and_read(), [])

        self.assertEqual((self.image.stat().st_ino, self.image.stat().st_mtime_ns),
                         (made.st_ino, made.st_mtime_ns))

    def test_deleted_or_damaged_image_is_made_again(self):
        self.assertEqual(self.run_and_read(), [])
        image = self.image.read_bytes()
        for spoil in (self.image.unlink, lambda: self.image.write_bytes(b"damaged")):
            spoil()

            self.assertEqual(self.run_and_read(), [])

            self.assertEqual(self.image.read_bytes(), image)
        self.assertEqual(len(self.project.npm_calls()), 1)

    def test_emoji_that_is_gone_takes_its_image_along(self):
        self.assertEqual(self.run_and_read(), [])
        manifest = self.project.manifest()
        del manifest["emojis"][ORCA]
        self.project.write_json(MANIFEST, manifest)

        self.assertEqual(self.run_and_read(), [])

        self.assertFalse(self.image.exists())


if __name__ == "__main__":
    if sys.argv[1:2] != ["--generator"] or len(sys.argv) < 3:
        sys.exit("usage: content_scripts_test.py --generator BINARY [TEST...]")
    ContentScriptsTest.generator = pathlib.Path(sys.argv[2]).resolve()
    del sys.argv[1:3]
    sys.exit(unittest.main())
