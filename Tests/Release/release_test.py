#!/usr/bin/python3
"""Makes keys, feeds and packages with dev/release, and has them judged by it and by the program's own code.

usage: release_test.py --probe BINARY [TEST...]
"""

import base64
import os
import pathlib
import re
import stat
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

RELEASE = pathlib.Path(__file__).resolve().parents[2] / "dev" / "release"
NOTES = "Faster <search> & more\n\n  - a line of its own\n  - \N{GRINNING FACE}\n"
HEAD = '<?xml version="1.0" encoding="UTF-8"?>\n'


def make_package(folder, version="0.2.0-1", architecture="amd64", depends="libc6 (>= 2.36), libstdc++6 (>= 12)",
                 name="glimmerwick", update_key=None):
    """Built with updates signed by that key, or without any."""
    field = f"Glimmerwick-Update-Key: {update_key}\n" if update_key else ""
    root = folder / "root"
    (root / "DEBIAN").mkdir(parents=True, exist_ok=True)
    (root / "DEBIAN" / "control").write_text(
        f"Package: {name}\nVersion: {version}\nArchitecture: {architecture}\nDepends: {depends}\n{field}"
        "Maintainer: Nobody <nobody@example.invalid>\nDescription: a test\n", encoding="utf-8")
    path = folder / f"{name}_{version}_{architecture}.deb"
    subprocess.run(["dpkg-deb", "--root-owner-group", "--build", root, path], check=True, capture_output=True)
    return path


class ReleaseTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-")))
        self.feed = self.folder / "appcast.xml"
        self.key = self.folder / "key"
        self.notes = self.folder / "notes.txt"
        self.notes.write_text(NOTES, encoding="utf-8")
        self.public = self.make_key(self.key)

    def run_release(self, *arguments):
        return subprocess.run([RELEASE, *arguments], capture_output=True, text=True)

    def succeed(self, *arguments):
        run = self.run_release(*arguments)
        self.assertEqual((run.returncode, run.stderr), (0, ""), arguments)
        return run.stdout

    def refuse(self, *arguments):
        """The one line that tells why."""
        run = self.run_release(*arguments)
        self.assertNotEqual(run.returncode, 0, arguments)
        self.assertEqual(run.stdout, "")
        self.assertRegex(run.stderr, r"\Arelease: [^\n]+\n\Z")
        return run.stderr.removeprefix("release: ").rstrip("\n")

    def make_key(self, path):
        return self.succeed("key", path).strip()

    def make_package(self, version="0.2.0-1", **properties):
        """One that looks for updates of this test's key."""
        return make_package(self.folder, version, **{"update_key": self.public, **properties})

    def withdraw_arguments(self, version, key=None):
        return "withdraw", "--key", key or self.key, "--feed", self.feed, version

    def feed_arguments(self, *packages, feed=None, key=None, options=()):
        named = [argument for package in packages for argument in ("--package", package)]
        files = ["--key", key or self.key, "--feed", feed or self.feed, "--notes", self.notes]
        return ["feed", *files, *named, *options]

    def publish(self, *packages, options=()):
        return self.succeed(*self.feed_arguments(*packages, options=options))

    def check(self, *options):
        return self.succeed("check", "--public-key", self.public, "--feed", self.feed, *options)

    def refuse_check(self, *options):
        return self.refuse("check", "--public-key", self.public, "--feed", self.feed, *options)

    def serial(self):
        return int(re.search("<glimmerwick:serial>([0-9]+)<", self.feed.read_text(encoding="utf-8"))[1])

    def probe(self, *lines, public=None, installed="0.1.0", architecture="amd64", system="2.36", greatest=0):
        """What the program answers to "feed FILE" and "package FILE"."""
        run = subprocess.run([PROBE, public or self.public, installed, architecture, system, str(greatest)],
                             input="\n".join(lines) + "\n", capture_output=True, text=True, check=True)
        return run.stdout.splitlines()

    def probe_feed(self, **options):
        return self.probe(f"feed {self.feed}", **options)[0]

    def sign_by_hand(self, content):
        """Signs what dev/release would never write."""
        from nacl.signing import SigningKey
        secret = base64.b64decode(self.key.read_text(encoding="ascii").splitlines()[1])
        signature = SigningKey(secret).sign(b"glimmerwick feed 1\n" + content).signature
        line = f"<!-- glimmerwick-signature: {base64.b64encode(signature).decode()} -->\n"
        self.feed.write_bytes(content + line.encode())


