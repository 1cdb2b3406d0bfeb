"""What the kernel tells about a process: its memory by mapping, and whether its threads sleep."""

import collections
import contextlib
import pathlib
import re

from measuring import NO_SERVER, load_from

from desktop import Picker, wait_until_stable

HEADER = re.compile(r"^[0-9a-f]+-[0-9a-f]+ (\S{4}) [0-9a-f]+ \S+ \d+ *(.*)$")
VALUE = re.compile(r"^(\w+): +(\d+) kB$")
KEYS = ("Rss", "Pss", "Private_Dirty", "Private_Clean", "Shared_Dirty")


class Memory:
    """The memory of a process at one moment, in KiB: of all mappings together, and by what is mapped."""

    def __init__(self, pid):
        self.by_mapping = collections.defaultdict(collections.Counter)
        counter = None
        for line in pathlib.Path(f"/proc/{pid}/smaps").read_text(encoding="utf-8").splitlines():
            if header := HEADER.match(line):
                counter = self.by_mapping[self._name(*header.groups())]
            elif (value := VALUE.match(line)) and value[1] in KEYS:
                counter[value[1]] += int(value[2])
        self.total = sum(self.by_mapping.values(), collections.Counter())

    @staticmethod
    def _name(permissions, name):
        if not name:
            return "anonymous"
        if name.startswith("/memfd:") or name.startswith("/SYSV"):
            return name.split(" ")[0].lstrip("/")
        if name.startswith("/"):
            return pathlib.PurePath(name.removesuffix(" (deleted)")).name
        return name

    def __getitem__(self, key):
        return self.total[key]

    def heap(self):
        """Dirty pages of what malloc hands out: the main heap, other threads' arenas and large blocks."""
        return self.by_mapping["[heap]"]["Private_Dirty"] + self.by_mapping["anonymous"]["Private_Dirty"]

    def table(self, key="Private_Dirty", least=40):
        """Lines with the mappings that have most of one kind, and the rest together."""
        ordered = sorted(self.by_mapping.items(), key=lambda item: -item[1][key])
        shown = [(name, counter) for name, counter in ordered if counter[key] >= least]
        rest = [counter for _, counter in ordered[len(shown):] if counter[key] > 0]
        lines = [f"{counter[key]:8} {counter['Pss']:8} {counter['Rss']:8}  {name}" for name, counter in shown]
        if rest:
            together = sum(rest, collections.Counter())
            lines.append(f"{together[key]:8} {together['Pss']:8} {together['Rss']:8}  {len(rest)} others")
        return [f"{key[-8:]:>8} {'Pss':>8} {'Rss':>8}  KiB of", *lines]


class Thread:
    """A thread of a process as it is at this moment."""

    def __init__(self, folder):
        self.identifier = int(folder.name)
        self.name = (folder / "comm").read_text(encoding="utf-8").strip()
        status = dict(line.split(":", 1) for line in
                      (folder / "status").read_text(encoding="utf-8").splitlines() if ":" in line)
        # A thread that sleeps and is woken has given up the processor of its own accord.
        self.wake_ups = int(status["voluntary_ctxt_switches"])
        self.is_asleep = status["State"].split()[0] == "S"


def threads(pid):
    """The threads of a process, by their identifiers."""
    found = {}
    for folder in pathlib.Path(f"/proc/{pid}/task").iterdir():
        try:
            thread = Thread(folder)
        except (FileNotFoundError, ProcessLookupError):
            continue
        found[thread.identifier] = thread
    return found


# Five seconds after it was used the picker frees what it needed for that, and five seconds after a transfer the program
# for transfers ends.
SETTLED = 7.0


def wait_until_idle(pid, span=SETTLED, deadline=120.0):
    """Waits until no thread of the process has been awake for `span` seconds."""
    def observe():
        now = threads(pid).values()
        return tuple((thread.identifier, thread.wake_ups) for thread in now) if all(
            thread.is_asleep for thread in now) else None
    wait_until_stable(observe, "the process sleeps", span, deadline)


def others_with(library):
    """The processes of the machine that have a library loaded; those that may be looked into."""
    found = set()
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if library in (folder / "maps").read_text(encoding="utf-8", errors="replace"):
                found.add(int(folder.name))
    return found


def start_offline_picker(desktop, binary):
    """Starts the picker and waits until its catalogue is loaded and indexed and all is drawn that it draws ahead."""
    load_from(desktop, NO_SERVER)
    picker = Picker(desktop, binary)
    picker.wait_until_ready()
    wait_until_idle(picker.program.process.pid)
    return picker
