#!/usr/bin/python3
"""What is installed around the program: entries, unit, manual, completions and icons, each looked at by the tool that
knows its format, and all of them agreeing with the program.

usage: metadata_test.py --build FOLDER --program BINARY [TEST...]
"""

import configparser
import os
import pathlib
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

sys.dont_write_bytecode = True

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGING = ROOT / "Packaging"
NAME = "com.glimmerwick.Glimmerwick"
SIZES = (16, 22, 24, 32, 48, 64, 128, 256, 512)


def argument(name):
    """Takes "--name VALUE" out of the command line, before unittest reads the rest."""
    if f"--{name}" not in sys.argv[:-1]:
        raise SystemExit(f"{sys.argv[0]}: --{name} is missing")
    position = sys.argv.index(f"--{name}")
    _, value = sys.argv[position:position + 2]
    del sys.argv[position:position + 2]
    return pathlib.Path(value)


def entry(path):
    # Units may say the same thing several times.
    parser = configparser.ConfigParser(interpolation=None, strict=False)
    parser.optionxform = str
    parser.read(path, encoding="utf-8")
    return parser


class MetadataTest(unittest.TestCase):
    build = argument("build")
    program = argument("program")

    def setUp(self):
        self.share = self.build / "share"
        self.autostart = self.build / "etc" / "xdg" / "autostart" / f"{NAME}.desktop"
        self.entries = [self.share / f"{NAME}.desktop", self.share / f"{NAME}.kwin.desktop", self.autostart]

    def run_tool(self, *command, **environment):
        """Runs a checker, which must succeed; returns all that it says."""
        ended = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False, timeout=60,
                               stdin=subprocess.DEVNULL, env={**os.environ, "LC_ALL": "C.UTF-8", **environment})
        said = ended.stdout + ended.stderr
        self.assertEqual(ended.returncode, 0, said)
        return said

    def options(self):
        """Every option that --help explains."""
        options = re.findall(r"^  (--[a-z-]+)", self.run_tool(self.program, "--help"), re.MULTILINE)
        self.assertIn("--toggle", options)
        return options

    def version(self):
        return self.run_tool(self.program, "--version").split()[-1]

    # Entries of the desktop

    def test_desktop_files_are_valid(self):
        for path in self.entries:
            self.assertEqual(self.run_tool("desktop-file-validate", path), "")

    def test_checker_of_desktop_files_finds_mistakes(self):
        with tempfile.TemporaryDirectory() as folder:
            broken = pathlib.Path(folder) / "broken.desktop"
            broken.write_text(self.entries[0].read_text(encoding="utf-8").replace("Type=Application\n", ""))

            ended = subprocess.run(["desktop-file-validate", broken], capture_output=True, check=False)

            self.assertNotEqual(ended.returncode, 0)

    def test_what_starts_the_program_discards_its_log(self):
        commands = [entry(path)["Desktop Entry"]["Exec"] for path in (self.entries[0], self.autostart)]
        commands.append(entry(self.entries[0])["Desktop Action toggle"]["Exec"])
        commands.append(entry(self.share / f"{NAME}.service")["D-BUS Service"]["Exec"])

        for command in commands:
            self.assertRegex(shlex.split(command)[2], r"exec '/[^']*/glimmerwick'( --toggle| --background)? >/dev/null$")
        self.assertEqual(entry(self.share / "glimmerwick.service")["Service"]["StandardOutput"], "null")

    def test_systemd_starts_the_entry_where_it_starts_those_of_the_desktop(self):
        with tempfile.TemporaryDirectory() as folder:
            units, autostart = pathlib.Path(folder) / "units", pathlib.Path(folder) / "autostart"
            units.mkdir()
            autostart.mkdir()
            installed = entry(self.autostart)["Desktop Entry"]["TryExec"]
            text = self.autostart.read_text(encoding="utf-8").replace(installed, str(self.program.resolve()))
            (autostart / self.autostart.name).write_text(text, encoding="utf-8")

            said = self.run_tool("/usr/lib/systemd/user-generators/systemd-xdg-autostart-generator", units, units, units,
                                 XDG_CONFIG_DIRS=folder, XDG_CONFIG_HOME=units / "none", HOME=folder)

            unit, = units.glob("app-*.service")
            self.assertEqual(said, "")
            self.assertEqual(self.run_tool("systemd-analyze", "verify", "--user", "--man=no", unit,
                                           XDG_RUNTIME_DIR=folder), "")

    def test_kwin_entry_has_nothing_but_the_path_and_the_same_permissions(self):
        shown, for_kwin = (entry(path)["Desktop Entry"] for path in self.entries[:2])

        self.assertRegex(for_kwin["Exec"], "^/[^ ]*/glimmerwick$")
        self.assertEqual(for_kwin["NoDisplay"], "true")
        self.assertEqual(for_kwin["X-KDE-Wayland-Interfaces"], shown["X-KDE-Wayland-Interfaces"])

    def test_every_action_of_the_entry_is_one_of_the_bus(self):
        shown = entry(self.entries[0])
        known = (ROOT / "docs" / "dbus.md").read_text(encoding="utf-8")

        for action in shown["Desktop Entry"]["Actions"].strip(";").split(";"):
            self.assertIn(f"Desktop Action {action}", shown)
            self.assertTrue(f"`{action}`" in known, f"docs/dbus.md does not know the action {action}")

    def test_entries_name_an_icon_that_is_installed(self):
        for path in self.entries:
            self.assertEqual(entry(path)["Desktop Entry"]["Icon"], NAME)
        for size in SIZES:
            picture = self.share / "icons" / "hicolor" / f"{size}x{size}" / "apps" / f"{NAME}.png"
            signature, _, kind, width, height = struct.unpack(">8sI4sII", picture.read_bytes()[:24])
            self.assertEqual((signature, kind), (b"\x89PNG\r\n\x1a\n", b"IHDR"))
            self.assertEqual((width, height), (size, size))

    def test_drawings_can_be_scaled_and_the_symbolic_one_has_one_colour(self):
        icons = self.share / "icons" / "hicolor"
        symbolic = icons / "symbolic" / "apps" / f"{NAME}-symbolic.svg"
        for path in (icons / "scalable" / "apps" / f"{NAME}.svg", symbolic):
            drawing = xml.etree.ElementTree.parse(path).getroot()
            self.assertEqual(drawing.tag, "{http://www.w3.org/2000/svg}svg")
            self.assertEqual(drawing.get("viewBox"), f"0 0 {drawing.get('width')} {drawing.get('height')}")
        text = symbolic.read_text(encoding="utf-8")
        self.assertEqual(set(re.findall(r'fill="([^"]*)"', text)), {"currentColor"})
        self.assertEqual(len(set(re.findall(r"#[0-9a-f]{3,8}\b", text))), 1)

    # Unit, software centre

    def test_unit_is_valid(self):
        with tempfile.TemporaryDirectory() as runtime:
            unit = pathlib.Path(runtime) / "glimmerwick.service"
            text = (self.share / "glimmerwick.service").read_text(encoding="utf-8")
            # Its own path exists once it is installed.
            unit.write_text(re.sub("^ExecStart=.*", f"ExecStart={self.program}", text, flags=re.MULTILINE))

            said = self.run_tool("systemd-analyze", "verify", "--user", "--man=no", "--recursive-errors=no", unit,
                                 XDG_RUNTIME_DIR=runtime)

            self.assertNotIn("glimmerwick", said)

    def test_metainfo_is_valid(self):
        said = self.run_tool("appstreamcli", "validate", "--no-net", "--pedantic", "--no-color",
                             self.share / f"{NAME}.metainfo.xml")

        # The name on the bus has capital letters, and the identifier must be that name.
        tags = set(re.findall(r"^[EWIP]: [^ ]+ ([a-z-]+)", said, re.MULTILINE))
        self.assertLessEqual(tags, {"cid-contains-uppercase-letter"}, said)
        self.assertIn("Validation was successful", said)

    def test_metainfo_agrees_with_the_entry(self):
        component = xml.etree.ElementTree.parse(self.share / f"{NAME}.metainfo.xml").getroot()
        shown = entry(self.entries[0])["Desktop Entry"]

        self.assertEqual(component.findtext("launchable"), f"{NAME}.desktop")
        self.assertEqual(component.findtext("summary"), shown["Comment"])
        self.assertEqual([word.text for word in component.iter("keyword")], shown["Keywords"].strip(";").split(";"))
        for image in component.iter("image"):
            self.assertTrue((ROOT / "docs" / "images" / pathlib.Path(image.text).name).exists(), image.text)

    def test_all_name_the_version_of_the_program(self):
        component = xml.etree.ElementTree.parse(self.share / f"{NAME}.metainfo.xml").getroot()
        changelog = (ROOT / "debian" / "changelog").read_text(encoding="utf-8")
        manual = (self.share / "glimmerwick.1").read_text(encoding="utf-8")

        version, _, pre_release = self.version().partition("-")
        packaged = re.match(r"glimmerwick \((.*)-[^-]*\) ", changelog)[1]

        self.assertEqual(component.find("releases")[0].get("version"), version)
        self.assertEqual(packaged.partition("~")[0], version)
        self.assertIn(f'"Glimmerwick {version}"', manual)
        if pre_release:
            self.assertEqual(self.pre_release_of(packaged), pre_release)

    # Manual and completions

    def test_manual_is_formatted_without_a_warning(self):
        said = self.run_tool("man", "--warnings", "--encoding=UTF-8", "--local-file", "-Tutf8", "-Z",
                             self.share / "glimmerwick.1", MANROFFSEQ="", MANWIDTH="80")

        self.assertNotIn("warning", said)
        self.assertIn("x T utf8", said)

    def test_every_option_stands_in_manual_and_completions(self):
        manual = (self.share / "glimmerwick.1").read_text(encoding="utf-8").replace("\\-", "-")
        completions = PACKAGING / "completions"

        for option in self.options():
            self.assertRegex(manual, rf"(?m)^\.(B|BI) {option}\b")
            for name in ("glimmerwick.bash", "_glimmerwick"):
                self.assertRegex((completions / name).read_text(encoding="utf-8"), rf"{option}[^a-z-]")
            self.assertRegex((completions / "glimmerwick.fish").read_text(encoding="utf-8"),
                             rf"--long-option {option.removeprefix('--')} ")

    def complete_in_bash(self, *words):
        source = shlex.quote(str(PACKAGING / "completions" / "glimmerwick.bash"))
        script = (f"source {source}; COMP_WORDS=({shlex.join(words)}); COMP_CWORD={len(words) - 1}; _glimmerwick; "
                  "printf '%s\\n' \"${COMPREPLY[@]}\"")
        return self.run_tool("bash", "-c", script).split()

    def complete_in_fish(self, *words):
        source = shlex.quote(str(PACKAGING / "completions" / "glimmerwick.fish"))
        script = f"source {source}; complete --do-complete {shlex.quote(' '.join(words))}"
        with tempfile.TemporaryDirectory() as home:
            said = self.run_tool("fish", "--no-config", "--command", script, HOME=home)
        return [line.split("\t")[0] for line in said.splitlines()]

    def test_bash_and_fish_complete_the_options(self):
        for complete in (self.complete_in_bash, self.complete_in_fish):
            self.assertEqual(sorted(complete("glimmerwick", "--")), sorted(self.options()))
            self.assertEqual(complete("glimmerwick", "--tog"), ["--toggle"])

    def test_bash_runs_no_name_of_a_file(self):
        with tempfile.TemporaryDirectory() as folder:
            applications = pathlib.Path(folder) / "applications"
            applications.mkdir()
            (applications / "$(touch pwned).desktop").touch()
            self.assertEqual(self.run_tool(
                "bash", "-c", f"cd {shlex.quote(folder)}; source {shlex.quote(str(PACKAGING))}/completions/glimmerwick.bash;"
                "COMP_WORDS=(glimmerwick --target-app ''); COMP_CWORD=2; _glimmerwick; printf '%s\\n' \"${COMPREPLY[@]}\"",
                XDG_DATA_HOME=folder, XDG_DATA_DIRS=folder).split("\n")[0], r"\$\(touch\ pwned\)")
            self.assertFalse((pathlib.Path(folder) / "pwned").exists())

    def test_bash_and_fish_complete_applications(self):
        with tempfile.TemporaryDirectory() as folder:
            applications = pathlib.Path(folder) / "applications"
            applications.mkdir()
            (applications / "org.example.Write.desktop").touch()
            os.environ["XDG_DATA_DIRS"] = f"/nowhere:{folder}"
            self.addCleanup(os.environ.pop, "XDG_DATA_DIRS")

            for complete in (self.complete_in_bash, self.complete_in_fish):
                self.assertEqual(complete("glimmerwick", "--target-app", "org.ex"), ["org.example.Write"])

    def test_zsh_reads_its_completion(self):
        self.assertEqual(self.run_tool("zsh", "-n", PACKAGING / "completions" / "_glimmerwick"), "")

    # The source package

    def pre_release_of(self, upstream):
        """What debian/rules makes of an upstream version."""
        said = self.run_tool("make", "--silent", "--directory", ROOT, "--makefile", "debian/rules",
                             "--eval=tell: ; @echo '$(pre_release)'", "tell", f"DEB_VERSION_UPSTREAM={upstream}")
        return said.strip()

    def test_pre_releases_are_spelled_as_in_the_feed(self):
        for upstream, pre_release in {"0.2.0": "", "0.2.0~rc1": "rc.1", "0.2.0~rc.12": "rc.12",
                                      "0.2.0~beta": "beta"}.items():
            self.assertEqual(self.pre_release_of(upstream), pre_release)

    def test_wrong_orders_are_refused_before_anything_is_done(self):
        script = ROOT / "dev" / "package"
        key = "A" * 43 + "="
        self.assertIn("--check-reproducible", self.run_tool(script, "--help"))
        for words, status in ((["--bogus"], 2), (["--output"], 2), (["--update-feed", "https://a.example/feed"], 1),
                              (["--update-feed", "https://a.example/$(id)", "--update-key", key], 1),
                              (["--update-feed", "https://a.example/feed", "--update-key", key[1:]], 1)):
            ended = subprocess.run([script, *words], capture_output=True, text=True, check=False, timeout=60)

            self.assertEqual((ended.returncode, ended.stdout), (status, ""), ended.stderr)

    def test_source_package_is_built_with_what_the_scripts_install(self):
        control = (ROOT / "debian" / "control").read_text(encoding="utf-8")
        needed = set(re.findall(r"^ ([a-z0-9.+-]+)", re.search(r"^Build-Depends:\n((?: .*\n)+)", control,
                                                               re.MULTILINE)[1], re.MULTILINE))
        installed = set(self.run_tool(ROOT / "dev" / "install-packages", "--list", "build").split())

        # Every build of a package has the compiler.
        self.assertEqual(needed - {"debhelper-compat"}, installed - {"g++"})


if __name__ == "__main__":
    unittest.main(verbosity=2)
