#!/usr/bin/python3
"""However often the picker is started and ended, or killed while it starts, every start succeeds and nothing is left.

usage: start_stop_test.py --picker BINARY --qt-target BINARY --cycles COUNT
"""

import contextlib
import os
import pathlib
import random
import signal
import subprocess
import time

from desktop import PANEL_CLASS, wait_until
from testcase import EndToEndTest, argument, main

READY = b"[SearchManager] Index built: "
SETTINGS = '[General]\nrecentEmojis="[\\"1f680\\",\\"1f600\\"]"\nGlimmerwick.preferredSkinTone="\\"1f3fd\\""\n'
# Emoji that were drawn before; how far that has come differs.
DRAWN = ".pictures"
# Of so many starts one is killed at some moment.
KILLED_SHARE = 5


class StartStopTest(EndToEndTest):
    picker_binary = str(pathlib.Path(argument("picker")).resolve())
    qt_target_binary = argument("qt-target")
    cycles = int(argument("cycles"))

    def setUp(self):
        super().setUp()
        self.use_address("https://127.0.0.1:1")
        self.home = self.desktop.folder / "home"
        self.runtime = self.desktop.folder / "runtime"
        self.settings = self.home / ".config" / "Glimmerwick" / "Glimmerwick.ini"
        self.settings.write_text(SETTINGS, encoding="utf-8")
        self.log = self.desktop.folder / "log"
        self.complaints = self.desktop.folder / "complaints"
        self.started = set()
        # The same moments each time, so that a failure can be repeated as far as possible.
        self.random = random.Random(1)

    def start(self):
        with self.log.open("wb") as log, self.complaints.open("wb") as complaints:
            process = subprocess.Popen([self.picker_binary], env=self.desktop.environment, stdin=subprocess.DEVNULL,
                                       stdout=log, stderr=complaints)
        self.started.add(process.pid)
        return process

    def wait_until_ready(self, process):
        def is_ready():
            self.assertIsNone(process.poll(), self.complaints.read_text(encoding="utf-8"))
            return READY in self.log.read_bytes()
        wait_until(is_ready, "the picker is ready")

    def start_and_end(self):
        process = self.start()
        try:
            began = time.monotonic()
            self.wait_until_ready(process)
            took = time.monotonic() - began
            process.terminate()
            self.assertEqual(process.wait(timeout=20), 0)
        finally:
            process.kill()
            process.wait()
        self.assertEqual(self.complaints.read_text(encoding="utf-8"), "")
        self.assertIn(b"RecentEmojisManager: Loaded 2 recent emojis from UserDefaults", self.log.read_bytes())
        return took

    def start_and_kill(self, longest):
        process = self.start()
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(timeout=longest * self.random.random())
        process.kill()
        self.assertEqual(process.wait(), -signal.SIGKILL)

    # What may be left

    def processes(self):
        """Those that have this home, and are the picker or were started by it."""
        home = f"HOME={self.home}".encode()
        ours = {program.process.pid for program in self.desktop.programs}
        found = []
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if int(folder.name) not in ours and home in (folder / "environ").read_bytes().split(b"\0"):
                    found.append(os.readlink(folder / "exe"))
        return found

    def shared_memory(self):
        lines = pathlib.Path("/proc/sysvipc/shm").read_text(encoding="ascii").splitlines()[1:]
        return [line for line in lines if int(line.split()[4]) in self.started]

    def files(self):
        return {str(file.relative_to(self.desktop.folder)) for folder in (self.home, self.runtime)
                for file in folder.rglob("*") if not file.is_dir() and file.suffix != DRAWN}

    def sockets(self):
        """The bus's own has no name in the desktop's folder that the picker could leave."""
        lines = pathlib.Path("/proc/net/unix").read_text(encoding="utf-8", errors="replace").splitlines()
        return [line for line in lines if PANEL_CLASS in line or str(self.runtime) in line]

    def bus_names(self):
        return self.desktop.call("gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
                                 "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.ListNames")

    def assert_nothing_is_left(self, files):
        wait_until(lambda: not self.processes(), "no process is left")
        wait_until(lambda: not self.shared_memory(), "no shared memory is left")
        wait_until(lambda: PANEL_CLASS not in self.bus_names(), "the name on the bus is free")
        self.assertEqual(self.sockets(), [])
        self.assertEqual(self.files(), files)
        self.assertEqual(self.settings.read_text(encoding="utf-8"), SETTINGS)

    def test_every_start_succeeds_and_nothing_is_left(self):
        took = self.start_and_end()
        files = self.files()
        memory = set(os.listdir("/dev/shm")) if os.path.isdir("/dev/shm") else set()
        for cycle in range(1, self.cycles):
            with self.subTest(cycle):
                if cycle % KILLED_SHARE == 0:
                    self.start_and_kill(1.5 * took)
                else:
                    took = self.start_and_end()
                self.assert_nothing_is_left(files)
        new = {name for name in os.listdir("/dev/shm") if name not in memory} if os.path.isdir("/dev/shm") else set()
        # Others may use it meanwhile; of the picker's making would be these.
        self.assertEqual([name for name in new if PANEL_CLASS in name or name.startswith("qipc_")], [])


if __name__ == "__main__":
    main()