class KeyTest(ReleaseTest):
    def test_a_secret_key_is_for_its_owner_alone(self):
        self.assertEqual(stat.S_IMODE(self.key.stat().st_mode), 0o600)
        self.assertEqual(len(base64.b64decode(self.public, validate=True)), 32)
        self.assertNotIn(self.public, self.key.read_text(encoding="ascii"))

    def test_each_key_is_another(self):
        self.assertNotEqual(self.make_key(self.folder / "other"), self.public)

    def test_a_key_is_never_replaced(self):
        before = self.key.read_bytes()
        self.assertIn("exists already", self.refuse("key", self.key))
        self.assertEqual(self.key.read_bytes(), before)

        link = self.folder / "link"
        link.symlink_to(self.folder / "elsewhere")
        self.refuse("key", link)
        self.assertFalse((self.folder / "elsewhere").exists())

    def test_a_key_that_others_can_read_is_not_used(self):
        self.key.chmod(0o640)
        self.assertIn("chmod 600", self.refuse(*self.feed_arguments(self.make_package())))

    def test_what_is_no_key_is_not_used(self):
        package = self.make_package()
        for text in "", "glimmerwick secret key 1\nAAAA\n", self.public + "\n", "glimmerwick secret key 1\n!\n":
            self.key.write_text(text, encoding="ascii")
            self.refuse(*self.feed_arguments(package))
        self.assertIn("cannot read", self.refuse(*self.feed_arguments(package, key=self.folder / "missing")))
        self.assertFalse(self.feed.exists())


