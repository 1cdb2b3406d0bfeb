#!/usr/bin/python3
"""The package from its making to its purge: installed by apt in a clean Debian system, started there by the entries
that it brings along, used, upgraded while it runs, used again, removed.

The system is a copy that is gone with the test; the desktop around it is one of this machine's. Everything runs in
namespaces of its own, so nothing stays mounted or running. Needs root, itself or through sudo.

usage: package_test.py --build FOLDER [TEST...]
"""

import configparser
import contextlib
import hashlib
import os
import pathlib
import re
import shlex
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
FOLDER = ROOT / "build" / "package"
OUTPUT = FOLDER / "out"
NAME = "com.glimmerwick.Glimmerwick"
OBJECT = "/com/glimmerwick/Glimmerwick"
MENU = f"usr/share/applications/{NAME}.desktop"
AUTOSTART = f"etc/xdg/autostart/{NAME}.desktop"
OLDER = "0.0.1-0glimmerwick1"
USER, USER_ID = "somebody", 1000
INSIDE = "GLIMMERWICK_PACKAGE_TEST_INSIDE"
# Starting, the picker asks for a catalogue, and a network that does not answer takes its time.
STARTED = 90
# What apt, dpkg and the linker write down about whatever is installed or removed.
NOTED_BY_THE_SYSTEM = ("/etc/ld.so.cache", "/var/cache/", "/var/lib/apt/", "/var/lib/dpkg/", "/var/log/")


def step(text):
    print(f"   {text}", flush=True)


def make_package():
    """As whoever runs the test, so that what is built belongs to them; tests on desktops that run meanwhile come
    first."""
    print("== Making the package", flush=True)
    subprocess.run(["nice", "-n", "19", ROOT / "dev" / "package"], check=True)


def run_in_namespaces():
    """Runs this test again as root where its mounts and programs are its own, in place of this process."""
    command = [] if os.geteuid() == 0 else ["sudo"]
    command += ["env", f"{INSIDE}=1", "unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
                sys.executable, __file__, *sys.argv[1:]]
    os.execvp(command[0], command)


if INSIDE not in os.environ:
    make_package()
    run_in_namespaces()

sys.path[:0] = [str(ROOT / "Tests" / "EndToEnd"), str(HERE)]

import clean_root  # noqa: E402  (the path comes first)
from desktop import Desktop, DesktopError, Picker, wait_until  # noqa: E402
from targets import xterm  # noqa: E402
from testcase import OutputOnFailure, argument  # noqa: E402


def mount(*words):
    subprocess.run(["mount", *(str(word) for word in words)], check=True)


