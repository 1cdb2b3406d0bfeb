#!/usr/bin/python3
"""Whatever goes wrong with a file, the emoji arrives, the clipboard stays what it was, each file is the old one or the
new one, and the next start has everything in order.

usage: faults_test.py --picker BINARY --qt-target BINARY --faults LIBRARY --extent short|long
"""

import collections
import functools
import os
import pathlib
import shutil
import signal
import unittest

from desktop import Picker, shows_emoji, wait_until
from local_catalogue import BUNDLED, CODEPOINT, EMOJI, IMAGE, IMAGE_NAME, LocalCatalogue, QUERY
from pictures import ROOT
from targets import gtk_target
from testcase import argument, desktop_in, main

COPIED = "What the user had copied"
FORMER = "1f680"
SETTINGS = f'[General]\nrecentEmojis="[\\"{FORMER}\\"]"\n'
# Emoji that were drawn before. They come and go, and are checked when they are read. How many are written in a session
# differs, so that their calls are not gone through one by one.
DRAWN = ".pictures"
PICK_IS_OVER = ("TypeManager: Clipboard restored to: ", "TypeManager: No previous clipboard content to restore")
FAULTS_FROM_THE_START = ("ENOSPC", "EROFS", "EACCES")


Call = collections.namedtuple("Call", "number function path")