class FeedTest(ReleaseTest):
    def test_what_is_published_is_offered_and_accepted(self):
        package = self.make_package()

        self.publish(package)

        self.assertIn("signed by this key, and so are their packages", self.check("--packages", self.folder))
        offer, accepted = self.probe(f"feed {self.feed}", f"package {package}")
        self.assertEqual(offer, f"offer 0.2.0 of {package.stat().st_size} bytes from"
                         f" https://updates.example.invalid/glimmerwick/{package.name}: Faster <search> & more")
        self.assertEqual(accepted, "accepted")
        self.assertEqual(stat.S_IMODE(self.feed.stat().st_mode), 0o644)

    def test_the_program_goes_by_version_architecture_and_system(self):
        other = self.make_package(architecture="arm64", depends="libc6 (>= 2.38)")
        self.publish(self.make_package(), other)

        self.assertTrue(self.probe_feed(system="2.38", architecture="arm64").startswith("offer 0.2.0"))
        self.assertEqual(self.probe_feed(), "needs a newer system: 0.2.0")
        self.assertEqual(self.probe_feed(architecture="riscv64"), "up to date")
        self.assertEqual(self.probe_feed(installed="0.2.0"), "up to date")
        self.assertEqual(self.probe_feed(installed="0.3.0"), "up to date")

    def test_debian_versions_become_ours(self):
        for debian, ours in {"0.2.0-1": "0.2.0", "0.2.0": "0.2.0", "0.2.0~rc1-1": "0.2.0-rc.1",
                             "0.2.0~beta-3": "0.2.0-beta", "0.2.0~rc.12": "0.2.0-rc.12",
                             "1.10-1~bpo12+1": "1.10"}.items():
            with self.subTest(debian):
                self.feed.unlink(missing_ok=True)
                self.publish(self.make_package(debian))
                self.assertTrue(self.probe_feed(installed="0.1.0-a").startswith(f"offer {ours} of"))
        for debian in "1:0.2.0-1", "0.2.0+git5-1", "0.2.0a-1":
            with self.subTest(debian):
                arguments = self.feed_arguments(self.make_package(debian))
                self.assertIn("cannot be written", self.refuse(*arguments))

    def test_without_a_c_library_any_system_will_do(self):
        self.publish(self.make_package(depends="libqt6core6"))
        self.assertTrue(self.probe_feed(system="1").startswith("offer"))

    def test_the_greatest_minimum_counts(self):
        self.publish(self.make_package(depends="libc6 (>= 2.9), libc6 (>= 2.34), libc6 (>= 2.4)"))
        self.assertEqual(self.probe_feed(system="2.33"), "needs a newer system: 0.2.0")
        self.assertTrue(self.probe_feed(system="2.34").startswith("offer"))

    def test_releases_gather_and_the_same_one_is_replaced(self):
        self.publish(self.make_package("0.2.0-1"))
        self.publish(self.make_package("0.10.0-1"))
        self.notes.write_text("Other notes", encoding="utf-8")
        self.assertIn("replaced 0.2.0", self.publish(self.make_package("0.2.0-2", depends="libc6 (>= 2.31)")))

        lines = self.check("--packages", self.folder).splitlines()
        self.assertEqual(lines[0], "0.10.0 for amd64, needs C library 2.36")
        self.assertEqual(lines[1], "0.2.0 for amd64, needs C library 2.31")
        self.assertIn("2 releases", lines[2])
        self.assertTrue(self.probe_feed().startswith("offer 0.10.0"))
        self.assertTrue(self.probe_feed(system="2.31").endswith(": Other notes"))

    def test_notes_arrive_as_they_were_written(self):
        for notes in NOTES, "", "\r\none\r\ntwo\r\n", "]]> &amp; <!-- x --> \"quoted\" 'too'":
            self.notes.write_bytes(notes.encode())
            self.publish(self.make_package())
            first = notes.strip().splitlines()[0] if notes else ""
            self.assertTrue(self.probe_feed().endswith(": " + first))
        self.publish(self.make_package("0.3.0-1"))
        self.assertTrue(self.probe_feed(installed="0.2.9").endswith(": " + first), "published again with another")

    def test_notes_that_no_feed_can_carry_are_refused(self):
        package = self.make_package()
        for notes in b"\xff", b"a\x00b", b"a\x1b[1m", b"x" * (64 * 1024 + 1):
            self.notes.write_bytes(notes)
            self.refuse(*self.feed_arguments(package))
        self.assertFalse(self.feed.exists())

    def test_the_serial_grows_even_when_the_clock_goes_back(self):
        package = self.make_package()
        self.publish(package)
        first = self.serial()
        content = HEAD.encode() + self.feed.read_bytes().split(b"\n", 1)[1].rsplit(b"<!--", 1)[0]
        future = first + 10**9
        self.sign_by_hand(content.replace(str(first).encode(), str(future).encode()))

        self.publish(package)

        self.assertEqual(self.serial(), future + 1)
        self.assertIn("old one served again", self.probe_feed(greatest=future + 2))
        self.assertTrue(self.probe_feed(greatest=future + 1).startswith("offer"))

    def test_addresses_follow_the_base(self):
        package = self.make_package()
        for base in "https://cdn.example.invalid/releases", "https://cdn.example.invalid/releases/":
            self.publish(package, options=["--base-url", base])
            self.assertIn(f" from https://cdn.example.invalid/releases/{package.name}:", self.probe_feed())
        self.check("--packages", self.folder)
        self.refuse(*self.feed_arguments(package, options=["--base-url", "file:///srv"]))

        odd = package.rename(self.folder / "odd: name & more#1.deb")
        self.publish(odd)
        self.assertIn("/glimmerwick/odd%3A%20name%20%26%20more%231.deb:", self.probe_feed())
        self.check("--packages", self.folder)

    def test_a_package_that_would_never_be_updated_again_is_refused(self):
        other = self.make_key(self.folder / "other")
        good = self.make_package()
        for update_key, reason in {None: "looks for no updates", other: "updates of another key"}.items():
            bad = self.make_package(architecture="arm64", update_key=update_key)
            for packages in (bad,), (good, bad):
                self.assertIn(reason, self.refuse(*self.feed_arguments(*packages)))
        self.assertFalse(self.feed.exists())

        self.publish(good)

    def test_what_is_no_release_is_refused(self):
        package = self.make_package()
        no_package = self.folder / "no.deb"
        no_package.write_text("nothing", encoding="ascii")
        self.assertIn("not a Debian package", self.refuse(*self.feed_arguments(no_package)))
        no_package.write_bytes(b"")
        self.refuse(*self.feed_arguments(no_package))
        self.refuse(*self.feed_arguments(self.folder / "missing.deb"))
        self.refuse(*self.feed_arguments(self.make_package(name="another")))
        another = self.make_package("0.3-1")
        self.assertIn("different versions", self.refuse(*self.feed_arguments(package, another)))
        self.assertIn("same architecture", self.refuse(*self.feed_arguments(package, package)))
        self.refuse("feed", "--key", self.key)
        self.refuse(*self.feed_arguments(package, feed=self.folder / "missing" / "appcast.xml"))
        self.assertFalse(self.feed.exists())

    def test_a_feed_of_another_key_is_not_continued(self):
        package = self.make_package()
        self.publish(package)
        before = self.feed.read_bytes()
        other = self.folder / "other"
        of_another = self.make_package("0.3.0-1", update_key=self.make_key(other))

        self.assertIn("not signed by this key", self.refuse(*self.feed_arguments(of_another, key=other)))
        self.feed.write_bytes(before.replace(b"0.2.0", b"0.2.1"))
        self.assertIn("not signed by this key", self.refuse(*self.feed_arguments(package)))

    def test_nothing_is_left_behind(self):
        package = self.make_package()
        before = set(os.listdir(self.folder))
        self.publish(package)
        self.publish(package)
        self.assertEqual(set(os.listdir(self.folder)) - before, {"appcast.xml"})