class System:
    """A copy of the clean system, as good as a machine of its own for what is installed in it."""

    def __init__(self, original, work):
        self.root = work / "system"
        # In memory, where dpkg need not wait for a disk.
        mount("-t", "tmpfs", "-o", "mode=755", "tmpfs", work)
        for name in ("upper", "overlay", "system"):
            (work / name).mkdir()
        mount("-t", "overlay", "-o", f"lowerdir={original},upperdir={work / 'upper'},workdir={work / 'overlay'}",
              "overlay", self.root)
        archives = FOLDER / "archives"
        archives.mkdir(exist_ok=True)
        for kind, source, target in (("--bind", archives, "var/cache/apt/archives"), ("--bind", "/tmp", "tmp"),
                                     ("--rbind", "/dev", "dev"), ("--rbind", "/proc", "proc")):
            mount(kind, source, self.root / target)
        with contextlib.suppress(FileNotFoundError):
            (self.root / "etc" / "resolv.conf").write_bytes(pathlib.Path("/etc/resolv.conf").read_bytes())
        self.call("useradd", "--create-home", "--uid", USER_ID, USER)
        self.home = self.root / "home" / USER

    def call(self, *command):
        # Some machines know their way to the packages by the environment alone.
        proxies = {name: os.environ[name] for name in ("http_proxy", "https_proxy", "no_proxy") if name in os.environ}
        ended = subprocess.run(["chroot", self.root, *(str(word) for word in command)], capture_output=True, text=True,
                               check=False, stdin=subprocess.DEVNULL,
                               env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8", "HOME": "/root",
                                    "DEBIAN_FRONTEND": "noninteractive", **proxies})
        if ended.returncode != 0:
            raise AssertionError(f"{command[0]} failed ({ended.returncode}): {ended.stdout}{ended.stderr}")
        return ended.stdout

    def apt(self, *words):
        """Without what is only recommended: what the package depends on must be enough."""
        return self.call("apt-get", "--quiet", "--yes", "--no-install-recommends", *words)

    def version(self):
        return self.call("dpkg-query", "--show", "--showformat=${Version}", "glimmerwick")

    def listing(self):
        """Every file and folder of the system itself, by what it is; configuration by its contents, too."""
        found = {}
        for folder, names, files in os.walk(self.root):
            place = "/" + os.path.relpath(folder, self.root).removeprefix(".")
            names[:] = [name for name in names if not os.path.ismount(os.path.join(folder, name))]
            for name in names + files:
                path = os.path.join(place, name)
                if not path.startswith(NOTED_BY_THE_SYSTEM):
                    found[path] = self._describe(pathlib.Path(folder, name), path)
        return found

    @staticmethod
    def _describe(file, path):
        status = file.lstat()
        what = [stat.filemode(status.st_mode), status.st_uid, status.st_gid]
        if stat.S_ISLNK(status.st_mode):
            what.append(os.readlink(file))
        elif stat.S_ISREG(status.st_mode) and path.startswith("/etc/"):
            what.append(hashlib.sha256(file.read_bytes()).hexdigest())
        return what

    def named_glimmerwick(self):
        """Everything in the system with the program's name, the inside of such folders left out."""
        return sorted(self.call("find", "/", "-xdev", "-iname", "*glimmerwick*", "-prune", "-print").split())


def start_entry(system, desktop, entry, name):
    """Runs what an entry of the system says for the user, as a desktop does."""
    parser = configparser.ConfigParser(interpolation=None)
    parser.optionxform = str
    parser.read(system.root / entry, encoding="utf-8")
    session = ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR")
    environment = {"HOME": f"/home/{USER}", "USER": USER, "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8",
                   **{key: desktop.environment[key] for key in session}}
    return desktop.run(
        name, "chroot", f"--userspec={USER_ID}:{USER_ID}", "--groups=", system.root, "env", "--ignore-environment",
        f"--chdir=/home/{USER}", *(f"{key}={value}" for key, value in environment.items()),
        *shlex.split(parser["Desktop Entry"]["Exec"]))


class InstalledPicker:
    """The picker that an entry of the installed package has started."""

    def __init__(self, desktop, program):
        self._desktop = desktop
        self.program = program
        wait_until(self._is_ready, "the picker says that it is ready", STARTED)
        self.process = self._owner()

    def _call(self, *words):
        return self._desktop.call("gdbus", "call", "--session", *words)

    def _property(self, name):
        return "true" in self._call("--dest", NAME, "--object-path", OBJECT, "--method",
                                    "org.freedesktop.DBus.Properties.Get", "com.glimmerwick.Picker1", name)

    def _is_ready(self):
        if not self.program.is_running():
            raise DesktopError(f"the picker ended with status {self.program.process.returncode}")
        with contextlib.suppress(DesktopError):
            return self._property("Ready")
        return False

    def is_shown(self):
        return self._property("Visible")

    def _owner(self):
        answer = self._call("--dest", "org.freedesktop.DBus", "--object-path", "/org/freedesktop/DBus", "--method",
                            "org.freedesktop.DBus.GetConnectionUnixProcessID", NAME)
        return int(re.search(r"uint32 (\d+)", answer)[1])

    def executable(self):
        return os.readlink(f"/proc/{self.process}/exe")

    def pick(self, query, emoji, target):
        target.focus()
        self._desktop.press(Picker.SHORTCUT)
        self._desktop.wait_for_panel()
        browsing = self._desktop.wait_for_settled_grid()
        self._desktop.type(query)
        self._desktop.wait_for_settled_grid(other_than=browsing)
        self._desktop.press("Return")
        target.wait_for_more(emoji)
        self._desktop.wait_for_no_panel()

    def end(self):
        os.kill(self.process, signal.SIGTERM)
        wait_until(lambda: not self.program.is_running(), "the picker has ended")


