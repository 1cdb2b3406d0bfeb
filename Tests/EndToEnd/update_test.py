#!/usr/bin/python3
"""Updates, from the signing of a release to the system's package installer, and what must never get there.

usage: update_test.py --picker BINARY --qt-target BINARY

The program trusts the key in Tests/Data/update-test.key and asks http://updates.glimmerwick.test, a name that
only the proxy of these tests knows.
"""

import base64
import os
import shutil
import subprocess
import unittest

from desktop import PANEL_CLASS, Picker, wait_until
from pictures import ROOT
from screen_reader import ScreenReader
from testcase import argument, desktop_in, main

# In the folder that `pictures` adds to the path.
from nginx import Nginx

RELEASE = ROOT / "dev" / "release"
TEST_KEY = ROOT / "Tests" / "Data" / "update-test.key"
TEST_PUBLIC_KEY = ROOT / "Tests" / "Data" / "update-test.pub"
# Far above any version of the program itself.
NEW, NEWER = "99.9.0", "99.10.0"
# As long as they are installed this is what they are compared with.
OLD = "0.0.1"
NOTES = "What is new:\n- more <b>emoji</b>\n"
GIGABYTE = 1024 ** 3
FEED, FOLDER = "/appcast.xml", "updates"
PACKAGE_TYPE = "application/vnd.debian.binary-package"

CONTROL = """Package: glimmerwick
Version: {version}-1
Architecture: {architecture}
Depends: libc6 (>= {c_library})
Glimmerwick-Update-Key: {update_key}
Maintainer: Nobody <nobody@example.org>
Description: stands in for a release
"""


class UpdateServer(Nginx):
    """Serves the folder `root` to who takes it for a proxy."""

    def __init__(self, folder, root):
        super().__init__(folder)
        self._root = root

    def rules(self):
        return f"""
    default_type application/octet-stream;
    server {{
        listen 127.0.0.1:{self.port};
        server_name updates.glimmerwick.test;
        root {self._root};
    }}"""

    def paths(self):
        """What was asked for, in order."""
        return [line.split()[1] for line in self.requests()]