class WithdrawalTest(ReleaseTest):
    def setUp(self):
        super().setUp()
        self.publish(self.make_package("0.2.0-1"), options=["--link", "https://example.invalid/releases"])
        self.publish(self.make_package("0.3.0~rc1-1"))
        self.before = self.serial()

    def test_what_is_withdrawn_is_offered_no_longer(self):
        # To one who runs a pre-release, others are offered too.
        self.assertTrue(self.probe_feed(installed="0.1.0-a").startswith("offer 0.3.0-rc.1"))

        said = self.succeed(*self.withdraw_arguments("0.3.0-rc.1"))

        self.assertIn("withdrew 0.3.0-rc.1, 1 releases left", said)
        self.assertTrue(self.probe_feed(installed="0.1.0-a").startswith("offer 0.2.0"))
        self.assertEqual(self.probe_feed(installed="0.3.0-rc.1"), "up to date")
        self.assertIn("1 releases, signed by this key", self.check("--packages", self.folder))
        self.assertIn("<link>https://example.invalid/releases</link>", self.feed.read_text(encoding="utf-8"))

    def test_who_saw_the_withdrawal_does_not_go_back(self):
        old = self.feed.read_bytes()
        self.succeed(*self.withdraw_arguments("0.2.0"))
        after = self.serial()
        self.assertGreater(after, self.before)

        self.feed.write_bytes(old)

        self.assertIn("old one served again", self.probe_feed(greatest=after))

    def test_the_last_release_can_be_withdrawn_and_another_follow(self):
        for version in "0.2", "0.3.0-rc.1":
            self.succeed(*self.withdraw_arguments(version))
        self.assertEqual(self.probe_feed(), "up to date")
        self.assertIn("0 releases", self.check())

        self.publish(self.make_package("0.3.0-1"))

        self.assertTrue(self.probe_feed().startswith("offer 0.3.0 of"))

    def test_what_cannot_be_withdrawn_leaves_the_feed_alone(self):
        other = self.folder / "other"
        self.make_key(other)
        before = self.feed.read_bytes()

        self.assertIn("has no 0.4.0, but 0.3.0-rc.1, 0.2.0", self.refuse(*self.withdraw_arguments("0.4.0")))
        self.assertIn("not the version", self.refuse(*self.withdraw_arguments("0.2.0~rc1")))
        self.assertIn("not signed by this key", self.refuse(*self.withdraw_arguments("0.2.0", key=other)))
        self.refuse("withdraw", "--key", self.key, "--feed", self.feed)

        self.assertEqual(self.feed.read_bytes(), before)
        self.feed.unlink()
        self.assertIn("cannot read", self.refuse(*self.withdraw_arguments("0.2.0")))
        self.assertFalse(self.feed.exists())