class UsersDesktop(Desktop):
    """A desktop whose session bus is the user's, and lets nobody else in."""

    USERS = ("dbus-daemon", "gdbus")

    def __init__(self, folder):
        super().__init__(folder)
        self.folder.chmod(0o711)
        for name in ("home", "runtime"):
            (self.folder / name).mkdir(mode=0o700)
            os.chown(self.folder / name, USER_ID, USER_ID)

    def _as_user(self, command):
        if command[0] not in self.USERS:
            return command
        return ("setpriv", f"--reuid={USER_ID}", f"--regid={USER_ID}", "--clear-groups", *command)

    def run(self, name, *command, descriptors=()):
        return super().run(name, *self._as_user(command), descriptors=descriptors)

    def call(self, *command, **options):
        return super().call(*self._as_user(command), **options)


def package():
    """The binary package as it was just made."""
    found = sorted(OUTPUT.glob("glimmerwick_*.deb"))
    assert len(found) == 1, found
    return found[0]


def older_package(folder):
    """The same package under a version that any other comes after."""
    tree = folder / "older"
    subprocess.run(["dpkg-deb", "--raw-extract", package(), tree], check=True)
    control = tree / "DEBIAN" / "control"
    text, count = re.subn("^Version: .*$", f"Version: {OLDER}", control.read_text(), flags=re.MULTILINE)
    assert count == 1
    control.write_text(text)
    subprocess.run(["dpkg-deb", "--build", tree, folder / "older.deb"], check=True, capture_output=True)
    return folder / "older.deb"


