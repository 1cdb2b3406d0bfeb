"""A project folder of a test's own, and publishing its catalogue with the real Content/publish."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
PUBLISH = ROOT / "Content" / "publish"
BUNDLED = ROOT / "Resources" / "catalogue"

# Stands in for the generator. A manifest that speaks of a breach breaks the rules; one that speaks of a pause
# is not judged until somebody opens the pipe. Making a locale's manifest marks every name with the locale.
TOOL = """#!/usr/bin/python3
import json, pathlib, sys
command, words = sys.argv[1], sys.argv[2:]
options = dict(zip(words[::2], words[1::2]))
with open("calls", "a", encoding="utf-8") as calls:
    print(command, *words[::2], options.get("--locale", ""), file=calls)
if command == "check":
    assert pathlib.Path(options["--sequences"]).read_text(encoding="utf-8") == "sequences of the test\\n"
    text = pathlib.Path(options["--manifest"]).read_text(encoding="utf-8")
    if "pause" in json.loads(text):
        open("pipe", encoding="utf-8").read()
    if "breach" in json.loads(text):
        sys.exit("the manifest holds a breach")
elif command == "manifest":
    assert pathlib.Path(options["--packages"], "emojibase-data").is_dir()
    assert options["--content"] == "Content"
    manifest = json.loads(pathlib.Path("Resources/catalogue/manifest.json").read_text(encoding="utf-8"))
    for emoji in manifest["emojis"].values():
        emoji["name"] += " " + options["--locale"]
    pathlib.Path(options["--output"]).write_text(json.dumps(manifest), encoding="utf-8")
else:
    sys.exit("no such command: " + command)
"""


def png(red, green, blue, size=(72, 72)):
    """A PNG image of one colour."""
    width, height = size

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    rows = (b"\x00" + bytes([red, green, blue]) * width) * height
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows))
            + chunk(b"IEND", b""))


class PublishingProject:
    """Holds the bundled catalogue, a tool that stands in for the generator, and no image."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.catalogue = self.folder / "Resources" / "catalogue"
        self.bundled_images = self.catalogue / "emojis"
        self.made_images = self.folder / "build" / "content" / "emojis"
        self.packages = self.folder / "packages"
        self.pipe = self.folder / "pipe"
        self.catalogue.mkdir(parents=True)
        for name in ("manifest.json", "LICENSES.txt"):
            shutil.copy(BUNDLED / name, self.catalogue / name)
        (self.folder / "Content").mkdir()
        (self.folder / "Content" / "sequences.txt").write_text("sequences of the test\n", encoding="utf-8")
        self._tool = self.folder / "tool"
        self._tool.write_text(TOOL, encoding="utf-8")
        self._tool.chmod(0o755)
        os.mkfifo(self.pipe)

    def use_generator(self, binary):
        """From now on manifests are judged by the generator itself, with the sequences of this project."""
        self._tool = pathlib.Path(binary).resolve()
        shutil.copy(ROOT / "Content" / "sequences.txt", self.folder / "Content" / "sequences.txt")

    def add_locales(self, *names):
        for name in names:
            folder = self.packages / "emojibase-data" / name
            folder.mkdir(parents=True)
            (folder / "data.json").write_text("[]", encoding="utf-8")

    def add_image(self, folder, name, data):
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"{name}.png").write_bytes(data)

    def change_manifest(self, change):
        """Calls the function with the manifest as it was read from JSON, and writes what became of it."""
        file = self.catalogue / "manifest.json"
        manifest = json.loads(file.read_text(encoding="utf-8"))
        change(manifest)
        file.write_text(json.dumps(manifest, ensure_ascii=False, indent=2), encoding="utf-8")

    def calls(self):
        """What the tool was called for, without the values of most options."""
        file = self.folder / "calls"
        lines = file.read_text(encoding="utf-8").splitlines() if file.exists() else []
        return [line.strip() for line in lines]

    @contextlib.contextmanager
    def started(self, *arguments, before=(), prepare=lambda: None, **options):
        """Publishes in a process group of its own, which ends with the context.

        `before` is a command that runs it, `prepare` a function called in the new process.
        """
        environment = dict(os.environ, CONTENT_TOOL=str(self._tool), CONTENT_PACKAGES=str(self.packages),
                           LC_ALL="C.UTF-8")

        def prepare_process():
            # A shell cannot catch what was ignored when it started, and some that run tests ignore these.
            for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
                signal.signal(number, signal.SIG_DFL)
            prepare()
        process = subprocess.Popen([*before, PUBLISH, *arguments], cwd=self.folder, env=environment,
                                   text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, start_new_session=True,
                                   preexec_fn=prepare_process, **options)
        with process:
            try:
                yield process
            finally:
                if process.poll() is None:
                    os.killpg(process.pid, signal.SIGKILL)

    def try_to_publish(self, *arguments, **options):
        """Status, standard output and standard error."""
        with self.started(*arguments, **options) as process:
            output, errors = process.communicate(timeout=120)
        return process.returncode, output, errors

    def publish(self, *arguments, **options):
        """Publishes and returns what was printed; raises when it fails."""
        status, output, errors = self.try_to_publish(*arguments, **options)
        if status != 0 or errors:
            raise AssertionError(f"publish ended with {status}: {output}{errors}")
        return output