class UpdateTest(unittest.TestCase):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")

    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop_in(cls.enterClassContext)
        cls.reader = ScreenReader(cls.desktop)
        cls.home = cls.desktop.folder / "home"
        cls.architecture = subprocess.run(["dpkg", "--print-architecture"], capture_output=True, check=True,
                                          encoding="utf-8").stdout.strip()
        # A key that others can read is refused, and a checkout does not keep such rights.
        cls.key = cls.desktop.folder / "release.key"
        shutil.copyfile(TEST_KEY, cls.key)
        cls.key.chmod(0o600)
        cls.public_key = TEST_PUBLIC_KEY.read_text(encoding="ascii").strip()
        cls.install_package_installer()

    @classmethod
    def install_package_installer(cls):
        """What this user opens packages with: it takes down what it is given."""
        cls.opened = cls.desktop.folder / "opened"
        script = cls.desktop.folder / "installer"
        script.write_text(f'#!/bin/sh\nprintf "%s\\n" "$1" >>"{cls.opened}"\n', encoding="utf-8")
        script.chmod(0o755)
        applications = cls.home / ".local" / "share" / "applications"
        applications.mkdir(parents=True)
        (applications / "installer.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Installer\nExec={script} %f\nMimeType={PACKAGE_TYPE};\n",
            encoding="utf-8")
        config = cls.home / ".config"
        config.mkdir(exist_ok=True)
        (config / "mimeapps.list").write_text(
            f"[Default Applications]\n{PACKAGE_TYPE}=installer.desktop\n", encoding="utf-8")

    def setUp(self):
        shutil.rmtree(self.home / ".config" / "Glimmerwick", ignore_errors=True)
        shutil.rmtree(self.home / ".cache" / "Glimmerwick", ignore_errors=True)
        self.opened.unlink(missing_ok=True)
        folder = self.desktop.folder / self.id().rpartition(".")[2]
        self.site = folder / "site"
        self.site.mkdir(parents=True)
        self.feed = self.site / FEED.strip("/")
        self.server = self.enterContext(UpdateServer(folder, self.site))
        self.desktop.environment["http_proxy"] = f"http://127.0.0.1:{self.server.port}"

    # Making releases

    def release(self, *arguments):
        return subprocess.run([RELEASE, *arguments], check=True, capture_output=True, encoding="utf-8").stdout

    def package(self, version, c_library="2.17", architecture=None, update_key=None):
        """A small real package, in the folder that is served. It trusts the test's key or `update_key`."""
        architecture = architecture or self.architecture
        tree = self.desktop.folder / "package"
        shutil.rmtree(tree, ignore_errors=True)
        (tree / "DEBIAN").mkdir(parents=True)
        (tree / "DEBIAN" / "control").write_text(
            CONTROL.format(version=version, architecture=architecture, c_library=c_library,
                           update_key=update_key or self.public_key), encoding="utf-8")
        package = self.site / f"glimmerwick_{version}-1_{architecture}.deb"
        subprocess.run(["dpkg-deb", "--root-owner-group", "--build", tree, package], check=True,
                       capture_output=True)
        return package

    def publish(self, version, key=None, **properties):
        """Adds a release to the feed, as its makers do; returns the package."""
        package = self.package(version, **properties)
        notes = self.desktop.folder / "notes.txt"
        notes.write_text(NOTES, encoding="utf-8")
        self.release("feed", "--key", key or self.key, "--feed", self.feed, "--package", package, "--notes",
                     notes)
        return package

    # Using the program

    def start(self):
        self.picker = Picker(self.desktop, self.picker_binary)
        self.addCleanup(self.picker.program.stop)
        self.picker.wait_until_ready()

    def check_now(self):
        self.desktop.call("gdbus", "call", "--session", "--dest", PANEL_CLASS, "--object-path",
                          "/com/glimmerwick/Glimmerwick", "--method",
                          "org.freedesktop.Application.ActivateAction", "check-for-updates", "[]", "{}")

    def texts(self):
        return self.reader.texts(PANEL_CLASS)

    def wait_for_text(self, text):
        self.reader.wait_for(lambda: any(text in shown for shown in self.texts()), f"a window says {text!r}")

    def push(self, name):
        self.reader.push(PANEL_CLASS, name)

    def problems(self):
        """What the program says of updates."""
        return [line for line in self.picker.program.lines() if line.startswith("glimmerwick: update ")]

    def kept_packages(self):
        folder = self.home / ".cache" / "Glimmerwick" / FOLDER
        return sorted(folder.iterdir()) if folder.exists() else []

    def assert_nothing_happened(self):
        self.assertEqual(self.kept_packages(), [])
        self.assertFalse(self.opened.exists())

    def assert_refused(self, line, sentence):
        """One line, one window, and nothing asked for but the feed."""
        self.check_now()
        self.wait_for_text(sentence)
        self.assertEqual(self.problems(), [f"glimmerwick: update check failed: {line}"])
        self.assertEqual(set(self.server.paths()), {FEED})
        self.assert_nothing_happened()
        self.push("OK")

    def download(self):
        self.check_now()
        self.wait_for_text(f"Glimmerwick {NEW} is available")
        self.push("Download")

    def assert_package_refused(self, line, sentence):
        self.start()
        self.download()
        self.wait_for_text(sentence)
        self.assertEqual(self.problems(), [f"glimmerwick: update download failed: {line}"])
        self.assert_nothing_happened()

    # The circle

    def test_release_reaches_the_package_installer(self):
        package = self.publish(NEW)
        self.start()

        self.download()
        self.wait_for_text("package installer")
        wait_until(self.opened.exists, "the package is opened")

        kept, = self.kept_packages()
        self.assertEqual(self.opened.read_text(encoding="utf-8").splitlines(), [str(kept)])
        self.assertEqual(kept.read_bytes(), package.read_bytes())
        self.assertEqual(kept.parent.stat().st_mode & 0o077, 0)
        self.assertFalse(os.access(kept, os.X_OK) and kept.stat().st_mode & 0o111)
        self.assertEqual(self.server.paths(), [FEED, f"/{package.name}"])
        self.assertEqual(self.problems(), [])

    def test_newest_of_several_releases_is_offered_with_its_notes(self):
        self.publish(NEWER)
        self.publish(NEW)
        self.start()

        self.check_now()

        self.wait_for_text(f"Glimmerwick {NEWER} is available")
        shown = [view.queryText().getText(0, -1) for view in self.reader.views(PANEL_CLASS, self.reader.api.ROLE_TEXT)]
        self.assertIn(NOTES.strip(), [text.strip() for text in shown])

    def test_nothing_is_downloaded_before_the_answer(self):
        self.publish(NEW)
        self.start()

        self.check_now()
        self.wait_for_text(f"Glimmerwick {NEW} is available")
        self.push("Later")
        self.reader.wait_for(lambda: not self.texts(), "the window is gone")

        self.assertEqual(self.server.paths(), [FEED])
        self.assert_nothing_happened()

    def test_older_release_is_not_offered(self):
        self.publish(OLD)
        self.start()

        self.check_now()

        self.wait_for_text("is the newest version")
        self.assertEqual(self.problems(), [])
        self.assert_nothing_happened()

    def test_release_for_a_newer_system_or_another_machine_is_not_offered(self):
        self.publish(NEWER, architecture="riscv64" if self.architecture != "riscv64" else "amd64")
        self.publish(NEW, c_library="9.99")
        self.start()

        self.check_now()

        self.wait_for_text(f"Glimmerwick {NEW} is out, but needs a newer system")
        self.assert_nothing_happened()

    def test_program_lives_on_when_the_window_is_gone(self):
        self.publish(OLD)
        self.start()
        self.check_now()
        self.wait_for_text("is the newest version")
        self.push("OK")
        self.reader.wait_for(lambda: not self.texts(), "the window is gone")

        self.picker.open()
        self.desktop.press("Escape")
        self.desktop.wait_for_no_panel()

        self.assertTrue(self.picker.program.is_running())

    # What is refused before anything is offered

    def test_feed_of_another_key_is_refused(self):
        other = self.desktop.folder / "other.key"
        self.publish(NEW, key=other, update_key=self.release("key", other).strip())
        self.start()

        self.assert_refused("the feed is not signed by the key of this program",
                            "does not come from the makers of Glimmerwick")

    def test_touched_feed_is_refused(self):
        self.publish(NEW)
        self.feed.write_bytes(self.feed.read_bytes().replace(NEW.encode(), NEWER.encode()))
        self.start()

        self.assert_refused("the feed is not signed by the key of this program",
                            "does not come from the makers of Glimmerwick")

    def test_truncated_feed_is_refused(self):
        self.publish(NEW)
        whole = self.feed.read_bytes()
        self.feed.write_bytes(whole[:len(whole) // 2])
        self.start()

        self.assert_refused("the answer is not an update feed", "did not answer with an update feed")

    def test_web_page_is_refused(self):
        self.feed.write_text("<!DOCTYPE html><html><body>Log in to this network</body></html>\n",
                             encoding="utf-8")
        self.start()

        self.assert_refused("the answer is not an update feed", "did not answer with an update feed")

    def test_entity_bomb_is_refused_unparsed(self):
        levels = "".join(f'<!ENTITY e{level} "{f"&e{level - 1};" * 10 if level else "bomb"}">'
                         for level in range(12))
        self.feed.write_text(f"<!DOCTYPE rss [{levels}]><rss>&e11;</rss>\n"
                             f"<!-- glimmerwick-signature: {'A' * 86}== -->\n", encoding="utf-8")
        self.start()

        self.assert_refused("the feed is not signed by the key of this program",
                            "does not come from the makers of Glimmerwick")

    def test_signed_entity_bomb_is_refused(self):
        """By whoever has the key, or has got hold of it."""
        levels = "".join(f'<!ENTITY e{level} "{f"&e{level - 1};" * 10 if level else "bomb"}">'
                         for level in range(12))
        self.feed.write_bytes(self.signed(f"<!DOCTYPE rss [{levels}]><rss>&e11;</rss>\n".encode()))
        self.start()

        self.check_now()
        self.wait_for_text("The update feed cannot be read")
        line, = self.problems()
        self.assertTrue(line.startswith("glimmerwick: update check failed: the feed cannot be read: "), line)
        self.assert_nothing_happened()

    def test_feed_of_a_gigabyte_is_refused(self):
        with self.feed.open("wb") as file:
            file.truncate(GIGABYTE)
        self.start()

        self.check_now()
        self.wait_for_text("The update server gave no usable answer")
        self.assertEqual(len(self.problems()), 1)
        self.assertLess(self.peak_memory(), GIGABYTE // 4)
        self.assert_nothing_happened()

    def test_missing_feed_is_told(self):
        self.start()

        self.assert_refused("the server answered with status 404", "(404)")

    def test_silent_server_is_told(self):
        self.publish(NEW)
        self.start()
        self.server.stop()

        self.check_now()

        self.wait_for_text("The update server gave no usable answer")
        self.assertEqual(len(self.problems()), 1)
        self.assert_nothing_happened()

    def test_old_feed_served_again_is_refused(self):
        self.publish(NEW)
        old = self.feed.read_bytes()
        self.publish(NEWER)
        self.start()
        self.check_now()
        self.wait_for_text(f"Glimmerwick {NEWER} is available")
        self.push("Later")
        self.reader.wait_for(lambda: not self.texts(), "the window is gone")

        # Remembered, whatever happens to the program in between.
        self.picker.program.stop()
        self.feed.write_bytes(old)
        self.start()
        self.check_now()

        self.wait_for_text("older than one that was seen before")
        line, = self.problems()
        self.assertTrue(line.startswith("glimmerwick: update check failed: the feed is an old one served again"))
        self.assert_nothing_happened()

    # What is refused after the download

    def test_touched_package_is_refused(self):
        package = self.publish(NEW)
        touched = bytearray(package.read_bytes())
        touched[-1] ^= 1
        package.write_bytes(touched)

        self.assert_package_refused("the package is not signed by the key of this program",
                                    "does not come from the makers of Glimmerwick")

    def test_truncated_package_is_refused(self):
        package = self.publish(NEW)
        length = package.stat().st_size
        os.truncate(package, length - 1)

        self.assert_package_refused(f"the package has {length - 1} bytes instead of {length}", "is damaged")

    def test_missing_package_is_told(self):
        self.publish(NEW).unlink()

        self.assert_package_refused("the server answered with status 404", "(404)")

    def test_package_of_a_gigabyte_is_refused(self):
        os.truncate(self.publish(NEW), GIGABYTE)
        self.start()

        self.download()

        self.wait_for_text("The update server gave no usable answer")
        self.assertEqual(len(self.problems()), 1)
        self.assertLess(self.peak_memory(), GIGABYTE // 4)
        self.assert_nothing_happened()

    # Help

    def signed(self, content):
        """A feed of these bytes, signed with the test's key."""
        from nacl.signing import SigningKey
        key = SigningKey(base64.b64decode(self.key.read_text(encoding="ascii").splitlines()[1]))
        signature = base64.b64encode(key.sign(b"glimmerwick feed 1\n" + content).signature)
        return content + b"<!-- glimmerwick-signature: " + signature + b" -->\n"

    def peak_memory(self):
        """The most that the program has held at once, in bytes."""
        with open(f"/proc/{self.picker.program.process.pid}/status", encoding="utf-8") as file:
            line = next(line for line in file if line.startswith("VmHWM:"))
        return int(line.split()[1]) * 1024


if __name__ == "__main__":
    main()