class PackageTest(unittest.TestCase):
    build = pathlib.Path(argument("build"))

    # What was made

    def test_lintian_has_nothing_to_say(self):
        changes, = OUTPUT.glob("*.changes")
        ended = subprocess.run(["lintian", "--allow-root", "--pedantic", "--display-info", "--fail-on", "error",
                                "--fail-on", "warning", changes], capture_output=True, text=True, check=False)

        self.assertEqual((ended.returncode, ended.stdout), (0, ""), ended.stderr)

    def test_second_making_finds_nothing_to_do(self):
        before = {path: path.stat().st_mtime_ns for path in OUTPUT.iterdir()}

        # By whoever made it the first time.
        owner = OUTPUT.stat()
        said = subprocess.run(["setpriv", f"--reuid={owner.st_uid}", f"--regid={owner.st_gid}", "--clear-groups",
                               ROOT / "dev" / "package"], check=True, capture_output=True, text=True).stdout

        self.assertIn("Nothing has changed", said)
        self.assertEqual({path: path.stat().st_mtime_ns for path in OUTPUT.iterdir()}, before)

    def test_package_knows_nothing_of_the_machine_that_made_it(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["dpkg-deb", "--raw-extract", package(), folder], check=True)
            for path in pathlib.Path(folder).rglob("*"):
                if path.is_file():
                    self.assertNotIn(str(ROOT).encode(), path.read_bytes(), path)

    def test_cmake_installs_what_the_package_does(self):
        cache = (self.build / "CMakeCache.txt").read_text()
        prefix = re.search(r"^CMAKE_INSTALL_PREFIX:PATH=(.*)$", cache, re.MULTILINE)[1].removesuffix("/")
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["cmake", "--install", self.build], check=True, capture_output=True,
                           env={**os.environ, "DESTDIR": folder})
            installed = {"/" + str(path.relative_to(folder)) for path in pathlib.Path(folder).rglob("*")
                         if not path.is_dir()}
        # Left by root, it would be in the way of the builder's own installing.
        (self.build / "install_manifest.txt").unlink()
        installed = {re.sub(f"^{re.escape(prefix)}/etc/", "/etc/", path) for path in installed}
        installed = {re.sub(f"^{re.escape(prefix)}/", "/usr/", path) for path in installed}
        contents = subprocess.run(["dpkg-deb", "--contents", package()], check=True, capture_output=True, text=True)
        packaged = {line.split(maxsplit=5)[5].removeprefix(".").removesuffix(".gz")
                    for line in contents.stdout.splitlines() if not line.startswith("d")}

        # Debian's own are added by its tools.
        packaged -= {f"/usr/share/doc/glimmerwick/{name}" for name in ("copyright", "changelog.Debian")}
        self.assertEqual(installed, {path for path in packaged if not path.startswith("/usr/share/lintian/")})

    # What becomes of it

    def test_installed_used_upgraded_used_removed_purged(self):
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-")))
        folder.chmod(0o755)
        print(flush=True)
        original = clean_root.make(FOLDER)
        work = folder / "work"
        work.mkdir()
        self.addCleanup(subprocess.run, ["umount", "--recursive", "--lazy", work], check=True)
        system = System(original, work)
        newer, older = package(), older_package(folder)
        shutil.copy(newer, folder / "newer.deb")
        before = system.listing()
        self.assertEqual(system.named_glimmerwick(), [])

        step("installing the older version, with what it depends on, by apt")
        system.apt("install", older)
        self.assertEqual(system.version(), OLDER)

        step("starting it by its entry for the login")
        self.desktop = self.start_desktop()
        target = xterm(self.desktop)
        picker = InstalledPicker(self.desktop, start_entry(system, self.desktop, AUTOSTART, "older"))
        self.assertEqual(picker.executable(), str(system.root / "usr/bin/glimmerwick"))
        step("picking")
        picker.pick("unicorn", "🦄", target)

        step("upgrading while it runs, and picking with the one that runs")
        system.apt("install", folder / "newer.deb")
        self.assertNotEqual(system.version(), OLDER)
        picker.pick("rocket", "🚀", target)
        picker.end()

        step("starting the newer version by its entry in the menu, and picking")
        picker = InstalledPicker(self.desktop, start_entry(system, self.desktop, MENU, "newer"))
        self.assertEqual(picker.executable(), str(system.root / "usr/bin/glimmerwick"))
        picker.pick("thumbs up", "👍", target)
        step("starting it once more as a login does, which opens nothing")
        again = start_entry(system, self.desktop, AUTOSTART, "again")
        wait_until(lambda: not again.is_running(), "the further start has ended")
        self.assertEqual((again.process.returncode, again.text(), picker.is_shown()), (0, "", False))
        picker.end()

        step("removing it")
        system.apt("remove", "glimmerwick")
        self.assert_only_configuration_stays(system)
        step("purging it and what came with it")
        system.apt("purge", "glimmerwick")
        self.assertEqual(self.outside_of_home(system.named_glimmerwick()), [])
        system.apt("autoremove", "--purge")
        self.assert_only_the_users_own_is_left(system, before)

    def start_desktop(self):
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
        desktop = self.enterContext(UsersDesktop(folder))
        # Where the whole panel has room below it.
        desktop.move_pointer(640, 200)
        return desktop

    def outside_of_home(self, paths):
        return [path for path in paths if not path.startswith(f"/home/{USER}/")]

    def assert_only_configuration_stays(self, system):
        left = self.outside_of_home(system.named_glimmerwick())
        self.assertEqual([path for path in left if not path.startswith("/var/lib/")], [f"/{AUTOSTART}"])
        # A desktop passes over an entry whose program is missing.
        self.assertRegex((system.root / AUTOSTART).read_text(encoding="utf-8"), "(?m)^TryExec=/usr/bin/glimmerwick$")
        self.assertFalse((system.root / "usr/bin/glimmerwick").exists())

    def assert_only_the_users_own_is_left(self, system, before):
        own = {str(path.relative_to(system.home)) for folder in (".config", ".cache")
               for path in (system.home / folder).iterdir()}
        # Fontconfig keeps what it found out about the fonts for every program.
        self.assertEqual(own - {".cache/fontconfig"}, {".config/Glimmerwick", ".cache/Glimmerwick"})
        after = {path: what for path, what in system.listing().items()
                 if not path.startswith((f"/home/{USER}/.config", f"/home/{USER}/.cache"))}
        different = [path for path in after.keys() | before.keys() if after.get(path) != before.get(path)]
        self.assertEqual(sorted(different), [])


if __name__ == "__main__":
    print("== Testing it", flush=True)
    unittest.main(testRunner=unittest.TextTestRunner(resultclass=OutputOnFailure, verbosity=2))