class FaultsTest(unittest.TestCase):
    picker_binary = pathlib.Path(argument("picker")).resolve()
    qt_target_binary = argument("qt-target")
    library = pathlib.Path(argument("faults")).resolve()
    extent = argument("extent")

    @classmethod
    def setUpClass(cls):
        cls.desktop = desktop_in(cls.enterClassContext)
        home = cls.desktop.folder / "home"
        cls.home = home
        cls.caches = home / ".cache" / "Glimmerwick"
        cls.configuration = home / ".config" / "Glimmerwick"
        cls.settings = cls.configuration / "Glimmerwick.ini"
        resources = cls.desktop.folder / "resources"
        shutil.copytree(ROOT / "Resources", resources, ignore=shutil.ignore_patterns("emojis"))
        cls.desktop.environment["GLIMMERWICK_RESOURCES"] = str(resources)
        cls.address = cls.enterClassContext(LocalCatalogue()).address
        cls.target = gtk_target(cls.desktop)

    def setUp(self):
        self.reset()

    def reset(self):
        """The state before: settings with one emoji, no cache, and a text on the clipboard."""
        self.target.accept_text()
        self.target.focus()
        self.desktop.copy(COPIED)
        shutil.rmtree(self.caches, ignore_errors=True)
        shutil.rmtree(self.configuration, ignore_errors=True)
        self.configuration.mkdir(parents=True)
        self.settings.write_text(SETTINGS, encoding="utf-8")
        (self.configuration / "secrets.txt").write_text(f"PRODUCTION_BASE_URL={self.address}\n", encoding="utf-8")

    # What is done

    def start(self, *command, **variables):
        """Its standard error goes into a file of its own."""
        self.complaints_file = self.desktop.folder / "complaints"
        environment = {**self.desktop.environment, **variables}
        picker = Picker.__new__(Picker)
        picker.desktop = self.desktop
        picker.program = self.desktop.run(
            "glimmerwick", "/bin/sh", "-c", 'exec "$@" 2>complaints', "sh", *(command or [self.picker_binary]),
            environment=environment)
        self.addCleanup(picker.program.stop)
        return picker

    def start_with_fault(self, fault, call):
        self.report = self.desktop.folder / "calls"
        self.report.unlink(missing_ok=True)
        sanitizer = os.environ.get("ASAN_OPTIONS", "")
        return self.start(
            LD_PRELOAD=str(self.library), GLIMMERWICK_FAULT=fault, GLIMMERWICK_FAULT_CALL=str(call),
            GLIMMERWICK_FAULT_FOLDER=str(self.home), GLIMMERWICK_FAULT_SPARED="" if str(call).endswith("+") else DRAWN,
            GLIMMERWICK_FAULT_REPORT=str(self.report),
            GLIMMERWICK_FAULT_PROGRAM=self.picker_binary.name,
            ASAN_OPTIONS=":".join(filter(None, (sanitizer, "verify_asan_link_order=0"))))

    def calls(self):
        lines = self.report.read_text(encoding="utf-8").splitlines() if self.report.exists() else []
        return [Call(int(number), function, path) for number, function, path in
                (line.split(" ", 2) for line in lines)]

    def complaints(self):
        return self.complaints_file.read_text(encoding="utf-8").splitlines()

    def use(self, picker):
        """A pick that needs a picture; ends early where the picker has been killed."""
        ends = functools.partial(self.has_ended, picker)
        wait_until(lambda: picker.count_lines("[SearchManager] Index built: ") or ends(), "the picker is ready")
        if ends():
            return
        self.desktop.press(Picker.SHORTCUT)
        wait_until(lambda: shows_emoji(self.desktop.picture_of_grid() or b"") or ends(), "the panel is shown")
        if ends():
            return
        # Pressed and released in one go: the server repeats keys that a busy machine is slow to release.
        self.desktop.press_now(*QUERY)
        image = self.caches / "emojis" / IMAGE_NAME
        wait_until(lambda: image.exists() or picker.count_lines("[EmojiCell] Failed to load image:") or ends(),
                   "the picture is there or has failed")
        if ends():
            # Its keys went to the application.
            self.target.accept_text()
            return
        self.desktop.press_now("Return")
        wait_until(lambda: any(map(picker.count_lines, PICK_IS_OVER)) or ends(), "the pick is over")

    @staticmethod
    def has_ended(picker):
        return not picker.program.is_running()

    def quit(self, picker):
        picker.program.process.send_signal(signal.SIGTERM)
        wait_until(functools.partial(self.has_ended, picker), "the picker has ended")
        return picker.program.process.returncode

    # What must be true

    def files(self):
        return {str(file.relative_to(self.home)): file.read_bytes()
                for folder in (self.caches, self.configuration) for file in folder.rglob("*")
                if file.is_file() and file.suffix != DRAWN}

    def recents(self):
        """By the settings file, which is whole."""
        text = self.settings.read_text(encoding="utf-8")
        self.assertTrue(text.startswith("[General]\n") and text.endswith("\n"), text)
        line = next(line for line in text.splitlines() if line.startswith("recentEmojis="))
        return [word for word in line.replace("\\", "").replace('"', "").partition("=")[2].strip("[]").split(",")]

    def assert_files_are_whole(self):
        files = self.files()
        manifest = files.get(".cache/Glimmerwick/manifest.json")
        self.assertTrue(manifest is None or manifest == BUNDLED or b'"version"' in manifest and
                        manifest.rstrip().endswith(b"}"), "the manifest is whole")
        self.assertIn(files.get(f".cache/Glimmerwick/emojis/{IMAGE_NAME}"), (None, IMAGE))
        self.assertIn(self.recents(), ([FORMER], [CODEPOINT, FORMER]))

    def assert_in_order_next_time(self):
        """A start without faults reads all that is there and leaves nothing else."""
        before = self.recents()
        picker = self.start()
        picker.wait_for_line("[SearchManager] Index built: ")
        self.assertIn(f"RecentEmojisManager: Loaded {len(before)} recent emojis from UserDefaults",
                      picker.program.lines())
        self.use(picker)
        self.target.wait_for_more(EMOJI)
        self.assertEqual(self.quit(picker), 0)
        self.assertEqual(self.complaints(), [])
        self.assertEqual(set(self.files()), {
            ".cache/Glimmerwick/manifest.json", f".cache/Glimmerwick/emojis/{IMAGE_NAME}",
            ".config/Glimmerwick/Glimmerwick.ini", ".config/Glimmerwick/secrets.txt"})
        self.assertEqual(self.recents(), [CODEPOINT, FORMER])

    def assert_told_once(self, picker):
        """Of each thing that failed, in one line that names it; the settings are tried again at the end."""
        lines = [line for line in self.complaints() if line]
        lines += [line for line in picker.program.lines() if line.startswith(("Warning:", "Failed to create"))]
        for line, count in collections.Counter(lines).items():
            self.assertIn(str(self.home), line)
            self.assertLessEqual(count, 2 if "settings cannot be stored" in line else 1, line)
        return lines

    def check(self, fault, call):
        """Returns whether there was such a call."""
        self.reset()
        picker = self.start_with_fault(fault, call)
        self.use(picker)
        if fault == "kill":
            wait_until(lambda: self.has_ended(picker) or len(self.calls()) < call, "it is killed if it can be")
            if not self.has_ended(picker):
                self.quit(picker)
            self.target.accept_text()
        else:
            self.target.wait_for_more(EMOJI)
            self.assertEqual(self.desktop.clipboard(), COPIED)
            self.assertEqual(self.quit(picker), 0)
            told = self.assert_told_once(picker)
            self.assertTrue(told or call != "1+", "what fails is told of")
        self.assert_files_are_whole()
        number = int(str(call).rstrip("+"))
        has_struck = len(self.calls()) >= number
        self.assert_in_order_next_time()
        return has_struck

    # Short

    def calls_of_a_session(self):
        picker = self.start_with_fault("kill", 0)
        self.use(picker)
        self.target.wait_for_more(EMOJI)
        self.assertEqual(self.quit(picker), 0)
        return self.calls()

    def test_disk_that_is_full_or_read_only_costs_no_pick(self):
        for fault in FAULTS_FROM_THE_START[:1] if self.extent == "short" else FAULTS_FROM_THE_START:
            with self.subTest(fault):
                self.assertTrue(self.check(fault, "1+"))

    def test_killed_at_a_decisive_moment(self):
        def first(function, name):
            return next(call.number for call in calls if call.function == function and call.path.endswith(name))
        calls = self.calls_of_a_session()
        moments = {
            "the seeded manifest gets its name": first("rename", "/manifest.json"),
            "the settings get their name": first("rename", "/Glimmerwick.ini"),
        }
        for name, call in moments.items():
            with self.subTest(name):
                self.assertTrue(self.check("kill", call))

    def test_real_disks_that_are_full_or_read_only(self):
        mounts = {
            "full": 'mount -t tmpfs -o size=64k disk "$1" && cp -r "$2"/. "$1" && '
                    '(dd if=/dev/zero of="$1/filler" bs=1k 2>/dev/null || true)',
            "read-only": 'mount --bind "$2" "$1" && mount -o remount,bind,ro "$1"',
        }
        reasons = {"full": "No space left on device", "read-only": "Read-only file system"}
        space = ["--mount"] if os.geteuid() == 0 else ["--mount", "--map-root-user"]
        for name, mount in mounts.items():
            with self.subTest(name):
                self.reset()
                self.caches.mkdir(parents=True)
                script = "".join(f'set -- "{folder}" "{folder}"; {mount}; ' if name == "read-only" else
                                 f'cp -r "{folder}" "{folder}-copy"; set -- "{folder}" "{folder}-copy"; {mount}; '
                                 for folder in (self.caches, self.configuration))
                picker = self.start(shutil.which("unshare"), *space, "sh", "-ec", f'program=$0; {script} exec "$program"',
                                    self.picker_binary)
                self.addCleanup(functools.partial(self.remove_copies))
                self.use(picker)

                self.target.wait_for_more(EMOJI)
                self.assertEqual(self.desktop.clipboard(), COPIED)
                self.assertEqual(self.quit(picker), 0)
                lines = self.assert_told_once(picker)
                self.assertTrue(any(reasons[name] in line for line in lines), lines)
                self.assertEqual(self.recents(), [FORMER])
                self.remove_copies()
                self.assert_in_order_next_time()

    def remove_copies(self):
        for folder in (self.caches, self.configuration):
            shutil.rmtree(f"{folder}-copy", ignore_errors=True)

    # Long

    @unittest.skipIf(extent == "short", "takes a few minutes for each kind of fault")
    def test_every_call_of_a_session(self):
        for fault in ("ENOSPC", "short", "kill"):
            call = 1
            while True:
                with self.subTest(f"{fault}, call {call}"):
                    if not self.check(fault, call):
                        break
                call += 1
                self.assertLess(call, 200)


if __name__ == "__main__":
    main()