class ForgeryTest(ReleaseTest):
    def setUp(self):
        super().setUp()
        self.package = self.make_package()
        self.publish(self.package)
        self.good = self.feed.read_bytes()

    def test_a_byte_touched_anywhere_is_noticed(self):
        lines = []
        for index in range(len(self.good)):
            for flip in 0x01, 0x20:
                forged = bytearray(self.good)
                forged[index] ^= flip
                path = self.folder / f"forged-{index}-{flip}.xml"
                path.write_bytes(forged)
                lines.append(f"feed {path}")

        answers = self.probe(*lines)

        self.assertEqual(len(answers), len(lines))
        self.assertEqual([answer for answer in answers if not answer.startswith("refused: ")], [])
        self.assertTrue(any("not signed" in answer for answer in answers))
        self.assertTrue(any("not an update feed" in answer for answer in answers))

    def test_the_tool_notices_as_well(self):
        # A process for each: a few of each kind of place do.
        for index in [*range(0, len(self.good), 97), *range(len(self.good) - 120, len(self.good), 7)]:
            forged = bytearray(self.good)
            forged[index] ^= 0x01
            self.feed.write_bytes(forged)
            self.refuse_check()

    def test_a_feed_cut_short_or_continued_is_noticed(self):
        for forged in b"", self.good[:-1], self.good[:-120], self.good + b"\n", b"\n" + self.good, self.good * 2:
            self.feed.write_bytes(forged)
            self.assertTrue(self.probe_feed().startswith("refused: "))
            self.refuse_check()

    def test_a_package_touched_anywhere_is_noticed(self):
        data = self.package.read_bytes()
        lines = [f"feed {self.feed}"]
        forgeries = [data + b"\n", data[:-1], b"", *(data[:index] + bytes([data[index] ^ 1]) + data[index + 1:]
                                                     for index in range(0, len(data), 5))]
        for number, forged in enumerate(forgeries):
            path = self.folder / f"forged-{number}.deb"
            path.write_bytes(forged)
            lines.append(f"package {path}")

        answers = self.probe(*lines)

        self.assertTrue(answers[0].startswith("offer"))
        self.assertEqual(len(answers), len(lines))
        self.assertEqual([answer for answer in answers[1:] if not answer.startswith("refused: ")], [])
        for forged in forgeries[0], forgeries[-1]:
            self.package.write_bytes(forged)
            self.refuse_check("--packages", self.folder)
        self.package.unlink()
        self.refuse_check("--packages", self.folder)

    def test_a_signed_package_that_would_never_be_updated_again_is_noticed(self):
        for update_key, reason in {None: "looks for no updates", "A" * 43 + "=": "updates of another key"}.items():
            self.make_package(update_key=update_key)
            data = self.package.read_bytes()
            from nacl.signing import SigningKey
            secret = base64.b64decode(self.key.read_text(encoding="ascii").splitlines()[1])
            signature = base64.b64encode(SigningKey(secret).sign(b"glimmerwick package 1\n" + data).signature)
            content = re.sub(rb'length="[0-9]+"', b'length="%d"' % len(data), self.good.rsplit(b"<!--", 1)[0])
            self.sign_by_hand(re.sub(rb':signature="[^"]+"', b':signature="' + signature + b'"', content))

            self.assertIn(reason, self.refuse_check("--packages", self.folder))

    def test_another_key_says_no(self):
        other = self.make_key(self.folder / "other")
        self.assertIn("not signed by the key", self.probe_feed(public=other))
        self.assertIn("not signed by this key",
                      self.refuse("check", "--public-key", other, "--feed", self.feed))
        for nonsense in "", "AAAA", self.public[:-1], "x" * 44:
            self.refuse("check", "--public-key", nonsense, "--feed", self.feed)
            self.assertIn("not signed by the key", self.probe_feed(public=nonsense or "none"))

    def test_the_signature_of_a_package_signs_no_feed(self):
        signature = re.search(b'glimmerwick:signature="([^"]+)"', self.good)[1]
        self.feed.write_bytes(self.package.read_bytes() + b"\n<!-- glimmerwick-signature: " + signature + b" -->\n")
        self.assertTrue(self.probe_feed().startswith("refused: "))

        # Even for a package that is a feed itself.
        forged = self.make_package("0.4-1")
        content = self.good.rsplit(b"<!--", 1)[0]
        forged.write_bytes(content)
        from nacl.signing import SigningKey
        secret = base64.b64decode(self.key.read_text(encoding="ascii").splitlines()[1])
        as_package = base64.b64encode(SigningKey(secret).sign(b"glimmerwick package 1\n" + content).signature)
        self.feed.write_bytes(content + b"<!-- glimmerwick-signature: " + as_package + b" -->\n")
        self.assertIn("not signed by the key", self.probe_feed())

    def test_a_signed_feed_of_nonsense_is_refused_by_both(self):
        start = f'{HEAD}<rss version="2.0" xmlns:glimmerwick="urn:glimmerwick:appcast:1"><channel>'
        serial = "<glimmerwick:serial>5</glimmerwick:serial>"
        end = "</channel></rss>\n"
        doctype = '<!DOCTYPE rss [<!ENTITY a "aaaa">]>'
        enclosure = ('<enclosure url="p.deb" length="5" glimmerwick:architecture="amd64" glimmerwick:signature="'
                     + base64.b64encode(bytes(64)).decode() + '"/>')
        version = "<glimmerwick:version>0.2</glimmerwick:version>"
        self.sign_by_hand((start + serial + f"<item>{version}{enclosure}</item>" + end).encode())
        self.assertTrue(self.probe_feed().startswith("offer"), "what follows fails for its own reasons")
        self.check()
        for content in ("<rss/>\n", start + end, start + serial + serial + end, HEAD + "<feed/>\n", "\n",
                        (start + serial + end).replace("<rss", doctype + "<rss"),
                        start + serial + f"<item>{enclosure}</item>" + end,
                        start + serial + f"<item>{version}</item>" + end,
                        start + serial + f"<item>{version}{version}{enclosure}</item>" + end,
                        start + serial + f"<item>{version}{enclosure}{enclosure}</item>" + end,
                        start + serial + f"<item>{version}{enclosure}</item>" * 2 + end,
                        start + serial + f"<item>{version}{enclosure.replace('p.deb', 'file:///p')}</item>" + end,
                        start + serial + f"<item>{version}{enclosure.replace('5', '-5')}</item>" + end,
                        start + serial + f"<item>{version}{enclosure.replace('5', '9' * 30)}</item>" + end,
                        start + "<glimmerwick:serial>x</glimmerwick:serial>" + end):
            with self.subTest(content):
                self.sign_by_hand(content.encode())
                self.assertIn("the feed cannot be read", self.probe_feed())
                self.refuse_check()


class UsageTest(unittest.TestCase):
    def test_help_is_there_for_every_command(self):
        for arguments in ["--help"], ["key", "--help"], ["feed", "--help"], ["check", "--help"], ["withdraw", "--help"]:
            run = subprocess.run([RELEASE, *arguments], capture_output=True, text=True, check=True)
            self.assertIn("usage: dev/release key FILE", run.stdout)


if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] != "--probe":
        sys.exit(__doc__)
    PROBE = sys.argv[2]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
